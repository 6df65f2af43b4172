// The machinery behind the Ward variants: a variant is named by the trees feeding three of the
// base's look-ups,
//   WardVariant<Self, "b9aac246", Noise<Tile<UB, UB>, Tile<UB, UB>>, UB, None>
//   (diffuse colour, first normal map, cutout map; None keeps the base's own look-up),
// and everything else follows from those types at compile time:
// - keys by the path rule: "_ward_diffuse_color_" + "Noise_" + "color1_" + "Tile_" + "xform";
//   a colour input fed by a child is replaced in place by the child's parameters, a Const input
//   is a Vec4f parameter of the input's own name;
// - the layout: node parameters flat in that same depth-first order at natural alignment,
//   starting right after the last base field (inside what is WardParams' tail padding);
// - the declaration table (the 90 base lines, then the node lines) over one key string that
//   lives as long as the library;
// - evaluation as straight inlined calls, children first, inputs left to right.
#pragma once

#include <array>
#include <cstddef>
#include <new>
#include <span>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>

#include "frame/parameter_table.h"
#include "materials/ward/nodes.h"
#include "materials/ward/ward_params.h"
#include "materials/ward/ward_shading.h"

namespace vexakelo::tree {

// --- Node kinds: their parameters in declaration order --------------------------------------

// A parameter of a node, or (input >= 0) a colour input that a child node may feed.
struct Slot {
    std::string_view name;
    ParamType type;
    int input = -1;
};

// clang-format off
struct UnifiedBitmapKind {
    static constexpr std::string_view kName = "UnifiedBitmap";
    static constexpr Slot kSlots[] = {
        {"xform", ParamType::Mat4f},
        {"texture", ParamType::Texture2D},
        {"amount", ParamType::Float},
        {"isCube", ParamType::Bool},
    };
};

struct NoiseKind {
    static constexpr std::string_view kName = "Noise";
    static constexpr Slot kSlots[] = {
        {"xform", ParamType::Mat4f},           {"type", ParamType::Int},
        {"color1", ParamType::Vec4f, 0},       {"color2", ParamType::Vec4f, 1},
        {"size", ParamType::Float},            {"thresholdLow", ParamType::Float},
        {"thresholdHigh", ParamType::Float},   {"levels", ParamType::Float},
        {"phase", ParamType::Float},
    };
};

struct TileKind {
    static constexpr std::string_view kName = "Tile";
    static constexpr Slot kSlots[] = {
        {"xform", ParamType::Mat4f},
        {"verticalCount", ParamType::Float},   {"horizontalCount", ParamType::Float},
        {"colorVariance", ParamType::Float},   {"fadeVariance", ParamType::Float},
        {"horizontalGap", ParamType::Float},   {"verticalGap", ParamType::Float},
        {"edgeRoughness", ParamType::Float},   {"randomSeed", ParamType::Int},
        {"lineShift", ParamType::Float},       {"randomShift", ParamType::Float},
        {"changeRow", ParamType::Float},       {"perRow", ParamType::Int},
        {"useColumnEdit", ParamType::Bool},    {"useRowEdit", ParamType::Bool},
        {"changeColumn", ParamType::Float},    {"perColumn", ParamType::Int},
        {"holes", ParamType::Int},
        {"brickHeight", ParamType::Float},     {"brickWidth", ParamType::Float},
        {"repeatX", ParamType::Bool},          {"repeatY", ParamType::Bool},
        {"brickColor", ParamType::Vec4f, 0},   {"mortarColor", ParamType::Vec4f, 1},
    };
};
// clang-format on

// The slot of a parameter by name, checked when compiling.
template <class Kind>
consteval std::size_t slotIndex(std::string_view name) {
    for (std::size_t i = 0; i < std::size(Kind::kSlots); ++i) {
        if (Kind::kSlots[i].name == name) {
            return i;
        }
    }
    throw "no such node parameter";
}

// --- Tree vocabulary ------------------------------------------------------------------------

struct None {};   // the input keeps the base material's own look-up
struct Const {};  // a constant colour input
struct UB {
    using Kind = UnifiedBitmapKind;
    using Inputs = std::tuple<>;
};
template <class Color1, class Color2>
struct Noise {
    using Kind = NoiseKind;
    using Inputs = std::tuple<Color1, Color2>;
};
template <class BrickColor, class MortarColor>
struct Tile {
    using Kind = TileKind;
    using Inputs = std::tuple<BrickColor, MortarColor>;
};

// The node feeding slot I of Node; void for an ordinary parameter.
template <class Node, std::size_t I, bool = (Node::Kind::kSlots[I].input >= 0)>
struct SlotChild {
    using type = void;
};
template <class Node, std::size_t I>
struct SlotChild<Node, I, true> {
    using type = std::tuple_element_t<Node::Kind::kSlots[I].input, typename Node::Inputs>;
};

// Whether slot I is a field of the node itself (a parameter or a constant colour).
template <class Node, std::size_t I>
inline constexpr bool kOwnField = std::is_void_v<typename SlotChild<Node, I>::type> ||
                                  std::is_same_v<typename SlotChild<Node, I>::type, Const>;

// --- Layout ---------------------------------------------------------------------------------

constexpr std::size_t alignUp(std::size_t x, std::size_t a) {
    return (x + a - 1) / a * a;
}

// Where each slot of a node starts (a child's start for a fed input) and where the node ends.
template <std::size_t N>
struct Placement {
    std::array<std::size_t, N> at{};
    std::size_t end = 0;
};

template <class Node>
constexpr auto place(std::size_t start);

template <class Node, std::size_t I>
constexpr std::size_t placeSlot(std::size_t cursor, std::size_t& at) {
    if constexpr (kOwnField<Node, I>) {
        constexpr ParamType type = Node::Kind::kSlots[I].type;
        at = alignUp(cursor, paramAlignment(type));
        return at + paramWidth(type);
    } else {
        at = cursor;
        return place<typename SlotChild<Node, I>::type>(cursor).end;
    }
}

template <class Node>
constexpr auto place(std::size_t start) {
    constexpr std::size_t n = std::size(Node::Kind::kSlots);
    Placement<n> p;
    std::size_t cursor = start;
    const auto slots = [&]<std::size_t... I>(std::index_sequence<I...>) {
        ((cursor = placeSlot<Node, I>(cursor, p.at[I])), ...);
    };
    slots(std::make_index_sequence<n>{});
    p.end = cursor;
    return p;
}

// The three trees of a variant, each rooted at a base look-up, laid out in this order.
template <class Diffuse, class Normal0, class Cutout>
struct Trees {
    static constexpr std::size_t end(auto root, std::size_t start) {
        using Root = typename decltype(root)::type;
        if constexpr (std::is_same_v<Root, None>) {
            return start;
        } else {
            return place<Root>(start).end;
        }
    }
    static constexpr std::size_t kDiffuseStart = kWardFieldsEnd;
    static constexpr std::size_t kNormal0Start = end(std::type_identity<Diffuse>{}, kDiffuseStart);
    static constexpr std::size_t kCutoutStart = end(std::type_identity<Normal0>{}, kNormal0Start);
    static constexpr std::size_t kEnd = end(std::type_identity<Cutout>{}, kCutoutStart);
};

// --- Keys -----------------------------------------------------------------------------------

inline constexpr std::size_t kMaxKey = 128;

// A key under construction.
struct KeyText {
    std::array<char, kMaxKey> text{};
    std::size_t length = 0;

