// Velocities, loops and keys of properties.
#include "host/player/lottie/script/PropertyTimes.h"

#include <algorithm>
#include <cmath>

#include "host/player/lottie/script/Machine.h"

namespace plexion_host::movie {

namespace {

constexpr double kVelocityStep = 0.001;

/// One span of the keyframes, repeated before the first or behind the last of them.
struct LoopSpan {
  double first = 0;
  double last = 0;
  double beyond = 0;  ///< how far outside the time is, from the end where the loop begins
};

/// Returns  false when the keyframes' value is right as it is.
bool FindLoop(ScriptMachine& machine, const SceneNode& property, const Loop& loop, LoopSpan& span) {
  IScriptScene& scene = machine.Scene();
  const double amount = std::fabs(loop.amount);
  const int keys = scene.KeyCount(property);
  if (keys < 2) return false;
  span.first = scene.KeyTime(property, 0);
  span.last = scene.KeyTime(property, keys - 1);
  const double now = machine.NowOf(property);
  span.beyond = loop.in ? span.first - now : now - span.last;
  if (!(span.beyond > 0)) return false;
  if (loop.duration) {
    const LayerFacts layer = scene.FactsOfLayer(machine.Site().layer);
    if (loop.in) {
      span.last = amount > 0 ? span.first + amount : std::max(layer.outSeconds, span.first);
    } else {
      span.first = amount > 0 ? span.last - amount : std::min(layer.inSeconds, span.last);
    }
  } else if (amount >= 1 && amount < keys - 1) {
    const int spans = static_cast<int>(amount);
    if (loop.in) {
      span.last = scene.KeyTime(property, spans);
    } else {
      span.first = scene.KeyTime(property, keys - 1 - spans);
    }
  }
  return span.last - span.first > 1e-9;
}

void ContinueLoop(ScriptMachine& machine, const SceneNode& property, const LoopSpan& span, bool in,
                  TimedValue& result) {
  ScriptOperand near;
  const double at = in ? span.first : span.last;
  if (!NumbersAt(machine, property, at, result.numbers) ||
      !NumbersAt(machine, property, in ? at + kVelocityStep : at - kVelocityStep, near)) {
    result.seconds = machine.NowOf(property);
    return;
  }
  for (uint32_t i = 0; i < result.numbers.count; ++i) {
    double& end = result.numbers.numbers[i];
    end += (end - near.numbers[i]) / kVelocityStep * span.beyond;
  }
  result.keyed = false;
}

}  // namespace

/// The keyframes' value of a property. Returns  false when it is not made of numbers.
bool NumbersAt(ScriptMachine& machine, const SceneNode& property, double seconds,
               ScriptOperand& operand) {
  const ScriptValue* value = machine.Read(property, seconds, false);
  if (value == nullptr ||
      (value->kind != ScriptValue::Kind::kNumber && value->kind != ScriptValue::Kind::kVector)) {
    return false;
  }
  operand.list = value->kind == ScriptValue::Kind::kVector;
  operand.text = false;
  operand.count =
      static_cast<uint32_t>(std::min<size_t>(value->numbers.size(), ScriptValue::kMostNumbers));
  std::copy_n(value->numbers.begin(), operand.count, operand.numbers);
  return operand.count > 0;
}

bool VelocityOf(ScriptMachine& machine, const SceneNode& property, double seconds,
                ScriptOperand& velocity) {
  ScriptOperand before;
  if (!NumbersAt(machine, property, seconds, velocity) ||
      !NumbersAt(machine, property, seconds - kVelocityStep, before)) {
    return false;
  }
  for (uint32_t i = 0; i < velocity.count; ++i) {
    velocity.numbers[i] = (velocity.numbers[i] - before.numbers[i]) / kVelocityStep;
  }
  return true;
}

LoopKind LoopKindNamed(std::string_view name) {
  const auto is = [name](std::string_view what) {
    return std::equal(name.begin(), name.end(), what.begin(), what.end(),
                      [](char given, char wanted) { return (given | 0x20) == wanted; });
  };
  return is("pingpong")   ? LoopKind::kPingPong
         : is("offset")   ? LoopKind::kOffset
         : is("continue") ? LoopKind::kContinue
                          : LoopKind::kCycle;
}

void LoopProperty(ScriptMachine& machine, const SceneNode& property, const Loop& loop,
                  TimedValue& result) {
  result.keyed = true;
  LoopSpan span;
  if (!FindLoop(machine, property, loop, span)) {
    result.seconds = machine.ReadingTimeOf(property);
    return;
  }
  if (loop.kind == LoopKind::kContinue) {
    return ContinueLoop(machine, property, span, loop.in, result);
  }
  const double length = span.last - span.first;
  // From the span's first key in one direction: a loop out counts from there as well.
  const double turns = std::floor(span.beyond / length);
  const double rest = span.beyond - turns * length;
  result.seconds = loop.in ? span.last - rest : span.first + rest;
  if (loop.kind == LoopKind::kPingPong && std::fmod(turns, 2) == 0) {
    result.seconds = loop.in ? span.first + rest : span.last - rest;
  }
  if (loop.kind != LoopKind::kOffset) return;
  ScriptOperand first;
  ScriptOperand last;
  if (!NumbersAt(machine, property, result.seconds, result.numbers) ||
      !NumbersAt(machine, property, span.first, first) ||
      !NumbersAt(machine, property, span.last, last)) {
    return;
  }
  for (uint32_t i = 0; i < result.numbers.count; ++i) {
    const double step = (last.numbers[i] - first.numbers[i]) * (turns + 1);
    result.numbers.numbers[i] += loop.in ? -step : step;
  }
  result.keyed = false;
}

int NearestKeyOf(IScriptScene& scene, const SceneNode& property, int keys, double seconds) {
  int nearest = 0;
  for (int i = 1; i < keys; ++i) {
    if (std::fabs(scene.KeyTime(property, i) - seconds) <
        std::fabs(scene.KeyTime(property, nearest) - seconds)) {
      nearest = i;
    }
  }
  return nearest;
}

}  // namespace plexion_host::movie
