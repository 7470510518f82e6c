// Starts a process for each case, listens to what it says, and ends it when it takes too long.

#include "kit/certify/Runner.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <fstream>
#include <map>
#include <set>
#include <thread>

#include "host/base/Check.h"

extern char** environ;

namespace plexion_certify {
namespace {

using Clock = std::chrono::steady_clock;

/// The descriptor at which a case's process finds the way back.
constexpr int kReportFd = 3;
/// Bytes. What a case says is shorter (Case::Say).
constexpr size_t kLongestLine = 64 * 1024;

struct Running {
  size_t index = 0;  // into the results
  pid_t process = -1;
  int report = -1;
  int output = -1;
  std::string heard;
  bool ended = false;  // the case returned
  Clock::time_point began, deadline;
};

double LimitOf(const Options& options, const Promise& promise) {
  return options.limitSeconds * (promise.level == Level::kFull ? 3 : 1);
}

bool Start(const Options& options, int argc, char** argv, const Promise& promise,
           Running& running) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return false;
  running.report = ends[0];
  fcntl(ends[0], F_SETFL, O_NONBLOCK);
  running.output = memfd_create("certify-output", MFD_CLOEXEC);

  std::vector<std::string> words(argv, argv + argc);
  words.insert(words.end(), {"--case", promise.id, "--report-fd", std::to_string(kReportFd)});
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, running.output, 1);
  posix_spawn_file_actions_adddup2(&actions, running.output, 2);
  posix_spawn_file_actions_adddup2(&actions, ends[1], kReportFd);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  // A group of its own, so that what it started ends with it. We ignore broken pipes; it must not.
  sigset_t defaults;
  sigemptyset(&defaults);
  sigaddset(&defaults, SIGPIPE);
  posix_spawnattr_setsigdefault(&attributes, &defaults);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGDEF);
  posix_spawnattr_setpgroup(&attributes, 0);
  const int failed = posix_spawn(&running.process, "/proc/self/exe", &actions, &attributes,
                                 arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  posix_spawnattr_destroy(&attributes);
  close(ends[1]);
  running.began = Clock::now();
  running.deadline = running.began + std::chrono::milliseconds(
                                         static_cast<int64_t>(1000 * LimitOf(options, promise)));
  if (failed == 0) return true;
  close(running.report);
  close(running.output);
  return false;
}

/// Takes what the process has said so far. Returns  false at its end.
bool Hear(Running& running, Result& result) {
  char buffer[4096];
  // Not for as long as there is something: a process that floods us must not outlive its limit.
  for (int parts = 0; parts < 64; ++parts) {
    const ssize_t count = read(running.report, buffer, sizeof(buffer));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return errno == EAGAIN;
    if (count == 0) return false;
    running.heard.append(buffer, static_cast<size_t>(count));
    // Nothing of ours: a library writes to a descriptor that it has guessed.
    if (running.heard.size() > kLongestLine && running.heard.find('\n') == std::string::npos) {
      running.heard.clear();
    }
    for (size_t end; (end = running.heard.find('\n')) != std::string::npos;) {
      const std::string line = running.heard.substr(0, end);
      running.heard.erase(0, end + 1);
      const size_t tab = line.find('\t');
      if (line.empty() || tab == std::string::npos) continue;
      const std::string first = line.substr(1, tab - 1), second = line.substr(tab + 1);
      switch (line[0]) {
        case 'S':
          result.step = first;
          break;
        case 'F':
          result.outcome = Outcome::kFailed;
          result.expected = first;
          result.seen = second;
          break;
        case 'K':
          result.outcome = Outcome::kSkipped;
          result.note = first;
          break;
        case 'W':
          result.note = first;
          if (result.outcome == Outcome::kPassed) result.outcome = Outcome::kWarning;
          break;
        case 'E':
          running.ended = true;
          break;
        default:
          break;
      }
    }
  }
  return true;
}

/// The last lines that the process wrote, as one printable text.
std::string TailOf(int output) {
  char buffer[400];
  const off_t size = lseek(output, 0, SEEK_END);
  const off_t from = std::max<off_t>(0, size - static_cast<off_t>(sizeof(buffer)));
  const ssize_t count = pread(output, buffer, sizeof(buffer), from);
  std::string text(buffer, static_cast<size_t>(std::max<ssize_t>(0, count)));
  while (!text.empty() && text.back() == '\n') text.pop_back();
  std::replace_if(
      text.begin(), text.end(), [](unsigned char byte) { return byte < ' ' || byte >= 127; }, ' ');
  return text;
}

