// Registers handlers and calls them.
#include "host/player/application/script/EventHandlers.h"

#include <algorithm>

#include "host/base/Check.h"

namespace plexion_host::player::application {

namespace {

constexpr size_t kMostHandlers = 1000;

constexpr std::string_view kEvents[] = {"start",   "frame",  "keydown",  "keyup",
                                        "pointer", "scroll", "activate", "deactivate",
                                        "event",   "ready",  "ended",    "failed"};

}  // namespace

bool EventHandlers::IsEvent(std::string_view name) {
  return std::find(std::begin(kEvents), std::end(kEvents), name) != std::end(kEvents);
}

std::string EventHandlers::EventNames() {
  std::string names;
  for (const std::string_view event : kEvents) {
    if (!names.empty()) names += event == *std::rbegin(kEvents) ? " or " : ", ";
    names += event;
  }
  return names;
}

void EventHandlers::Add(lua_State* state, const std::string& event) {
  PLEXION_CHECK(IsEvent(event) && lua_type(state, -1) == LUA_TFUNCTION,
                "the library has looked at the arguments");
  std::vector<int>& handlers = handlers_[event];
  if (handlers.size() >= kMostHandlers) {
    luaL_error(state, "more than %d handlers of %s", static_cast<int>(kMostHandlers),
               event.c_str());
  }
  handlers.push_back(luaL_ref(state, LUA_REGISTRYINDEX));
}

bool EventHandlers::Call(const std::string& event, const std::function<void(lua_State*)>& push,
                         EngineError& error) {
  const auto found = handlers_.find(event);
  if (found == handlers_.end()) return true;
  // A copy: a handler that adds another one would move the list under the loop.
  const std::vector<int> references = found->second;
  return script_.Protect(
      [&](lua_State* state) {
        push(state);
        const int arguments = lua_gettop(state);
        luaL_checkstack(state, arguments + 1, "arguments");
        for (const int reference : references) {
          lua_rawgeti(state, LUA_REGISTRYINDEX, reference);
          for (int i = 1; i <= arguments; ++i) lua_pushvalue(state, i);
          lua_call(state, arguments, 0);
        }
      },
      error);
}

}  // namespace plexion_host::player::application
