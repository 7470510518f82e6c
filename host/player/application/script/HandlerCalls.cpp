// Calls handlers, tells what fails, and lets a script rest that took too long.
#include "host/player/application/script/HandlerCalls.h"

#include <limits>

namespace plexion_host::player::application {

void HandlerCalls::BeginMoment(double now) {
  // Time may begin anew, as content that is loaded once more does.
  if (now < now_) restsUntil_ = 0;
  now_ = now;
  script_.BeginMoment();
}

double HandlerCalls::OpenFrom() const {
  if (closed_) return std::numeric_limits<double>::infinity();
  return restsUntil_;
}

bool HandlerCalls::Run(const std::string& event, const std::function<void(lua_State*)>& body) {
  if (!AreOpen()) return false;
  EngineError error;
  if (script_.Protect(body, error)) return true;
  if (script_.IsStuck()) restsUntil_ = now_ + kRestSeconds;
  // That the content is to end is nobody's error.
  if (!script_.IsStopped() || script_.IsStuck()) errors_.Add(event, error, now_);
  return false;
}

bool HandlerCalls::RunReference(const std::string& event, int reference) {
  return Run(event, [reference](lua_State* state) {
    lua_rawgeti(state, LUA_REGISTRYINDEX, reference);
    lua_call(state, 0, 0);
  });
}

}  // namespace plexion_host::player::application
