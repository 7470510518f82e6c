// Tells a story under many schedules, and shrinks one that fails.

#include "sim/explore/Explore.h"

#include <algorithm>
#include <memory>

#include "qx/core/Check.h"
#include "sim/explore/Strategies.h"

namespace plexion_sim {

namespace {
// How far Shrink looks for a smaller schedule than leaving out has given.
constexpr unsigned kDirectBound = 3;
constexpr unsigned kDirectRuns = 3000;
}  // namespace

StoryRun RunStory(const Story& story, const SimOptions& options,
                  const std::function<void(Faults&)>& faults) {
  QX_CHECK(story.tell != nullptr, "a story with something to tell");
  SimOptions own = options;
  own.commandLine.insert(own.commandLine.end(), story.hostArguments.begin(),
                         story.hostArguments.end());
  SimDevice device(own);
  if (faults) faults(device.kernel.GetFaults());
  if (story.prepare) story.prepare(device);
  device.Run([&] { story.tell(device); });
  device.Finish();
  if (story.check) story.check(device);
  StoryRun run;
  const Findings& findings = device.kernel.GetFindings();
  run.findings = findings.ToText();
  if (!findings.All().empty()) run.firstKind = NameOf(findings.All().front().kind);
  run.schedule = device.kernel.TakenSchedule();
  run.schedule.story = story.name;
  run.schedule.decisionPoints = options.decisionPoints;
  run.schedule.timeMayPass = options.latePermille > 0;
  run.decisions = device.kernel.Decisions();
  run.switches = device.kernel.SwitchCount();
  run.time = device.kernel.Now();
  if (options.journal) {
    run.journal = device.kernel.GetJournal().ToText();
    run.entries = device.kernel.GetJournal().Entries();
  }
  return run;
}

ExploreResult Explore(const Story& story, const ExploreOptions& options) {
  QX_CHECK(options.count > 0, "a schedule to try");
  ExploreResult result;
  SearchScheduler search(options.preemptions, options.countAll);
  uint64_t length = 100;
  bool more = true;
  for (uint64_t i = 0; i < options.count && more; ++i) {
    SimOptions run;
    run.seed = options.firstSeed + i;
    run.journal = false;
    run.latePermille = options.timeMayPass ? 20 : 0;
    run.decisionPoints = options.decisionPoints;
    std::unique_ptr<PctScheduler> pct;
    if (options.strategy == Strategy::kPct) {
      pct = std::make_unique<PctScheduler>(run.seed, options.preemptions, length);
      run.scheduler = pct.get();
    } else if (options.strategy == Strategy::kSearch) {
      run.scheduler = &search;
    }
    StoryRun made = RunStory(story, run);
    ++result.runs;
    result.decisions += made.decisions;
    length = std::max(length, made.decisions);
    if (!made.findings.empty()) {
      result.failed = true;
      result.seed = run.seed;
      result.failure = std::move(made);
      break;
    }
    if (options.strategy == Strategy::kSearch) more = search.Advance();
    if (options.progress && !options.progress(result.runs)) break;
  }
  result.exhausted = options.strategy == Strategy::kSearch && !more;
  result.mismatches = search.Mismatches();
  return result;
}

Schedule Shrink(const Story& story, const SimOptions& options, const StoryRun& failure,
                uint64_t* runs) {
  Schedule best = failure.schedule;
  uint64_t made = 0;
  // What a replay really did, which may be less than it was asked for, if it fails the same way.
  const auto tries = [&](const Schedule& candidate) {
    ReplayScheduler replay(candidate);
    SimOptions run = options;
    run.scheduler = &replay;
    run.journal = false;
    const StoryRun outcome = RunStory(story, run);
    ++made;
    if (outcome.firstKind != failure.firstKind) return false;
    if (outcome.schedule.switches.size() >= best.switches.size()) return false;
    best = outcome.schedule;
    return true;
  };
  // Delta debugging: leave out ever smaller runs of switches.
  size_t chunk = std::max<size_t>(best.switches.size() / 2, 1);
  while (!best.switches.empty()) {
    bool smaller = false;
    for (size_t at = 0; at < best.switches.size();) {
      Schedule candidate = best;
      const size_t end = std::min(at + chunk, best.switches.size());
      candidate.switches.erase(candidate.switches.begin() + static_cast<long>(at),
                               candidate.switches.begin() + static_cast<long>(end));
      if (tries(candidate)) {
        smaller = true;
      } else {
        at += chunk;
      }
    }
    if (chunk == 1 && !smaller) break;
    if (!smaller) chunk = std::max<size_t>(chunk / 2, 1);
    chunk = std::min(chunk, std::max<size_t>(best.switches.size(), 1));
  }
  // Leaving out can get stuck where fewer switches need other places: look for those directly.
  for (unsigned bound = 0; bound < best.switches.size() && bound <= kDirectBound; ++bound) {
    SearchScheduler search(bound, true);
    for (unsigned i = 0; i < kDirectRuns; ++i) {
      SimOptions run = options;
      run.scheduler = &search;
      run.journal = false;
      const StoryRun outcome = RunStory(story, run);
      ++made;
      if (outcome.firstKind == failure.firstKind &&
          outcome.schedule.switches.size() < best.switches.size()) {
        best = outcome.schedule;
        break;
      }
      if (!search.Advance()) break;
    }
  }
  if (runs != nullptr) *runs = made;
  return best;
}

std::vector<std::string> PlatformModules() {
  return {"IMorvelRuntimeLib", "IGraphicsDriver", "IFileSystem",  "IShell",
          "ISystemDriver",     "ILocaleUtils",    "IMouseStream", "IUserInputDriver"};
}

Story WithoutModule(Story story, const std::string& module) {
  story.prepare = [prepare = story.prepare, module](SimDevice& device) {
    if (prepare) prepare(device);
    device.Remove(module);
  };
  return story;
}

std::string FaultCase::ToText() const {
  return std::string(NameOf(operation)) + " number " + std::to_string(nth) +
         (repeat == Faults::Repeat::kOnce ? " fails once" : " and all later ones fail");
}

std::vector<FaultCase> FaultCases(const Story& story, const SimOptions& options) {
  uint64_t counts[kFallibleCount] = {};
  Story counted = story;
  counted.check = [&](SimDevice& device) {
    for (unsigned i = 0; i < kFallibleCount; ++i) {
      counts[i] = device.kernel.GetFaults().Count(static_cast<Fallible>(i));
    }
  };
  RunStory(counted, options);
  std::vector<FaultCase> cases;
  for (unsigned i = 0; i < kFallibleCount; ++i) {
    const auto operation = static_cast<Fallible>(i);
    if (operation == Fallible::kCreateMutex) continue;
    for (uint64_t nth = 1; nth <= counts[i]; ++nth) {
      cases.push_back({operation, nth, Faults::Repeat::kOnce});
      cases.push_back({operation, nth, Faults::Repeat::kForEver});
    }
  }
  return cases;
}

}  // namespace plexion_sim
