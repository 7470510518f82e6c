// plexion-sim: tells stories of the service under many orders of their threads.

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "sim/stories/Stories.h"
#include "sim/tool/RecordingCommands.h"

namespace plexion_sim {
namespace {

constexpr char kUsage[] =
    "usage: plexion-sim list\n"
    "       plexion-sim run STORY [--seed N] [--late] [--journal FILE]\n"
    "       plexion-sim explore STORY [--strategy random|pct|dfs] [--count N] "
    "[--seed N]\n"
    "                   [--preemptions K] [--count-all] [--sync-only] [--late] "
    "[--save FILE]\n"
    "       plexion-sim replay FILE [--journal FILE]\n"
    "       plexion-sim faults STORY|all [--seed N]\n"
    "       plexion-sim modules\n"
    "       plexion-sim show FILE [--all] [--html OUT]\n"
    "       plexion-sim replay-recording FILE [--module OTHER.so] "
    "[--ignore-memory]\n"
    "\n"
    "  --late        the clock may jump although somebody could run\n"
    "  --count-all   dfs: every choice but the usual one counts as a "
    "preemption\n"
    "  --sync-only   switch at threads, locks, events, sleeping and modules "
    "only\n"
    "  --save FILE   where a failing schedule goes (default: STORY.schedule)\n"
    "\n"
    "  --all         show: memory and locks, too\n"
    "  --html OUT    show: draw it\n"
    "  --module SO   replay with this module; else with the one in here\n"
    "  --ignore-memory  calls of the kernel's memory may differ\n"
    "\n"
    "exit status: 0 all went well, 1 something was found or a replay differs, "
    "2 usage,\n"
    "             3 a recording cannot be read\n";

int Usage(const std::string& what) {
  std::fprintf(stderr, "plexion-sim: %s\n\n%s", what.c_str(), kUsage);
  return 2;
}

/// Words and options of a command line. What cannot be read is kept in `error` and told by whoever asked
/// for it: a command that does not use an option does not judge it.
struct Arguments {
  std::vector<std::string> words;
  std::map<std::string, std::string> options;
  std::string error;

