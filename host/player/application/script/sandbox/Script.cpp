// The Lua state: its memory, its time, and what its errors are for the player.
#include "host/player/application/script/sandbox/Script.h"

#include <string.h>

#include <algorithm>
#include <new>
#include <utility>

#include "host/base/Check.h"
#include "host/base/Text.h"
#include "host/player/WatchedMemory.h"

namespace plexion_host::player::application {

namespace {

/// An instruction may take milliseconds: it compares, or adds to, megabytes of text.
constexpr int kInstructionsBetweenChecks = 100;
/// What large blocks are filled with takes longer than the instructions that ask for them.
constexpr size_t kLargeBlock = 65536;
constexpr size_t kBytesBetweenChecks = 16 * 1024 * 1024;
constexpr int kPlacesToLookAt = 8;
constexpr size_t kLongestMessage = 4000;
constexpr char kNoEnd[] = "the script does not come to an end";

int OpenLibrariesIn(lua_State* state) {
  OpenSafeLibraries(state);
  return 0;
}

}  // namespace

Script::Script(ScriptLimits limits, qx::plexion::MemoryWatchdog* watchdog)
    : limits_(std::move(limits)), watchdog_(watchdog) {
  PLEXION_CHECK(limits_.workingTime != nullptr, "a script without a clock could not be stopped");
  state_ = lua_newstate(Allocate, this);
  if (state_ == nullptr) return;
  Script* self = this;
  memcpy(lua_getextraspace(state_), &self, sizeof self);
  lua_sethook(state_, OnCount, LUA_MASKCOUNT, kInstructionsBetweenChecks);
  lua_pushcfunction(state_, OpenLibrariesIn);
  if (lua_pcall(state_, 0, 0, 0) != LUA_OK) {
    lua_close(state_);
    state_ = nullptr;
  }
}

Script::~Script() {
  if (state_ != nullptr) lua_close(state_);
}

Script& Script::Of(lua_State* state) {
  Script* script = nullptr;
  // Lua copies it from the main thread to every coroutine.
  memcpy(&script, lua_getextraspace(state), sizeof script);
  PLEXION_CHECK(script != nullptr, "every state is made by a script");
  return *script;
}

void* Script::Allocate(void* script, void* block, size_t oldSize, size_t newSize) {
  auto& self = *static_cast<Script*>(script);
  const size_t before = block == nullptr ? 0 : oldSize;
  if (newSize == 0) {
    FreeWatched(block);
    self.used_ -= before;
    return nullptr;
  }
  const bool grows = newSize > before;
  if (grows && self.limits_.heapBytes != 0 &&
      self.used_ + (newSize - before) > self.limits_.heapBytes) {
    return nullptr;
  }
  if (grows && newSize >= kLargeBlock && (self.copied_ += newSize) >= kBytesBetweenChecks) {
    self.copied_ = 0;
    // No error can be raised here but this one; whoever catches it is stopped soon after.
    if (self.IsLate()) {
      if (self.latePlace_.empty()) self.latePlace_ = PlaceOf(self.state_);
      return nullptr;
    }
  }
  void* fresh = AllocateWatched(self.watchdog_, newSize);
  // Lua relies on a block becoming smaller without fail.
  if (fresh == nullptr) {
    if (grows) return nullptr;
    fresh = block;
  } else {
    if (block != nullptr) memcpy(fresh, block, std::min(before, newSize));
    FreeWatched(block);
  }
  self.used_ = self.used_ - before + newSize;
  return fresh;
}

void Script::OnCount(lua_State* state, lua_Debug*) {
  Of(state).CheckTime(state);
  // A coroutine that was stopped in an earlier moment goes on at its old pace.
  if (lua_gethookcount(state) < kInstructionsBetweenChecks) {
    lua_sethook(state, OnCount, LUA_MASKCOUNT, kInstructionsBetweenChecks);
  }
}

void Script::BeginMoment() {
  spent_ = 0;
  if (!stuck_) return;
  stuck_ = false;
  latePlace_.clear();
}

bool Script::IsLate() {
  if (!stuck_ && !cancelled_) {
    cancelled_ = limits_.cancelled && limits_.cancelled();
    stuck_ = !cancelled_ && depth_ > 0 &&
             spent_ + limits_.workingTime() - began_ >= limits_.stuckNanoseconds;
  }
  return stuck_ || cancelled_;
}

void Script::CheckTime(lua_State* state) {
  if (IsLate()) Stop(state);
}

void Script::Stop(lua_State* state) {
  // A pcall may catch the error below; it then fails again at the very next instruction, in this
  // coroutine and in the main one.
  lua_sethook(state, OnCount, LUA_MASKCOUNT, 1);
  lua_sethook(state_, OnCount, LUA_MASKCOUNT, 1);
  const std::string place = PlaceOf(state);
  lua_pushfstring(state, "%s: %s", place.c_str(), cancelled_ ? "the script was stopped" : kNoEnd);
  lua_error(state);
}

std::string Script::PlaceOf(lua_State* state) {
  // A library's function has no line of its own; the nearest script that called it has.
  std::string place;
  for (int level = 0; place.empty() && level < kPlacesToLookAt; ++level) {
    place = Position(state, level);
  }
  return place;
}

std::string Script::Position(lua_State* state, int level) {
  lua_Debug activation = {};
  if (lua_getstack(state, level, &activation) == 0) return "";
  lua_getinfo(state, "Sl", &activation);
  if (activation.currentline < 0) return "";
  return std::string(activation.short_src) + ":" + std::to_string(activation.currentline);
}

int Script::OnError(lua_State* state) {
  const char* message = lua_tostring(state, 1);
  if (message == nullptr) {
    if (luaL_callmeta(state, 1, "__tostring") != 0 && lua_type(state, -1) == LUA_TSTRING) {
      message = lua_tostring(state, -1);
    } else {
      message = lua_pushfstring(state, "an error that is a %s value", luaL_typename(state, 1));
    }
  }
  if (Of(state).limits_.debug) {
    luaL_traceback(state, state, message, 1);
  } else {
    lua_pushstring(state, message);
  }
  return 1;
}

bool Script::Finish(int result, EngineError& error) {
  if (result == LUA_OK) return true;
  const char* text = lua_tostring(state_, -1);
  // A script's own words may be megabytes, and anything.
  std::string message = text == nullptr
                            ? "out of memory"
                            : Printable(std::string_view(text).substr(0, kLongestMessage));
  if (result == LUA_ERRMEM && stuck_) message = latePlace_ + ": " + kNoEnd;
  lua_settop(state_, 0);
  if (cancelled_) {
    error = {qx::plexion::kErrorFatalPlaybackError, "the script was stopped"};
  } else if (stuck_) {
    error = {qx::plexion::kErrorTallyScriptStuck,
             "TallyScript: " + message + " (stopped after " +
                 std::to_string(limits_.stuckNanoseconds / 1000000) + " ms)"};
  } else if (result == LUA_ERRMEM || result < 0) {
    std::string limit = limits_.heapBytes == 0
                            ? std::string("what the window may use")
                            : std::to_string(limits_.heapBytes / 1048576) + " MB (--gcheaplimit)";
    error = {qx::plexion::kErrorNotEnoughMemory,
             "TallyScript: the script needs more memory than " + limit};
  } else {
    error = {qx::plexion::kErrorFatalPlaybackError, "TallyScript: " + message};
  }
  return false;
}

int Script::Load(lua_State* state, const std::string& text, const std::string& name,
                 unsigned firstLine) {
  // Lines before the script's own keep the numbers of messages right.
  std::string source(firstLine > 0 ? firstLine - 1 : 0, '\n');
  size_t begin = 0;
  if (text.compare(0, 3, "\xef\xbb\xbf") == 0) begin = 3;
  source.append(text, begin, std::string::npos);
  const int result =
      luaL_loadbufferx(state, source.data(), source.size(), ("@" + name).c_str(), "t");
  // What is wrong in a line is said with its place; that it is no source text at all is not.
  if (result == LUA_ERRSYNTAX && !source.empty() && source[0] == LUA_SIGNATURE[0]) {
    lua_pop(state, 1);
    lua_pushfstring(state, "%s: this is compiled code; expected the script's source text",
                    name.c_str());
  }
  return result;
}

bool Script::Run(const std::string& text, const std::string& name, unsigned firstLine,
                 EngineError& error, const std::function<void(lua_State*)>& pushGlobals) {
  return Protect(
      [&](lua_State* state) {
        if (Load(state, text, name, firstLine) != LUA_OK) lua_error(state);
        if (pushGlobals != nullptr) {
          pushGlobals(state);
          // A chunk's first value from outside is always its globals.
          const char* const upvalue = lua_setupvalue(state, -2, 1);
          PLEXION_CHECK(upvalue != nullptr, "a chunk has globals");
        }
        lua_call(state, 0, 0);
      },
      error);
}

int Script::RunBody(lua_State* state) {
  const auto* body = static_cast<const std::function<void(lua_State*)>*>(lua_touserdata(state, 1));
  lua_settop(state, 0);
  (*body)(state);
  return 0;
}

bool Script::Protect(const std::function<void(lua_State*)>& body, EngineError& error) {
  PLEXION_CHECK(lua_gettop(state_) == 0, "nobody else uses the stack");
  lua_pushcfunction(state_, RunBody);
  lua_pushlightuserdata(state_, const_cast<std::function<void(lua_State*)>*>(&body));
  return Call(1, error);
}

bool Script::Call(int arguments, EngineError& error) {
  const int handler = lua_gettop(state_) - arguments;
  PLEXION_CHECK(handler >= 1, "the function lies below its arguments");
  lua_pushcfunction(state_, OnError);
  lua_insert(state_, handler);
  if (depth_++ == 0) began_ = limits_.workingTime();
  const int result = lua_pcall(state_, arguments, 0, handler);
  if (--depth_ == 0) spent_ += limits_.workingTime() - began_;
  if (result == LUA_OK) lua_remove(state_, handler);
  return Finish(result, error);
}

}  // namespace plexion_host::player::application
