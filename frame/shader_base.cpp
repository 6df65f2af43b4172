// Slot 0, shared by every shader of the library.
#include <cstring>
#include <new>

#include "vyr/shader.h"

// IShaderBase's own table: destroy is its key function, so the table is emitted in this file.
extern "C" const char _ZTVN3vyr11IShaderBaseE[];

namespace vyr {

void* IShaderBase::destroy(unsigned flags) {
    // Shader objects own nothing (their destructors are trivial), so destruction comes down to
    // what a destructor chain leaves behind: the table pointer of the root class.
    const void* const rootTable = _ZTVN3vyr11IShaderBaseE + 2 * sizeof(void*);
    std::memcpy(static_cast<void*>(this), &rootTable, sizeof rootTable);
    if ((flags & 1u) != 0) {
        ::operator delete(static_cast<void*>(this));
    }
    return this;
}

}  // namespace vyr
