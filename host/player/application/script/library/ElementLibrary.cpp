// Elements as a script sees them: properties as fields, and a few methods.
#include <math.h>
#include <stdlib.h>
#include <string.h>

#include <utility>

#include "host/base/NearestName.h"
#include "host/base/Text.h"
#include "host/player/application/script/library/ElementAccess.h"
#include "host/player/application/script/library/Libraries.h"
#include "host/player/application/stage/SpanProperties.h"

namespace plexion_host::player::application {

namespace {

/// Key of a table in the registry.
char elementMethods;

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
    case ValueType::kPoints: {
      const std::vector<double>& points = element.*property.points;
      lua_createtable(state, static_cast<int>(points.size()), 0);
      for (size_t i = 0; i < points.size(); ++i) {
        lua_pushnumber(state, points[i]);
        lua_rawseti(state, -2, static_cast<lua_Integer>(i) + 1);
      }
      break;
    }
  }
}

[[noreturn]] void RaiseType(lua_State* state, const Property& property, int index) {
  Raise(state, std::string(property.name) + " is a " + luaL_typename(state, index) +
                   " value; expected " + Expected(property));
}

/// {x, y, x, y, ...}
void SetPoints(lua_State* state, Element& element, const Property& property, int index) {
  std::vector<double> points;
  const auto count = static_cast<lua_Integer>(lua_rawlen(state, index));
  // One more than are allowed: the message then says that they are too many.
  for (lua_Integer i = 1; i <= count && points.size() <= 2 * kMostPoints; ++i) {
    lua_rawgeti(state, index, i);
    if (lua_type(state, -1) != LUA_TNUMBER) RaiseType(state, property, -1);
    points.push_back(lua_tonumber(state, -1));
    lua_pop(state, 1);
  }
  std::string error;
  Stage& stage = ScriptHost::Of(state).Context().stage;
  if (!stage.SetPoints(element, property, std::move(points), error)) Raise(state, error);
}

/// Sets a property from the value at `index`; what stays the same is not drawn again.
void SetProperty(lua_State* state, Element& element, const Property& property, int index) {
  Stage& stage = ScriptHost::Of(state).Context().stage;
  std::string error;
  if (property.type == ValueType::kNumber) {
    if (lua_type(state, index) != LUA_TNUMBER) RaiseType(state, property, index);
    const double before = element.*property.number;
    if (!SetNumber(element, property, lua_tonumber(state, index), error)) Raise(state, error);
    if (element.*property.number != before) stage.Touch(element, property);
  } else if (property.type == ValueType::kFlag) {
    if (lua_type(state, index) != LUA_TBOOLEAN) RaiseType(state, property, index);
    const bool value = lua_toboolean(state, index) != 0;
    const bool before = std::exchange(element.*property.flag, value);
    if (value != before) stage.Touch(element, property);
  } else if (property.type == ValueType::kPoints && lua_type(state, index) == LUA_TTABLE) {
    SetPoints(state, element, property, index);
  } else {
    if (lua_isstring(state, index) == 0) RaiseType(state, property, index);
    // A number becomes its text in a copy, so that the script's own value stays a number.
    lua_pushvalue(state, index);
    size_t length = 0;
    const char* text = lua_tolstring(state, -1, &length);
    if (!stage.SetFromText(element, property, {text, length}, error)) Raise(state, error);
    lua_pop(state, 1);
  }
}

/// What can be read but not set. Returns  false when there is no such field.
bool PushFact(lua_State* state, const Element& element, const std::string& name) {
  ScriptHost& self = ScriptHost::Of(state);
  if (name == "id") {
    lua_pushstring(state, element.id.c_str());
  } else if (name == "kind") {
    lua_pushstring(state, NameOf(element.kind));
  } else if (name == "parent") {
    ElementObjects::PushOrNil(state, element.parent);
  } else if (name == "state" &&
             (element.kind == ElementKind::kMovie || element.kind == ElementKind::kMedia)) {
    lua_pushstring(state, NameOf(element.playState));
  } else if (name == "failure" && FindProperty(element.kind, "src") != nullptr) {
    lua_pushlstring(state, element.failure.data(), element.failure.size());
  } else if (name == "textWidth" && element.kind == ElementKind::kText) {
    // Laying out a long text takes its time.
    Script::Of(state).CheckTime(state);
    lua_pushnumber(state, self.Context().texts.LayOut(element).logical.width);
  } else if (name == "textHeight" && element.kind == ElementKind::kText) {
    Script::Of(state).CheckTime(state);
    lua_pushnumber(state, self.Context().texts.LayOut(element).logical.height);
  } else {
    return false;
  }
  return true;
}

