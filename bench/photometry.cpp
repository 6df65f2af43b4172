// Photometry speed: parsing throughput on the largest real file, web texture + CDF generation
// for a full-sphere lamp, and the cost of one sampler call per symmetry.
#include <benchmark/benchmark.h>

#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <new>
#include <fstream>
#include <memory>
#include <sstream>

#include "photometry/ies_file.h"

// Heap accounting for the memory benchmark: every operator new of the process (the library's
// included) goes through these, which track the live bytes and their peak.
namespace heap {
std::atomic<std::size_t> live{0};
std::atomic<std::size_t> peak{0};
void* take(std::size_t n) {
    void* p = std::malloc(n == 0 ? 1 : n);
    if (p == nullptr) throw std::bad_alloc();
    const std::size_t now = live += malloc_usable_size(p);
    std::size_t seen = peak.load();
    while (now > seen && !peak.compare_exchange_weak(seen, now)) {
    }
    return p;
}
void give(void* p) {
    if (p == nullptr) return;
    live -= malloc_usable_size(p);
    std::free(p);
}
}  // namespace heap

void* operator new(std::size_t n) { return heap::take(n); }
void* operator new[](std::size_t n) { return heap::take(n); }
void operator delete(void* p) noexcept { heap::give(p); }
void operator delete[](void* p) noexcept { heap::give(p); }
void operator delete(void* p, std::size_t) noexcept { heap::give(p); }
void operator delete[](void* p, std::size_t) noexcept { heap::give(p); }

