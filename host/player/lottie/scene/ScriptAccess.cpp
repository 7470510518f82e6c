// The way from a property to its expression and back, and how long a result holds.
#include "host/player/lottie/scene/ScriptAccess.h"

#include <algorithm>
#include <array>

#include "host/base/Check.h"
#include "host/player/lottie/document/Reader.h"
#include "host/player/lottie/scene/SceneNodes.h"
#include "host/player/lottie/scene/ScriptNumbers.h"

namespace plexion_host::movie {

ScriptAccess::ScriptAccess(const Movie& movie, qx::plexion::MemoryWatchdog* watchdog)
    : movie_(movie), expressions_(watchdog) {}

int ScriptAccess::Compiled(std::string_view source, const void* owner) {
  const auto [entry, fresh] = compiled_.try_emplace(source.data(), Expressions::kNone);
  if (!fresh) return entry->second;
  std::string error;
  const int compiled = entry->second = expressions_.Compile(source, error);
  if (compiled == Expressions::kNone) Note(owner, error);
  return compiled;
}

void ScriptAccess::Note(const void* owner, const std::string& why) {
  constexpr size_t kMostTold = 8;
  if (failures_.size() >= kMostTold) return;
  const auto* use = static_cast<const LayerUse*>(owner);
  const std::string layer = use != nullptr ? "layer " + Quoted(use->Model().name) + ": " : "";
  failures_.push_back(layer + "an expression is not used: " + why);
}

bool ScriptAccess::Evaluate(int expression, const void* owner, double time,
                            const ExpressionSite& site, const ScriptValue& keyed,
                            ScriptValue& result, Constancy& constancy) {
  PLEXION_CHECK(scene_ != nullptr, "SetScene comes before the first value");
  const auto* layer = static_cast<const LayerUse*>(owner);
  Reading reading;
  reading.composition = layer != nullptr ? &layer->Owner() : nullptr;
  reading.time = time;
  Reading* const outer = reading_;
  reading_ = &reading;
  bool timeless = false;
  const bool good = expressions_.Evaluate(expression, *this, site, keyed, result, &timeless);
  reading_ = outer;
  if (!timeless && reading.otherTime) ++outside_;
  // One that has failed may be tried again: its budget is that of a frame.
  if (!good || !timeless) reading.holds.Meet(time, time);
  constancy.Meet(reading.holds.from, reading.holds.to);
  if (good) return true;
  ++cuts_;
  int failed = 0;
  std::string why;
  while (expressions_.TakeFailure(failed, why)) Note(owner, why);
  return false;
}

KeptResults::Key ScriptAccess::KeyOf(const void* property, const void* owner, double time) {
  const auto* use = static_cast<const LayerUse*>(owner);
  return {property, owner, time, use != nullptr ? use->Owner().time : time};
}

void ScriptAccess::NoteRead(const LayerUse* layer, const Constancy& holds) {
  if (reading_ == nullptr) return;
  const Constancy always;
  if (holds.from == always.from && holds.to == always.to) return;
  if (layer != nullptr && &layer->Owner() == reading_->composition) {
    reading_->holds.Meet(holds.from, holds.to);
  } else {
    // Other compositions count other frames.
    ++outside_;
    reading_->holds.Meet(reading_->time, reading_->time);
  }
}

void ScriptAccess::TellFailures(const std::function<void(const std::string&)>& tell) {
  for (const std::string& failure : failures_) tell(failure);
  failures_.clear();
}

ExpressionSite ScriptAccess::SiteOf(const SceneNode& property, const LayerUse* owner,
                                    double time) const {
  ExpressionSite site;
  site.property = property;
  site.layer = LayerNode(owner);
  site.seconds = time / movie_.frameRate;
  return site;
}

bool ScriptAccess::Run(const Property& property, const void* owner, double time, float* values,
                       Constancy& constancy) {
  const int expression = Compiled(property.expression, owner);
  if (expression == Expressions::kNone || property.dims > ScriptValue::kMostNumbers) return false;
  const KeptResults::Key key = KeyOf(&property, owner, time);
  Constancy holds;
  if (kept_.Find(key, values, property.dims, holds)) {
    constancy.Meet(holds.from, holds.to);
    return true;
  }
  ScriptValue keyed, result;
  ToValue(values, property.dims, keyed);
  ExpressionSite site =
      SiteOf(PropertyNode(&property, owner), static_cast<const LayerUse*>(owner), time);
  site.seed = property.number;
  const Context before = ContextNow();
  const bool good = Evaluate(expression, owner, time, site, keyed, result, holds);
  constancy.Meet(holds.from, holds.to);
  if (!good) return false;
  std::array<float, KeptResults::kMostNumbers> given = {};
  std::copy_n(values, std::min(property.dims, KeptResults::kMostNumbers), given.begin());
  for (size_t i = 0; i < std::min<size_t>(property.dims, result.numbers.size()); ++i) {
    values[i] = static_cast<float>(std::clamp(result.numbers[i], -1e9, 1e9));
  }
  if (ContextNow() == before) kept_.Keep(key, given.data(), values, property.dims, holds);
  return true;
}

bool ScriptAccess::RunPath(const PathProperty& property, const void* owner, double time,
                           Outline& outline, Constancy& constancy) {
  const int expression = Compiled(property.expression, owner);
  if (expression == Expressions::kNone) return false;
  const KeptResults::Key key = KeyOf(&property, owner, time);
  Constancy holds;
  if (kept_.Find(key, outline, holds)) {
    constancy.Meet(holds.from, holds.to);
    return true;
  }
  ScriptValue keyed, result;
  ToValue(outline.vertices.data(), outline.vertices.size(), outline.closed, keyed);
  ExpressionSite site =
      SiteOf(PathNode(&property, owner), static_cast<const LayerUse*>(owner), time);
  site.seed = property.number;
  const Context before = ContextNow();
  const bool good = Evaluate(expression, owner, time, site, keyed, result, holds);
  constancy.Meet(holds.from, holds.to);
  if (!good) return false;
  if (result.kind != ScriptValue::Kind::kPath) return true;
  const Outline given = outline;
  FromValue(result, outline);
  if (ContextNow() == before) kept_.Keep(key, given, outline, holds);
  return true;
}

bool ScriptAccess::RunText(const JsonValue& source, const void* owner, double time,
                           std::string& text, Constancy& constancy) {
  const JsonValue* script = source.Find("x");
  if (script == nullptr || script->Text().empty()) return false;
  const int expression = Compiled(script->Text(), owner);
  if (expression == Expressions::kNone) return false;
  ScriptValue keyed, result;
  keyed.kind = ScriptValue::Kind::kText;
  keyed.text = text;
  const ExpressionSite site =
      SiteOf(TextNode(&source, owner), static_cast<const LayerUse*>(owner), time);
  if (!Evaluate(expression, owner, time, site, keyed, result, constancy)) return false;
  text = result.text;
  std::replace(text.begin(), text.end(), '\n', '\r');
  return true;
}

bool ScriptAccess::RunSelector(std::string_view source, const void* owner, double time, int index,
                               int total, double percent[3], Constancy& constancy) {
  const int expression = Compiled(source, owner);
  if (expression == Expressions::kNone) return false;
  PLEXION_CHECK(owner != nullptr && index >= 1 && index <= total, "it is one of a text's parts");
  const auto* use = static_cast<const LayerUse*>(owner);
  ExpressionSite site = SiteOf(PartOfLayer(*use, "t"), use, time);
  site.textIndex = index;
  site.textTotal = total;
  ScriptValue keyed, result;
  keyed.kind = ScriptValue::Kind::kVector;
  keyed.numbers.assign(site.selectorValue, site.selectorValue + 3);
  if (!Evaluate(expression, owner, time, site, keyed, result, constancy)) return false;
  std::copy_n(result.numbers.begin(), std::min<size_t>(3, result.numbers.size()), percent);
  return true;
}

}  // namespace plexion_host::movie
