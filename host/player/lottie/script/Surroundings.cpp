// The names around an expression.
#include "host/player/lottie/script/Surroundings.h"

namespace plexion_host::movie {

namespace {

constexpr SurroundingName kSurroundings[] = {
    {"time", Surrounding::kTime},
    {"value", Surrounding::kValue},
    {"thisComp", Surrounding::kComposition},
    {"thisLayer", Surrounding::kLayer},
    {"thisProperty", Surrounding::kProperty},
    {"transform", Surrounding::kLayerPart, "ks"},
    {"$bm_transform", Surrounding::kLayerPart, "ks"},
    {"content", Surrounding::kLayerPart, "shapes"},
    {"effect", Surrounding::kLayerPart, "ef"},
    {"mask", Surrounding::kLayerPart, "masksProperties"},
    {"text", Surrounding::kLayerPart, "t"},
    {"timeRemap", Surrounding::kLayerPart, "tm"},
    {"anchorPoint", Surrounding::kTransformPart, "a"},
    {"position", Surrounding::kTransformPart, "p"},
    {"scale", Surrounding::kTransformPart, "s"},
    {"rotation", Surrounding::kTransformPart, "r"},
    {"opacity", Surrounding::kTransformPart, "o"},
    {"index", Surrounding::kLayerMember, "index"},
    {"name", Surrounding::kLayerMember, "name"},
    {"inPoint", Surrounding::kLayerMember, "inPoint"},
    {"outPoint", Surrounding::kLayerMember, "outPoint"},
    {"startTime", Surrounding::kLayerMember, "startTime"},
    {"width", Surrounding::kLayerMember, "width"},
    {"height", Surrounding::kLayerMember, "height"},
    {"active", Surrounding::kLayerMember, "active"},
    {"hasParent", Surrounding::kLayerMember, "hasParent"},
    {"parent", Surrounding::kLayerMember, "parent"},
    {"source", Surrounding::kLayerMember, "source"},
    {"marker", Surrounding::kLayerMember, "marker"},
    {"numKeys", Surrounding::kPropertyMember, "numKeys"},
    {"velocity", Surrounding::kPropertyMember, "velocity"},
    {"speed", Surrounding::kPropertyMember, "speed"},
    {"propertyIndex", Surrounding::kPropertyMember, "propertyIndex"},
    {"textIndex", Surrounding::kTextIndex},
    {"textTotal", Surrounding::kTextTotal},
    {"selectorValue", Surrounding::kSelectorValue},
};

}  // namespace

const SurroundingName* FindSurrounding(std::string_view name) {
  for (const SurroundingName& each : kSurroundings) {
    if (each.name == name) return &each;
  }
  return nullptr;
}

}  // namespace plexion_host::movie
