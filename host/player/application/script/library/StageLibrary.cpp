// The stage as a script sees it: its elements, and scenes that give way to each other.
#include "host/base/Check.h"
#include "host/player/application/paint/Placement.h"
#include "host/player/application/script/library/ElementAccess.h"
#include "host/player/application/script/library/Libraries.h"

namespace plexion_host::player::application {

namespace {

int FindOnStage(lua_State* state) {
  ElementObjects::PushOrNil(state,
                            ScriptHost::Of(state).Context().stage.FindById(CheckName(state, 1)));
  return 1;
}

/// stage.create("text", parent, {x = 10, text = "..."})
int Create(lua_State* state) {
  const std::string word = CheckName(state, 1);
  ElementKind kind = ElementKind::kGroup;
  if (!ReadElementKind(word, kind)) {
    Raise(state, "\"" + word + "\" is no kind of element; expected " + ElementKindNames());
  }
  Element& parent = ScriptHost::Of(state).Elements().Check(state, 2);
  std::string error;
  Element* element = ScriptHost::Of(state).Context().stage.Create(kind, parent, error);
  if (element == nullptr) Raise(state, error);
  if (!lua_isnoneornil(state, 3)) SetProperties(state, *element, 3);
  ElementObjects::Push(state, *element);
  return 1;
}

/// stage.show("scene", {transition = "fade", duration = 0.5, direction = "left", easing = "out"})
int Show(lua_State* state) {
  const ScriptContext& context = ScriptHost::Of(state).Context();
  const std::string id = CheckName(state, 1);
  Element* scene = context.stage.FindScene(id);
  if (scene == nullptr) Raise(state, "there is no scene \"" + id + "\"");
  Transition transition;
  transition.easing = kEaseInOut;
  if (!lua_isnoneornil(state, 2)) {
    luaL_checktype(state, 2, LUA_TTABLE);
    lua_settop(state, 2);
    if (lua_getfield(state, 2, "transition") != LUA_TNIL) {
      const char* const words[] = {"cut", "fade", "slide", nullptr};
      transition.kind = static_cast<TransitionKind>(luaL_checkoption(state, -1, nullptr, words));
    }
    transition.duration = OptionalSeconds(state, 2, "duration", 0.5);
    if (lua_getfield(state, 2, "direction") != LUA_TNIL) {
      const char* const words[] = {"left", "right", "up", "down", nullptr};
      const int direction = luaL_checkoption(state, -1, nullptr, words);
      transition.directionX = direction == 0 ? -1 : direction == 1 ? 1 : 0;
      transition.directionY = direction == 2 ? -1 : direction == 3 ? 1 : 0;
    }
    if (lua_getfield(state, 2, "easing") != LUA_TNIL) {
      transition.easing = FindEasing(luaL_checkstring(state, -1));
      if (transition.easing < 0) Raise(state, std::string("easing: expected ") + kEasingNames);
    }
  }
  context.stage.Show(*scene, transition, ScriptHost::Of(state).Now());
  return 0;
}

/// stage.at(x, y)
int At(lua_State* state) {
  ScriptHost& self = ScriptHost::Of(state);
  const double x = luaL_checknumber(state, 1);
  const double y = luaL_checknumber(state, 2);
  // Looking through a large stage is work that the step counter does not see.
  Script::Of(state).CheckTime(state);
  ElementObjects::PushOrNil(state, ElementAt(self.Context().stage, self.Context().texts, x, y));
  return 1;
}

int CurrentScene(lua_State* state) {
  PLEXION_CHECK(ScriptHost::Of(state).Context().stage.CurrentScene() != nullptr,
                "a document has a scene");
  lua_pushstring(state, ScriptHost::Of(state).Context().stage.CurrentScene()->id.c_str());
  return 1;
}

}  // namespace

void OpenStageLibrary(lua_State* state) {
  ScriptHost& self = ScriptHost::Of(state);
  Stage& stage = self.Context().stage;
  const luaL_Reg functions[] = {{"find", FindOnStage},   {"create", Create}, {"show", Show},
                                {"scene", CurrentScene}, {"at", At},         {nullptr, nullptr}};
  luaL_newlib(state, functions);
  lua_pushinteger(state, stage.width);
  lua_setfield(state, -2, "width");
  lua_pushinteger(state, stage.height);
  lua_setfield(state, -2, "height");
  lua_pushnumber(state, stage.framesPerSecond);
  lua_setfield(state, -2, "rate");
  ElementObjects::Push(state, stage.Backdrop());
  lua_setfield(state, -2, "backdrop");
  ElementObjects::Push(state, stage.Overlay());
  lua_setfield(state, -2, "overlay");
  lua_setglobal(state, "stage");
}

}  // namespace plexion_host::player::application
