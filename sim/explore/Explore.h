// Stories, and many orders of their threads.

#ifndef SIM_EXPLORE_EXPLORE_H_
#define SIM_EXPLORE_EXPLORE_H_

#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "sim/device/SimDevice.h"

namespace plexion_sim {

/// Something that happens on a device and must go well in every order of its threads.
struct Story {
  std::string name;
  std::string summary;
  /// Added to the host's own command line, which the kernel shows.
  std::vector<std::string> hostArguments;
  /// Before the run: scripts, expected leaks, allowed inversions. May be empty.
  std::function<void(SimDevice&)> prepare;
  /// The thread "host". What it finds wrong by itself it reports with SimKernel::Report.
  std::function<void(SimDevice&)> tell;
  /// After the run: takes expected findings away. May be empty.
  std::function<void(SimDevice&)> check;
};

/// For test runners, which would print its bytes.
inline std::ostream& operator<<(std::ostream& out, const Story& story) { return out << story.name; }

/// How one run of a story ended.
struct StoryRun {
  std::string findings;   ///< empty when all is well
  std::string firstKind;  ///< kind of the first finding
  std::string journal;    ///< when the options asked for one
  std::vector<Journal::Entry> entries;
  Schedule schedule;
  uint64_t decisions = 0;
  uint64_t switches = 0;
  Nanoseconds time = 0;
};

StoryRun RunStory(const Story& story, const SimOptions& options,
                  const std::function<void(Faults&)>& faults = nullptr);

enum class Strategy { kRandom, kPct, kSearch };

struct ExploreOptions {
  Strategy strategy = Strategy::kRandom;
  uint64_t firstSeed = 1;
  uint64_t count = 1000;     ///< runs at most
  unsigned preemptions = 2;  ///< kSearch: the bound; kPct: the number of change points
  bool countAll = false;     ///< kSearch: see SearchScheduler
  bool timeMayPass = false;  ///< the clock may jump although somebody could run
  DecisionPoints decisionPoints = DecisionPoints::kEveryCall;
  /// Told after every run; false stops. May be empty.
  std::function<bool(uint64_t runs)> progress;
};

struct ExploreResult {
  uint64_t runs = 0;
  uint64_t decisions = 0;   ///< in all runs
  uint64_t mismatches = 0;  ///< kSearch: see SearchScheduler::Mismatches
  bool exhausted = false;   ///< kSearch: there is no further schedule within the bound
  bool failed = false;
  uint64_t seed = 0;  ///< of the failing run; its number for kSearch
  StoryRun failure;   ///< as it was found
};

/// Runs the story under many schedules, up to the first that fails.
ExploreResult Explore(const Story& story, const ExploreOptions& options);

/// Leaves out switches of a failing schedule for as long as the story still ends with a finding of
/// the same kind, then searches a while for one with still fewer. `runs` counts what it took.
Schedule Shrink(const Story& story, const SimOptions& options, const StoryRun& failure,
                uint64_t* runs = nullptr);

/// The platform modules that a device has.
std::vector<std::string> PlatformModules();
/// The story on a device that lacks this module.
Story WithoutModule(Story story, const std::string& module);

/// One way for one call to fail.
struct FaultCase {
  Fallible operation;
  uint64_t nth;
  Faults::Repeat repeat;
  std::string ToText() const;
};

/// Virtual time that a story may take when a call fails: longer than any wait with a limit.
constexpr Nanoseconds kFaultTimeLimit = 120 * 1000 * kMillisecond;

/// Every call of the story that may fail, once and for ever after. Left out: creating mutexes,
/// which the contract promises to succeed.
std::vector<FaultCase> FaultCases(const Story& story, const SimOptions& options);

}  // namespace plexion_sim

#endif  // SIM_EXPLORE_EXPLORE_H_
