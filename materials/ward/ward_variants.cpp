// The nine Ward variants: vexa_kelo_Mtl_Ward with some of its look-ups fed by fixed trees of
// procedural nodes. Materials, flags 0x0F, varyings bitangent, tangent, uv, like the base. Each
// line names the trees for the diffuse colour, the first normal map and the cutout map (None
// keeps the base's own look-up); keys, layout, declarations, copying and evaluation follow from
// it (materials/ward/variant_tree.h). A tree is evaluated only when the base's switch for its
// map is set, and its colour stands where that map's look-up stood.
#include "materials/ward/variant_tree.h"

namespace vyr {

using vexakelo::WardVariant;
using vexakelo::tree::Const;
using vexakelo::tree::Noise;
using vexakelo::tree::None;
using vexakelo::tree::Tile;
using vexakelo::tree::UB;

// clang-format off
//                                                                          tag         diffuse colour                      first normal map                    cutout map
class vexa_kelo_Mtl_Ward_120b7820 final : public WardVariant<vexa_kelo_Mtl_Ward_120b7820, "120b7820", Noise<Const, Const>,                None,                               None> {};
class vexa_kelo_Mtl_Ward_33632204 final : public WardVariant<vexa_kelo_Mtl_Ward_33632204, "33632204", Noise<Noise<UB, UB>, Noise<UB, UB>>, Noise<Noise<UB, UB>, Noise<UB, UB>>, None> {};
class vexa_kelo_Mtl_Ward_5592d496 final : public WardVariant<vexa_kelo_Mtl_Ward_5592d496, "5592d496", Noise<UB, UB>,                      UB,                                 None> {};
class vexa_kelo_Mtl_Ward_5ba0bfff final : public WardVariant<vexa_kelo_Mtl_Ward_5ba0bfff, "5ba0bfff", None,                               Noise<Const, Const>,                None> {};
class vexa_kelo_Mtl_Ward_82261344 final : public WardVariant<vexa_kelo_Mtl_Ward_82261344, "82261344", Noise<UB, UB>,                      None,                               UB> {};
class vexa_kelo_Mtl_Ward_aa598cb4 final : public WardVariant<vexa_kelo_Mtl_Ward_aa598cb4, "aa598cb4", Noise<UB, UB>,                      Noise<UB, UB>,                      None> {};
class vexa_kelo_Mtl_Ward_b9aac246 final : public WardVariant<vexa_kelo_Mtl_Ward_b9aac246, "b9aac246", Noise<Tile<UB, UB>, Tile<UB, UB>>,  UB,                                 None> {};
class vexa_kelo_Mtl_Ward_ccb3a2e6 final : public WardVariant<vexa_kelo_Mtl_Ward_ccb3a2e6, "ccb3a2e6", Noise<UB, UB>,                      None,                               None> {};
class vexa_kelo_Mtl_Ward_f05db29e final : public WardVariant<vexa_kelo_Mtl_Ward_f05db29e, "f05db29e", Tile<UB, UB>,                       UB,                                 None> {};
// clang-format on

}  // namespace vyr

VEXAKELO_EXPORT_SHADER(vexa_kelo_Mtl_Ward_120b7820)
VEXAKELO_EXPORT_SHADER(vexa_kelo_Mtl_Ward_33632204)
VEXAKELO_EXPORT_SHADER(vexa_kelo_Mtl_Ward_5592d496)
VEXAKELO_EXPORT_SHADER(vexa_kelo_Mtl_Ward_5ba0bfff)
VEXAKELO_EXPORT_SHADER(vexa_kelo_Mtl_Ward_82261344)
VEXAKELO_EXPORT_SHADER(vexa_kelo_Mtl_Ward_aa598cb4)
VEXAKELO_EXPORT_SHADER(vexa_kelo_Mtl_Ward_b9aac246)
VEXAKELO_EXPORT_SHADER(vexa_kelo_Mtl_Ward_ccb3a2e6)
VEXAKELO_EXPORT_SHADER(vexa_kelo_Mtl_Ward_f05db29e)
