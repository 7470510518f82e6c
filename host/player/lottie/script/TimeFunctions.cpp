// Properties in time: at other times, in loops, by chance.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "host/player/lottie/script/Machine.h"
#include "host/player/lottie/script/PropertyTimes.h"

namespace plexion_host::movie {

namespace {

constexpr int kMostSamples = 100;
constexpr int kMostOctaves = 10;

double NumberOr(duk_context* context, duk_idx_t index, double otherwise) {
  if (duk_is_null_or_undefined(context, index)) return otherwise;
  const double number = duk_to_number(context, index);
  return std::isfinite(number) ? number : otherwise;
}

duk_ret_t PushAt(duk_context* context, const SceneNode& property, double seconds) {
  ScriptMachine& machine = ScriptMachine::Of(context);
  const ScriptValue* value = machine.Read(property, seconds, false);
  if (value == nullptr) return 0;
  machine.PushValue(context, *value);
  return 1;
}

duk_ret_t ValueAtTime(duk_context* context) {
  ScriptMachine& machine = ScriptMachine::Of(context);
  machine.Charge(context, 4);
  const SceneNode property = machine.ThisNode(context, true);
  return PushAt(context, property, NumberOr(context, 0, machine.NowOf(property)));
}

/// magic 1: its size only.
duk_ret_t VelocityAtTime(duk_context* context) {
  ScriptMachine& machine = ScriptMachine::Of(context);
  machine.Charge(context, 8);
  const SceneNode property = machine.ThisNode(context, true);
  ScriptOperand velocity;
  if (!VelocityOf(machine, property, NumberOr(context, 0, machine.NowOf(property)), velocity)) {
    return 0;
  }
  if (duk_get_current_magic(context) == 0) {
    PushOperand(context, velocity);
  } else {
    duk_push_number(context, Distance(velocity, nullptr));
  }
  return 1;
}

duk_ret_t Velocity(duk_context* context) {
  duk_push_undefined(context);
  return VelocityAtTime(context);
}

constexpr int kLoopIn = 1;
constexpr int kLoopDuration = 2;

duk_ret_t LoopThis(duk_context* context) {
  ScriptMachine& machine = ScriptMachine::Of(context);
  machine.Charge(context, 16);
  const SceneNode property = machine.ThisNode(context, true);
  const int magic = duk_get_current_magic(context);
  const char* const name = duk_get_string(context, 0);
  TimedValue value;
  LoopProperty(machine, property,
               {(magic & kLoopIn) != 0, (magic & kLoopDuration) != 0,
                LoopKindNamed(name != nullptr ? name : ""), NumberOr(context, 1, 0)},
               value);
  if (value.keyed) return PushAt(context, property, value.seconds);
  PushOperand(context, value.numbers);
  return 1;
}

uint64_t Mix(uint64_t value) {
  value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9u;
  value = (value ^ (value >> 27)) * 0x94D049BB133111EBu;
  return value ^ (value >> 31);
}

/// From -1 to 1, without a jump in `x`.
double Waver(uint64_t seed, double x) {
  const double whole = std::floor(x);
  const double part = x - whole;
  const auto at = [seed](double place) {
    const auto cell = static_cast<uint64_t>(static_cast<int64_t>(std::fmod(place, 1e15)));
    return static_cast<double>(Mix(seed ^ Mix(cell + 0x9E3779B97F4A7C15u)) >> 11) /
               4503599627370496.0 -
           1;
  };
  const double smooth = part * part * (3 - 2 * part);
  return at(whole) + (at(whole + 1) - at(whole)) * smooth;
}

/// (times a second, how far, octaves, how much of each octave's predecessor, time)
duk_ret_t Wiggle(duk_context* context) {
  ScriptMachine& machine = ScriptMachine::Of(context);
  const SceneNode property = machine.ThisNode(context, true);
  const double frequency = NumberOr(context, 0, 1);
  const double amplitude = NumberOr(context, 1, 1);
  const int octaves =
      static_cast<int>(std::clamp(NumberOr(context, 2, 1), 1.0, double{kMostOctaves}));
  const double less = NumberOr(context, 3, 0.5);
  const double seconds = NumberOr(context, 4, machine.NowOf(property));
  machine.Charge(context, 8.0 * octaves);
  ScriptOperand value;
  if (!NumbersAt(machine, property, seconds, value)) return PushAt(context, property, seconds);
  for (uint32_t i = 0; i < value.count; ++i) {
    double strength = amplitude;
    double pace = frequency;
    for (int octave = 0; octave < octaves; ++octave) {
      const uint64_t seed = Mix(machine.Variation() + i * 131 + static_cast<uint64_t>(octave));
      value.numbers[i] += strength * Waver(seed, seconds * pace);
      strength *= less;
      pace *= 2;
    }
  }
  PushOperand(context, value);
  return 1;
}

/// The mean of some times around now.
duk_ret_t Smooth(duk_context* context) {
  ScriptMachine& machine = ScriptMachine::Of(context);
  const SceneNode property = machine.ThisNode(context, true);
  const double width = NumberOr(context, 0, 0.2);
  const int samples =
      static_cast<int>(std::clamp(NumberOr(context, 1, 5), 1.0, double{kMostSamples}));
  const double now = NumberOr(context, 2, machine.NowOf(property));
  machine.Charge(context, 4.0 * samples);
  ScriptOperand mean;
  if (samples == 1 || !NumbersAt(machine, property, now, mean)) {
    return PushAt(context, property, now);
  }
  std::fill_n(mean.numbers, mean.count, 0.0);
  ScriptOperand sample;
  for (int i = 0; i < samples; ++i) {
    if (!NumbersAt(machine, property, now - width / 2 + width * i / (samples - 1), sample))
      return 0;
    for (uint32_t j = 0; j < mean.count; ++j) mean.numbers[j] += sample.numbers[j] / samples;
  }
  PushOperand(context, mean);
  return 1;
}

// --- Keys ---

duk_ret_t PushKey(duk_context* context, const SceneNode& property, int key) {
  ScriptMachine& machine = ScriptMachine::Of(context);
  const ScriptValue* value = machine.ReadKey(property, key);
  if (value == nullptr) return 0;
  machine.PushValue(context, *value);
  duk_to_object(context, -1);
  // Defined rather than assigned: a path has a "value" that only can be read.
  const auto define = [context](const char* name) {
    duk_push_string(context, name);
    duk_swap_top(context, -2);
    duk_def_prop(context, -3, DUK_DEFPROP_HAVE_VALUE | DUK_DEFPROP_SET_CONFIGURABLE);
  };
  duk_push_number(context, key + 1);
  define("index");
  duk_push_number(context, machine.Scene().KeyTime(property, key));
  define("time");
  machine.PushValue(context, *value);
  define("value");
  return 1;
}

duk_ret_t Key(duk_context* context) {
  ScriptMachine& machine = ScriptMachine::Of(context);
  machine.Charge(context, 4);
  const SceneNode property = machine.ThisNode(context, true);
  const double key = duk_to_number(context, 0);
  if (!(key >= 1) || key > machine.Scene().KeyCount(property)) {
    return duk_range_error(context, "there is no key %s", duk_safe_to_string(context, 0));
  }
  return PushKey(context, property, static_cast<int>(key) - 1);
}

duk_ret_t NearestKey(duk_context* context) {
  ScriptMachine& machine = ScriptMachine::Of(context);
  const SceneNode property = machine.ThisNode(context, true);
  const double seconds = NumberOr(context, 0, machine.NowOf(property));
  const int keys = machine.Scene().KeyCount(property);
  machine.Charge(context, 4 + keys);
  if (keys == 0) return duk_range_error(context, "the property has no keys");
  return PushKey(context, property, NearestKeyOf(machine.Scene(), property, keys, seconds));
}

duk_ret_t KeyTotal(duk_context* context) {
  ScriptMachine& machine = ScriptMachine::Of(context);
  duk_push_int(context, machine.Scene().KeyCount(machine.ThisNode(context, true)));
  return 1;
}

// --- Chance ---

/// (), (most) or (least, most), of numbers or lists; magic 1: by a bell curve.
duk_ret_t Random(duk_context* context) {
  ScriptMachine& machine = ScriptMachine::Of(context);
  machine.Charge(context, 1);
  ScriptOperand most;
  ScriptOperand least;
  if (!ReadOperand(context, duk_is_undefined(context, 1) ? 0 : 1, most)) most.numbers[0] = 1;
  if (duk_is_undefined(context, 1) || !ReadOperand(context, 0, least)) {
    least.count = most.count;
    std::fill_n(least.numbers, least.count, 0.0);
  }
  for (uint32_t i = 0; i < most.count; ++i) {
    double chance = machine.NextRandom();
    if (duk_get_current_magic(context) == 1) {
      // Nine of ten fall between the two ends.
      chance = 0.5 + 0.304 * std::sqrt(-2 * std::log(1 - chance)) *
                         std::cos(6.283185307179586 * machine.NextRandom());
    }
    const double from = i < least.count ? least.numbers[i] : least.numbers[0];
    most.numbers[i] = from + (most.numbers[i] - from) * chance;
  }
  most.text = false;
  PushOperand(context, most);
  return 1;
}

duk_ret_t SeedRandom(duk_context* context) {
  ScriptMachine::Of(context).SeedRandom(duk_to_number(context, 0), duk_to_boolean(context, 1) != 0);
  return 0;
}

/// Without a jump between neighbours: (number) or (list of up to three).
duk_ret_t Noise(duk_context* context) {
  ScriptOperand place;
  if (!ReadOperand(context, 0, place))
    return duk_type_error(context, "expected a number or a list");
  for (uint32_t i = place.count; i < 3; ++i) place.numbers[i] = 0;
  double sum = 0;
  for (int corner = 0; corner < 8; ++corner) {
    double weight = 1;
    uint64_t cell = 0x9E3779B97F4A7C15u;
    double slope = 0;
    for (int i = 0; i < 3; ++i) {
      const double number = std::isfinite(place.numbers[i]) ? std::fmod(place.numbers[i], 1e12) : 0;
      const int far = (corner >> i) & 1;
      const double whole = std::floor(number);
      const double part = number - whole;
      const double smooth = part * part * part * (part * (part * 6 - 15) + 10);
      weight *= far != 0 ? smooth : 1 - smooth;
      cell = Mix(cell ^
                 (static_cast<uint64_t>(static_cast<int64_t>(whole) + far) * 0xD6E8FEB86659FD93u +
                  static_cast<uint64_t>(i)));
    }
    for (int i = 0; i < 3; ++i) {
      const double number = std::isfinite(place.numbers[i]) ? std::fmod(place.numbers[i], 1e12) : 0;
      const double away = number - std::floor(number) - ((corner >> i) & 1);
      slope += ((Mix(cell + static_cast<uint64_t>(i)) & 1) != 0 ? away : -away);
    }
    sum += weight * slope;
  }
  duk_push_number(context, std::clamp(sum, -1.0, 1.0));
  return 1;
}

// --- Time itself ---

double FrameSeconds(ScriptMachine& machine) {
  IScriptScene& scene = machine.Scene();
  const double seconds =
      scene.FactsOfComposition(scene.CompositionOf(machine.Site().layer)).frameSeconds;
  return seconds > 0 ? seconds : 1.0 / 30;
}

duk_ret_t PosterizeTime(duk_context* context) {
  ScriptMachine& machine = ScriptMachine::Of(context);
  const double rate = duk_to_number(context, 0);
  machine.Time() = rate > 0 ? std::floor(machine.Time() * rate + 1e-6) / rate : 0;
  duk_push_number(context, machine.Time());
  return 1;
}

duk_ret_t TimeToFrames(duk_context* context) {
  ScriptMachine& machine = ScriptMachine::Of(context);
  const double seconds = NumberOr(context, 0, machine.Time());
  duk_push_number(context, seconds * NumberOr(context, 1, 1 / FrameSeconds(machine)));
  return 1;
}

duk_ret_t FramesToTime(duk_context* context) {
  ScriptMachine& machine = ScriptMachine::Of(context);
  duk_push_number(context,
                  NumberOr(context, 0, 0) / NumberOr(context, 1, 1 / FrameSeconds(machine)));
  return 1;
}

duk_ret_t Step(duk_context* context) {
  ScriptMachine::Of(context).Charge(context, 1);
  return 0;
}

duk_ret_t ChargeSteps(duk_context* context) {
  ScriptMachine::Of(context).Charge(context, duk_to_number(context, 0) / 4);
  return 0;
}

/// How many unbounded repetitions a regular expression has; -1: one stands inside of another.
duk_ret_t Repetitions(duk_context* context) {
  const char* pattern = duk_to_string(context, 0);
  constexpr int kDeepest = 32;
  bool repeats[kDeepest + 1] = {};
  int depth = 0;
  int total = 0;
  bool inClass = false;
  bool closed = false;  // a group that repeats something has just ended
  for (const char* c = pattern; *c != 0; ++c) {
    bool ended = false;
    if (*c == '\\' && c[1] != 0) {
      if (c[1] >= '1' && c[1] <= '9') total += 2;  // what it repeats is searched for again
      ++c;
    } else if (inClass) {
      inClass = *c != ']';
    } else if (*c == '[') {
      inClass = true;
    } else if (*c == '(') {
      if (++depth > kDeepest) {
        total = -1;
        break;
      }
      repeats[depth] = false;
      if (c[1] == '?') ++c;
    } else if (*c == ')' && depth > 0) {
      ended = repeats[depth];
      if (ended) repeats[depth - 1] = true;
      --depth;
    } else if (*c == '*' || *c == '+' || *c == '{') {
      if (closed) {
        total = -1;
        break;
      }
      repeats[depth] = true;
      ++total;
    }
    closed = ended;
  }
  duk_push_int(context, total);
  return 1;
}

}  // namespace

void AddPropertyOperations(duk_context* context, duk_idx_t object) {
  static constexpr struct {
    const char* name;
    duk_c_function function;
    duk_idx_t arguments;
    int magic;
  } kOperations[] = {
      {"valueAtTime", ValueAtTime, 1, 0},
      {"velocityAtTime", VelocityAtTime, 1, 0},
      {"speedAtTime", VelocityAtTime, 1, 1},
      {"loopIn", LoopThis, 2, kLoopIn},
      {"loop_in", LoopThis, 2, kLoopIn},
      {"loopOut", LoopThis, 2, 0},
      {"loop_out", LoopThis, 2, 0},
      {"loopInDuration", LoopThis, 2, kLoopIn | kLoopDuration},
      {"loopOutDuration", LoopThis, 2, kLoopDuration},
      {"wiggle", Wiggle, 5, 0},
      {"smooth", Smooth, 3, 0},
      {"key", Key, 1, 0},
      {"nearestKey", NearestKey, 1, 0},
  };
  for (const auto& each : kOperations) {
    duk_push_c_function(context, each.function, each.arguments);
    duk_set_magic(context, -1, each.magic);
    duk_put_prop_string(context, object, each.name);
  }
}

void AddTimeFunctions(duk_context* context) {
  duk_push_global_object(context);
  AddPropertyOperations(context, duk_get_top_index(context));
  duk_pop(context);
  AddFunction(context, "random", Random, 2);
  AddFunction(context, "gaussRandom", Random, 2, 1);
  AddFunction(context, "seedRandom", SeedRandom, 2);
  AddFunction(context, "noise", Noise, 1);
  AddFunction(context, "posterizeTime", PosterizeTime, 1);
  AddFunction(context, "timeToFrames", TimeToFrames, 2);
  AddFunction(context, "framesToTime", FramesToTime, 2);
  AddFunction(context, "$$charge", ChargeSteps, 1);
  AddFunction(context, "$$repetitions", Repetitions, 1);
  duk_push_global_stash(context);
  duk_push_c_function(context, Step, 0);
  duk_put_prop_string(context, -2, "step");
  duk_pop(context);
  static constexpr struct {
    const char* name;
    duk_c_function function;
    int magic;
  } kGetters[] = {{"numKeys", KeyTotal, 0}, {"velocity", Velocity, 0}, {"speed", Velocity, 1}};
  duk_push_global_stash(context);
  duk_push_object(context);
  for (const auto& each : kGetters) {
    duk_push_string(context, each.name);
    duk_push_c_function(context, each.function, 0);
    duk_set_magic(context, -1, each.magic);
    duk_def_prop(context, -3, DUK_DEFPROP_HAVE_GETTER | DUK_DEFPROP_SET_CONFIGURABLE);
  }
  duk_put_prop_string(context, -2, "keys");
  duk_pop(context);
}

}  // namespace plexion_host::movie