/// The process has ended by itself; says so where the case did not get to its end.
void Judge(const Running& running, int status, Result& result) {
  // A failure that was recorded is the reason of what came after it.
  if (running.ended || result.outcome == Outcome::kFailed) return;
  result.outcome = Outcome::kCrashed;
  if (result.expected.empty()) result.expected = "the calls to return";
  if (WIFSIGNALED(status)) {
    result.seen = std::string("the process died of ") + strsignal(WTERMSIG(status));
  } else {
    result.seen = "the process ended with code " + std::to_string(WEXITSTATUS(status)) +
                  " before the case was over";
  }
  result.printed = TailOf(running.output);
}

/// Ends a process that nobody asks for any more, with all that it has started.
void End(const Running& running) {
  kill(-running.process, SIGKILL);
  waitpid(running.process, nullptr, 0);
  close(running.report);
  close(running.output);
}

/// Looks after one process. Returns  true when it is gone and judged.
bool LookAfter(const Options& options, Running& running, Result& result) {
  const bool open = Hear(running, result);
  int status = 0;
  const bool late = Clock::now() >= running.deadline;
  if (!late && waitpid(running.process, &status, WNOHANG) != running.process) {
    // It has closed our pipe and is about to end, or a library closed every file.
    if (!open) std::this_thread::sleep_for(std::chrono::microseconds(200));
    return false;
  }
  kill(-running.process, SIGKILL);
  if (late) {
    waitpid(running.process, &status, 0);
    Hear(running, result);
    // What a case had said before it did not end stays the reason.
    if (!running.ended && result.outcome != Outcome::kFailed &&
        result.outcome != Outcome::kSkipped) {
      result.outcome = Outcome::kHung;
      result.expected = "an end";
      char limit[64];
      snprintf(limit, sizeof(limit), "none in %g seconds", LimitOf(options, *result.promise));
      result.seen = limit;
      result.printed = TailOf(running.output);
    }
  } else {
    Hear(running, result);
    Judge(running, status, result);
  }
  close(running.report);
  close(running.output);
  result.seconds = std::chrono::duration<double>(Clock::now() - running.began).count();
  return true;
}

/// What the options leave of the table, with a reason where it is skipped at once.
std::vector<Result> Choose(const Options& options) {
  std::vector<Result> results;
  for (const PromiseGroup& group : Groups()) {
    for (const Promise* promise = group.promises; promise != group.promises + group.count;
         ++promise) {
      const std::string id = promise->id;
      const auto wanted = [&id](const std::string& only) {
        return only == id || (only.back() == '.' && id.compare(0, only.size(), only) == 0);
      };
      if (!options.only.empty() && std::none_of(options.only.begin(), options.only.end(), wanted)) {
        continue;
      }
      if (promise->level > options.level) continue;
      const std::string interface = InterfaceOf(*promise);
      bool given = interface == "kernel" ? !options.kernelFile.empty()
                                         : interface == "host" && options.wholeHost;
      for (const auto& [name, word] : KnownModules()) {
        given = given || (interface == word && options.Has(name));
      }
      if (!given) continue;
      Result result;
      result.promise = promise;
      for (const auto& [beginning, reason] : options.absent) {
        if (id.compare(0, beginning.size(), beginning) != 0) continue;
        result.outcome = Outcome::kSkipped;
        result.note = "the profile says: " + reason;
      }
      results.push_back(result);
    }
  }
  return results;
}

}  // namespace

const char* OutcomeName(Outcome outcome) {
  static const char* const names[] = {"passed", "warning", "skipped", "failed", "crashed", "hung"};
  return names[static_cast<int>(outcome)];
}

namespace {

/// The cases of one run: which wait, which run, and what is known of the others.
class Run {
 public:
  Run(const Options& options, int argc, char** argv)
      : options_(options), argc_(argc), argv_(argv), results_(Choose(options)) {
    firstBroken_ = results_.size();
    for (size_t i = 0; i < results_.size(); ++i) {
      indexes_[results_[i].promise->id] = i;
      if (results_[i].outcome == Outcome::kSkipped) {
        done_.insert(i);
      } else {
        waiting_.push_back(i);
      }
    }
  }

  std::vector<Result> ToEnd() {
    // What a library starts and lets go of becomes ours, and is ended with its case.
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    before_ = Children();
    while (!waiting_.empty() || !running_.empty()) {
      const size_t before = waiting_.size();
      StartWhatCan();
      if (running_.empty()) {
        // What was skipped makes others ready that stand before it in the table.
        PLEXION_CHECK(waiting_.size() < before, "needs that go one way");
        continue;
      }
      std::vector<pollfd> polled;
      for (const Running& each : running_) polled.push_back({each.report, POLLIN, 0});
      poll(polled.data(), polled.size(), 20);
      for (auto at = running_.begin(); at != running_.end();) {
        if (LookAfter(options_, *at, results_[at->index])) {
          Note(at->index);
          at = running_.erase(at);
          EndStrays();
        } else {
          ++at;
        }
      }
      if (options_.firstOnly && firstBroken_ < results_.size()) LeaveOut();
    }
    return std::move(results_);
  }

