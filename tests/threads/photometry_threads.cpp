// Photometry under many threads: one read file sampled concurrently (the samplers are const and
// keep no state), and independent files read, canonicalised and turned into textures at once.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "photometry/ies_test_util.h"

namespace {

constexpr int kThreads = 8;

std::string testLamp() {
    return iestest::lamp(iestest::steps(0, 90, 5), iestest::steps(0, 180, 15),
                         [](int h, int v) { return 100.0f + 13.0f * v + 7.0f * h; });
}

TEST(PhotometryThreads, ConcurrentSamplingOfOneFile) {
    const auto p = iestest::parse(testLamp());
    const IESFile& file = p->file;
    std::vector<float> expected;
    for (int k = 0; k < 400; ++k) expected.push_back(file.sampleIntensity(k * 0.25, k * 0.9));
    std::atomic<int> mismatches{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&] {
            for (int round = 0; round < 20; ++round) {
                for (int k = 0; k < 400; ++k) {
                    if (file.sampleIntensity(k * 0.25, k * 0.9) != expected[static_cast<std::size_t>(k)]) {
                        ++mismatches;
                    }
                }
            }
        });
    }
    for (auto& t : threads) t.join();
    EXPECT_EQ(mismatches.load(), 0);
}

TEST(PhotometryThreads, IndependentFilesReadAndGenerateAtOnce) {
    const std::string text = testLamp();
    const std::string crlf = [&] {
        std::string s;
        for (char c : text) {
            if (c == '\n') s += '\r';
            s += c;
        }
        return s;
    }();
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&] {
            for (int round = 0; round < 5; ++round) {
                const auto canon = IESFile::canonicalize(crlf);
                const auto p = iestest::parse(canon.text);
                std::int32_t wv = 0, hh = 0;
                p->file.generateTextureTypeC(wv, hh);
                p->file.generateIESLightCDF(wv, hh);
                // 1 + 2·trunc(180·18/90) = 73; 1 + 2·trunc(360·12/180) = 49.
                if (wv != 73 || hh != 49 || p->file.thetaCdf().back() <= 0.0f) ++failures;
            }
        });
    }
    for (auto& t : threads) t.join();
    EXPECT_EQ(failures.load(), 0);
}

}  // namespace