    constexpr KeyText plus(std::string_view s) const {
        KeyText k = *this;
        if (k.length + s.size() >= kMaxKey) {
            throw "node key too long";
        }
        for (char c : s) {
            k.text[k.length++] = c;
        }
        return k;
    }
};

// One node parameter: where its key sits in the key string, its type and offset.
struct NodeParam {
    std::size_t keyAt;
    ParamType type;
    std::size_t offset;
};

// Visits every node parameter of a tree in declaration order.
template <class Node, class Sink>
constexpr void walk(Sink& sink, const KeyText& prefix, std::size_t start);

template <class Node, std::size_t I, class Sink>
constexpr void walkSlot(Sink& sink, const KeyText& base, std::size_t at) {
    constexpr Slot slot = Node::Kind::kSlots[I];
    const KeyText key = base.plus(slot.name);
    if constexpr (kOwnField<Node, I>) {
        sink.emit(key, slot.type, at);
    } else {
        walk<typename SlotChild<Node, I>::type>(sink, key.plus("_"), at);
    }
}

template <class Node, class Sink>
constexpr void walk(Sink& sink, const KeyText& prefix, std::size_t start) {
    constexpr std::size_t n = std::size(Node::Kind::kSlots);
    const auto p = place<Node>(start);
    const KeyText base = prefix.plus(Node::Kind::kName).plus("_");
    const auto slots = [&]<std::size_t... I>(std::index_sequence<I...>) {
        (walkSlot<Node, I>(sink, base, p.at[I]), ...);
    };
    slots(std::make_index_sequence<n>{});
}

template <class T, class Sink>
constexpr void walkTrees(Sink& sink) {
    const auto root = [&]<class Root>(std::string_view prefix, std::size_t start) {
        if constexpr (!std::is_same_v<Root, None>) {
            walk<Root>(sink, KeyText{}.plus(prefix), start);
        }
    };
    root.template operator()<typename T::Diffuse>("_ward_diffuse_color_", T::kDiffuseStart);
    root.template operator()<typename T::Normal0>("_ward_normal0_map_", T::kNormal0Start);
    root.template operator()<typename T::Cutout>("_ward_cutout_map_", T::kCutoutStart);
}

struct CountSink {
    std::size_t params = 0;
    std::size_t chars = 0;
    constexpr void emit(const KeyText& key, ParamType, std::size_t) {
        ++params;
        chars += key.length + 1;
    }
};

template <std::size_t Params, std::size_t Chars>
struct NodeKeys {
    std::array<char, Chars> chars{};  // every key, each followed by a NUL
    std::array<NodeParam, Params> params{};
    std::size_t nParams = 0;
    std::size_t nChars = 0;

