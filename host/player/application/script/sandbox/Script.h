// A Lua state that cannot get out.
#ifndef HOST_PLAYER_APPLICATION_SCRIPT_SANDBOX_SCRIPT_H_
#define HOST_PLAYER_APPLICATION_SCRIPT_SANDBOX_SCRIPT_H_

#include <stdint.h>

#include <functional>
#include <lua5.4/lua.hpp>
#include <string>

#include "host/player/Engine.h"

namespace plexion_host::player::application {

struct ScriptLimits {
  /// Most bytes that the script's values may take; 0: no limit but the window's.
  uint64_t heapBytes = 0;
  /// How long all calls of one moment may take together.
  int64_t stuckNanoseconds = 2000000000;
  /// Time that the calling thread has spent computing, so that a busy machine ends no script.
  std::function<int64_t()> workingTime;
  /// True once the content is to end.
  std::function<bool()> cancelled;
  /// Errors and traces tell the whole way to their place.
  bool debug = false;
};

/// A Lua state that cannot get out: no files, no processes, no native code, no bytecode, no
/// finalizers, a heap with a limit, and an end to whatever takes too long.
///
/// An error ends the call at hand and leaves the state as it is: the next call finds what the ones
/// before it have made. A script that has taken too long is not called again in the same moment.
/// Thread   one at a time.
class Script {
 public:
  Script(ScriptLimits limits, qx::plexion::MemoryWatchdog* watchdog);
  Script(const Script&) = delete;
  Script& operator=(const Script&) = delete;
  ~Script();

  /// Null when there was no memory to begin with.
  lua_State* State() { return state_; }
  /// The script that a state belongs to.
  static Script& Of(lua_State* state);

  /// Runs `text` as a chunk; `name` is what messages call it. `firstLine` is the line of its file
  /// that it begins in. `pushGlobals` leaves the table of its global variables on the stack; null:
  /// the state's own. Source text only: bytecode is refused.
  bool Run(const std::string& text, const std::string& name, unsigned firstLine, EngineError& error,
           const std::function<void(lua_State*)>& pushGlobals = nullptr);
  /// Leaves the chunk as a function on the stack, or an error message.
  int Load(lua_State* state, const std::string& text, const std::string& name, unsigned firstLine);
  /// Calls the function below its `arguments` on the stack and drops its results. Only what needs
  /// no memory may be done with the stack before: to be short of it outside of a call ends the
  /// process.
  bool Call(int arguments, EngineError& error);
  /// Runs `body` as a call of its own, in which errors may be raised. The stack is empty.
  bool Protect(const std::function<void(lua_State*)>& body, EngineError& error);
  /// A new moment of the application: the script has all of its time again.
  void BeginMoment();
  /// It has used its time of this moment up, or the content is to end: calls fail at once.
  bool IsStopped() const { return stuck_ || cancelled_; }
  bool IsStuck() const { return stuck_; }

  /// Raises an error in the script when its time is over. For loops outside of Lua.
  void CheckTime(lua_State* state);
  /// The object whose functions the script calls; for its bindings.
  void* owner = nullptr;
  const ScriptLimits& Limits() const { return limits_; }
  /// "menu.lua:12" of the function that called the one running now; empty when it is no script.
  static std::string Position(lua_State* state, int level);

 private:
  static void* Allocate(void* script, void* block, size_t oldSize, size_t newSize);
  static void OnCount(lua_State* state, lua_Debug* activation);
  static std::string PlaceOf(lua_State* state);
  static int OnError(lua_State* state);
  static int RunBody(lua_State* state);
  bool IsLate();
  bool Finish(int result, EngineError& error);
  void Stop(lua_State* state);

  ScriptLimits limits_;
  qx::plexion::MemoryWatchdog* watchdog_;
  lua_State* state_ = nullptr;
  uint64_t used_ = 0;
  int64_t began_ = 0;  ///< of the call at hand
  int64_t spent_ = 0;  ///< on earlier calls of this moment
  size_t copied_ = 0;  ///< bytes in large blocks since the last look at the time
  unsigned depth_ = 0;
  bool stuck_ = false;
  std::string latePlace_;  ///< where a block was refused because the script is late
  bool cancelled_ = false;
};

/// Opens what a script may use of Lua's own libraries; called by Script.
void OpenSafeLibraries(lua_State* state);
/// Puts string.find, match, gmatch and gsub in place that mind the time; called by the former.
void OpenPatterns(lua_State* state);

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_SCRIPT_SANDBOX_SCRIPT_H_
