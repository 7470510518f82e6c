// A process for a case: started, listened to, and ended when it takes too long.

#include "kit/certify/CaseProcess.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <thread>
#include <vector>

#include "host/base/Check.h"

extern char** environ;

namespace plexion_certify {
namespace {

using Clock = std::chrono::steady_clock;

/// The descriptor at which a case's process finds the way back.
constexpr int kReportFd = 3;
/// Bytes. What a case says is shorter (Case::Say).
constexpr size_t kLongestLine = 64 * 1024;

double LimitOf(const Options& options, const Promise& promise) {
  return options.limitSeconds * (promise.level == Level::kFull ? 3 : 1);
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

}  // namespace

bool Start(const Options& options, int argc, char** argv, const Promise& promise,
           Running& running) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return false;
  running.report = ends[0];
  fcntl(ends[0], F_SETFL, O_NONBLOCK);
  // In memory, not through a pipe: a case that prints without a reader would stand still.
  running.output = memfd_create("certify-output", MFD_CLOEXEC);

  std::vector<std::string> words(argv, argv + argc);
  words.insert(words.end(), {"--case", promise.id, "--report-fd", std::to_string(kReportFd)});
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  // A shell module under test reads what there is; the runner's own input is not for it.
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
  // Spawned and not forked: nothing of the runner's state is in a case, so that cases cannot depend on their order.
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

void End(const Running& running) {
  kill(-running.process, SIGKILL);
  waitpid(running.process, nullptr, 0);
  close(running.report);
  close(running.output);
}

bool LookAfter(const Options& options, Running& running, Result& result) {
  PLEXION_CHECK(result.promise != nullptr && running.process > 0,
                "a case that was started is looked after");
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

}  // namespace plexion_certify