    constexpr void emit(const KeyText& key, ParamType type, std::size_t offset) {
        params[nParams++] = {nChars, type, offset};
        for (std::size_t i = 0; i < key.length; ++i) {
            chars[nChars++] = key.text[i];
        }
        chars[nChars++] = '\0';
    }
};

template <class T>
consteval CountSink countKeys() {
    CountSink sink;
    walkTrees<T>(sink);
    return sink;
}

template <class T>
consteval auto buildKeys() {
    constexpr CountSink n = countKeys<T>();
    NodeKeys<n.params, n.chars> keys;
    walkTrees<T>(keys);
    return keys;
}

// --- The variant ----------------------------------------------------------------------------

template <class DiffuseTree, class Normal0Tree, class CutoutTree>
struct Layout : Trees<DiffuseTree, Normal0Tree, CutoutTree> {
    using Diffuse = DiffuseTree;
    using Normal0 = Normal0Tree;
    using Cutout = CutoutTree;
};

// The node keys and types of a variant; the characters live as long as the library.
template <class T>
inline constexpr auto kNodeKeys = buildKeys<T>();

template <class T>
consteval auto buildTable() {
    constexpr std::size_t nBase = std::size(kWardParamTable);
    constexpr std::size_t nNodes = kNodeKeys<T>.params.size();
    std::array<ParamDesc, nBase + nNodes> table{};
    for (std::size_t i = 0; i < nBase; ++i) {
        table[i] = kWardParamTable[i];
    }
    for (std::size_t i = 0; i < nNodes; ++i) {
        const NodeParam& p = kNodeKeys<T>.params[i];
        table[nBase + i] = {p.type, kNodeKeys<T>.chars.data() + p.keyAt, p.offset,
                            paramWidth(p.type)};
    }
    return table;
}

// The 90 base declarations, then the node parameters.
template <class T>
inline constexpr auto kTable = buildTable<T>();

// The parameter area: WardParams at its start, node values after its last field. Zeroed, then
// the base defaults written and every texture handle (node handles too) emptied.
template <class T>
struct alignas(8) Params {
    std::byte bytes[alignUp(T::kEnd, 8)]{};

