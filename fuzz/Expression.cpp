// An expression: it may be refused or fail, within its steps, its memory and its time; what it gives is
// finite, of its property's kind, and the same each time.

#include <time.h>

#include <cmath>

#include "fuzz/FuzzInput.h"
#include "host/player/lottie/script/Expressions.h"

namespace {

using namespace plexion_host::movie;  // NOLINT(google-build-using-namespace): a program of one file

/// By the clock of the machine, sanitizers included; the limit of the language is counted.
constexpr double kLongestSeconds = 20;

double Seconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

/// One layer, whose parts are made up: whatever is asked for is there to some depth.
class AnyScene final : public IScriptScene {
 public:
  SceneNode CompositionNamed(std::string_view) override { return comp_; }
  SceneNode CompositionOf(const SceneNode&) override { return comp_; }
  SceneNode SourceOf(const SceneNode&) override { return comp_; }
  SceneNode ParentOf(const SceneNode&) override { return layer_; }
  CompositionFacts FactsOfComposition(const SceneNode&) override { return {100, 50, 10, 0.04}; }
  LayerFacts FactsOfLayer(const SceneNode&) override { return {0, 8, 0, 64, 48, true}; }
  NodeNames NamesOf(const SceneNode& node) override {
    return {"a", "b", node.kind == NodeKind::kShape ? "gr" : "", 1};
  }
  int CountOf(const SceneNode&) override { return 2; }
  SceneNode ItemOf(const SceneNode& list, int position) override {
    if (list.kind == NodeKind::kComposition) return layer_;
    if (list.kind == NodeKind::kContents && position == 0) return Make(NodeKind::kShape);
    if (list.kind == NodeKind::kEffects) return Make(NodeKind::kEffect);
    if (list.kind == NodeKind::kMasks) return Make(NodeKind::kMask);
    return Make(NodeKind::kProperty);
  }
  SceneNode PartOf(const SceneNode&, std::string_view part) override {
    if (part == "ks" || part == "tr") return Make(NodeKind::kTransform);
    if (part == "shapes" || part == "it") return Make(NodeKind::kContents);
    if (part == "ef") return Make(NodeKind::kEffects);
    if (part == "masksProperties") return Make(NodeKind::kMasks);
    if (part == "t") return Make(NodeKind::kText);
    return {NodeKind::kProperty, part == "pt" ? &path_ : part == "d" ? &text_ : &list_, nullptr};
  }
  SceneNode GroupOf(const SceneNode& node) override {
    return node.kind == NodeKind::kProperty ? layer_ : SceneNode();
  }
  double NowOf(const SceneNode&) override { return 1.5; }
  bool ValueAt(const SceneNode& property, double seconds, bool, ScriptValue& value) override {
    value = property.what == &path_ ? path_ : property.what == &text_ ? text_ : list_;
    if (value.kind == ScriptValue::Kind::kVector) value.numbers[0] = std::fmod(seconds, 1000);
    return true;
  }
  int KeyCount(const SceneNode&) override { return 3; }
  double KeyTime(const SceneNode&, int key) override { return key; }
  void KeyValue(const SceneNode&, int, ScriptValue& value) override { value = list_; }
  Matrix MatrixOf(const SceneNode&, double) override { return {2, 0, 0, 0, 5, 5}; }
  bool SourceRectOf(const SceneNode&, double, double*, double&) override { return false; }
  int MarkerCount(const SceneNode&) override { return 1; }
  ScriptMarker MarkerAt(const SceneNode&, int) override { return {1, 2, "m"}; }

  SceneNode Layer() const { return layer_; }
  SceneNode Property(int which) const {
    return {NodeKind::kProperty, which == 0 ? &path_ : which == 1 ? &text_ : &list_, nullptr};
  }

 private:
  static ScriptValue Value(ScriptValue::Kind kind) {
    ScriptValue value;
    value.kind = kind;
    if (kind == ScriptValue::Kind::kVector) value.numbers = {1, 2, 3};
    if (kind == ScriptValue::Kind::kPath) value.path = {0, 0, 1, 1, 2, 2, 9, 9, 8, 8, 7, 7};
    if (kind == ScriptValue::Kind::kText) value.text = "one two";
    return value;
  }
  SceneNode Make(NodeKind kind) const { return {kind, this, nullptr}; }

  ScriptValue list_ = Value(ScriptValue::Kind::kVector);
  ScriptValue path_ = Value(ScriptValue::Kind::kPath);
  ScriptValue text_ = Value(ScriptValue::Kind::kText);
  SceneNode comp_{NodeKind::kComposition, this, nullptr};
  SceneNode layer_{NodeKind::kLayer, this, nullptr};
};

void RequireValue(const ScriptValue& keyed, const ScriptValue& result) {
  Require(result.kind == keyed.kind, "a result of the property's kind");
  if (keyed.kind == ScriptValue::Kind::kVector) {
    Require(result.numbers.size() == keyed.numbers.size(), "as many numbers");
    for (const double number : result.numbers) Require(std::isfinite(number), "finite numbers");
  }
  if (keyed.kind == ScriptValue::Kind::kPath) {
    Require(result.path.size() % 6 == 0, "whole vertices");
    for (const double number : result.path) Require(std::isfinite(number), "finite points");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  ExpressionLimits limits;
  limits.stepsPerEvaluation = 5000;
  limits.memoryBytes = 4u << 20;
  Expressions expressions(nullptr, limits);
  AnyScene scene;
  std::string error;
  const std::string source(reinterpret_cast<const char*>(data) + 1, size - 1);
  const double start = Seconds();
  const int number = expressions.Compile(source, error);
  if (number == Expressions::kNone) {
    Require(!error.empty(), "a refusal says why");
    return 0;
  }
  ExpressionSite site;
  site.layer = scene.Layer();
  site.property = scene.Property(data[0] % 3);
  site.seconds = 1.5;
  ScriptValue keyed;
  scene.ValueAt(site.property, 1.5, false, keyed);
  ScriptValue results[2];
  bool ran[2];
  for (int i = 0; i < 2; ++i) {
    expressions.BeginFrame();
    ran[i] = expressions.Evaluate(number, scene, site, keyed, results[i]);
    if (ran[i]) RequireValue(keyed, results[i]);
  }
  int failed = 0;
  std::string why;
  if (!ran[0]) Require(expressions.TakeFailure(failed, why) && !why.empty(), "a failure is told");
  Require(expressions.MemoryBytes() <= limits.memoryBytes, "memory");
  Require(Seconds() - start < kLongestSeconds, "time");
  // Whatever it did, the next one runs.
  const int next = expressions.Compile("value", error);
  expressions.BeginFrame();
  Require(next != Expressions::kNone && expressions.Evaluate(next, scene, site, keyed, results[0]),
          "the engine is still there: " + error);
  return 0;
}
