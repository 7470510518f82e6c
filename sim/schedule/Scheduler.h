// Who goes on at a decision point.

#ifndef SIM_SCHEDULE_SCHEDULER_H_
#define SIM_SCHEDULE_SCHEDULER_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace plexion_sim {

/// Where the scheduler may switch.
enum class DecisionPoints {
  kEveryCall,        ///< every kernel call but the byte and text operations
  kSynchronisation,  ///< threads, mutexes, events, sleeping and modules only: fewer, for long
                     ///< stories
};

/// Nanoseconds of virtual time.
using Nanoseconds = int64_t;

constexpr Nanoseconds kMillisecond = 1000000;

/// A point at which more than one thread could go on. Which thread gets a lock that was given back,
/// and which of the threads that an event wakes runs first, are decisions like any other: a thread
/// that waits for a lock or an event becomes a candidate when its wait could end.
struct Decision {
  uint64_t number;             ///< decisions made in this run before this one
  Nanoseconds now;             ///< virtual time
  const uint32_t* candidates;  ///< numbers of the threads that could go on, ascending
  size_t count;                ///< of candidates; at least 1
  size_t current;              ///< the candidate that ran last; `count` when it cannot go on
  bool timeMayPass;            ///< choosing `count` lets the clock jump to the next wake-up
  const char* call;            ///< what the thread that ran last is about to do; static text
};

/// Chooses, at every decision of a run, who goes on. The whole run follows from these choices.
///
/// Thread   the device's.
class Scheduler {
 public:
  virtual ~Scheduler() {}
  /// Returns  an index into `decision.candidates`, or `decision.count` when time may pass.
  virtual size_t Choose(const Decision& decision) = 0;
  /// A new thread; numbers count from 0 in the order of creation.
  virtual void ThreadStarted(uint32_t /*thread*/) {}
};

/// The choice when nothing speaks for another: who ran last goes on, else the thread with the
/// lowest number.
inline size_t UsualChoice(const Decision& decision) {
  return decision.current < decision.count ? decision.current : 0;
}

/// The same numbers from the same seed on every platform.
class SeededNumbers {
 public:
  explicit SeededNumbers(uint64_t seed) : state_(seed * 0x9E3779B97F4A7C15u + 0x2545F4914F6CDD1Du) {
    Next();
  }
  uint64_t Next() {
    // SplitMix64.
    uint64_t z = (state_ += 0x9E3779B97F4A7C15u);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
    return z ^ (z >> 31);
  }
  /// 0 to `below` - 1; `below` is not 0.
  uint64_t Below(uint64_t below) { return Next() % below; }

 private:
  uint64_t state_;
};

/// Random choices. How often it switches away from a thread that could go on is itself a matter of
/// the seed: some runs switch at every other call, some at every thirtieth.
class RandomScheduler : public Scheduler {
 public:
  /// `latePermille`: how often in a thousand decisions the clock jumps although somebody could run,
  /// which makes that thread late.
  explicit RandomScheduler(uint64_t seed, unsigned latePermille = 0);
  size_t Choose(const Decision& decision) override;

 private:
  SeededNumbers numbers_;
  unsigned switchPermille_;
  unsigned latePermille_;
};

/// One choice that differs from the usual one.
struct Switch {
  /// As `thread`: the clock jumps.
  static constexpr uint32_t kTimePasses = 0xFFFFFFFF;

  uint64_t decision;
  uint32_t thread;
};

/// A whole run's choices: only those that differ from the usual one.
class Schedule {
 public:
  std::vector<Switch> switches;
  std::string story;  ///< of which story; may be empty
  DecisionPoints decisionPoints = DecisionPoints::kEveryCall;
  bool timeMayPass = false;  ///< made where the clock may jump although somebody could run

  /// A line for the story, one for the clock, one for each switch. Lines that begin with # say
  /// nothing.
  std::string ToText() const;
  /// Returns  false when `text` is no schedule; `error` then says what, where, what was expected.
  bool FromText(const std::string& text, std::string& error);
};

/// Repeats a saved run. A switch that is not possible any more is left out.
class ReplayScheduler : public Scheduler {
 public:
  explicit ReplayScheduler(const Schedule& schedule) : schedule_(schedule) {}
  size_t Choose(const Decision& decision) override;

 private:
  Schedule schedule_;
  size_t next_ = 0;
};

}  // namespace plexion_sim

#endif  // SIM_SCHEDULE_SCHEDULER_H_
