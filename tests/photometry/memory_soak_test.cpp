// Memory stays flat while a host reads lamp after lamp: each lamp file is loaded as the renderer
// loads one (canonicalised, read through the guarded reader), its web and CDF textures are made
// through initShader and released again. After the first thousand lamps the heap in use and the
// resident set are taken; after the last they must be where they were.
//
// Under AddressSanitizer freed memory waits in a quarantine (256 MB by default) and the allocator
// keeps what it once mapped, so the resident set follows how much was freed since the quarantine
// was last drained, not what is live: 4000 lamps without draining end 20 MB above the first
// thousand with the heap in use unchanged to the byte. So every thousand lamps the sanitizer
// drains its quarantine and returns free memory to the system (malloc_trim without a
// sanitizer), and the resident set is compared at those points; the sanitizer's allocator still
// settles by a megabyte or two over the first few thousand lamps, hence its larger slack.
// VEXAKELO_SOAK_LAMPS sets the number of lamps (the full soak is 100000; the default keeps the
// sanitizer build within a few seconds).
#include <gtest/gtest.h>
#include <malloc.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "ies_loading.h"
#include "ies_test_util.h"
#include "vyr_host.h"

#if defined(__SANITIZE_ADDRESS__)
extern "C" {
std::size_t __sanitizer_get_current_allocated_bytes();
void __sanitizer_purge_allocator();
}
#endif

namespace {

#if defined(__SANITIZE_ADDRESS__)
constexpr long kDefaultLamps = 4000;
#else
constexpr long kDefaultLamps = 100000;
#endif
constexpr long kWarmUpLamps = 1000;
// What may move between the two measurements: a few pages of the resident set (stacks, the
// allocator's bookkeeping), and nothing of the heap in use beyond a little bookkeeping.
#if defined(__SANITIZE_ADDRESS__)
constexpr long kResidentSlack = 4 << 20;
#else
constexpr long kResidentSlack = 1 << 20;
#endif
constexpr long kHeapSlack = 16 << 10;

long lampCount() {
    const char* text = std::getenv("VEXAKELO_SOAK_LAMPS");
    const long lamps = text != nullptr ? std::atol(text) : kDefaultLamps;
    return lamps > kWarmUpLamps ? lamps : kDefaultLamps;
}

long residentBytes() {
    std::ifstream statm("/proc/self/statm");
    long pages = 0, resident = 0;
    statm >> pages >> resident;
    return resident * sysconf(_SC_PAGESIZE);
}

// Freed memory handed back, then the heap in use.
long settledHeapBytes() {
#if defined(__SANITIZE_ADDRESS__)
    __sanitizer_purge_allocator();
    return static_cast<long>(__sanitizer_get_current_allocated_bytes());
#else
    malloc_trim(0);
    return static_cast<long>(mallinfo2().uordblks);
#endif
}

// Four lamps of different grids (and so different texture sizes), one with CR LF endings that
// the canonicaliser has to rewrite.
std::vector<std::string> writeLamps(const std::filesystem::path& dir) {
    const auto candela = [](int h, int v) { return 100.0f + 13.0f * v + 7.0f * h; };
    std::string crlf;
    for (const char c : iestest::lamp(iestest::steps(0, 90, 5), iestest::steps(0, 90, 30),
                                      candela)) {
        if (c == '\n') crlf += '\r';
        crlf += c;
    }
    const std::string texts[] = {
        iestest::lamp(iestest::steps(0, 90, 5), iestest::steps(0, 180, 15), candela),
        iestest::lamp(iestest::steps(0, 180, 2.5), iestest::steps(0, 360, 22.5), candela),
        iestest::lamp(iestest::steps(0, 90, 10), {0.0f}, candela),
        crlf,
    };
    std::vector<std::string> paths;
    for (const std::string& text : texts) {
        const std::string path = (dir / ("lamp" + std::to_string(paths.size()) + ".ies")).string();
        std::ofstream(path, std::ios::binary) << text;
        paths.push_back(path);
    }
    return paths;
}

// One lamp through the host: loaded, its textures made and bound to a shader, all released.
void readAndRelease(const std::string& path) {
    const vkhost::LoadedIes loaded = vkhost::loadIes(path);
    const vyr::ShaderHandle collector = vyr::host::createShader();
    loaded.file->initShader(collector, "webMap", "verticalRange", "horizontalRange", "photoType",
                            "symmetry");
    vyr::host::release(collector.id());
    vyr::host::release(loaded.file->webTexture().id());
    vyr::host::release(loaded.file->thetaCdfTexture().id());
    vyr::host::release(loaded.file->phiCdfTexture().id());
}

TEST(MemorySoak, ReadingLampsAndReleasingTheirTexturesKeepsMemoryFlat) {
    const long lamps = lampCount();
    const std::filesystem::path dir = std::filesystem::temp_directory_path() /
                                      ("vexakelo-soak-" + std::to_string(getpid()));
    std::filesystem::create_directories(dir);
    const std::vector<std::string> paths = writeLamps(dir);

    long heapAfterWarmUp = 0, residentAfterWarmUp = 0;
    for (long i = 0; i < lamps; ++i) {
        readAndRelease(paths[static_cast<std::size_t>(i) % paths.size()]);
        if ((i + 1) % kWarmUpLamps != 0) continue;
        // Settled at the same cadence all along, so that every measurement finds the same
        // amount of freed memory still held (none under the sanitizer, glibc's trimmed top).
        const long heap = settledHeapBytes();
        if (i + 1 == kWarmUpLamps) {
            heapAfterWarmUp = heap;
            residentAfterWarmUp = residentBytes();
        }
    }
    const long heapAtEnd = settledHeapBytes();
    const long residentAtEnd = residentBytes();
    ASSERT_GT(residentAfterWarmUp, 0);
    std::filesystem::remove_all(dir);

    std::printf("memory soak: %ld lamps; heap in use %ld -> %ld bytes, resident %.1f -> %.1f MB\n",
                lamps, heapAfterWarmUp, heapAtEnd, residentAfterWarmUp / 1048576.0,
                residentAtEnd / 1048576.0);
    EXPECT_LE(heapAtEnd - heapAfterWarmUp, kHeapSlack);
    EXPECT_LE(residentAtEnd - residentAfterWarmUp, kResidentSlack);
}

}  // namespace
