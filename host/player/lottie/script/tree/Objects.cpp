// What trees find in a movie: surroundings, nodes, properties, keys, and their members.
#include <algorithm>
#include <cmath>

#include "host/player/lottie/script/Machine.h"
#include "host/player/lottie/script/PropertyTimes.h"
#include "host/player/lottie/script/Words.h"
#include "host/player/lottie/script/tree/Run.h"

namespace plexion_host::movie {

namespace {

/// The part that a word names, remembered in the tree: a word is compared with many.
std::string_view PartAtNode(const TreeNode& node, NodeKind kind, std::string_view type,
                            std::string_view word) {
  if (node.kind != kind || node.type != type) {
    node.part = PartNamed(kind, type, word);
    node.kind = kind;
    node.type = type;
  }
  return node.part;
}

bool IsMember(NodeKind kind, std::string_view name) {
  struct Search {
    std::string_view name;
    bool found = false;
  } search{name};
  ForEachMember(
      kind,
      [](void* data, const char* member) {
        auto& wanted = *static_cast<Search*>(data);
        wanted.found = wanted.found || wanted.name == member;
      },
      &search);
  return search.found;
}

}  // namespace

TreeRun::Outcome TreeRun::FromProperty(const SceneNode& property, double seconds, bool scripted,
                                       TreeValue& value) {
  const ScriptValue* const read = machine_.Read(property, seconds, scripted);
  const Outcome outcome = FromKeyed(read, value);
  if (read != nullptr) value.node = property;
  return outcome;
}

TreeRun::Outcome TreeRun::FromNode(const SceneNode& node, TreeValue& value) {
  const SceneNode meant = NodeMeant(machine_, node);
  if (meant.kind == NodeKind::kProperty) {
    return FromProperty(meant, machine_.ReadingTimeOf(meant), true, value);
  }
  value = NullValue();
  if (!meant) return Outcome::kDone;
  value.kind = Kind::kNode;
  value.node = meant;
  return Outcome::kDone;
}

TreeRun::Outcome TreeRun::FromPart(const FoundPart& found, TreeValue& value) {
  switch (found.kind) {
    case FoundPart::Kind::kNothing:
      value = {};
      return Outcome::kDone;
    case FoundPart::Kind::kNode:
      return FromNode(found.node, value);
    case FoundPart::Kind::kComponent:
      value = NumberValue(ComponentNumber(machine_, found));
      return Outcome::kDone;
    case FoundPart::Kind::kSplit:
      break;
  }
  ScriptOperand place;
  place.list = true;
  place.count = 0;
  for (int axis = 0; axis < 3; ++axis) {
    const bool there = SplitNumber(machine_, found.node, axis, place.numbers[axis]);
    if (there || axis < 2) ++place.count;
  }
  return FromOperand(place, value);
}

TreeRun::Outcome TreeRun::SurroundingValue(const SurroundingName& surrounding, TreeValue& value) {
  IScriptScene& scene = machine_.Scene();
  const ExpressionSite& site = machine_.Site();
  if (!Spend(1)) return Outcome::kGivenUp;
  switch (surrounding.what) {
    case Surrounding::kTime:
      value = NumberValue(machine_.Time());
      return Outcome::kDone;
    case Surrounding::kValue:
      return FromKeyed(keyed_, value);
    case Surrounding::kComposition:
      return FromNode(scene.CompositionOf(site.layer), value);
    case Surrounding::kLayer:
      return FromNode(site.layer, value);
    case Surrounding::kProperty:
      return FromProperty(site.property, machine_.ReadingTimeOf(site.property), false, value);
    case Surrounding::kLayerPart:
      return FromPart(FindPart(scene, site.layer, surrounding.detail), value);
    case Surrounding::kTransformPart: {
      const SceneNode transform = scene.PartOf(site.layer, "ks");
      return FromPart(transform ? FindPart(scene, transform, surrounding.detail) : FoundPart(),
                      value);
    }
    case Surrounding::kLayerMember:
      return LayerMember(site.layer, surrounding.detail, value);
    case Surrounding::kPropertyMember: {
      TreeValue property;
      const Outcome outcome =
          FromProperty(site.property, machine_.ReadingTimeOf(site.property), false, property);
      if (outcome != Outcome::kDone || property.kind == Kind::kNull) return Outcome::kGivenUp;
      return PropertyMember(property, surrounding.detail, value);
    }
    case Surrounding::kTextIndex:
      value = NumberValue(site.textIndex);
      return Outcome::kDone;
    case Surrounding::kTextTotal:
      value = NumberValue(site.textTotal);
      return Outcome::kDone;
    case Surrounding::kSelectorValue: {
      ScriptOperand given;
      given.list = true;
      given.count = 3;
      std::copy_n(site.selectorValue, 3, given.numbers);
      return FromOperand(given, value);
    }
  }
  return Outcome::kGivenUp;
}

// --- Members ---

TreeRun::Outcome TreeRun::LayerMember(const SceneNode& layer, std::string_view name,
                                      TreeValue& value) {
  IScriptScene& scene = machine_.Scene();
  const LayerFacts facts = scene.FactsOfLayer(layer);
  if (name == "index") {
    value = NumberValue(scene.NamesOf(layer).index);
  } else if (name == "width") {
    value = NumberValue(facts.width);
  } else if (name == "height") {
    value = NumberValue(facts.height);
  } else if (name == "inPoint") {
    value = NumberValue(facts.inSeconds);
  } else if (name == "outPoint") {
    value = NumberValue(facts.outSeconds);
  } else if (name == "startTime") {
    value = NumberValue(facts.startSeconds);
  } else if (name == "hasParent") {
    value = BooleanValue(static_cast<bool>(scene.ParentOf(layer)));
  } else if (name == "parent") {
    return FromNode(scene.ParentOf(layer), value);
  } else {
    return Outcome::kGivenUp;
  }
  return Outcome::kDone;
}

TreeRun::Outcome TreeRun::PropertyMember(const TreeValue& object, std::string_view name,
                                         TreeValue& value) {
  const SceneNode& property = object.node;
  if (name == "value") {
    return FromKeyed(machine_.Read(property, machine_.ReadingTimeOf(property), true), value);
  }
  if (name == "numKeys") {
    value = NumberValue(machine_.Scene().KeyCount(property));
  } else if (name == "propertyIndex") {
    value = NumberValue(machine_.Scene().NamesOf(property).index);
  } else if (name == "velocity" || name == "speed") {
    ScriptOperand velocity;
    if (!VelocityOf(machine_, property, machine_.NowOf(property), velocity)) {
      return Outcome::kGivenUp;
    }
    if (name == "velocity") return FromOperand(velocity, value);
    value = NumberValue(Distance(velocity, nullptr));
  } else if (name == "length" && object.kind == Kind::kList) {
    value = NumberValue(static_cast<double>(lists_[object.at].size()));
  } else {
    return Outcome::kGivenUp;
  }
  return Outcome::kDone;
}

TreeRun::Outcome TreeRun::KeyMember(const TreeValue& key, std::string_view name, TreeValue& value) {
  const int number = static_cast<int>(key.number);
  if (name == "index") {
    value = NumberValue(number + 1);
  } else if (name == "time") {
    value = NumberValue(machine_.Scene().KeyTime(key.node, number));
  } else if (name == "value") {
    return FromKeyed(machine_.ReadKey(key.node, number), value);
  } else {
    return Outcome::kGivenUp;
  }
  return Outcome::kDone;
}

TreeRun::Outcome TreeRun::RunMember(const TreeNode& node, const TreeValue& object,
                                    TreeValue& value) {
  if (!Spend(2)) return Outcome::kGivenUp;
  const std::string_view name = node.text;
  switch (object.kind) {
    case Kind::kUndefined:
    case Kind::kNull:
      return Outcome::kThrown;
    case Kind::kKey:
      return KeyMember(object, name, value);
    case Kind::kNode:
      break;
    default:
      if (object.node) return PropertyMember(object, name, value);
      if (object.kind != Kind::kList || name != "length") return Outcome::kGivenUp;
      value = NumberValue(static_cast<double>(lists_[object.at].size()));
      return Outcome::kDone;
  }
  IScriptScene& scene = machine_.Scene();
  const SceneNode& owner = object.node;
  if (owner.kind == NodeKind::kComposition) {
    const CompositionFacts facts = scene.FactsOfComposition(owner);
    value = NumberValue(name == "width"           ? facts.width
                        : name == "height"        ? facts.height
                        : name == "duration"      ? facts.durationSeconds
                        : name == "frameDuration" ? facts.frameSeconds
                        : name == "numLayers"     ? scene.CountOf(owner)
                                                  : NAN);
    return std::isnan(value.number) ? Outcome::kGivenUp : Outcome::kDone;
  }
  const std::string_view type = scene.NamesOf(owner).type;
  if (IsMember(owner.kind, name)) {
    return FromPart(FindPart(scene, owner, PartAtNode(node, owner.kind, type, name)), value);
  }
  if (owner.kind == NodeKind::kShape && name == "shape") {
    return FromPart(FindPart(scene, owner, PartAtNode(node, owner.kind, type, "path")), value);
  }
  if (owner.kind != NodeKind::kLayer) return Outcome::kGivenUp;
  static constexpr std::string_view kOfTransform[] = {"position", "scale", "rotation", "opacity",
                                                      "anchorPoint"};
  if (std::find(std::begin(kOfTransform), std::end(kOfTransform), name) == std::end(kOfTransform)) {
    return LayerMember(owner, name, value);
  }
  const SceneNode transform = scene.PartOf(owner, "ks");
  return FromPart(transform
                      ? FindPart(scene, transform, PartAtNode(node, NodeKind::kTransform, {}, name))
                      : FoundPart(),
                  value);
}

}  // namespace plexion_host::movie
