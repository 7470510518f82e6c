// Runs an application's scripts, and tells them what happens.
#include "host/player/application/script/ScriptHost.h"

#include <utility>

#include "host/base/Check.h"
#include "host/player/application/paint/Placement.h"
#include "host/player/application/script/PartScopes.h"
#include "host/player/application/script/library/Libraries.h"

namespace plexion_host::player::application {

ScriptHost::ScriptHost(ScriptContext context, ScriptLimits limits)
    : context_(std::move(context)),
      script_(std::move(limits), context_.host.Memory()),
      elements_(context_.stage),
      errors_(context_.host),
      calls_(script_, errors_),
      handlers_(calls_),
      timers_(script_, calls_),
      files_(calls_, context_.base, context_.data, context_.host),
      animationEnds_(script_, calls_) {
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
  calls_.BeginMoment(now);
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
    std::function<void(lua_State*)> pushGlobals;
    if (script.use != nullptr) {
      pushGlobals = [&script](lua_State* inside) { PushPartScope(inside, *script.use); };
    }
    if (!script.text.empty()) {
      const std::string& name = script.use == nullptr ? documentName : script.use->file;
      if (!script_.Run(script.text, name, script.line, error, pushGlobals)) return false;
      continue;
    }
    std::string text;
    std::string reason;
    scriptFiles_.insert(script.file);
    if (!context_.base.Read(script.file, kLargestScript, text, reason)) {
      error = {qx::plexion::kErrorInvalidURL, "TallyScript: " + reason};
      return false;
    }
    if (!script_.Run(text, script.file, 1, error, pushGlobals)) return false;
  }
  return true;
}

bool ScriptHost::Dispatch(const std::string& event) {
  return handlers_.Call(event, [](lua_State*) {});
}

void ScriptHost::TakeData() {
  for (const DeclaredData::News& news : context_.data.Take(now_)) {
    if (news.failure.empty()) {
      files_.MarkChanged(news.name);
    } else {
      errors_.AddOfData(news.name, news.failure, now_);
    }
  }
}

void ScriptHost::DispatchErrors() {
  if (!calls_.AreOpen()) return;
  // An error in one of these handlers is told and goes no further.
  for (const ScriptErrors::Failure& failure : errors_.Take()) {
    handlers_.Call("error", [&](lua_State* state) {
      lua_pushlstring(state, failure.message.data(), failure.message.size());
      lua_pushlstring(state, failure.event.data(), failure.event.size());
    });
  }
  errors_.Take();
}

void ScriptHost::DispatchFrame() {
  handlers_.Call("frame", [this](lua_State* state) { lua_pushnumber(state, now_); });
}

void ScriptHost::DispatchKey(const std::string& event, unsigned long code) {
  handlers_.Call(event, [code](lua_State* state) {
    lua_pushstring(state, KeyName(code).c_str());
    lua_pushinteger(state, static_cast<lua_Integer>(code));
  });
}

void ScriptHost::DispatchPointer(const char* action, double x, double y, int button) {
  handlers_.Call("pointer", [&](lua_State* state) {
    lua_pushstring(state, action);
    lua_pushnumber(state, x);
    lua_pushnumber(state, y);
    lua_pushinteger(state, button);
    ElementObjects::PushOrNil(state, ElementAt(context_.stage, context_.texts, x, y));
  });
}

void ScriptHost::DispatchScroll(const char* direction, unsigned delta) {
  handlers_.Call("scroll", [&](lua_State* state) {
    lua_pushstring(state, direction);
    lua_pushinteger(state, delta);
  });
}

void ScriptHost::DispatchEventCode(unsigned long code) {
  handlers_.Call("event", [code](lua_State* state) {
    lua_pushinteger(state, static_cast<lua_Integer>(code));
  });
}

void ScriptHost::DispatchEmbedded(const EmbeddedEvent& event) {
  const char* name = event.kind == EmbeddedEvent::kReady   ? "ready"
                     : event.kind == EmbeddedEvent::kEnded ? "ended"
                                                           : "failed";
  handlers_.Call(name, [&](lua_State* state) {
    // It may have been removed by an earlier handler of this moment.
    ElementObjects::PushOrNil(state, context_.stage.FindByHandle(event.element));
    lua_pushlstring(state, event.reason.data(), event.reason.size());
  });
}

}  // namespace plexion_host::player::application