namespace {

namespace fs = std::filesystem;

std::string slurp(const fs::path& p) {
    std::ifstream in(p, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

// The largest real file: the shared 1.3 MB grid when present, else the largest project copy.
std::string largestRealFile(std::string& name) {
    const fs::path shared = fs::path(VEXAKELO_SHARED_DIR) / "testdata/ies/lm95_huge_263x361_crlf.ies";
    if (fs::exists(shared)) {
        name = shared.filename().string();
        return slurp(shared);
    }
    fs::path best;
    for (const auto& e : fs::directory_iterator(fs::path(VEXAKELO_SOURCE_DIR) / "tests/data/ies")) {
        if (e.path().extension() == ".ies" &&
            (best.empty() || e.file_size() > fs::file_size(best))) {
            best = e.path();
        }
    }
    name = best.filename().string();
    return slurp(best);
}

std::string lamp(float vStep, float hStep, float hLast, int type = 1, float vFirst = 0,
                 float vLast = 180, float hFirst = 0) {
    std::ostringstream out;
    int nV = 0, nH = 0;
    std::ostringstream v, h, c;
    for (float a = vFirst; a <= vLast + 1e-3f; a += vStep, ++nV) v << a << ' ';
    for (float a = hFirst; a <= hLast + 1e-3f; a += hStep, ++nH) h << a << ' ';
    for (int j = 0; j < nH; ++j) {
        for (int i = 0; i < nV; ++i) c << 100 + (i * 37 + j * 11) % 400 << ' ';
        c << '\n';
    }
    out << "TILT=NONE\n1 1000 1 " << nV << ' ' << nH << ' ' << type << " 2 0 0 0\n1 1 40\n"
        << v.str() << '\n' << h.str() << '\n' << c.str();
    return out.str();
}

struct Reading {
    IESFile::GuardedReader reader{IESFile::GuardedReader::Source::Buffer};
    IESFile file{&reader};
};

void BM_ParseCanonicalised(benchmark::State& state) {
    std::string name;
    const std::string raw = largestRealFile(name);
    for (auto _ : state) {
        const auto canonical = IESFile::canonicalize(raw);
        Reading r;
        r.file.read(canonical.text.c_str());
        benchmark::DoNotOptimize(r.file.data()->maxCandela);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                            static_cast<std::int64_t>(raw.size()));
    state.SetLabel(name);
}
BENCHMARK(BM_ParseCanonicalised)->Unit(benchmark::kMillisecond);

void BM_ParseRawBuffer(benchmark::State& state) {
    std::string name;
    const std::string raw = largestRealFile(name);
    for (auto _ : state) {
        Reading r;
        r.file.read(raw.c_str());
        benchmark::DoNotOptimize(r.file.data());
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                            static_cast<std::int64_t>(raw.size()));
    state.SetLabel(name);
}
BENCHMARK(BM_ParseRawBuffer)->Unit(benchmark::kMillisecond);

// A 721 × 1441 lamp of about 9 MiB: values with three decimals, as measured files give them.
std::string fineLampText() {
    std::string out = "IESNA:LM-63-2002\n[TEST] fine\nTILT=NONE\n1 -1 1 721 1441 1 2 0 0 0\n1 1 100\n";
    char number[32];
    for (int i = 0; i < 721; ++i) out += std::to_string(i * 0.25) + ' ';
    out += '\n';
    for (int j = 0; j < 1441; ++j) out += std::to_string(j * 0.25) + ' ';
    out += '\n';
    for (int j = 0; j < 1441; ++j) {
        for (int i = 0; i < 721; ++i) {
            std::snprintf(number, sizeof number, "%.3f ", 500.0 + (i * 37 + j * 11) % 4000 * 0.173);
            out += number;
        }
        out += '\n';
    }
    return out;
}

// Peak heap of canonicalising and reading the 9 MiB lamp, the file's bytes included, as a
// multiple of the file's size: with the bytes kept to the end (argument 1) and, as the host's
// loader does, released once canonicalised (argument 0).
void BM_CanonicaliseAndReadPeakHeap(benchmark::State& state) {
    const bool keepBytes = state.range(0) != 0;
    double ratio = 0.0;
    std::size_t size = 0;
    for (auto _ : state) {
        state.PauseTiming();
        std::string bytes = fineLampText();
        size = bytes.size();
        const std::size_t before = heap::live.load() - bytes.capacity();
        heap::peak = heap::live.load();
        state.ResumeTiming();
        {
            const IESFile::Canonical canonical = IESFile::canonicalize(bytes);
            if (!keepBytes) {
                std::string().swap(bytes);
            }
            Reading r;
            r.file.read(canonical.text.c_str());
            benchmark::DoNotOptimize(r.file.data()->maxCandela);
        }
        ratio = static_cast<double>(heap::peak.load() - before) / static_cast<double>(size);
    }
    state.counters["peak_per_file_byte"] = ratio;
    state.counters["file_MiB"] = static_cast<double>(size) / (1 << 20);
    state.SetLabel(keepBytes ? "file bytes kept" : "file bytes released after canonicalising");
}
BENCHMARK(BM_CanonicaliseAndReadPeakHeap)->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond)->Iterations(3);

// V 0..180 step 2.5, H 0..360 step 5: 145 × 145 texels.
void BM_TextureAndCdfFullSphere(benchmark::State& state) {
    Reading r;
    const std::string text = lamp(2.5f, 5.0f, 360.0f);
    r.file.read(text.c_str());
    std::int32_t wv = 0, hh = 0;
    for (auto _ : state) {
        r.file.generateTextureTypeC(wv, hh);
        r.file.generateIESLightCDF(wv, hh);
        benchmark::DoNotOptimize(r.file.phiCdf().data());
    }
    state.SetLabel(std::to_string(wv) + "x" + std::to_string(hh) + " texels");
}
BENCHMARK(BM_TextureAndCdfFullSphere)->Unit(benchmark::kMillisecond);

// Cost per texel against the angle count: a 37 × 73 lamp and a 721 × 1441 one (1441 × 2881
// texels), in the same run. The searches bisect, so the two should cost about the same per texel.
void BM_WebAndCdfPerTexel(benchmark::State& state) {
    const auto nV = static_cast<float>(state.range(0));
    const auto nH = static_cast<float>(state.range(1));
    Reading r;
    const std::string text = lamp(180.0f / (nV - 1), 360.0f / (nH - 1), 360.0f);
    r.file.read(text.c_str());
    std::int32_t wv = 0, hh = 0;
    for (auto _ : state) {
        r.file.generateTextureTypeC(wv, hh);
        r.file.generateIESLightCDF(wv, hh);
        benchmark::DoNotOptimize(r.file.phiCdf().data());
    }
    const double texels = static_cast<double>(wv) * hh;
    state.counters["ns_per_texel"] = benchmark::Counter(
        texels, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
    state.SetLabel(std::to_string(r.file.data()->verticalAngleCount) + "x" +
                   std::to_string(r.file.data()->horizontalAngleCount) + " angles, " +
                   std::to_string(wv) + "x" + std::to_string(hh) + " texels");
}
BENCHMARK(BM_WebAndCdfPerTexel)->Args({37, 73})->Args({721, 1441})->Unit(benchmark::kMillisecond);

void BM_TextureAndCdfLargestFile(benchmark::State& state) {
    std::string name;
    Reading r;
    r.file.read(IESFile::canonicalize(largestRealFile(name)).text.c_str());
    std::int32_t wv = 0, hh = 0;
    for (auto _ : state) {
        r.file.generateTextureTypeC(wv, hh);
        r.file.generateIESLightCDF(wv, hh);
        benchmark::DoNotOptimize(r.file.phiCdf().data());
    }
    state.SetLabel(name + ", " + std::to_string(wv) + "x" + std::to_string(hh) + " texels");
}
BENCHMARK(BM_TextureAndCdfLargestFile)->Unit(benchmark::kMillisecond);

// One sampler per symmetry mode; angles sweep the range so the index searches vary.
void BM_Sampler(benchmark::State& state) {
    const int which = static_cast<int>(state.range(0));
    Reading r;
    std::string text;
    switch (which) {
        case 0: text = lamp(2.5f, 5.0f, 355.0f); break;                // none
        case 1: text = lamp(2.5f, 5.0f, 180.0f); break;                // single, type C
        case 2: text = lamp(2.5f, 5.0f, 90.0f); break;                 // double
        case 3: text = lamp(2.5f, 5.0f, 0.0f); break;                  // axial
        default: text = lamp(5.0f, 5.0f, 90.0f, 2, -90, 90); break;   // single, type B
    }
    r.file.read(text.c_str());
    const IESFile& f = r.file;
    double theta = 0.0, phi = 0.0;
    for (auto _ : state) {
        float v = 0.0f;
        switch (which) {
            case 0: v = f.sampleDataNoSymmetry(theta, phi); break;
            case 1: v = f.sampleDataSingleSymmetryTypeC(theta, phi); break;
            case 2: v = f.sampleDataDoubleSymmetry(theta, phi); break;
            case 3: v = f.sampleDataAxisSymmetry(theta); break;
            default: v = f.sampleDataSingleSymmetryTypeAB(theta - 90.0, phi - 180.0); break;
        }
        benchmark::DoNotOptimize(v);
        theta += 0.731;
        if (theta > 180.0) theta -= 180.0;
        phi += 1.913;
        if (phi > 360.0) phi -= 360.0;
    }
    static const char* const kNames[] = {"none", "single C", "double", "axial", "single A/B"};
    state.SetLabel(kNames[which]);
}
BENCHMARK(BM_Sampler)->DenseRange(0, 4);

}  // namespace
