// Errors of handlers that an application survives.
#ifndef HOST_PLAYER_APPLICATION_SCRIPT_SCRIPTERRORS_H_
#define HOST_PLAYER_APPLICATION_SCRIPT_SCRIPTERRORS_H_

#include <stddef.h>

#include <map>
#include <string>
#include <vector>

#include "host/player/Engine.h"

namespace plexion_host::player::application {

/// Tells what went wrong in a handler and keeps it for the script's own handlers of "error". What
/// fails again and again, as a handler of each frame does, is told once a minute with how often.
///
/// Thread   the application's.
class ScriptErrors {
 public:
  struct Failure {
    std::string event;    ///< what the handler was for: "keydown", "timer", "file" ...; or "data"
    std::string message;  ///< "board.lua:12: attempt to ..."
  };
  /// Of one moment, for the script; the others are told all the same.
  static constexpr size_t kMostKept = 20;
  /// Different ones within a minute.
  static constexpr size_t kMostTold = 100;
  static constexpr double kQuietSeconds = 60;

  explicit ScriptErrors(EngineHost& host) : host_(host) {}
  ScriptErrors(const ScriptErrors&) = delete;
  ScriptErrors& operator=(const ScriptErrors&) = delete;

  /// `now` is the application's time, in seconds.
  void Add(const std::string& event, const EngineError& error, double now);
  /// Data that could not be had; `name` is that of the data.
  void AddOfData(const std::string& name, const std::string& reason, double now);
  /// Those that came since the last call.
  std::vector<Failure> Take();
  bool IsEmpty() const { return failures_.empty(); }

 private:
  struct Told {
    double at = 0;       ///< when it was told last
    uint64_t since = 0;  ///< how often it came after that
  };

  void Tell(const std::string& key, const std::string& text, double now);

  EngineHost& host_;
  std::map<std::string, Told> told_;
  std::vector<Failure> failures_;
};

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_SCRIPT_SCRIPTERRORS_H_
