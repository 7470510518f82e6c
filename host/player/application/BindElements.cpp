// Elements as a script sees them: properties as fields, and a few methods.
#include <math.h>
#include <stdlib.h>
#include <string.h>

#include "host/player/application/Behaviour.h"
#include "host/player/application/Picture.h"

namespace plexion_host::player::application {

namespace {

constexpr char kElementType[] = "element";
// Keys of tables in the registry.
char elementCache;
char elementMethods;

Behaviour& Self(lua_State* state) { return Behaviour::Of(state); }

std::string CheckName(lua_State* state, int index) {
  size_t length = 0;
  const char* text = luaL_checklstring(state, index, &length);
  return std::string(text, length);
}

[[noreturn]] void Raise(lua_State* state, const std::string& message) {
  luaL_error(state, "%s", message.c_str());
  abort();  // an error of a script never comes back to here
}

const Property& CheckProperty(lua_State* state, const Element& element, const std::string& name) {
  const Property* property = FindProperty(element.kind, name);
  if (property == nullptr) {
    Raise(state, std::string("a ") + NameOf(element.kind) + " has no property \"" + name + "\"");
  }
  return *property;
}

void PushProperty(lua_State* state, const Element& element, const Property& property) {
  switch (property.type) {
    case ValueType::kNumber:
      lua_pushnumber(state, element.*property.number);
      break;
    case ValueType::kFlag:
      lua_pushboolean(state, element.*property.flag ? 1 : 0);
      break;
    case ValueType::kText: {
      const std::string& text = element.*property.text;
      lua_pushlstring(state, text.data(), text.size());
      break;
    }
    case ValueType::kColour:
      lua_pushstring(state, WriteColour(element.*property.colour).c_str());
      break;
    case ValueType::kChoice:
      lua_pushstring(state, ChoiceWord(property, element.*property.choice).c_str());
      break;
  }
}

/// Sets a property from the value at `index`; what stays the same is not drawn again.
void SetProperty(lua_State* state, Element& element, const Property& property, int index) {
  std::string error;
  bool good = true;
  bool changed = true;
  if (property.type == ValueType::kNumber) {
    if (lua_type(state, index) != LUA_TNUMBER) {
      Raise(state, std::string(property.name) + " is a " + luaL_typename(state, index) +
                       " value; expected " + Expected(property));
    }
    const double before = element.*property.number;
    good = SetNumber(element, property, lua_tonumber(state, index), error);
    changed = element.*property.number != before;
  } else if (property.type == ValueType::kFlag) {
    if (lua_type(state, index) != LUA_TBOOLEAN) {
      Raise(state, std::string(property.name) + " is a " + luaL_typename(state, index) +
                       " value; expected true or false");
    }
    const bool value = lua_toboolean(state, index) != 0;
    changed = element.*property.flag != value;
    element.*property.flag = value;
  } else {
    if (lua_isstring(state, index) == 0) {
      Raise(state, std::string(property.name) + " is a " + luaL_typename(state, index) +
                       " value; expected " + Expected(property));
    }
    // A number becomes its text in a copy, so that the script's own value stays a number.
    lua_pushvalue(state, index);
    size_t length = 0;
    const char* text = lua_tolstring(state, -1, &length);
    Element before;
    if (property.text != nullptr) before.*property.text = element.*property.text;
    if (property.colour != nullptr) before.*property.colour = element.*property.colour;
    if (property.choice != nullptr) before.*property.choice = element.*property.choice;
    good = SetFromText(element, property, {text, length}, error);
    changed =
        (property.text != nullptr && before.*property.text != element.*property.text) ||
        (property.colour != nullptr && !(before.*property.colour == element.*property.colour)) ||
        (property.choice != nullptr && before.*property.choice != element.*property.choice);
    lua_pop(state, 1);
  }
  if (!good) Raise(state, error);
  if (changed) Self(state).GetWorld().stage.Touch(element, property);
}

/// What can be read but not set. Returns  false when there is no such field.
bool PushFact(lua_State* state, const Element& element, const std::string& name) {
  Behaviour& self = Self(state);
  if (name == "id") {
    lua_pushstring(state, element.id.c_str());
  } else if (name == "kind") {
    lua_pushstring(state, NameOf(element.kind));
  } else if (name == "parent") {
    if (element.parent == nullptr) {
      lua_pushnil(state);
    } else {
      self.PushElement(state, *element.parent);
    }
  } else if (name == "state" &&
             (element.kind == ElementKind::kMovie || element.kind == ElementKind::kMedia)) {
    lua_pushstring(state, NameOf(element.playState));
  } else if (name == "failure" && FindProperty(element.kind, "src") != nullptr) {
    lua_pushlstring(state, element.failure.data(), element.failure.size());
  } else if (name == "textWidth" && element.kind == ElementKind::kText) {
    lua_pushnumber(state, self.GetWorld().texts.Set(element).logical.width);
  } else if (name == "textHeight" && element.kind == ElementKind::kText) {
    lua_pushnumber(state, self.GetWorld().texts.Set(element).logical.height);
  } else {
    return false;
  }
  return true;
}

int GetField(lua_State* state) {
  Element& element = Self(state).CheckElement(state, 1);
  const std::string name = CheckName(state, 2);
  lua_rawgetp(state, LUA_REGISTRYINDEX, &elementMethods);
  if (lua_getfield(state, -1, name.c_str()) != LUA_TNIL) return 1;
  if (PushFact(state, element, name)) return 1;
  PushProperty(state, element, CheckProperty(state, element, name));
  return 1;
}

int SetField(lua_State* state) {
  Element& element = Self(state).CheckElement(state, 1);
  const std::string name = CheckName(state, 2);
  SetProperty(state, element, CheckProperty(state, element, name), 3);
  return 0;
}

int Describe(lua_State* state) {
  const auto* handle = static_cast<uint32_t*>(luaL_checkudata(state, 1, kElementType));
  const Element* element = Self(state).GetWorld().stage.FindByHandle(*handle);
  if (element == nullptr) {
    lua_pushliteral(state, "element (removed)");
  } else {
    lua_pushfstring(state, "%s \"%s\"", NameOf(element->kind), element->id.c_str());
  }
  return 1;
}

int Find(lua_State* state) {
  Element& element = Self(state).CheckElement(state, 1);
  if (Element* found = Stage::FindBelow(element, CheckName(state, 2))) {
    Self(state).PushElement(state, *found);
  } else {
    lua_pushnil(state);
  }
  return 1;
}

int Children(lua_State* state) {
  Element& element = Self(state).CheckElement(state, 1);
  lua_createtable(state, static_cast<int>(element.children.size()), 0);
  lua_Integer index = 0;
  for (const auto& child : element.children) {
    Self(state).PushElement(state, *child);
    lua_rawseti(state, -2, ++index);
  }
  return 1;
}

int Remove(lua_State* state) {
  Element& element = Self(state).CheckElement(state, 1);
  if (!Self(state).GetWorld().stage.Remove(element)) {
    Raise(state, "a scene, the backdrop or the overlay cannot be removed");
  }
  return 0;
}

/// Sets what the table at `index` holds.
void SetAll(lua_State* state, Element& element, int index) {
  luaL_checktype(state, index, LUA_TTABLE);
  lua_pushnil(state);
  while (lua_next(state, index) != 0) {
    if (lua_type(state, -2) != LUA_TSTRING) Raise(state, "expected names of properties");
    const std::string name = lua_tostring(state, -2);
    if (name == "id") {
      if (!Self(state).GetWorld().stage.SetId(element, CheckName(state, -1))) {
        Raise(state, "id \"" + CheckName(state, -1) + "\" is taken; expected one of its own");
      }
    } else {
      SetProperty(state, element, CheckProperty(state, element, name), lua_gettop(state));
    }
    lua_pop(state, 1);
  }
}

int Set(lua_State* state) {
  SetAll(state, Self(state).CheckElement(state, 1), 2);
  lua_settop(state, 1);
  return 1;
}

int Clone(lua_State* state) {
  Element& element = Self(state).CheckElement(state, 1);
  Element* parent =
      lua_isnoneornil(state, 2) ? element.parent : &Self(state).CheckElement(state, 2);
  if (parent == nullptr) Raise(state, "a scene, the backdrop or the overlay cannot be cloned");
  std::string error;
  Element* copy = Self(state).GetWorld().stage.Clone(element, *parent, error);
  if (copy == nullptr) Raise(state, error);
  if (!lua_isnoneornil(state, 3)) SetAll(state, *copy, 3);
  Self(state).PushElement(state, *copy);
  return 1;
}

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

AnimationTarget ReadTarget(lua_State* state, const Element& element, const std::string& name) {
  const Property& property = CheckProperty(state, element, name);
  AnimationTarget target;
  target.property = &property;
  Element wanted;
  std::string error;
  if (property.type == ValueType::kNumber && lua_type(state, -1) == LUA_TNUMBER) {
    if (!SetNumber(wanted, property, lua_tonumber(state, -1), error)) Raise(state, error);
    target.number = wanted.*property.number;
  } else if (property.type == ValueType::kColour && lua_type(state, -1) == LUA_TSTRING) {
    if (!SetFromText(wanted, property, lua_tostring(state, -1), error)) Raise(state, error);
    target.colour = wanted.*property.colour;
    if (target.colour.none) Raise(state, name + " cannot move to none; expected a colour");
  } else {
    Raise(state, name + " cannot move to a " + luaL_typename(state, -1) +
                     " value; expected a number or a colour");
  }
  return target;
}

/// element:animate{x = 10, opacity = 1, duration = 0.5, delay = 0, easing = "out", done = f}
int Animate(lua_State* state) {
  Element& element = Self(state).CheckElement(state, 1);
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
    token = luaL_ref(state, LUA_REGISTRYINDEX);
  }
  World& world = Self(state).GetWorld();
  if (!world.animations.Start(element.handle, targets, timing, token, Self(state).Now())) {
    luaL_unref(state, LUA_REGISTRYINDEX, token);
    Raise(state, "more than " + std::to_string(kMostAnimations) + " movements at once");
  }
  lua_settop(state, 1);
  return 1;
}

int Stop(lua_State* state) {
  Self(state).GetWorld().animations.Stop(Self(state).CheckElement(state, 1).handle);
  return 0;
}

int FindOnStage(lua_State* state) {
  if (Element* found = Self(state).GetWorld().stage.FindById(CheckName(state, 1))) {
    Self(state).PushElement(state, *found);
  } else {
    lua_pushnil(state);
  }
  return 1;
}

/// stage.create("text", parent, {x = 10, text = "..."})
int Create(lua_State* state) {
  const std::string word = CheckName(state, 1);
  ElementKind kind = ElementKind::kGroup;
  if (!ReadElementKind(word, kind)) {
    Raise(state, "\"" + word +
                     "\" is no kind of element; expected group, rectangle, text, image, " +
                     "movie or media");
  }
  Element& parent = Self(state).CheckElement(state, 2);
  std::string error;
  Element* element = Self(state).GetWorld().stage.Create(kind, parent, error);
  if (element == nullptr) Raise(state, error);
  if (!lua_isnoneornil(state, 3)) SetAll(state, *element, 3);
  Self(state).PushElement(state, *element);
  return 1;
}

/// stage.show("scene", {transition = "fade", duration = 0.5, direction = "left", easing = "out"})
int Show(lua_State* state) {
  World& world = Self(state).GetWorld();
  const std::string id = CheckName(state, 1);
  Element* scene = world.stage.FindScene(id);
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
  world.stage.Show(*scene, transition, Self(state).Now());
  return 0;
}

int CurrentScene(lua_State* state) {
  lua_pushstring(state, Self(state).GetWorld().stage.CurrentScene()->id.c_str());
  return 1;
}

}  // namespace

