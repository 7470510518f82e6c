// Runs an application's scripts, and tells them what happens.
#include "host/player/application/script/ScriptHost.h"

#include <utility>

#include "host/base/Check.h"
#include "host/player/application/paint/Placement.h"
#include "host/player/application/script/library/Libraries.h"

namespace plexion_host::player::application {

namespace {

constexpr uint64_t kLargestScript = 1024 * 1024;

}  // namespace

ScriptHost::ScriptHost(ScriptContext context, ScriptLimits limits)
    : context_(std::move(context)),
      script_(std::move(limits), context_.host.Memory()),
      elements_(context_.stage),
      handlers_(script_),
      timers_(script_),
      files_(script_, context_.base, context_.host),
      animationEnds_(script_) {
  // The libraries find their way back to here from any state.
  script_.owner = this;
}

ScriptHost& ScriptHost::Of(lua_State* state) {
  void* owner = Script::Of(state).owner;
  PLEXION_CHECK(owner != nullptr, "the libraries are opened by a script host");
  return *static_cast<ScriptHost*>(owner);
}

void ScriptHost::BeginMoment(double now) {
  now_ = now;
  traces_ = 0;
  script_.BeginMoment();
}

bool ScriptHost::Run(const std::vector<ScriptReference>& scripts, const std::string& documentName,
                     EngineError& error) {
  lua_State* state = script_.State();
  // Out of memory before the first line; every later shortage is an error of the script.
  if (state == nullptr) {
    error = {qx::plexion::kErrorNotEnoughMemory, "TallyScript: no memory for the script"};
    return false;
  }
  lua_pushcfunction(state, OpenLibraries);
  if (!script_.Call(0, error)) return false;
  for (const ScriptReference& script : scripts) {
    // In the order of the document, so that later ones can use what earlier ones define.
    if (script.file.empty()) {
      if (!script_.Run(script.text, documentName, script.line, error)) return false;
      continue;
    }
    std::string text;
    std::string reason;
    if (!context_.base.Read(script.file, kLargestScript, text, reason)) {
      error = {qx::plexion::kErrorInvalidURL, "TallyScript: " + reason};
      return false;
    }
    if (!script_.Run(text, script.file, 1, error)) return false;
  }
  return true;
}

bool ScriptHost::Dispatch(const std::string& event, EngineError& error) {
  return handlers_.Call(
      event, [](lua_State*) {}, error);
}

bool ScriptHost::DispatchFrame(EngineError& error) {
  return handlers_.Call(
      "frame", [this](lua_State* state) { lua_pushnumber(state, now_); }, error);
}

bool ScriptHost::DispatchKey(const std::string& event, unsigned long code, EngineError& error) {
  const auto push = [code](lua_State* state) {
    lua_pushstring(state, KeyName(code).c_str());
    lua_pushinteger(state, static_cast<lua_Integer>(code));
  };
  return handlers_.Call(event, push, error);
}

bool ScriptHost::DispatchPointer(const char* action, double x, double y, int button,
                                 EngineError& error) {
  const auto push = [&](lua_State* state) {
    lua_pushstring(state, action);
    lua_pushnumber(state, x);
    lua_pushnumber(state, y);
    lua_pushinteger(state, button);
    ElementObjects::PushOrNil(state, ElementAt(context_.stage, context_.texts, x, y));
  };
  return handlers_.Call("pointer", push, error);
}

bool ScriptHost::DispatchScroll(const char* direction, unsigned delta, EngineError& error) {
  const auto push = [&](lua_State* state) {
    lua_pushstring(state, direction);
    lua_pushinteger(state, delta);
  };
  return handlers_.Call("scroll", push, error);
}

bool ScriptHost::DispatchEventCode(unsigned long code, EngineError& error) {
  const auto push = [code](lua_State* state) {
    lua_pushinteger(state, static_cast<lua_Integer>(code));
  };
  return handlers_.Call("event", push, error);
}

bool ScriptHost::DispatchEmbedded(const EmbeddedEvent& event, EngineError& error) {
  const char* name = event.kind == EmbeddedEvent::kReady   ? "ready"
                     : event.kind == EmbeddedEvent::kEnded ? "ended"
                                                           : "failed";
  const Element* element = context_.stage.FindByHandle(event.element);
  // It may have been removed by a handler of an earlier event of this moment.
  if (element == nullptr) return true;
  const auto push = [&](lua_State* state) {
    ElementObjects::Push(state, *element);
    lua_pushlstring(state, event.reason.data(), event.reason.size());
  };
  return handlers_.Call(name, push, error);
}

}  // namespace plexion_host::player::application
