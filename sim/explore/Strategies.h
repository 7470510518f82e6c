// Ways to look for a schedule that fails.

#ifndef SIM_EXPLORE_STRATEGIES_H_
#define SIM_EXPLORE_STRATEGIES_H_

#include <cstdint>
#include <map>
#include <vector>

#include "sim/schedule/Scheduler.h"

namespace plexion_sim {

/// Random priorities with a few change points (probabilistic concurrency testing): the candidate
/// with the highest priority goes on; at each of `changes` random decisions the one that ran last
/// falls below all others, or the clock jumps where it may. Finds a fault that needs `changes` + 1
/// ordered steps with a probability that has a lower bound.
class PctScheduler : public Scheduler {
 public:
  /// `length`: decisions that a run takes, roughly; change points lie below it.
  PctScheduler(uint64_t seed, unsigned changes, uint64_t length);
  size_t Choose(const Decision& decision) override;
  void ThreadStarted(uint32_t thread) override;

 private:
  SeededNumbers numbers_;
  std::map<uint64_t, bool> changes_;  // decision, and whether the clock is meant
  std::vector<uint64_t> priorities_;  // by thread number
  uint64_t lowest_;
};

/// Depth-first search over all schedules with at most `bound` preemptions. One object over many
/// runs: after each, Advance says whether there is another.
///
/// A preemption is a switch away from a thread that could go on, or a jump of the clock while
/// somebody could. Which thread goes on when the last one is blocked costs nothing by default; with
/// `countAll` each choice but the usual one costs, which keeps the search small for long stories.
class SearchScheduler : public Scheduler {
 public:
  explicit SearchScheduler(unsigned bound, bool countAll = false)
      : bound_(bound), countAll_(countAll) {}
  size_t Choose(const Decision& decision) override;
  /// Prepares the next run. Returns  false when all have been made.
  bool Advance();
  /// Runs that came to a decision other than the one before them: the story is not the same from
  /// run to run, so the search is not exhaustive.
  uint64_t Mismatches() const { return mismatches_; }

 private:
  struct Frame {
    uint32_t options;  // candidates, one more when time may pass
    uint32_t usual;
    uint32_t place;  // 0: the usual one; n: the n-th of the others
    bool othersCost;
    bool lastIsTime;
    unsigned spent;  // before this decision
  };
  static uint32_t OptionAt(const Frame& frame, uint32_t place);

  unsigned bound_;
  bool countAll_;
  std::vector<Frame> frames_;
  size_t depth_ = 0;
  unsigned spent_ = 0;
  uint64_t mismatches_ = 0;
};

}  // namespace plexion_sim

#endif  // SIM_EXPLORE_STRATEGIES_H_