void Behaviour::PushElement(lua_State* state, const Element& element) {
  // One object for one element, so that a script can compare them and use them as keys.
  lua_rawgetp(state, LUA_REGISTRYINDEX, &elementCache);
  if (lua_rawgeti(state, -1, element.handle) == LUA_TUSERDATA) {
    lua_remove(state, -2);
    return;
  }
  lua_pop(state, 1);
  auto* handle = static_cast<uint32_t*>(lua_newuserdatauv(state, sizeof(uint32_t), 0));
  *handle = element.handle;
  luaL_setmetatable(state, kElementType);
  lua_pushvalue(state, -1);
  lua_rawseti(state, -3, element.handle);
  lua_remove(state, -2);
}

Element& Behaviour::CheckElement(lua_State* state, int index) {
  const auto* handle = static_cast<uint32_t*>(luaL_checkudata(state, index, kElementType));
  Element* element = world_.stage.FindByHandle(*handle);
  if (element == nullptr) {
    luaL_argerror(state, index, "this element has been removed");
    abort();  // does not come back either
  }
  return *element;
}

void BindElements(lua_State* state) {
  lua_newtable(state);
  lua_newtable(state);
  lua_pushliteral(state, "v");
  lua_setfield(state, -2, "__mode");
  lua_setmetatable(state, -2);
  lua_rawsetp(state, LUA_REGISTRYINDEX, &elementCache);

  const luaL_Reg methods[] = {{"animate", Animate},   {"stop", Stop},     {"find", Find},
                              {"children", Children}, {"remove", Remove}, {"clone", Clone},
                              {"set", Set},           {nullptr, nullptr}};
  luaL_newlib(state, methods);
  lua_rawsetp(state, LUA_REGISTRYINDEX, &elementMethods);

  luaL_newmetatable(state, kElementType);
  const luaL_Reg metamethods[] = {{"__index", GetField},
                                  {"__newindex", SetField},
                                  {"__tostring", Describe},
                                  {nullptr, nullptr}};
  luaL_setfuncs(state, metamethods, 0);
  lua_pushliteral(state, "element");
  lua_setfield(state, -2, "__metatable");
  lua_pop(state, 1);
}

void BindStage(lua_State* state) {
  Behaviour& self = Behaviour::Of(state);
  Stage& stage = self.GetWorld().stage;
  const luaL_Reg functions[] = {{"find", FindOnStage},
                                {"create", Create},
                                {"show", Show},
                                {"scene", CurrentScene},
                                {nullptr, nullptr}};
  luaL_newlib(state, functions);
  lua_pushinteger(state, stage.width);
  lua_setfield(state, -2, "width");
  lua_pushinteger(state, stage.height);
  lua_setfield(state, -2, "height");
  lua_pushnumber(state, stage.framesPerSecond);
  lua_setfield(state, -2, "rate");
  self.PushElement(state, stage.Backdrop());
  lua_setfield(state, -2, "backdrop");
  self.PushElement(state, stage.Overlay());
  lua_setfield(state, -2, "overlay");
  lua_setglobal(state, "stage");
}

}  // namespace plexion_host::player::application
