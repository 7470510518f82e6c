// Which node a word, a number or a member leads to.
#include "host/player/lottie/script/Lookup.h"

#include "host/player/lottie/script/Machine.h"
#include "host/player/lottie/script/Words.h"

namespace plexion_host::movie {

namespace {

bool IsCalled(const NodeNames& names, std::string_view word) {
  return names.name == word || names.matchName == word;
}

/// The part with that number in the document; else the one that authors know by it.
std::string_view NumberedPart(IScriptScene& scene, const SceneNode& node, std::string_view type,
                              int number) {
  for (int i = 0;; ++i) {
    const std::string_view part = PartAt(node.kind, type, i);
    if (part.empty()) return PartNumbered(node.kind, type, number);
    const SceneNode found = scene.PartOf(node, part);
    if (found.kind == NodeKind::kProperty && scene.NamesOf(found).index == number) return part;
  }
}

FoundPart Node(const SceneNode& node) {
  return node ? FoundPart{FoundPart::Kind::kNode, node, 0} : FoundPart();
}

/// A layer that an effect's value names.
SceneNode NamedLayer(ScriptMachine& machine, const SceneNode& property) {
  const ScriptValue* value = machine.Read(property, machine.ReadingTimeOf(property), true);
  if (value == nullptr || value->numbers.empty()) return {};
  const int number = NumberOfItem(value->numbers[0]);
  if (number == 0) return {};
  return FindItem(machine.Scene(), machine.Scene().CompositionOf(machine.Site().layer), {}, number);
}

}  // namespace

int NumberOfItem(double given) { return given >= 1 && given < 1e6 ? static_cast<int>(given) : 0; }

SceneNode FindItem(IScriptScene& scene, const SceneNode& list, std::string_view word, int number) {
  const int count = scene.CountOf(list);
  for (int i = 0; i < count; ++i) {
    const SceneNode item = scene.ItemOf(list, i);
    const NodeNames names = scene.NamesOf(item);
    if (number == 0 ? IsCalled(names, word) : names.index == number) return item;
  }
  return number >= 1 && number <= count ? scene.ItemOf(list, number - 1) : SceneNode();
}

FoundPart FindPart(IScriptScene& scene, const SceneNode& node, std::string_view part) {
  if (part.empty()) return {};
  const SceneNode found = scene.PartOf(node, part);
  if (found || node.kind != NodeKind::kTransform) return Node(found);
  // Position is three properties when it is split.
  if (part == "p" && scene.PartOf(node, "px")) return {FoundPart::Kind::kSplit, node, 0};
  // In three dimensions the turn is around z.
  if (part == "r") return Node(scene.PartOf(node, "rz"));
  if (part == "rz") return Node(scene.PartOf(node, "r"));
  if (part == "px" || part == "py" || part == "pz") {
    const SceneNode whole = scene.PartOf(node, "p");
    if (whole) return {FoundPart::Kind::kComponent, whole, static_cast<size_t>(part[1] - 'x')};
  }
  return {};
}

FoundPart FindCalled(IScriptScene& scene, const SceneNode& node, std::string_view word,
                     int number) {
  switch (node.kind) {
    case NodeKind::kComposition:
    case NodeKind::kContents:
    case NodeKind::kEffects:
    case NodeKind::kEffect:
    case NodeKind::kMasks:
    case NodeKind::kDashes:
      return Node(FindItem(scene, node, word, number));
    case NodeKind::kData:
      return FindPart(scene, node, word);
    default:
      break;
  }
  const std::string_view type = scene.NamesOf(node).type;
  const FoundPart part = FindPart(
      scene, node,
      number != 0 ? NumberedPart(scene, node, type, number) : PartNamed(node.kind, type, word));
  if (part.kind != FoundPart::Kind::kNothing) return part;
  // A group's items can be meant without naming the list.
  const SceneNode items = scene.PartOf(node, "it");
  return items ? Node(FindItem(scene, items, word, number)) : FoundPart();
}

SceneNode NodeMeant(ScriptMachine& machine, const SceneNode& node) {
  if (node.kind != NodeKind::kEffect) return node;
  IScriptScene& scene = machine.Scene();
  // A value of an effect is meant when it is named.
  const SceneNode value = scene.PartOf(node, "v");
  if (!value) return node;
  return scene.NamesOf(node).type == "layer" ? NamedLayer(machine, value) : value;
}

bool SplitNumber(ScriptMachine& machine, const SceneNode& transform, int axis, double& number) {
  static constexpr const char* kParts[] = {"px", "py", "pz"};
  const SceneNode part = machine.Scene().PartOf(transform, kParts[axis]);
  const ScriptValue* value = part ? machine.Read(part, machine.ReadingTimeOf(part), true) : nullptr;
  number = value == nullptr || value->numbers.empty() ? 0 : value->numbers[0];
  return value != nullptr;
}

double ComponentNumber(ScriptMachine& machine, const FoundPart& found) {
  const ScriptValue* value = machine.Read(found.node, machine.ReadingTimeOf(found.node), true);
  return value == nullptr || value->numbers.size() <= found.component
             ? 0
             : value->numbers[found.component];
}

}  // namespace plexion_host::movie