  bool Has(const std::string& name) const { return options.count(name) > 0; }
  std::string Text(const std::string& name, const std::string& otherwise) const {
    const auto found = options.find(name);
    return found == options.end() ? otherwise : found->second;
  }
  uint64_t Number(const std::string& name, uint64_t otherwise) {
    const auto found = options.find(name);
    if (found == options.end()) return otherwise;
    char* end = nullptr;
    errno = 0;
    const uint64_t number = std::strtoull(found->second.c_str(), &end, 10);
    if (errno != 0 || end == found->second.c_str() || *end != '\0' || found->second[0] == '-') {
      error = name + " '" + found->second + "'; expected a whole number";
    }
    return number;
  }
};

Arguments Read(int argc, char** argv) {
  static const std::map<std::string, bool> kKnown = {
      {"--seed", true},   {"--journal", true},       {"--strategy", true},
      {"--count", true},  {"--preemptions", true},   {"--count-all", false},
      {"--late", false},  {"--sync-only", false},    {"--save", true},
      {"--all", false},   {"--html", true},          {"--html", true},
      {"--module", true}, {"--ignore-memory", false}};
  Arguments arguments;
  for (int i = 1; i < argc; ++i) {
    // Options may stand anywhere; what is none is a word, and the words are counted by the command.
    const std::string word = argv[i];
    if (word.compare(0, 2, "--") != 0) {
      arguments.words.push_back(word);
      continue;
    }
    const auto known = kKnown.find(word);
    if (known == kKnown.end()) {
      arguments.error = "unknown option '" + word + "'";
    } else if (known->second && i + 1 == argc) {
      arguments.error = word + " needs a value";
    } else {
      arguments.options[word] = known->second ? argv[++i] : "";
    }
  }
  return arguments;
}

bool WriteFile(const std::string& path, const std::string& text) {
  std::ofstream file(path, std::ios::binary);
  file << text;
  file.close();
  if (!file) std::fprintf(stderr, "plexion-sim: cannot write '%s'\n", path.c_str());
  return static_cast<bool>(file);
}

/// The story of a run as a table: time, thread, call, result.
void PrintTable(const StoryRun& run) {
  std::printf("%14s  %-14s %-24s %s\n", "ms", "thread", "call", "arguments and result");
  for (const Journal::Entry& entry : run.entries) {
    std::printf("%7" PRId64 ".%06" PRId64 "  %-14s %-24s %s\n", entry.time / kMillisecond,
                entry.time % kMillisecond, entry.thread.c_str(), entry.call, entry.detail.c_str());
  }
}

int List() {
  for (const Story& story : Stories()) {
    std::printf("%-28s %s\n", story.name.c_str(), story.summary.c_str());
  }
  std::printf("\nleft to the host; each is found to go wrong:\n");
  for (const HostCase& left : CasesLeftToHost()) {
    std::printf("%-28s %s\n", left.story.name.c_str(), left.story.summary.c_str());
  }
  return 0;
}

int Tell(const Story& story, const SimOptions& options, const Arguments& arguments, bool table) {
  const StoryRun run = RunStory(story, options);
  if (arguments.Has("--journal") && !WriteFile(arguments.Text("--journal", ""), run.journal)) {
    return 2;
  }
  if (table) PrintTable(run);
  std::printf("%s: %" PRIu64 " decisions, %" PRIu64 " switches, %" PRId64
              " ms of virtual time: %s\n%s",
              story.name.c_str(), run.decisions, run.switches, run.time / kMillisecond,
              run.findings.empty() ? "well" : "found", run.findings.c_str());
  return run.findings.empty() ? 0 : 1;
}

int ExploreStory(const Story& story, Arguments& arguments) {
  ExploreOptions options;
  const std::string strategy = arguments.Text("--strategy", "random");
  if (strategy == "pct") {
    options.strategy = Strategy::kPct;
  } else if (strategy == "dfs") {
    options.strategy = Strategy::kSearch;
  } else if (strategy != "random") {
    return Usage("--strategy '" + strategy + "'; expected random, pct or dfs");
  }
  // A search ends by itself when it has been everywhere; chance has to be told when to stop.
  options.count = arguments.Number("--count", strategy == "dfs" ? UINT64_MAX : 1000);
  options.firstSeed = arguments.Number("--seed", 1);
  options.preemptions = static_cast<unsigned>(arguments.Number("--preemptions", 2));
  options.countAll = arguments.Has("--count-all");
  options.timeMayPass = arguments.Has("--late");
  if (arguments.Has("--sync-only")) options.decisionPoints = DecisionPoints::kSynchronisation;
  if (!arguments.error.empty()) return Usage(arguments.error);

  using Clock = std::chrono::steady_clock;
  const Clock::time_point start = Clock::now();
  Clock::time_point shown = start;
  const auto seconds = [&] { return std::chrono::duration<double>(Clock::now() - start).count(); };
  options.progress = [&](uint64_t runs) {
    // A line each second: after each of thousands of runs, writing would be what is measured.
    if (Clock::now() - shown > std::chrono::seconds(1)) {
      shown = Clock::now();
      std::fprintf(stderr, "\r%s: %" PRIu64 " schedules, %.0f a second ", story.name.c_str(), runs,
                   static_cast<double>(runs) / seconds());
    }
    return true;
  };
  const ExploreResult result = Explore(story, options);
  std::printf("%s%s, %s: %" PRIu64 " schedules, %" PRIu64 " decisions, %.0f schedules a second%s\n",
              shown == start ? "" : "\n", story.name.c_str(), strategy.c_str(), result.runs,
              result.decisions, static_cast<double>(result.runs) / seconds(),
              result.exhausted ? ", exhausted" : "");
  if (result.mismatches > 0) {
    std::printf("%" PRIu64 " runs did not repeat: the story is not the same from run to run\n",
                result.mismatches);
  }
  if (!result.failed) return 0;

  std::printf("found with seed %" PRIu64 ":\n%s\n", result.seed, result.failure.findings.c_str());
  // The same world as the one that failed, without a seed: the schedule alone decides now.
  SimOptions shrinking;
  shrinking.latePermille = options.timeMayPass ? 1 : 0;
  shrinking.decisionPoints = options.decisionPoints;
  uint64_t runs = 0;
  const Schedule shrunk = Shrink(story, shrinking, result.failure, &runs);
  std::printf("shrunk from %zu switches to %zu in %" PRIu64 " runs:\n",
              result.failure.schedule.switches.size(), shrunk.switches.size(), runs);
  // Told once more from what is saved, so that the table is what a replay of the file will show.
  ReplayScheduler replay(shrunk);
  shrinking.scheduler = &replay;
  const StoryRun run = RunStory(story, shrinking);
  PrintTable(run);
  std::printf("%s", run.findings.c_str());
  const std::string path = arguments.Text("--save", story.name + ".schedule");
  if (WriteFile(path, shrunk.ToText())) std::printf("saved as %s\n", path.c_str());
  return 1;
}

int Replay(const std::string& path, const Arguments& arguments) {
  std::ifstream file(path, std::ios::binary);
  std::stringstream text;
  text << file.rdbuf();
  if (!file) return Usage("cannot read '" + path + "'");
  Schedule schedule;
  std::string error;
  if (!schedule.FromText(text.str(), error)) return Usage(path + ": " + error);
  const Story* story = FindStory(schedule.story);
  if (story == nullptr) return Usage(path + ": no story is called '" + schedule.story + "'");
  ReplayScheduler replay(schedule);
  SimOptions options;
  options.scheduler = &replay;
  options.latePermille = schedule.timeMayPass ? 1 : 0;
  options.decisionPoints = schedule.decisionPoints;
  return Tell(*story, options, arguments, true);
}

/// One case in a process of its own, so that a crash is an outcome like any
/// other. Returns  what was found; empty when all went well.
std::string FailCall(const Story& story, const SimOptions& options, const FaultCase& fault) {
  int ends[2];
  if (pipe(ends) != 0) return std::string("pipe: ") + std::strerror(errno);
  // Else the child would print what waits in the buffer a second time.
  std::fflush(stdout);
  const pid_t child = fork();
  if (child < 0) return std::string("fork: ") + std::strerror(errno);
  if (child == 0) {
    close(ends[0]);
    const StoryRun run = RunStory(story, options, [&](Faults& faults) {
      faults.Fail(fault.operation, fault.nth, fault.repeat);
    });
    size_t written = 0;
    while (written < run.findings.size()) {
      const ssize_t some =
          write(ends[1], run.findings.data() + written, run.findings.size() - written);
      if (some <= 0) break;
      written += static_cast<size_t>(some);
    }
    // No destructor runs: a broken story may have left what they walk over in any state.
    _exit(0);
  }
  close(ends[1]);
  std::string findings;
  char buffer[4096];
  for (ssize_t some; (some = read(ends[0], buffer, sizeof buffer)) > 0;) {
    findings.append(buffer, static_cast<size_t>(some));
  }
  close(ends[0]);
  int status = 0;
  waitpid(child, &status, 0);
  if (WIFSIGNALED(status)) findings += std::string("crash: ") + strsignal(WTERMSIG(status)) + "\n";
  return findings;
}

int FailCalls(const Story& story, Arguments& arguments) {
  SimOptions options;
  options.journal = false;
  options.seed = arguments.Number("--seed", 1);
  options.timeLimit = kFaultTimeLimit;
  if (!arguments.error.empty()) return Usage(arguments.error);
  const std::vector<FaultCase> cases = FaultCases(story, options);
  unsigned bad = 0;
  unsigned left = 0;
  unsigned changed = 0;
  unsigned sites = 0;
  for (const FaultCase& fault : cases) {
    const std::string findings = FailCall(story, options, fault);
    bool leftToHost = false;
    // A refusal that the contract allows (no memory, no module) is an outcome, not a fault of the module.
    const std::string rest = UnexpectedFindings(fault, findings, &leftToHost);
    if (fault.repeat == Faults::Repeat::kOnce) ++sites;
    if (leftToHost) {
      ++left;
    } else if (!rest.empty()) {
      ++bad;
      std::printf("%s:\n%s", fault.ToText().c_str(), rest.c_str());
    } else if (!findings.empty()) {
      ++changed;
    }
  }
  std::printf(
      "%-24s %5u calls, %5zu ways to fail: %5zu unnoticed, %4u refused "
      "cleanly, %2u left to the "
      "host, %u wrong\n",
      story.name.c_str(), sites, cases.size(), cases.size() - changed - left - bad, changed, left,
      bad);
  return bad == 0 ? 0 : 1;
}

/// Every story once with each platform module absent: a row each.
int MissingModules() {
  const std::vector<std::string> modules = PlatformModules();
  std::printf("%-24s", "");
  for (const std::string& module : modules) std::printf(" %s", module.c_str());
  std::printf("\n");
  bool bad = false;
  for (const Story& story : Stories()) {
    std::printf("%-24s", story.name.c_str());
    std::string wrong;
    for (const std::string& module : modules) {
      SimOptions options;
      options.journal = false;
      const StoryRun run = RunStory(WithoutModule(story, module), options);
      const std::string rest = UnexpectedFindings(run.findings);
      const char* outcome = run.findings.empty() ? "well" : rest.empty() ? "refused" : "WRONG";
      std::printf(" %-*s", static_cast<int>(module.size()), outcome);
      if (!rest.empty()) wrong += "  without " + module + ":\n" + rest;
    }
    std::printf("\n%s", wrong.c_str());
    bad = bad || !wrong.empty();
  }
  return bad ? 1 : 0;
}

int Main(int argc, char** argv) {
  Arguments arguments = Read(argc, argv);
  if (!arguments.error.empty()) return Usage(arguments.error);
  if (arguments.words.empty()) return Usage("no command; expected list, run, explore, replay");
  const std::string command = arguments.words[0];
  if (command == "list" && arguments.words.size() == 1) return List();
  if (command == "modules" && arguments.words.size() == 1) return MissingModules();
  if (arguments.words.size() != 2) return Usage("'" + command + "' with the wrong arguments");
  if (command == "show") {
    return ShowRecording(arguments.words[1], arguments.Has("--all"), arguments.Text("--html", ""));
  }
  if (command == "replay-recording") {
    return ReplayRecordingFile(arguments.words[1], arguments.Text("--module", ""),
                               arguments.Has("--ignore-memory"));
  }
  if (command == "replay") return Replay(arguments.words[1], arguments);
  if (command != "run" && command != "explore" && command != "faults") {
    return Usage("unknown command '" + command +
                 "'; expected list, run, explore, replay, faults, modules, "
                 "show, replay-recording");
  }
  if (command == "faults" && arguments.words[1] == "all") {
    int status = 0;
    for (const Story& each : Stories()) status = std::max(status, FailCalls(each, arguments));
    return status;
  }
  const Story* story = FindStory(arguments.words[1]);
  if (story == nullptr) {
    return Usage("no story is called '" + arguments.words[1] + "'; see plexion-sim list");
  }
  if (command == "explore") return ExploreStory(*story, arguments);
  if (command == "faults") return FailCalls(*story, arguments);
  SimOptions options;
  options.seed = arguments.Number("--seed", 1);
  options.latePermille = arguments.Has("--late") ? 20 : 0;
  if (!arguments.error.empty()) return Usage(arguments.error);
  return Tell(*story, options, arguments, false);
}

}  // namespace
}  // namespace plexion_sim

int main(int argc, char** argv) { return plexion_sim::Main(argc, argv); }