int GetField(lua_State* state) {
  Element& element = ScriptHost::Of(state).Elements().Check(state, 1);
  const std::string name = CheckName(state, 2);
  // Methods before properties: no property has the name of one.
  lua_rawgetp(state, LUA_REGISTRYINDEX, &elementMethods);
  if (lua_getfield(state, -1, name.c_str()) != LUA_TNIL) return 1;
  if (PushFact(state, element, name)) return 1;
  PushProperty(state, element, CheckProperty(state, element, name));
  return 1;
}

/// One part of a text: its words, or a table with the words first and what they look like.
void ReadSpan(lua_State* state, std::string& text, std::vector<TextSpan>& spans) {
  const int part = lua_gettop(state);
  const auto begin = static_cast<uint32_t>(text.size());
  if (lua_type(state, part) != LUA_TTABLE) {
    text += CheckName(state, part);
    return;
  }
  lua_rawgeti(state, part, 1);
  text += CheckName(state, -1);
  lua_pop(state, 1);
  TextSpan span;
  span.begin = begin;
  span.end = static_cast<uint32_t>(text.size());
  lua_pushnil(state);
  while (lua_next(state, part) != 0) {
    if (lua_type(state, -2) == LUA_TSTRING) {
      const std::string name = lua_tostring(state, -2);
      const SpanProperty* property = FindSpanProperty(name);
      if (property == nullptr) {
        const std::string nearest = NearestName(name, SpanPropertyNames());
        Raise(state, "a span has no \"" + name + "\"; expected " +
                         (nearest.empty() ? "one of " + Join(SpanPropertyNames()) : nearest));
      }
      // Numbers and flags as documents write them.
      const std::string value = luaL_tolstring(state, -1, nullptr);
      lua_pop(state, 1);
      if (!SetSpanFromText(span, *property, value)) {
        Raise(state,
              name + " is \"" + value.substr(0, 100) + "\"; expected " + Expected(*property));
      }
    }
    lua_pop(state, 1);
  }
  spans.push_back(std::move(span));
}

/// element.spans = {"Gate ", {"B12", color = "#ffcc00", weight = 700}, " now"}
void SetSpans(lua_State* state, Element& element, int index) {
  if (element.kind != ElementKind::kText) {
    Raise(state, std::string("a ") + NameOf(element.kind) + " has no property \"spans\"");
  }
  luaL_checktype(state, index, LUA_TTABLE);
  std::string text;
  std::vector<TextSpan> spans;
  const auto count = static_cast<lua_Integer>(lua_rawlen(state, index));
  for (lua_Integer i = 1; i <= count; ++i) {
    if (spans.size() > kMostSpans) break;  // refused below
    if (static_cast<double>(text.size()) > FindProperty(ElementKind::kText, "text")->highest) break;
    lua_rawgeti(state, index, i);
    ReadSpan(state, text, spans);
    lua_pop(state, 1);
  }
  std::string error;
  if (!ScriptHost::Of(state).Context().stage.SetSpans(element, text, std::move(spans), error)) {
    Raise(state, error);
  }
}

int SetField(lua_State* state) {
  Element& element = ScriptHost::Of(state).Elements().Check(state, 1);
  const std::string name = CheckName(state, 2);
  if (name == "spans") {
    SetSpans(state, element, 3);
    return 0;
  }
  SetProperty(state, element, CheckProperty(state, element, name), 3);
  return 0;
}

int Describe(lua_State* state) {
  const Element* element = ScriptHost::Of(state).Elements().Find(state, 1);
  if (element == nullptr) {
    lua_pushliteral(state, "element (removed)");
  } else {
    lua_pushfstring(state, "%s \"%s\"", NameOf(element->kind), element->id.c_str());
  }
  return 1;
}

int Find(lua_State* state) {
  Element& element = ScriptHost::Of(state).Elements().Check(state, 1);
  ElementObjects::PushOrNil(state, Stage::FindBelow(element, CheckName(state, 2)));
  return 1;
}

