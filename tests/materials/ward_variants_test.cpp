// The nine Ward variants: their declarations against an expansion of the table of trees written
// here from the node kinds' parameter lists, their sizes, bit-for-bit agreement with the base
// Ward material wherever no tree is switched on, and each tree reaching the input it feeds with
// the base's amounts applied.
#include <cstring>
#include <string>
#include <vector>

#include "material_presets.h"
#include "material_support.h"
#include "support/ward_trees.h"

namespace materials_test {
namespace {

using Call = vkhost::ScriptedContext::Call;
using Values = std::vector<std::pair<std::string, ParamValue>>;
using vkhost::ParamType;
constexpr const char* kWard = "vexa_kelo_Mtl_Ward";

// --- An independent expansion of the table --------------------------------------------------

struct Expected {
    std::string name;
    ParamType type;
};

struct TreeExpander {
    const std::string& text;
    std::size_t at = 0;
    std::vector<Expected>& out;

    std::string word() {
        while (text[at] == ' ' || text[at] == ',' || text[at] == '(' || text[at] == ')') {
            ++at;
        }
        const std::size_t start = at;
        while (at < text.size() && std::isalnum(static_cast<unsigned char>(text[at]))) {
            ++at;
        }
        return text.substr(start, at - start);
    }
    void add(const std::string& p, std::initializer_list<std::pair<const char*, ParamType>> list) {
        for (const auto& [n, t] : list) {
            out.push_back({p + n, t});
        }
    }
    // An input: a constant colour of its own name or the child's parameters in its place.
    void input(const std::string& path) {
        const std::string kind = word();
        if (kind == "const") {
            out.push_back({path, ParamType::Vec4f});
        } else {
            node(kind, path + "_");
        }
    }
    void node(const std::string& kind, const std::string& prefix) {
        const ParamType F = ParamType::Float, I = ParamType::Int, B = ParamType::Bool;
        const std::string p = prefix + (kind == "UB" ? "UnifiedBitmap" : kind) + "_";
        out.push_back({p + "xform", ParamType::Mat4f});
        if (kind == "UB") {
            add(p, {{"texture", ParamType::Texture2D}, {"amount", F}, {"isCube", B}});
        } else if (kind == "Noise") {
            add(p, {{"type", I}});
            input(p + "color1");
            input(p + "color2");
            add(p, {{"size", F},
                    {"thresholdLow", F},
                    {"thresholdHigh", F},
                    {"levels", F},
                    {"phase", F}});
        } else {
            ASSERT_EQ(kind, "Tile");
            // clang-format off
            add(p, {{"verticalCount", F}, {"horizontalCount", F}, {"colorVariance", F},
                    {"fadeVariance", F}, {"horizontalGap", F}, {"verticalGap", F},
                    {"edgeRoughness", F}, {"randomSeed", I}, {"lineShift", F},
                    {"randomShift", F}, {"changeRow", F}, {"perRow", I}, {"useColumnEdit", B},
                    {"useRowEdit", B}, {"changeColumn", F}, {"perColumn", I}, {"holes", I},
                    {"brickHeight", F}, {"brickWidth", F}, {"repeatX", B}, {"repeatY", B}});
            // clang-format on
            input(p + "brickColor");
            input(p + "mortarColor");
        }
    }
};

std::vector<Expected> expand(const char* diffuse, const char* normal0, const char* cutout) {
    std::vector<Expected> out;
    const std::pair<const char*, const char*> roots[] = {{"_ward_diffuse_color_", diffuse},
                                                         {"_ward_normal0_map_", normal0},
                                                         {"_ward_cutout_map_", cutout}};
    for (const auto& [prefix, tree] : roots) {
        if (*tree != '\0') {
            const std::string text = tree;
            TreeExpander e{text, 0, out};
            e.node(e.word(), prefix);
        }
    }
    return out;
}

struct VariantRow {
    const char* name;
    const char* diffuse;
    const char* normal0;
    const char* cutout;
    std::size_t size;
};

// clang-format off
const VariantRow kTable[] = {
    {"vexa_kelo_Mtl_Ward_120b7820", "Noise(const, const)", "", "", 1264},
    {"vexa_kelo_Mtl_Ward_33632204", "Noise(Noise(UB, UB), Noise(UB, UB))", "Noise(Noise(UB, UB), Noise(UB, UB))", "", 2376},
    {"vexa_kelo_Mtl_Ward_5592d496", "Noise(UB, UB)", "UB", "", 1504},
    {"vexa_kelo_Mtl_Ward_5ba0bfff", "", "Noise(const, const)", "", 1264},
    {"vexa_kelo_Mtl_Ward_82261344", "Noise(UB, UB)", "", "UB", 1504},
    {"vexa_kelo_Mtl_Ward_aa598cb4", "Noise(UB, UB)", "Noise(UB, UB)", "", 1680},
    {"vexa_kelo_Mtl_Ward_b9aac246", "Noise(Tile(UB, UB), Tile(UB, UB))", "UB", "", 1960},
    {"vexa_kelo_Mtl_Ward_ccb3a2e6", "Noise(UB, UB)", "", "", 1416},
    {"vexa_kelo_Mtl_Ward_f05db29e", "Tile(UB, UB)", "UB", "", 1552},
};
// clang-format on

std::size_t alignmentOf(ParamType t) {
    return t == ParamType::Bool ? 1 : (t == ParamType::Texture2D ? 8 : 4);
}

TEST(WardVariants, DeclarationsFollowTheTreesAndTheBase) {
    const vkhost::ShaderPtr base = library().create(kWard);
    const vkhost::ShaderLayout b = vkhost::declareLayout(base.get());
    ASSERT_EQ(b.parameters.size(), 90u);
    const std::size_t lastBaseEnd = b.parameters.back().offset + b.parameters.back().width;
    for (const VariantRow& row : kTable) {
        SCOPED_TRACE(row.name);
        std::size_t size = 0;
        const vkhost::ShaderPtr shader = library().create(row.name, &size);
        EXPECT_EQ(size, row.size);
        const vkhost::ShaderLayout v = vkhost::declareLayout(shader.get());
        EXPECT_EQ(v.flags, 0x0F);
        ASSERT_EQ(v.varyings.size(), b.varyings.size());
        for (std::size_t i = 0; i < b.varyings.size(); ++i) {
            EXPECT_EQ(v.varyings[i].name, b.varyings[i].name);
            EXPECT_EQ(v.varyings[i].offset, b.varyings[i].offset);
        }
        const std::vector<Expected> nodes = expand(row.diffuse, row.normal0, row.cutout);
        ASSERT_EQ(v.parameters.size(), 90 + nodes.size());
        for (std::size_t i = 0; i < 90; ++i) {
            EXPECT_EQ(v.parameters[i].name, b.parameters[i].name);
            EXPECT_EQ(v.parameters[i].offset, b.parameters[i].offset);
            EXPECT_EQ(v.parameters[i].type, b.parameters[i].type);
        }
        // Node parameters flat after the last base field, rising, each at its alignment.
        std::size_t end = lastBaseEnd;
        for (std::size_t i = 0; i < nodes.size(); ++i) {
            const vkhost::Declaration& d = v.parameters[90 + i];
            EXPECT_EQ(d.name, nodes[i].name) << "node parameter " << i;
            EXPECT_EQ(d.type, nodes[i].type) << d.name;
            const std::size_t a = alignmentOf(d.type);
            EXPECT_EQ(d.offset, (end + a - 1) / a * a) << d.name;
            end = d.offset + d.width;
        }
        EXPECT_EQ((end + 7) / 8 * 8, size);
    }
    // The biggest tree pair, counted by hand: 2 x (7 + 2 x (7 + 2 x 4)) node parameters.
    const vkhost::ShaderPtr big = library().create("vexa_kelo_Mtl_Ward_33632204");
    EXPECT_EQ(vkhost::declareLayout(big.get()).parameters.size(), 164u);
}

TEST(WardVariants, CreateEmptiesEveryTextureHandleAndKeepsTheBaseDefaults) {
    const vkhost::ShaderPtr base = library().create(kWard);
    const vkhost::ShaderLayout b = vkhost::declareLayout(base.get());
    const vkhost::ParameterBlock baseDefaults(kWard, b, base.get());
    for (const VariantRow& row : kTable) {
        SCOPED_TRACE(row.name);
        const vkhost::ShaderPtr shader = library().create(row.name);
        const vkhost::ShaderLayout v = vkhost::declareLayout(shader.get());
        const vkhost::ParameterBlock defaults(row.name, v, shader.get());
        for (std::size_t i = 0; i < v.parameters.size(); ++i) {
            const vkhost::Declaration& d = v.parameters[i];
            if (i < 90) {
                EXPECT_EQ(vkhost::formatValue(defaults.get(d)),
                          vkhost::formatValue(baseDefaults.get(b.parameters[i])))
                    << d.name;
            } else if (d.type == ParamType::Texture2D) {
                const ParamValue value = defaults.get(d);
                const auto& h = std::get<vyr::TextureHandle>(value);
                EXPECT_EQ(h.object(), nullptr) << d.name;
                EXPECT_EQ(h.id(), -1) << d.name;
            }
        }
    }
}

// --- Agreement with the base ------------------------------------------------------------------

Values treesOn(const std::string& name, const vyr::TextureHandle& map) {
    const vkhost::ShaderPtr probe = library().create(name);
    return vktest::treeValues(vkhost::declareLayout(probe.get()), map);
}

Values operator+(Values a, const Values& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

// Everything the four slots write and ask the context, over rays from both sides and both
// sampling modes.
struct Trace {
    std::vector<vyr::ShadingState> states;
    std::vector<vkhost::ScriptedContext::Record> calls;
};

enum SlotMask { kShade = 1, kShadow = 2, kEvaluate = 4, kSample = 8, kAll = 15 };

Trace trace(const Material& m, int slots = kAll) {
    Trace t;
    vkhost::ScriptedContext ctx;
    ctx.glossyReflectionResult = {0.5f, 0.6f, 0.7f};
    ctx.glossyRefractionResult = {0.2f, 0.3f, 0.4f};
    ctx.noise4Result = 0.37f;
    ctx.noise2Result = 0.61f;
    ctx.randomOfResult = 0.23f;
    ctx.randoms = {0.3f, 0.7f, 0.1f, 0.9f, 0.55f};
    ctx.setLights({{{0.0f, 0.6f, 0.8f}, 1.0f, {1.0f, 1.0f, 1.0f}, nullptr},
                   {{0.6f, 0.0f, -0.8f}, 0.5f, {1.0f, 0.5f, 0.25f}, nullptr}});
    const Vec3f rays[] = {{0.6f, 0.0f, -0.8f}, {0.0f, -0.28f, -0.96f}, {0.6f, 0.0f, 0.8f}};
    const vyr::Vec2f uvs[] = {{0.3f, 0.7f}, {0.91f, 0.13f}};
    for (const Vec3f& I : rays) {
        for (const vyr::Vec2f uv : uvs) {
            for (const bool mixed : {false, true}) {
                vyr::ShadingState s = stateWithRay(I);
                s.uv = uv;
                s.bsdfDir = {0.0f, 0.6f, 0.8f};
                setRequest(s, mixed, true);
                if (slots & kShade) {
                    m->shade(&ctx, &s);
                    t.states.push_back(s);
                }
                if (slots & kShadow) {
                    m->shadow(&ctx, &s);
                    t.states.push_back(s);
                }
                if (slots & kEvaluate) {
                    m->evaluateBsdf(&ctx, &s);
                    t.states.push_back(s);
                }
                if (slots & kSample) {
                    m->sampleBsdf(&ctx, &s);
                    t.states.push_back(s);
                }
            }
        }
    }
    t.calls = ctx.calls;
    return t;
}

void expectSameTrace(const Trace& a, const Trace& b) {
    ASSERT_EQ(a.states.size(), b.states.size());
    for (std::size_t i = 0; i < a.states.size(); ++i) {
        EXPECT_TRUE(sameBytes(a.states[i], b.states[i])) << "state " << i;
    }
    ASSERT_EQ(a.calls.size(), b.calls.size());
    for (std::size_t i = 0; i < a.calls.size(); ++i) {
        EXPECT_EQ(std::memcmp(&a.calls[i], &b.calls[i], sizeof a.calls[i]), 0) << "call " << i;
    }
}

// The base with every map on except the three a tree can replace.
Values baseWithTreeSwitchesOff(const vyr::TextureHandle& map) {
    Values v;
    for (auto& [key, value] : vkhost::wardFullyMapped(map)) {
        v.emplace_back(key, value);
    }
    v.emplace_back("u_brdf90Reflectivity", 0.6f);
    for (const char* key : vktest::kTreeSwitches) {
        v.emplace_back(key, false);
    }
    return v;
}

TEST(WardVariants, ShadeAsTheBaseWithTheirSwitchesOffOrTheirNodesUnset) {
    const vyr::TextureHandle map = constantTexture({0.5f, 0.4f, 0.3f});
    const Values base = baseWithTreeSwitchesOff(map);
    const Trace reference = trace(makeMaterial(kWard, base));
    for (const char* name : vktest::kWardVariants) {
        SCOPED_TRACE(name);
        {
            SCOPED_TRACE("switches off, trees set");
            expectSameTrace(trace(makeMaterial(name, base + treesOn(name, map))), reference);
        }
        {
            SCOPED_TRACE("nodes never set");
            expectSameTrace(trace(makeMaterial(name, base)), reference);
        }
    }
}

TEST(WardVariants, NormalTreeVariantCastsTheBasesShadows) {
    const vyr::TextureHandle map = constantTexture({0.5f, 0.4f, 0.3f});
    const char* name = "vexa_kelo_Mtl_Ward_5ba0bfff";
    Values v;
    for (auto& [key, value] : vkhost::wardFullyMapped(map)) {
        v.emplace_back(key, value);
    }
    for (const bool transparent : {false, true}) {
        SCOPED_TRACE(transparent);
        const Values values = v + Values{{"u_transparency", transparent}};
        expectSameTrace(trace(makeMaterial(name, values + treesOn(name, map)), kShadow),
                        trace(makeMaterial(kWard, values), kShadow));
    }
}

// --- Each tree reaches its input --------------------------------------------------------------

// Returns the uv it is asked for, with fixed blue and alpha.
struct EchoTexture final : vyr::Texture {
    void sample(vyr::Vec4f* out, const vyr::Vec2f* uv) const override {
        *out = {uv->x, uv->y, 0.25f, 0.5f};
    }
};

const vyr::Mat3f kSkew{{2.0f, 0.5f, 0.0f, 0.25f, 3.0f, 0.0f, 0.7f, 0.1f, 1.0f}};

Vec3f bsdfWeightAt(const Material& m, vyr::Vec2f uv) {
    vkhost::ScriptedContext ctx;
    vyr::ShadingState s = stateWithRay({0.6f, 0.0f, -0.8f});
    s.uv = uv;
    s.bsdfDir = {0.0f, 0.6f, 0.8f};
    m->evaluateBsdf(&ctx, &s);
    return s.bsdfWeight;
}

void expectSameVec(Vec3f a, Vec3f b) {
    EXPECT_EQ(a.x, b.x);
    EXPECT_EQ(a.y, b.y);
    EXPECT_EQ(a.z, b.z);
}

// A Noise whose thresholds pick color1 everywhere.
Values pickColor1(const std::string& noise) {
    return {{noise + "xform", vktest::kIdentity4},
            {noise + "size", 1.0f},
            {noise + "thresholdLow", 2.0f},
            {noise + "thresholdHigh", 2.0f}};
}

TEST(WardVariants, DiffuseTreeStandsForTheMapLookUpUnderTheBasesAmount) {
    const Values common = {{"u_brdf90Reflectivity", 0.5f},
                           {"u_diffuseMapEnable", true},
                           {"u_diffuseAmount", 0.5f},
                           {"u_diffuseTransform", kSkew}};
    const vyr::Vec2f uv{0.5f, 0.25f};
    // Constant colours: color1 (0.2, 0.4, 0.6) halved by the base's amount.
    const Material constant =
        makeMaterial("vexa_kelo_Mtl_Ward_120b7820",
             common + pickColor1("_ward_diffuse_color_Noise_") +
                 Values{{"_ward_diffuse_color_Noise_color1", vyr::Vec4f{0.2f, 0.4f, 0.6f, 1.0f}},
                        {"_ward_diffuse_color_Noise_color2", vyr::Vec4f{9.0f, 9.0f, 9.0f, 9.0f}}});
    const Material plain =
        makeMaterial(kWard, {{"u_brdf90Reflectivity", 0.5f}, {"u_diffuseColor", Vec3f{0.1f, 0.2f, 0.3f}}});
    expectSameVec(bsdfWeightAt(constant, uv), bsdfWeightAt(plain, uv));

    // A bitmap at the raw uv, not through u_diffuseTransform: (u, v, 0.25) halved.
    EchoTexture echo;
    const auto texture = vyr::TextureHandle::fromObject(&echo, 1);
    const std::string ub = "_ward_diffuse_color_Noise_color1_UnifiedBitmap_";
    const Material bitmap =
        makeMaterial("vexa_kelo_Mtl_Ward_ccb3a2e6", common + pickColor1("_ward_diffuse_color_Noise_") +
                                                Values{{ub + "xform", vktest::kIdentity4},
                                                       {ub + "texture", texture},
                                                       {ub + "amount", 1.0f}});
    const Material echoed = makeMaterial(
        kWard, {{"u_brdf90Reflectivity", 0.5f}, {"u_diffuseColor", Vec3f{0.25f, 0.125f, 0.125f}}});
    expectSameVec(bsdfWeightAt(bitmap, uv), bsdfWeightAt(echoed, uv));
}

TEST(WardVariants, NormalTreeStandsForTheHeightMapUnderTheBasesAmount) {
    EchoTexture echo;
    const auto texture = vyr::TextureHandle::fromObject(&echo, 1);
    const Values common = {{"u_brdf90Reflectivity", 0.5f},
                           {"u_diffuseColor", Vec3f{0.5f, 0.5f, 0.5f}},
                           {"u_normal0MapEnable", true},
                           {"u_normal0Amount", 0.3f},
                           {"u_cosineUsesBump", true}};
    const std::string ub = "_ward_normal0_map_UnifiedBitmap_";
    const Material variant =
        makeMaterial("vexa_kelo_Mtl_Ward_5592d496", common + Values{{"u_normal0Transform", kSkew},
                                                            {ub + "xform", vktest::kIdentity4},
                                                            {ub + "texture", texture},
                                                            {ub + "amount", 1.0f}});
    const Material mapped =
        makeMaterial(kWard, common + Values{{"u_normal0Map", texture}, {"u_normal0Transform", kIdentity}});
    const Material flat = makeMaterial(kWard, common);
    expectSameTrace(trace(variant), trace(mapped));
    // The bump is real: the unmapped surface shades differently.
    EXPECT_FALSE(sameBytes(trace(variant, kShade).states[0], trace(flat, kShade).states[0]));
}

TEST(WardVariants, CutoutTreeStandsForTheMapLookUpUnderTheBasesAmount) {
    const vyr::TextureHandle grey = constantTexture({0.4f, 0.4f, 0.4f});
    const std::string ub = "_ward_cutout_map_UnifiedBitmap_";
    for (const float amount : {1.0f, 0.5f}) {
        const Material variant =
            makeMaterial("vexa_kelo_Mtl_Ward_82261344", {{"u_cutoutMapEnable", true},
                                                 {"u_cutoutAmount", 0.5f},
                                                 {"u_cutoutTransform", kSkew},
                                                 {ub + "xform", vktest::kIdentity4},
                                                 {ub + "texture", grey},
                                                 {ub + "amount", amount}});
        vkhost::ScriptedContext ctx;
        vyr::ShadingState s = stateWithRay({0.0f, 0.0f, -1.0f});
        variant->shadow(&ctx, &s);
        // 1 - 0.4 x amount x 0.5.
        const float pass = amount == 1.0f ? 0.8f : 0.9f;
        expectVec(s.shadowTransmit, {pass, pass, pass}, 1e-6f);
    }
}

TEST(WardVariants, ChildrenFirstColor1BeforeColor2) {
    // Sizes 1, 2 and 4 tell the three Noise nodes apart by the point each hands the host.
    const std::string root = "_ward_diffuse_color_Noise_";
    Values v = {{"u_brdf90Reflectivity", 0.5f},
                {"u_diffuseMapEnable", true},
                {root + "xform", vktest::kIdentity4},
                {root + "size", 4.0f},
                {root + "color1_Noise_xform", vktest::kIdentity4},
                {root + "color1_Noise_size", 1.0f},
                {root + "color2_Noise_xform", vktest::kIdentity4},
                {root + "color2_Noise_size", 2.0f}};
    const Material m = makeMaterial("vexa_kelo_Mtl_Ward_33632204", v);
    vkhost::ScriptedContext ctx;
    vyr::ShadingState s = stateWithRay({0.6f, 0.0f, -0.8f});
    s.uv = {0.5f, 0.25f};
    s.bsdfDir = {0.0f, 0.6f, 0.8f};
    m->evaluateBsdf(&ctx, &s);
    std::vector<float> xs;
    for (const auto& r : ctx.calls) {
        if (r.call == Call::Noise4) {
            xs.push_back(r.a.x);
        }
    }
    EXPECT_EQ(xs, (std::vector<float>{0.5f, 0.25f, 0.125f}));
}

}  // namespace
}  // namespace materials_test
