// Functions that a script wants to be called at a time.
#ifndef HOST_PLAYER_APPLICATION_SCRIPT_TIMERS_H_
#define HOST_PLAYER_APPLICATION_SCRIPT_TIMERS_H_

#include <vector>

#include "host/player/application/script/HandlerCalls.h"

namespace plexion_host::player::application {

/// Time is the application's own: seconds of play, as the caller tells them.
class Timers {
 public:
  Timers(Script& script, HandlerCalls& calls) : script_(script), calls_(calls) {}

  /// Takes the function on top of the stack, to be called after `seconds`, and again after every
  /// `period` when that is not 0.
  /// Returns  its id, from 1; 0 when there are too many.
  int Start(lua_State* state, double now, double seconds, double period);
  /// False when there is no such timer any more.
  bool Cancel(int id);
  /// Calls all that are due, the longest overdue first. A timer that one of them starts is not
  /// called before the next time.
  void CallDue(double now);
  /// Seconds at which the next one is due; infinity when there is none.
  double NextMoment() const;

 private:
  struct Timer {
    int id;
    double due;
    double period;  ///< 0: once
    int reference;
    bool isNew;  ///< made while timers ran: not before the next frame
  };

  Script& script_;
  HandlerCalls& calls_;
  std::vector<Timer> timers_;
  int nextId_ = 1;
};

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_SCRIPT_TIMERS_H_
