// A movie of three layers for expressions to look at.

#ifndef TESTS_HOST_PLAYER_LOTTIE_FAKESCENE_H_
#define TESTS_HOST_PLAYER_LOTTIE_FAKESCENE_H_

#include <algorithm>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "host/player/lottie/script/ScriptScene.h"

namespace plexion_host::movie {

inline ScriptValue Numbers(std::vector<double> numbers) {
  ScriptValue value;
  value.kind = numbers.size() == 1 ? ScriptValue::Kind::kNumber : ScriptValue::Kind::kVector;
  value.numbers = std::move(numbers);
  return value;
}

inline ScriptValue Text(std::string text) {
  ScriptValue value;
  value.kind = ScriptValue::Kind::kText;
  value.text = std::move(text);
  return value;
}

/// Ten seconds of 25 frames each; 400 by 300. Layers from the top: "Box" (with contents, effects and
/// a mask), "Title" (a text), "Carrier" (parent of "Box", moved by 100, 50 and twice as large).
class FakeScene : public IScriptScene {
 public:
  struct Key {
    double seconds;
    ScriptValue value;
  };
  struct Thing {
    NodeKind kind = NodeKind::kNone;
    std::string name, matchName, type;
    int index = 0;
    Thing* owner = nullptr;
    std::vector<Thing*> items;
    std::map<std::string, Thing*, std::less<>> parts;
    ScriptValue value;
    std::vector<Key> keys;
  };

  FakeScene() {
    comp = Make(NodeKind::kComposition, nullptr, "Main");
    box = AddLayer("Box", 1);
    title = AddLayer("Title", 2);
    carrier = AddLayer("Carrier", 5);
    Thing* transform = Part(box, "ks", NodeKind::kTransform);
    position = Property(transform, "p", Numbers({10, 20, 0}));
    Property(transform, "s", Numbers({100, 100, 100}));
    Property(transform, "o", Numbers({80}));
    rotation = Property(transform, "r", Numbers({0}));
    // From 0 at one second to 90 at two, to 30 at four.
    rotation->keys = {{1, Numbers({0})}, {2, Numbers({90})}, {4, Numbers({30})}};
    Thing* split = Part(title, "ks", NodeKind::kTransform);
    Property(split, "px", Numbers({7}));
    Property(split, "py", Numbers({8}));
    Property(Part(carrier, "ks", NodeKind::kTransform), "p", Numbers({100, 50}));
    sourceText = Property(Part(title, "t", NodeKind::kText), "d", Text("Hello world"));

    Thing* group =
        Item(Part(box, "shapes", NodeKind::kContents), NodeKind::kShape, "Group 1", "gr");
    Thing* rectangle =
        Item(Part(group, "it", NodeKind::kContents), NodeKind::kShape, "Rect 1", "rc");
    size = Property(rectangle, "s", Numbers({60, 40}));
    size->index = 2;
    Thing* drawn = Item(group->parts["it"], NodeKind::kShape, "Path 1", "sh");
    ScriptValue square;
    square.kind = ScriptValue::Kind::kPath;
    square.closed = true;
    for (const auto& [x, y] : {std::pair{0, 0}, {10, 0}, {10, 10}, {0, 10}}) {
      for (int i = 0; i < 3; ++i) square.path.insert(square.path.end(), {double(x), double(y)});
    }
    path = Property(drawn, "ks", square);

    Thing* effects = Part(box, "ef", NodeKind::kEffects);
    Thing* slider = Item(effects, NodeKind::kEffect, "Speed", "5");
    slider->matchName = "ADBE Slider Control";
    amount = Property(Item(slider, NodeKind::kEffect, "Slider", ""), "v", Numbers({12}));
    Thing* chooser = Item(effects, NodeKind::kEffect, "Target", "5");
    Property(Item(chooser, NodeKind::kEffect, "Layer", "layer"), "v", Numbers({5}));
    Thing* mask =
        Item(Part(box, "masksProperties", NodeKind::kMasks), NodeKind::kMask, "Mask 1", "");
    Property(mask, "o", Numbers({50}));
  }

  Thing *comp, *box, *title, *carrier, *position, *rotation, *size, *path, *amount, *sourceText;
  double now = 0;
  /// What a property with an expression is; by default as its keys have it.
  std::function<bool(Thing*, ScriptValue&)> scripted;

  static SceneNode Node(const Thing* thing) {
    return thing == nullptr ? SceneNode() : SceneNode{thing->kind, thing, nullptr};
  }

