// Elements of the stage as objects of a script.
#ifndef HOST_PLAYER_APPLICATION_SCRIPT_ELEMENTOBJECTS_H_
#define HOST_PLAYER_APPLICATION_SCRIPT_ELEMENTOBJECTS_H_

#include "host/player/application/script/sandbox/Script.h"
#include "host/player/application/stage/Stage.h"

namespace plexion_host::player::application {

/// One object for one element, so that a script can compare them and use them as keys. An object
/// outlives its element and then says so. The stage is not kept alive, nor its elements.
class ElementObjects {
 public:
  /// The name of their type in the script's registry, whose methods the element library sets.
  static constexpr char kType[] = "element";

  explicit ElementObjects(Stage& stage) : stage_(stage) {}

  /// Makes room for them; before the others.
  static void Open(lua_State* state);
  static void Push(lua_State* state, const Element& element);
  /// Null is nil.
  static void PushOrNil(lua_State* state, const Element* element);
  /// Null when the element has been removed. Raises an error when the value is no element.
  Element* Find(lua_State* state, int index) const;
  /// Raises an error when it has been removed, too.
  Element& Check(lua_State* state, int index) const;

 private:
  Stage& stage_;
};

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_SCRIPT_ELEMENTOBJECTS_H_