/// Loads what it shows once more; movies and media begin again.
int Restart(lua_State* state) {
  Element& element = ScriptHost::Of(state).Elements().Check(state, 1);
  ScriptHost::Of(state).Context().stage.Touch(element, CheckProperty(state, element, "src"));
  return 0;
}

int Contains(lua_State* state) {
  const Element& element = ScriptHost::Of(state).Elements().Check(state, 1);
  const Element* at = &ScriptHost::Of(state).Elements().Check(state, 2);
  // From the inside outwards: there are at most so many parents as levels.
  while (at != nullptr && at != &element) at = at->parent;
  lua_pushboolean(state, at == nullptr ? 0 : 1);
  return 1;
}

int Children(lua_State* state) {
  Element& element = ScriptHost::Of(state).Elements().Check(state, 1);
  lua_createtable(state, static_cast<int>(element.children.size()), 0);
  lua_Integer index = 0;
  for (const auto& child : element.children) {
    ElementObjects::Push(state, *child);
    lua_rawseti(state, -2, ++index);
  }
  return 1;
}

int Remove(lua_State* state) {
  Element& element = ScriptHost::Of(state).Elements().Check(state, 1);
  if (!ScriptHost::Of(state).Context().stage.Remove(element)) {
    Raise(state, "a scene, the backdrop or the overlay cannot be removed");
  }
  return 0;
}

int Set(lua_State* state) {
  SetProperties(state, ScriptHost::Of(state).Elements().Check(state, 1), 2);
  lua_settop(state, 1);
  return 1;
}

int Clone(lua_State* state) {
  Element& element = ScriptHost::Of(state).Elements().Check(state, 1);
  Element* parent = lua_isnoneornil(state, 2) ? element.parent
                                              : &ScriptHost::Of(state).Elements().Check(state, 2);
  if (parent == nullptr) Raise(state, "a scene, the backdrop or the overlay cannot be cloned");
  std::string error;
  Element* copy = ScriptHost::Of(state).Context().stage.Clone(element, *parent, error);
  if (copy == nullptr) Raise(state, error);
  if (!lua_isnoneornil(state, 3)) SetProperties(state, *copy, 3);
  ElementObjects::Push(state, *copy);
  return 1;
}

}  // namespace

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
    std::vector<std::string> names;
    for (const Property* each = kProperties; each->name != nullptr; ++each) {
      if (FindProperty(element.kind, each->name) == each) names.emplace_back(each->name);
    }
    const std::string nearest = NearestName(name, names);
    Raise(state, std::string("a ") + NameOf(element.kind) + " has no property \"" + name + "\"" +
                     (nearest.empty() ? "" : "; did you mean \"" + nearest + "\"?"));
  }
  return *property;
}

void SetProperties(lua_State* state, Element& element, int index) {
  luaL_checktype(state, index, LUA_TTABLE);
  lua_pushnil(state);
  while (lua_next(state, index) != 0) {
    if (lua_type(state, -2) != LUA_TSTRING) Raise(state, "expected names of properties");
    const std::string name = lua_tostring(state, -2);
    if (name == "id") {
      std::string error;
      if (!ScriptHost::Of(state).Context().stage.SetId(element, CheckName(state, -1), error)) {
        Raise(state, error);
      }
    } else if (name == "spans") {
      SetSpans(state, element, lua_gettop(state));
    } else {
      SetProperty(state, element, CheckProperty(state, element, name), lua_gettop(state));
    }
    lua_pop(state, 1);
  }
}

void OpenElementLibrary(lua_State* state) {
  ElementObjects::Open(state);
  const luaL_Reg methods[] = {
      {"animate", AnimateElement}, {"stop", StopElement}, {"find", Find}, {"children", Children},
      {"remove", Remove},          {"clone", Clone},      {"set", Set},   {"contains", Contains},
      {"restart", Restart},        {nullptr, nullptr}};
  luaL_newlib(state, methods);
  lua_rawsetp(state, LUA_REGISTRYINDEX, &elementMethods);

  luaL_newmetatable(state, ElementObjects::kType);
  const luaL_Reg metamethods[] = {{"__index", GetField},
                                  {"__newindex", SetField},
                                  {"__tostring", Describe},
                                  {nullptr, nullptr}};
  luaL_setfuncs(state, metamethods, 0);
  // A script that could change it would change what every element is.
  lua_pushliteral(state, "element");
  lua_setfield(state, -2, "__metatable");
  lua_pop(state, 1);
}

}  // namespace plexion_host::player::application