  SceneNode CompositionNamed(std::string_view name) override {
    return name == comp->name ? Node(comp) : SceneNode();
  }
  SceneNode CompositionOf(const SceneNode&) override { return Node(comp); }
  SceneNode SourceOf(const SceneNode&) override { return {}; }
  SceneNode ParentOf(const SceneNode& layer) override {
    return layer == Node(box) ? Node(carrier) : SceneNode();
  }
  CompositionFacts FactsOfComposition(const SceneNode&) override { return {400, 300, 10, 0.04}; }
  LayerFacts FactsOfLayer(const SceneNode&) override { return {0.5, 8, 0, 64, 48, true}; }
  NodeNames NamesOf(const SceneNode& node) override {
    const Thing* thing = At(node);
    if (thing == nullptr) return {};
    return {thing->name, thing->matchName, thing->type, thing->index};
  }
  int CountOf(const SceneNode& node) override {
    return At(node) == nullptr ? 0 : static_cast<int>(At(node)->items.size());
  }
  SceneNode ItemOf(const SceneNode& node, int at) override {
    return Node(At(node)->items.at(static_cast<size_t>(at)));
  }
  SceneNode PartOf(const SceneNode& node, std::string_view part) override {
    if (At(node) == nullptr) return {};
    const auto found = At(node)->parts.find(part);
    return found == At(node)->parts.end() ? SceneNode() : Node(found->second);
  }
  SceneNode GroupOf(const SceneNode& node) override {
    return At(node) == nullptr ? SceneNode() : Node(At(node)->owner);
  }
  double NowOf(const SceneNode&) override { return now; }
  bool ValueAt(const SceneNode& node, double seconds, bool withScript,
               ScriptValue& value) override {
    Thing* thing = At(node);
    if (node.kind != NodeKind::kProperty) return false;
    if (withScript && scripted && scripted(thing, value)) return true;
    value = thing->keys.empty() ? thing->value : thing->keys.front().value;
    for (size_t i = 0; i < thing->keys.size(); ++i) {
      const Key& from = thing->keys[i];
      if (seconds < from.seconds) break;
      value = from.value;
      if (i + 1 == thing->keys.size()) break;
      const Key& to = thing->keys[i + 1];
      const double t = std::min(1.0, (seconds - from.seconds) / (to.seconds - from.seconds));
      value.numbers[0] += (to.value.numbers[0] - from.value.numbers[0]) * t;
    }
    return true;
  }
  int KeyCount(const SceneNode& node) override {
    return node.kind == NodeKind::kProperty ? static_cast<int>(At(node)->keys.size()) : 0;
  }
  double KeyTime(const SceneNode& node, int key) override {
    return At(node)->keys.at(static_cast<size_t>(key)).seconds;
  }
  void KeyValue(const SceneNode& node, int key, ScriptValue& value) override {
    value = At(node)->keys.at(static_cast<size_t>(key)).value;
  }
  Matrix MatrixOf(const SceneNode&, double) override { return {2, 0, 0, 2, 100, 50}; }
  bool SourceRectOf(const SceneNode&, double, double rect[4], double&) override {
    std::copy_n(std::begin({-5.0, -7.0, 10.0, 14.0}), 4, rect);
    return true;
  }
  int MarkerCount(const SceneNode&) override { return 2; }
  ScriptMarker MarkerAt(const SceneNode&, int at) override {
    return at == 0 ? ScriptMarker{1, 0.5, "start"} : ScriptMarker{6, 0, "end"};
  }

 private:
  static Thing* At(const SceneNode& node) {
    return static_cast<Thing*>(const_cast<void*>(node.what));
  }
  Thing* Make(NodeKind kind, Thing* owner, std::string name, std::string type = "") {
    things_.push_back({});
    things_.back().kind = kind;
    things_.back().owner = owner;
    things_.back().name = std::move(name);
    things_.back().type = std::move(type);
    return &things_.back();
  }
  Thing* AddLayer(const char* name, int index) {
    Thing* layer = Item(comp, NodeKind::kLayer, name, "");
    layer->index = index;
    return layer;
  }
  Thing* Item(Thing* list, NodeKind kind, const char* name, const char* type) {
    list->items.push_back(Make(kind, list, name, type));
    return list->items.back();
  }
  Thing* Part(Thing* owner, const char* part, NodeKind kind) {
    return owner->parts[part] = Make(kind, owner, "");
  }
  Thing* Property(Thing* owner, const char* part, ScriptValue value) {
    Thing* property = Part(owner, part, NodeKind::kProperty);
    property->value = std::move(value);
    return property;
  }

  std::deque<Thing> things_;
};

}  // namespace plexion_host::movie

#endif  // TESTS_HOST_PLAYER_LOTTIE_FAKESCENE_H_
