// Calls of a script's handlers, which an application survives whatever they do.
#ifndef HOST_PLAYER_APPLICATION_SCRIPT_HANDLERCALLS_H_
#define HOST_PLAYER_APPLICATION_SCRIPT_HANDLERCALLS_H_

#include <functional>
#include <string>

#include "host/player/application/script/ScriptErrors.h"
#include "host/player/application/script/sandbox/Script.h"

namespace plexion_host::player::application {

/// The one way from the application to functions that its script has left behind. An error is told
/// and the application goes on; so does one that took too long or all memory, but after a moment
/// that used its time up nothing is called for a while: a script that always does would else keep the
/// machine busy and the picture late.
///
/// Thread   the application's.
class HandlerCalls {
 public:
  static constexpr double kRestSeconds = 5;

  HandlerCalls(Script& script, ScriptErrors& errors) : script_(script), errors_(errors) {}

  /// A moment of the application begins, at `now` seconds.
  void BeginMoment(double now);
  /// Nothing is called any more, for good.
  void Close() { closed_ = true; }
  /// False while the script rests, and for what is left of a moment whose time is over. Whoever has
  /// something to call keeps it until then, or leaves it out.
  bool AreOpen() const { return !closed_ && now_ >= restsUntil_ && !script_.IsStopped(); }
  /// Seconds from which on there are calls again; infinity when there are none any more.
  double OpenFrom() const;

  /// Runs `body` as a call of its own, in which errors may be raised; `event` names the handler in
  /// what is told. Returns  false when it failed, or the calls are not open.
  bool Run(const std::string& event, const std::function<void(lua_State*)>& body);
  /// Calls the function with that reference in the script's registry, without arguments.
  bool RunReference(const std::string& event, int reference);

 private:
  Script& script_;
  ScriptErrors& errors_;
  double now_ = 0;
  double restsUntil_ = 0;
  bool closed_ = false;
};

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_SCRIPT_HANDLERCALLS_H_
