#include "host/player/application/script/Behaviour.h"

#include <math.h>

#include <algorithm>
#include <limits>

namespace plexion_host::player::application {

namespace {

constexpr size_t kMostTimers = 10000;
constexpr size_t kMostHandlers = 1000;
constexpr size_t kMostWatched = 1000;
constexpr uint64_t kLargestScript = 1024 * 1024;
/// Times are sums; a timer is due at its frame in spite of their rounding.
constexpr double kTolerance = 1e-6;

}  // namespace

Behaviour::Behaviour(World world, ScriptLimits limits) : world_(std::move(world)) {
  script_ = std::make_unique<Script>(std::move(limits), world_.host.Memory());
  script_->owner = this;
}

Behaviour::~Behaviour() = default;

Behaviour& Behaviour::Of(lua_State* state) {
  return *static_cast<Behaviour*>(Script::Of(state).owner);
}

namespace {

int BindAll(lua_State* state) {
  BindElements(state);
  BindStage(state);
  BindTime(state);
  BindFiles(state);
  BindSurroundings(state);
  return 0;
}

}  // namespace

bool Behaviour::Run(const std::vector<ScriptReference>& scripts, const std::string& documentName,
                    EngineError& error) {
  lua_State* state = script_->State();
  if (state == nullptr) {
    error = {qx::plexion::kErrorNotEnoughMemory, "TallyScript: no memory for the script"};
    return false;
  }
  lua_pushcfunction(state, BindAll);
  if (!script_->Call(0, error)) return false;
  for (const ScriptReference& script : scripts) {
    if (script.file.empty()) {
      if (!script_->Run(script.text, documentName, script.line, error)) return false;
      continue;
    }
    std::string text;
    std::string reason;
    if (!world_.base.Read(script.file, kLargestScript, text, reason)) {
      error = {qx::plexion::kErrorInvalidURL, "TallyScript: " + reason};
      return false;
    }
    if (!script_->Run(text, script.file, 1, error)) return false;
  }
  return true;
}

bool Behaviour::CallHandlers(const std::string& event, const Push& push, EngineError& error) {
  const auto found = handlers_.find(event);
  if (found == handlers_.end()) return true;
  // A handler may add more; those hear of the next event.
  const std::vector<int> references = found->second;
  return script_->Protect(
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

bool Behaviour::Dispatch(const std::string& event, EngineError& error) {
  return CallHandlers(
      event, [](lua_State*) {}, error);
}

bool Behaviour::DispatchFrame(EngineError& error) {
  return CallHandlers(
      "frame", [this](lua_State* state) { lua_pushnumber(state, now_); }, error);
}

bool Behaviour::DispatchKey(const std::string& event, unsigned long code, EngineError& error) {
  const auto push = [code](lua_State* state) {
    lua_pushstring(state, KeyName(code).c_str());
    lua_pushinteger(state, static_cast<lua_Integer>(code));
  };
  return CallHandlers(event, push, error);
}

bool Behaviour::DispatchPointer(const char* action, double x, double y, int button,
                                EngineError& error) {
  const auto push = [&](lua_State* state) {
    lua_pushstring(state, action);
    lua_pushnumber(state, x);
    lua_pushnumber(state, y);
    lua_pushinteger(state, button);
    PushElementOrNil(state, ElementAt(world_.stage, world_.texts, x, y));
  };
  return CallHandlers("pointer", push, error);
}

bool Behaviour::DispatchScroll(const char* direction, unsigned delta, EngineError& error) {
  const auto push = [&](lua_State* state) {
    lua_pushstring(state, direction);
    lua_pushinteger(state, delta);
  };
  return CallHandlers("scroll", push, error);
}

bool Behaviour::DispatchEventCode(unsigned long code, EngineError& error) {
  const auto push = [code](lua_State* state) {
    lua_pushinteger(state, static_cast<lua_Integer>(code));
  };
  return CallHandlers("event", push, error);
}

bool Behaviour::DispatchPlayed(const PlayedEvent& event, EngineError& error) {
  const char* name = event.kind == PlayedEvent::kReady   ? "ready"
                     : event.kind == PlayedEvent::kEnded ? "ended"
                                                         : "failed";
  const Element* element = world_.stage.FindByHandle(event.element);
  if (element == nullptr) return true;
  const auto push = [&](lua_State* state) {
    PushElement(state, *element);
    lua_pushlstring(state, event.reason.data(), event.reason.size());
  };
  return CallHandlers(name, push, error);
}

bool Behaviour::DispatchChangedFiles(EngineError& error) {
  if (fileWatch_ == nullptr) return true;
  for (const std::string& name : fileWatch_->TakeChanged()) {
    for (size_t i = 0; i < watched_.size(); ++i) {
      if (watched_[i].name != name) continue;
      const int reference = watched_[i].reference;
      const auto call = [&](lua_State* state) {
        lua_rawgeti(state, LUA_REGISTRYINDEX, reference);
        lua_pushlstring(state, name.data(), name.size());
        lua_call(state, 1, 0);
      };
      if (!script_->Protect(call, error)) return false;
    }
  }
  return true;
}

bool Behaviour::RunTimers(EngineError& error) {
  lua_State* state = script_->State();
  for (Timer& timer : timers_) timer.isNew = false;
  for (;;) {
    auto next = timers_.end();
    for (auto at = timers_.begin(); at != timers_.end(); ++at) {
      if (at->isNew || at->due > now_ + kTolerance) continue;
      if (next == timers_.end() || at->due < next->due) next = at;
    }
    if (next == timers_.end()) return true;
    lua_rawgeti(state, LUA_REGISTRYINDEX, next->reference);
    if (next->period > 0) {
      // Periods that nobody had time for are left out.
      const double missed = floor((now_ + kTolerance - next->due) / next->period);
      next->due += next->period * (missed + 1);
    } else {
      luaL_unref(state, LUA_REGISTRYINDEX, next->reference);
      timers_.erase(next);
    }
    if (!script_->Call(0, error)) return false;
  }
}

bool Behaviour::FinishAnimations(const std::vector<int>& tokens, EngineError& error) {
  lua_State* state = script_->State();
  for (const int token : tokens) {
    if (token == LUA_NOREF) continue;
    lua_rawgeti(state, LUA_REGISTRYINDEX, token);
    luaL_unref(state, LUA_REGISTRYINDEX, token);
    if (!script_->Call(0, error)) return false;
  }
  return true;
}

void Behaviour::DropAnimations(const std::vector<int>& tokens) {
  for (const int token : tokens) luaL_unref(script_->State(), LUA_REGISTRYINDEX, token);
}

bool Behaviour::HasHandler(const std::string& event) const { return handlers_.count(event) != 0; }

double Behaviour::NextTimer() const {
  double next = std::numeric_limits<double>::infinity();
  for (const Timer& timer : timers_) next = std::min(next, timer.due);
  return next;
}

void Behaviour::AddHandler(const std::string& event, int reference) {
  std::vector<int>& handlers = handlers_[event];
  if (handlers.size() >= kMostHandlers) {
    luaL_error(script_->State(), "more than %d handlers of %s", static_cast<int>(kMostHandlers),
               event.c_str());
  }
  handlers.push_back(reference);
}

int Behaviour::AddTimer(double seconds, double period, int reference) {
  if (timers_.size() >= kMostTimers) return 0;
  timers_.push_back({nextTimer_, now_ + seconds, period, reference, true});
  return nextTimer_++;
}

bool Behaviour::CancelTimer(int id) {
  for (auto at = timers_.begin(); at != timers_.end(); ++at) {
    if (at->id != id) continue;
    luaL_unref(script_->State(), LUA_REGISTRYINDEX, at->reference);
    timers_.erase(at);
    return true;
  }
  return false;
}

void Behaviour::WatchFile(lua_State* state, const std::string& name, int reference) {
  if (fileWatch_ == nullptr) {
    EngineHost& host = world_.host;
    fileWatch_ = std::make_unique<FileWatch>([&host] { host.RequestFrame(); });
  }
  std::string error;
  if (watched_.size() >= kMostWatched) {
    luaL_error(state, "more than %d files to watch", static_cast<int>(kMostWatched));
  }
  if (!fileWatch_->Add(world_.base, name, error)) luaL_error(state, "%s", error.c_str());
  watched_.push_back({name, reference});
}

}  // namespace plexion_host::player::application