 private:
  void StartWhatCan() {
    const size_t jobs =
        options_.jobs > 0 ? options_.jobs : std::max(1u, std::thread::hardware_concurrency());
    for (auto at = waiting_.begin(); at != waiting_.end() && running_.size() < jobs;) {
      Result& result = results_[*at];
      bool ready = true;
      std::string broken;
      for (const size_t need : Needs(*at)) {
        ready = ready && done_.count(need) != 0;
        if (unsound_.count(need) != 0) broken = results_[need].promise->id;
      }
      if (!broken.empty()) {
        result.outcome = Outcome::kSkipped;
        result.note = "needs " + broken + ", which is not kept";
        done_.insert(*at);
        unsound_.insert(*at);
      } else if (!ready) {
        ++at;
        continue;
      } else {
        Running started;
        started.index = *at;
        if (Start(options_, argc_, argv_, *result.promise, started)) {
          running_.push_back(started);
        } else {
          result.outcome = Outcome::kFailed;  // not skipped: nobody must take it for kept
          result.expected = "a process for this case";
          result.seen = "none could be started on this machine; the host was not asked";
          Note(*at);
        }
      }
      at = waiting_.erase(at);
    }
  }

  /// Processes whose parent is this one.
  static std::set<pid_t> Children() {
    std::set<pid_t> children;
    std::ifstream list("/proc/thread-self/children");
    for (pid_t child = 0; list >> child;) children.insert(child);
    return children;
  }

  /// Ends those that have left the group of their case.
  void EndStrays() const {
    for (const pid_t child : Children()) {
      const auto isIt = [child](const Running& running) { return running.process == child; };
      if (before_.count(child) != 0 || std::any_of(running_.begin(), running_.end(), isIt))
        continue;
      kill(child, SIGKILL);
      waitpid(child, nullptr, 0);
    }
  }

  /// Needs that were asked for; others are taken as kept.
  std::vector<size_t> Needs(size_t index) const {
    std::vector<size_t> needs;
    for (const std::string& id : NeedsOf(*results_[index].promise)) {
      const auto found = indexes_.find(id);
      if (found != indexes_.end()) needs.push_back(found->second);
    }
    return needs;
  }

  /// A case is over.
  void Note(size_t index) {
    done_.insert(index);
    if (!IsBroken(results_[index].outcome)) return;
    unsound_.insert(index);
    firstBroken_ = std::min(firstBroken_, index);
  }

  /// Whether the first broken promise may still turn out to be another.
  void Ask(size_t index, std::set<size_t>& asked) const {
    if (done_.count(index) != 0 || !asked.insert(index).second) return;
    for (const size_t need : Needs(index)) Ask(need, asked);
  }

  /// Drops what stands behind the first broken promise, unless one before it hangs on that.
  void LeaveOut() {
    std::set<size_t> asked;
    for (size_t i = 0; i < firstBroken_; ++i) Ask(i, asked);
    const auto leave = [this, &asked](size_t index) {
      if (asked.count(index) != 0) return false;
      results_[index].outcome = Outcome::kSkipped;
      results_[index].note = std::string("--first: ") + results_[firstBroken_].promise->id +
                             " stands before it, and is not kept";
      done_.insert(index);
      return true;
    };
    waiting_.erase(std::remove_if(waiting_.begin(), waiting_.end(), leave), waiting_.end());
    for (auto at = running_.begin(); at != running_.end();) {
      if (leave(at->index)) {
        End(*at);
        at = running_.erase(at);
      } else {
        ++at;
      }
    }
  }

  const Options& options_;
  const int argc_;
  char** const argv_;
  std::vector<Result> results_;  // in the table's order; what follows counts places in it
  std::map<std::string, size_t> indexes_;
  std::vector<size_t> waiting_;
  std::vector<Running> running_;
  std::set<size_t> done_, unsound_;  // unsound: broken, or standing on what is
  size_t firstBroken_ = 0;
  std::set<pid_t> before_;  // children that somebody left us
};

}  // namespace

std::vector<Result> RunCases(const Options& options, int argc, char** argv) {
  return Run(options, argc, argv).ToEnd();
}

}  // namespace plexion_certify
