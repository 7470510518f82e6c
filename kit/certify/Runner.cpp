// Starts a process for each case, listens to what it says, and ends it when it takes too long.

#include "kit/certify/Runner.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
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
  for (;;) {
    const ssize_t count = read(running.report, buffer, sizeof(buffer));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return errno == EAGAIN;
    if (count == 0) return false;
    running.heard.append(buffer, static_cast<size_t>(count));
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

std::vector<Result> RunCases(const Options& options, int argc, char** argv) {
  std::vector<Result> results = Choose(options);
  const size_t jobs =
      options.jobs > 0 ? options.jobs : std::max(1u, std::thread::hardware_concurrency());
  std::map<std::string, size_t> indexes;
  std::vector<size_t> waiting;
  std::set<size_t> done, unsound;  // unsound: broken, or standing on what is
  for (size_t i = 0; i < results.size(); ++i) {
    indexes[results[i].promise->id] = i;
    if (results[i].outcome == Outcome::kSkipped) {
      done.insert(i);
    } else {
      waiting.push_back(i);
    }
  }

  std::vector<Running> running;
  while (!waiting.empty() || !running.empty()) {
    const size_t before = waiting.size();
    for (auto at = waiting.begin(); at != waiting.end() && running.size() < jobs;) {
      Result& result = results[*at];
      bool ready = true;
      std::string broken;
      for (const std::string& need : NeedsOf(*result.promise)) {
        const auto found = indexes.find(need);
        if (found == indexes.end()) continue;  // not asked for: taken as kept
        ready = ready && done.count(found->second) != 0;
        if (unsound.count(found->second) != 0) broken = need;
      }
      if (!broken.empty()) {
        result.outcome = Outcome::kSkipped;
        result.note = "needs " + broken + ", which is not kept";
        done.insert(*at);
        unsound.insert(*at);
      } else if (!ready) {
        ++at;
        continue;
      } else {
        Running started;
        started.index = *at;
        if (Start(options, argc, argv, *result.promise, started)) {
          running.push_back(started);
        } else {
          result.outcome = Outcome::kFailed;  // not skipped: nobody must take it for kept
          result.expected = "a process for this case";
          result.seen = "none could be started on this machine; the host was not asked";
          done.insert(*at);
          unsound.insert(*at);
        }
      }
      at = waiting.erase(at);
    }
    if (running.empty()) {
      // What was skipped makes others ready that stand before it in the table.
      PLEXION_CHECK(waiting.size() < before, "needs that go one way");
      continue;
    }
    std::vector<pollfd> polled;
    for (const Running& each : running) polled.push_back({each.report, POLLIN, 0});
    poll(polled.data(), polled.size(), 20);
    for (auto at = running.begin(); at != running.end();) {
      if (LookAfter(options, *at, results[at->index])) {
        done.insert(at->index);
        if (IsBroken(results[at->index].outcome)) unsound.insert(at->index);
        at = running.erase(at);
      } else {
        ++at;
      }
    }
  }
  return results;
}

}  // namespace plexion_certify