    Params() {
        new (bytes) WardParams();
        for (const NodeParam& p : kNodeKeys<T>.params) {
            if (p.type == ParamType::Texture2D) {
                new (bytes + p.offset) vyr::TextureHandle();
            }
        }
    }
};

// --- Evaluation -----------------------------------------------------------------------------

template <class T>
const T& field(const std::byte* area, std::size_t at) {
    return *reinterpret_cast<const T*>(area + at);
}

template <class Node, std::size_t Start>
Vec4f evaluate(const std::byte* area, vyr::ShadingContext* context, Vec2f uv);

// The colour of input slot I: its constant, or its child evaluated.
template <class Node, std::size_t Start, std::size_t I>
Vec4f input(const std::byte* area, vyr::ShadingContext* context, Vec2f uv) {
    constexpr std::size_t at = place<Node>(Start).at[I];
    if constexpr (kOwnField<Node, I>) {
        return field<Vec4f>(area, at);
    } else {
        return evaluate<typename SlotChild<Node, I>::type, at>(area, context, uv);
    }
}

template <class Node, std::size_t Start>
inline Vec4f evaluate(const std::byte* area, vyr::ShadingContext* context, Vec2f uv) {
    using Kind = typename Node::Kind;
    static constexpr auto p = place<Node>(Start);
    const auto at = [&]<class F>(std::size_t slot) -> const F& {
        return field<F>(area, p.at[slot]);
    };
    const auto f = [&](std::size_t slot) { return at.template operator()<float>(slot); };
    const auto i = [&](std::size_t slot) { return at.template operator()<std::int32_t>(slot); };
    const auto b = [&](std::size_t slot) { return at.template operator()<bool>(slot); };
    const auto& xform = at.template operator()<vyr::Mat4f>(slotIndex<Kind>("xform"));

    if constexpr (std::is_same_v<Kind, UnifiedBitmapKind>) {
        const nodes::UnifiedBitmapValues v{
            xform, at.template operator()<vyr::TextureHandle>(slotIndex<Kind>("texture")),
            f(slotIndex<Kind>("amount")), b(slotIndex<Kind>("isCube"))};
        return nodes::unifiedBitmap(v, uv);
    } else if constexpr (std::is_same_v<Kind, NoiseKind>) {
        const Vec4f color1 = input<Node, Start, slotIndex<Kind>("color1")>(area, context, uv);
        const Vec4f color2 = input<Node, Start, slotIndex<Kind>("color2")>(area, context, uv);
        const nodes::NoiseValues v{xform,
                                   i(slotIndex<Kind>("type")),
                                   f(slotIndex<Kind>("size")),
                                   f(slotIndex<Kind>("thresholdLow")),
                                   f(slotIndex<Kind>("thresholdHigh")),
                                   f(slotIndex<Kind>("levels")),
                                   f(slotIndex<Kind>("phase"))};
        return nodes::noise(v, color1, color2, context, uv);
    } else {
        static_assert(std::is_same_v<Kind, TileKind>);
        const Vec4f brick = input<Node, Start, slotIndex<Kind>("brickColor")>(area, context, uv);
        const Vec4f mortar = input<Node, Start, slotIndex<Kind>("mortarColor")>(area, context, uv);
        const nodes::TileValues v{xform,
                                  f(slotIndex<Kind>("verticalCount")),
                                  f(slotIndex<Kind>("horizontalCount")),
                                  f(slotIndex<Kind>("colorVariance")),
                                  f(slotIndex<Kind>("fadeVariance")),
                                  f(slotIndex<Kind>("horizontalGap")),
                                  f(slotIndex<Kind>("verticalGap")),
                                  f(slotIndex<Kind>("edgeRoughness")),
                                  i(slotIndex<Kind>("randomSeed")),
                                  f(slotIndex<Kind>("lineShift")),
                                  f(slotIndex<Kind>("randomShift")),
                                  f(slotIndex<Kind>("changeRow")),
                                  i(slotIndex<Kind>("perRow")),
                                  b(slotIndex<Kind>("useColumnEdit")),
                                  b(slotIndex<Kind>("useRowEdit")),
                                  f(slotIndex<Kind>("changeColumn")),
                                  i(slotIndex<Kind>("perColumn")),
                                  i(slotIndex<Kind>("holes")),
                                  f(slotIndex<Kind>("brickHeight")),
                                  f(slotIndex<Kind>("brickWidth")),
                                  b(slotIndex<Kind>("repeatX")),
                                  b(slotIndex<Kind>("repeatY"))};
        return nodes::tile(v, brick, mortar, context, uv);
    }
}

// The look-ups the Ward shading asks for: a tree where the variant has one, the base's own
// look-up otherwise. A tree takes the raw uv (the base's transform of that map is not applied).
template <class T>
struct TreeInputs {
    static Vec4f diffuse(const std::byte* area, vyr::ShadingContext* context, Vec2f uv) {
        if constexpr (std::is_same_v<typename T::Diffuse, None>) {
            return WardBaseInputs::diffuse(area, context, uv);
        } else {
            return evaluate<typename T::Diffuse, T::kDiffuseStart>(area, context, uv);
        }
    }
    static Vec4f normal0(const std::byte* area, vyr::ShadingContext* context, Vec2f uv,
                         Vec2f offset) {
        if constexpr (std::is_same_v<typename T::Normal0, None>) {
            return WardBaseInputs::normal0(area, context, uv, offset);
        } else {
            const Vec2f at{uv.x + offset.x, uv.y + offset.y};
            return evaluate<typename T::Normal0, T::kNormal0Start>(area, context, at);
        }
    }
    static Vec4f cutout(const std::byte* area, vyr::ShadingContext* context, Vec2f uv) {
        if constexpr (std::is_same_v<typename T::Cutout, None>) {
            return WardBaseInputs::cutout(area, context, uv);
        } else {
            return evaluate<typename T::Cutout, T::kCutoutStart>(area, context, uv);
        }
    }
};

template <std::size_t N>
struct FixedString {
    char text[N]{};
    constexpr FixedString(const char (&s)[N]) {
        for (std::size_t i = 0; i < N; ++i) {
            text[i] = s[i];
        }
    }
};

inline constexpr std::string_view kVariantPrefix = "vexa_kelo_Mtl_Ward_";

template <FixedString Tag>
consteval auto variantName() {
    constexpr std::size_t n = sizeof(Tag.text) - 1;
    std::array<char, kVariantPrefix.size() + n + 1> name{};
    for (std::size_t i = 0; i < kVariantPrefix.size(); ++i) {
        name[i] = kVariantPrefix[i];
    }
    for (std::size_t i = 0; i < n; ++i) {
        name[kVariantPrefix.size() + i] = Tag.text[i];
    }
    return name;
}

template <FixedString Tag>
inline constexpr auto kVariantName = variantName<Tag>();

}  // namespace vexakelo::tree

namespace vexakelo {

// A Ward variant shader: `class vyr::vexa_kelo_Mtl_Ward_<tag> final : public WardVariant<Self,
// "<tag>", diffuse tree, first-normal-map tree, cutout tree> {};` The Ward shading runs with the
// trees in place of those three look-ups.
template <class Derived, tree::FixedString Tag, class Diffuse, class Normal0, class Cutout>
class WardVariant : public WardSlots<Derived, tree::Params<tree::Layout<Diffuse, Normal0, Cutout>>,
                                     tree::TreeInputs<tree::Layout<Diffuse, Normal0, Cutout>>> {
    using L = tree::Layout<Diffuse, Normal0, Cutout>;
    static_assert(isOrderedTable<tree::Params<L>>(tree::kTable<L>));

public:
    static constexpr std::string_view kName{tree::kVariantName<Tag>.data(),
                                            tree::kVariantName<Tag>.size() - 1};
    static std::span<const ParamDesc> parameters() { return tree::kTable<L>; }
};

}  // namespace vexakelo
