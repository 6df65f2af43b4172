// Golden outputs: the canonical text, the web texels and the light tables of every real lamp and
// of hand-made lamps that reach the awkward paths (unsorted or repeated angles, every symmetry,
// both photometric types, fine grids), pinned as FNV-1a hashes taken from the straightforward
// per-texel implementation before the generators were made fast. A changed bit anywhere shows.
// Regenerate (only after a deliberate change of results) with
//   VEXAKELO_PRINT_GOLDEN=1 build/photo/bin/test_photometry --gtest_filter='Golden*'
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "ies_test_util.h"

namespace {

namespace fs = std::filesystem;
using iestest::lamp;
using iestest::parse;
using iestest::steps;

struct Fnv {
    std::uint64_t h = 1469598103934665603ull;
    void bytes(const void* p, std::size_t n) {
        const auto* b = static_cast<const unsigned char*>(p);
        for (std::size_t i = 0; i < n; ++i) {
            h = (h ^ b[i]) * 1099511628211ull;
        }
    }
    template <class T>
    void values(const std::vector<T>& v) {
        const std::uint64_t n = v.size();
        bytes(&n, sizeof n);
        bytes(v.data(), v.size() * sizeof(T));
    }
};

// Texels, sizes and every table, as initShader would make them.
std::uint64_t tablesHash(IESFile& file) {
    std::int32_t wv = 0, hh = 0;
    if (file.data()->photometricType == 1) {
        file.generateTextureTypeC(wv, hh);
    } else {
        file.generateTextureTypeAB(wv, hh);
    }
    file.generateIESLightCDF(wv, hh);
    Fnv f;
    f.bytes(&wv, sizeof wv);
    f.bytes(&hh, sizeof hh);
    f.values(file.webTexels());
    f.values(file.marginal());
    f.values(file.thetaCdf());
    f.values(file.phiCdf());
    const float total = file.cdfTotal();
    f.bytes(&total, sizeof total);
    return f.h;
}

std::uint64_t canonicalHash(const IESFile::Canonical& c) {
    Fnv f;
    f.bytes(c.text.data(), c.text.size());
    f.bytes(&c.changes, sizeof c.changes);
    f.bytes(&c.droppedLines, sizeof c.droppedLines);
    return f.h;
}

bool printing() { return std::getenv("VEXAKELO_PRINT_GOLDEN") != nullptr; }

void check(const char* what, const std::string& name, std::uint64_t actual,
           std::uint64_t expected) {
    if (printing()) {
        std::printf("%s %s 0x%016llxull\n", what, name.c_str(),
                    static_cast<unsigned long long>(actual));
        return;
    }
    EXPECT_EQ(actual, expected) << what << " of " << name << std::hex << ": 0x" << actual;
}

struct Golden {
    const char* name;
    std::uint64_t canonical;
    std::uint64_t tables;
};

// clang-format off
const Golden kRealFiles[] = {
    {"lm1986_erco_end_ctrlz_one_per_line.ies",
     0x34a7e4823a6d693eull, 0x2e89f8eb5ede8488ull},
    {"lm1986_erco_dash_labels_0_90.ies",
     0xb2f892cf7b314241ull, 0x19bf25a109ef1824ull},
    {"lm1986_report_header_trailing_tab.ies",
     0x756d3ccfbc8ee667ull, 0xd24b11338db1ef45ull},
    {"iesna91_split_lamp_line.ies",
     0x7778f8e017904565ull, 0xf2f6f5e65a222da5ull},
    {"iesna91_commas_one_per_line.ies",
     0x4ba2e36bd4cf61ecull, 0xea0256d61b488760ull},
    {"iesna91_axial_36.ies",
     0x18daad2a7a8581d1ull, 0x2353fccace2de1cdull},
    {"iesna95_sccsid_line_0_90.ies",
     0xa926b3ca9d03e3baull, 0xbbde94b96598c189ull},
    {"lm95_leading_blanks_axial.ies",
     0xb15c0dc0c6ccdad8ull, 0x55653f3236f96685ull},
    {"lm95_long_line_504_axial.ies",
     0x41ebd2fa0bf4ba5full, 0x059a733d10191bb5ull},
    {"lm95_0_180_mult_nonuniform_v.ies",
     0xc75353ac0432870full, 0xcfcd12fdbb0dd990ull},
    {"lm95_vertical_0_180_axial.ies",
     0x9317ad73ee57dc87ull, 0xf202aedf56814302ull},
    {"lm95_8lamps_0_90.ies",
     0xbf6dd6285bc4b39dull, 0x74a9067403e3f724ull},
    {"lm95_lamp_line_split_5_5.ies",
     0xe16cc79c8cac5b8eull, 0x38015b4617931c92ull},
    {"lm95_h90_270.ies",
     0x20f8cf4ff64b8c45ull, 0x163f0c960a4566e5ull},
    {"lm95_huge_263x361_crlf.ies",
     0x4e5da5c444ad6b3aull, 0x1e1a40dd325d5af8ull},
    {"lm02_tabs_0_180.ies",
     0x06c58f365552172full, 0x1bb53abfcd36b4bdull},
    {"lm02_0_180_crlf.ies",
     0xd0502b75ed7415f5ull, 0x8ac8af8a1d7b623dull},
    {"lm02_axial_absolute_crlf.ies",
     0xa2bc9692c3422143ull, 0x69cf95395df51c02ull},
    {"lm02_0_90_mult_crlf.ies",
     0x6786bc52b91de0aaull, 0xf04992fbca4f1e76ull},
    {"lm02_0_360_crlf.ies",
     0x32ffa7d4da89d6efull, 0xe947cd993a8dfe29ull},
    {"lm02_roadway_199x38_crlf.ies",
     0x9025f5a8bdb3bc53ull, 0xabefc5b7c141c390ull},
    {"lm02_typeB_0_90_crlf.ies",
     0xcadf8e9e23c445fcull, 0x65f81b11ce26d86aull},
    {"lm02_typeB_m90_90_crlf.ies",
     0x26561cdc769b5e60ull, 0x423ebffe6f86544full},
    {"lm02_tabs_negative_lamps_0_355.ies",
     0x30a6d09a70df7970ull, 0xfe0582a24521ebb4ull},
    {"lm02_single_line_1196_axial.ies",
     0x454184fe2ea00dc2ull, 0x8d582aba6f0e8749ull},
    {"lm02_long_lines_0_360.ies",
     0x9635ff16c354b2e1ull, 0x6addc3c03298d13cull},
    {"lm02_two_hangles_0_90.ies",
     0x8347bcadacbefff0ull, 0x9cb1c2df88813c67ull},
    {"lm02_tilt_include_synthetic.ies",
     0xeaaf76a9dfc965f6ull, 0x15a911d078f2f433ull},
    {"lm95_synthetic_mult_crlf.ies",
     0xb9516c51c944b9b3ull, 0x0bcc2a51ca152e04ull},
};
// clang-format on

fs::path locate(const char* name) {
    const fs::path local = fs::path(VEXAKELO_SOURCE_DIR) / "tests/data/ies" / name;
    if (fs::exists(local)) return local;
    return fs::path(VEXAKELO_SHARED_DIR) / "testdata/ies" / name;
}

std::string slurp(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

TEST(GoldenTables, RealLampsKeepTheirCanonicalTextTexelsAndTables) {
    int seen = 0;
    for (const Golden& g : kRealFiles) {
        const fs::path path = locate(g.name);
        if (!fs::exists(path)) continue;  // shared data absent: nothing to compare
        ++seen;
        const IESFile::Canonical c = IESFile::canonicalize(slurp(path));
        check("canonical", g.name, canonicalHash(c), g.canonical);
        const auto p = parse(c.text);
        check("tables", g.name, tablesHash(p->file), g.tables);
    }
    EXPECT_GE(seen, 17);  // the project's own copies at least
}

// A grid with structure in both directions, a negative cell and a few zero columns, so that the
// marginal floor, the clamp below zero and the mirrored rows all matter.
float candela(int h, int v) {
    if (v % 11 == 7) return 0.0f;
    if (h == 1 && v == 2) return -40.0f;
    return 100.0f + static_cast<float>((v * 37 + h * 11) % 400) + 0.25f * static_cast<float>(h);
}

struct Synthetic {
    const char* name;
    std::vector<float> v, h;
    int type;
    std::uint64_t tables;
};

std::vector<float> fineSteps(float first, float last, float step) {
    std::vector<float> out;
    for (int k = 0; first + k * step <= last + 1e-3f; ++k) out.push_back(first + k * step);
    return out;
}

// clang-format off
const Synthetic kSynthetic[] = {
    {"full sphere",            steps(0, 180, 2.5f),  steps(0, 360, 5),   1, 0x304deacbc1b325e9ull},
    {"0-355",                  steps(0, 180, 5),     steps(0, 355, 5),   1, 0x69bb3dae7a330816ull},
    {"single 0-180",           steps(0, 90, 2.5f),   steps(0, 180, 10),  1, 0x58ea211b110f0605ull},
    {"single 90-270",          steps(0, 90, 5),      steps(90, 270, 15), 1, 0xe142b1559783cb6eull},
    {"double 0-90",            steps(0, 180, 5),     steps(0, 90, 15),   1, 0xe79873a6020f5601ull},
    {"axial",                  steps(0, 180, 1),     {0},                1, 0xe67ed40666fdebabull},
    {"axial 0 and 360",        steps(0, 90, 5),      {0, 360},           1, 0x22750e3c1835a0f1ull},
    {"one vertical angle",     {0},                  steps(0, 360, 45),  1, 0x09496bb6034049caull},
    {"non-uniform",            {0, 1, 3, 7, 15, 31, 63, 90, 120, 180},
                               {0, 5, 20, 45, 90, 135, 170, 180},         1, 0xd4863b33299cb3a4ull},
    {"unsorted vertical",      {0, 30, 20, 60, 90, 75, 180},
                               steps(0, 360, 22.5f),                      1, 0x36061fd606464cb1ull},
    {"unsorted horizontal",    steps(0, 90, 10),     {0, 90, 45, 180},   1, 0x572029edb2dd5c15ull},
    {"unsorted double",        steps(0, 90, 10),     {0, 60, 30, 90},    1, 0x47fcd5535b499881ull},
    {"repeated angles",        {0, 10, 10, 20, 40, 90},
                               {0, 30, 30, 90, 180, 270, 360},           1, 0xc2e7407357489fe6ull},
    {"fine 0.7 degrees",       fineSteps(0, 180, 0.7f), fineSteps(0, 360, 3.3f), 1, 0x370ba75ea41691f5ull},
    {"fine 91x181",            steps(0, 180, 2),     steps(0, 360, 2),   1, 0xd732cce2ad00086cull},
    {"type B half",            steps(-90, 90, 5),    steps(0, 90, 5),    2, 0x27b67b9bc70eef5bull},
    {"type B negative half",   steps(-90, 90, 10),   steps(-90, 0, 10),  2, 0x347aaf860ace7615ull},
    {"type B full",            steps(-90, 90, 10),   steps(-90, 90, 10), 2, 0x55d37b18064f3fd6ull},
    {"type A unsorted",        {-90, -30, -45, 0, 45, 90}, {0, 45, 30, 90}, 3, 0x272f3040334e779eull},
};
// clang-format on

TEST(GoldenTables, HandMadeLampsKeepTheirTexelsAndTables) {
    for (const Synthetic& s : kSynthetic) {
        const auto p = parse(lamp(s.v, s.h, candela, s.type));
        ASSERT_NE(p->file.data(), nullptr) << s.name;
        check("tables", s.name, tablesHash(p->file), s.tables);
    }
}

// Texts that make the canonicaliser change each thing it can change.
struct Odd {
    const char* name;
    const char* text;
    std::uint64_t canonical;
};

// clang-format off
const Odd kOddTexts[] = {
    {"crlf, commas, split luminaire line",
     "IESNA:LM-63-1995\r\n[TEST] a\r\ntilt=none\r\n1 1000 1 3 2\r\n1 2 0 0 0\r\n1,1,40\r\n"
     "0, 45, 90\r\n0 90\r\n10 20 30\r\n40 50 60\r\n", 0x911fd059fb1e19f0ull},
    {"run-together numbers, trailing lines",
     "IESNA:LM-63-1995\nTILT=NONE\n1 1000 1 3 1 1 2 0 0 0 1 1 40 0 45 90 0\n1.2.3 4.5e1\nEND\n\x1a", 0xed3e111984f2ac88ull},
    {"tilt include, lone CR endings",
     "IESNA:LM-63-2002\rTILT=INCLUDE\r1\r3\r0 45 90\r1 0.9 0.8\r1 1000 1 2 1 1 2 0 0 0\r1 1 40\r"
     "0 90\r0\r5 6\r", 0x119caf2885333fdbull},
};
// clang-format on

TEST(GoldenTables, CanonicalTextOfOddLayouts) {
    for (const Odd& o : kOddTexts) {
        check("canonical", o.name, canonicalHash(IESFile::canonicalize(o.text)), o.canonical);
    }
    // A long line of candela values, wrapped.
    std::string wide = "TILT=NONE\n1 1000 1 200 1 1 2 0 0 0\n1 1 40\n";
    for (int i = 0; i < 200; ++i) wide += std::to_string(i * 0.9) + ' ';
    wide += "\n0\n";
    for (int i = 0; i < 200; ++i) wide += std::to_string(1000 + i * 7) + ' ';
    check("canonical", "long lines", canonicalHash(IESFile::canonicalize(wide)),
          0x107a6980ba86c9fdull);
}

}  // namespace
