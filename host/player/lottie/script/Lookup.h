// Finding parts of a movie by the words of the language, for the script engine and for trees alike.

#ifndef HOST_PLAYER_LOTTIE_SCRIPT_LOOKUP_H_
#define HOST_PLAYER_LOTTIE_SCRIPT_LOOKUP_H_

#include <string_view>

#include "host/player/lottie/script/ScriptScene.h"

namespace plexion_host::movie {

class ScriptMachine;

/// What a word of a node means.
struct FoundPart {
  enum class Kind : uint8_t {
    kNothing,
    kNode,       ///< see PropertyMeant for what it is worth
    kSplit,      ///< a position that is three properties of the transform `node`
    kComponent,  ///< one number of the property `node`
  };
  Kind kind = Kind::kNothing;
  SceneNode node;
  size_t component = 0;
};

/// The item that is called so, by its author or its maker; else the one with that number, which
/// counts from 1. `number` 0: by `word` only.
SceneNode FindItem(IScriptScene& scene, const SceneNode& list, std::string_view word, int number);

/// The part of a node that has this short name.
FoundPart FindPart(IScriptScene& scene, const SceneNode& node, std::string_view part);

/// A whole number from 1 that an author may number things by; 0 for any other.
int NumberOfItem(double given);

/// node("Name"), node(number): `number` 0 means by `word`.
FoundPart FindCalled(IScriptScene& scene, const SceneNode& node, std::string_view word, int number);

/// What a node stands for where it is named: of an effect's value its property, and the layer that
/// this names in its place. kNone: a layer that is not there.
SceneNode NodeMeant(ScriptMachine& machine, const SceneNode& node);

/// One of the three of a split position; false when it has no such part.
bool SplitNumber(ScriptMachine& machine, const SceneNode& transform, int axis, double& number);
double ComponentNumber(ScriptMachine& machine, const FoundPart& found);

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_SCRIPT_LOOKUP_H_
