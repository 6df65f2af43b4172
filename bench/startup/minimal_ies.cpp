// The floor of reading a lamp file in a process of its own: a program that links only the shader
// library, reads the file as a host should (canonicalised, through the guarded reader) and prints
// one line. bench_startup compares `vexakelo ies` with it.
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

#include "photometry/ies_file.h"

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: minimal_ies FILE.ies\n");
        return 2;
    }
    std::ifstream in(argv[1], std::ios::binary);
    std::ostringstream bytes;
    bytes << in.rdbuf();
    if (!in) {
        std::fprintf(stderr, "minimal_ies: cannot read %s\n", argv[1]);
        return 1;
    }
    try {
        const IESFile::Canonical canon = IESFile::canonicalize(bytes.str());
        IESFile::GuardedReader reader(IESFile::GuardedReader::Source::Buffer);
        IESFile file(&reader);
        file.read(canon.text.c_str());
        const IESFileData& d = *file.data();
        std::printf("%s: %d vertical x %d horizontal angles\n", argv[1], d.verticalAngleCount,
                    d.horizontalAngleCount);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "minimal_ies: %s: %s\n", argv[1], e.what());
        return 1;
    }
    return 0;
}
