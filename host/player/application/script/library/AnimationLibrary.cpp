// Animations of elements: methods of theirs that a script calls.
#include "host/player/application/script/library/ElementAccess.h"

namespace plexion_host::player::application {

namespace {

AnimationTarget ReadTarget(lua_State* state, const Element& element, const std::string& name) {
  const Property& property = CheckProperty(state, element, name);
  AnimationTarget target;
  target.property = &property;
  // A scratch element takes the value, so that its limits are those of setting it at once.
  Element wanted;
  std::string error;
  if (property.type == ValueType::kNumber && lua_type(state, -1) == LUA_TNUMBER) {
    if (!SetNumber(wanted, property, lua_tonumber(state, -1), error)) Raise(state, error);
    target.number = wanted.*property.number;
  } else if (property.type == ValueType::kColour && lua_type(state, -1) == LUA_TSTRING) {
    if (!SetFromText(wanted, property, lua_tostring(state, -1), error)) Raise(state, error);
    target.colour = wanted.*property.colour;
    if (target.colour.none) Raise(state, name + " cannot be animated to none; expected a colour");
  } else {
    Raise(state, name + " cannot be animated to a " + luaL_typename(state, -1) +
                     " value; expected a number or a colour");
  }
  return target;
}

}  // namespace

double OptionalSeconds(lua_State* state, int table, const char* name, double otherwise) {
  const int type = lua_getfield(state, table, name);
  double seconds = otherwise;
  if (type != LUA_TNIL) {
    seconds = type == LUA_TNUMBER ? lua_tonumber(state, -1) : -1;
    if (!(seconds >= 0 && seconds <= 1e6)) {
      Raise(state, std::string(name) + " is wrong; expected seconds from 0 to 1000000");
    }
  }
  lua_pop(state, 1);
  return seconds;
}

/// element:animate{x = 10, opacity = 1, duration = 0.5, delay = 0, easing = "out", done = f}
int AnimateElement(lua_State* state) {
  Element& element = ScriptHost::Of(state).Elements().Check(state, 1);
  luaL_checktype(state, 2, LUA_TTABLE);
  lua_settop(state, 2);
  AnimationTiming timing;
  timing.duration = OptionalSeconds(state, 2, "duration", timing.duration);
  timing.delay = OptionalSeconds(state, 2, "delay", 0);
  if (lua_getfield(state, 2, "easing") != LUA_TNIL) {
    timing.easing = FindEasing(luaL_checkstring(state, -1));
    if (timing.easing < 0) {
      Raise(state,
            std::string("easing is \"") + lua_tostring(state, -1) + "\"; expected " + kEasingNames);
    }
  }
  lua_pop(state, 1);
  const int done = lua_getfield(state, 2, "done");
  if (done != LUA_TNIL && done != LUA_TFUNCTION) Raise(state, "done is no function");
  lua_pop(state, 1);

  std::vector<AnimationTarget> targets;
  lua_pushnil(state);
  while (lua_next(state, 2) != 0) {
    if (lua_type(state, -2) != LUA_TSTRING) Raise(state, "expected names of properties");
    const std::string name = lua_tostring(state, -2);
    if (name != "duration" && name != "delay" && name != "easing" && name != "done") {
      targets.push_back(ReadTarget(state, element, name));
    }
    lua_pop(state, 1);
  }
  int token = LUA_NOREF;
  if (done == LUA_TFUNCTION) {
    lua_getfield(state, 2, "done");
    // Held by the script's registry until the animation ends: a function that nobody else has is not collected.
    token = luaL_ref(state, LUA_REGISTRYINDEX);
  }
  const ScriptContext& context = ScriptHost::Of(state).Context();
  if (!context.animations.Start(element.handle, targets, timing, token,
                                ScriptHost::Of(state).Now())) {
    // Nobody would ever give this reference back.
    luaL_unref(state, LUA_REGISTRYINDEX, token);
    Raise(state, "more than " + std::to_string(kMostAnimations) + " animations at once");
  }
  // Answers the element, so that calls can be chained.
  lua_settop(state, 1);
  return 1;
}

int StopElement(lua_State* state) {
  ScriptHost::Of(state).Context().animations.Stop(
      ScriptHost::Of(state).Elements().Check(state, 1).handle);
  return 0;
}

}  // namespace plexion_host::player::application
