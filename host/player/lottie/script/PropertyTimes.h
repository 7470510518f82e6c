// Properties at other times and in loops, for the script engine and for trees alike.

#ifndef HOST_PLAYER_LOTTIE_SCRIPT_PROPERTYTIMES_H_
#define HOST_PLAYER_LOTTIE_SCRIPT_PROPERTYTIMES_H_

#include <string_view>

#include "host/player/lottie/script/Arithmetic.h"

namespace plexion_host::movie {

class ScriptMachine;

/// What a function makes of a property: its keyframes' value at a time, or numbers.
struct TimedValue {
  bool keyed = true;
  double seconds = 0;
  ScriptOperand numbers;
};

/// The keyframes' value of a property. Returns  false when it is not made of numbers.
bool NumbersAt(ScriptMachine& machine, const SceneNode& property, double seconds,
               ScriptOperand& operand);

/// By how much a second it changes. Returns  false when it is not made of numbers.
bool VelocityOf(ScriptMachine& machine, const SceneNode& property, double seconds,
                ScriptOperand& velocity);

enum class LoopKind : uint8_t { kCycle, kPingPong, kOffset, kContinue };
/// An unknown name is a cycle.
LoopKind LoopKindNamed(std::string_view name);

struct Loop {
  bool in = false;        ///< before the first key; else behind the last one
  bool duration = false;  ///< `amount` is in seconds; else in spans between keys
  LoopKind kind = LoopKind::kCycle;
  double amount = 0;  ///< 0: all
};
void LoopProperty(ScriptMachine& machine, const SceneNode& property, const Loop& loop,
                  TimedValue& result);

/// From 0; the property has keys.
int NearestKeyOf(IScriptScene& scene, const SceneNode& property, int keys, double seconds);

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_SCRIPT_PROPERTYTIMES_H_
