// Registers handlers and calls them.
#include "host/player/application/script/EventHandlers.h"

#include <algorithm>

#include "host/base/Check.h"

namespace plexion_host::player::application {

namespace {

constexpr size_t kMostHandlers = 1000;

constexpr std::string_view kEvents[] = {"start",  "frame",    "keydown",    "keyup", "pointer",
                                        "scroll", "activate", "deactivate", "event", "ready",
                                        "ended",  "failed",   "error"};

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

bool EventHandlers::Call(const std::string& event, const std::function<void(lua_State*)>& push) {
  const auto found = handlers_.find(event);
  if (found == handlers_.end()) return true;
  // A copy: a handler that adds another one would move the list under the loop.
  const std::vector<int> references = found->second;
  bool good = true;
  for (const int reference : references) {
    // Each by itself: one that fails keeps nothing from the others.
    const bool ran = calls_.Run(event, [&](lua_State* state) {
      lua_rawgeti(state, LUA_REGISTRYINDEX, reference);
      push(state);
      lua_call(state, lua_gettop(state) - 1, 0);
    });
    good = ran && good;
  }
  return good;
}

}  // namespace plexion_host::player::application
