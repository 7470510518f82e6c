// Starts, cancels and calls timers.
#include "host/player/application/script/Timers.h"

#include <math.h>

#include <algorithm>
#include <limits>

#include "host/base/Check.h"

namespace plexion_host::player::application {

namespace {

constexpr size_t kMostTimers = 10000;
/// Times are sums; a timer is due at its frame in spite of their rounding.
constexpr double kSameMoment = 1e-6;

}  // namespace

int Timers::Start(lua_State* state, double now, double seconds, double period) {
  PLEXION_CHECK(lua_type(state, -1) == LUA_TFUNCTION, "the library has looked at the argument");
  if (timers_.size() >= kMostTimers) return 0;
  const int reference = luaL_ref(state, LUA_REGISTRYINDEX);
  timers_.push_back({nextId_, now + seconds, period, reference, true});
  return nextId_++;
}

bool Timers::Cancel(int id) {
  const auto found = std::find_if(timers_.begin(), timers_.end(),
                                  [id](const Timer& timer) { return timer.id == id; });
  if (found == timers_.end()) return false;
  luaL_unref(script_.State(), LUA_REGISTRYINDEX, found->reference);
  timers_.erase(found);
  return true;
}

void Timers::CallDue(double now) {
  for (Timer& timer : timers_) timer.isNew = false;
  while (calls_.AreOpen()) {
    // Looked for anew each time: whatever is called may start and cancel others.
    auto next = timers_.end();
    for (auto at = timers_.begin(); at != timers_.end(); ++at) {
      if (at->isNew || at->due > now + kSameMoment) continue;
      if (next == timers_.end() || at->due < next->due) next = at;
    }
    if (next == timers_.end()) return;
    const int reference = next->reference;
    if (next->period > 0) {
      // Periods that nobody had time for are left out.
      const double missed = floor((now + kSameMoment - next->due) / next->period);
      next->due += next->period * (missed + 1);
      calls_.RunReference("timer", reference);
    } else {
      timers_.erase(next);
      calls_.RunReference("timer", reference);
      luaL_unref(script_.State(), LUA_REGISTRYINDEX, reference);
    }
  }
}

double Timers::NextMoment() const {
  double next = std::numeric_limits<double>::infinity();
  for (const Timer& timer : timers_) next = std::min(next, timer.due);
  return next;
}

}  // namespace plexion_host::player::application
