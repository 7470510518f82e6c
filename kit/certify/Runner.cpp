// Chooses cases, starts those whose needs are kept, and gathers what becomes of them.

#include "kit/certify/Runner.h"

#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <set>
#include <thread>

#include "host/base/Check.h"
#include "kit/certify/CaseProcess.h"

namespace plexion_certify {
namespace {

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
      // Not for longer: a case that has closed its pipe is seen by its end, and limits are looked at here.
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
    EndStrays();
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

  /// Adds a case that is not over, and what it needs.
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
