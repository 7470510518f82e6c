// Random and replayed schedules, and schedules as text.

#include "sim/schedule/Scheduler.h"

#include <cinttypes>
#include <cstdio>
#include <sstream>

#include "qx/core/Check.h"

namespace plexion_sim {

namespace {
// Some faults need threads that alternate all the time, others one that gets far alone: each seed has
// one of these.
constexpr unsigned kSwitchPermille[] = {500, 250, 120, 60, 30};
}  // namespace

RandomScheduler::RandomScheduler(uint64_t seed, unsigned latePermille)
    : numbers_(seed), switchPermille_(kSwitchPermille[seed % 5]), latePermille_(latePermille) {}

size_t RandomScheduler::Choose(const Decision& decision) {
  QX_CHECK(decision.count > 0 || decision.timeMayPass, "there is something to choose");
  if (decision.timeMayPass && latePermille_ > 0 && numbers_.Below(1000) < latePermille_) {
    return decision.count;
  }
  if (decision.current < decision.count && numbers_.Below(1000) >= switchPermille_) {
    return decision.current;
  }
  return static_cast<size_t>(numbers_.Below(decision.count));
}

std::string Schedule::ToText() const {
  std::string text = "plexion schedule 1\n";
  if (!story.empty()) text += "story " + story + "\n";
  if (decisionPoints == DecisionPoints::kSynchronisation) text += "sync-only\n";
  if (timeMayPass) text += "time-may-pass\n";
  for (const Switch& change : switches) {
    char line[64];
    if (change.thread == Switch::kTimePasses) {
      std::snprintf(line, sizeof line, "%" PRIu64 " time\n", change.decision);
    } else {
      std::snprintf(line, sizeof line, "%" PRIu64 " %u\n", change.decision, change.thread);
    }
    text += line;
  }
  return text;
}

bool Schedule::FromText(const std::string& text, std::string& error) {
  std::istringstream lines(text);
  std::string line;
  Schedule read;
  unsigned number = 1;
  if (!std::getline(lines, line) || line != "plexion schedule 1") {
    error = "line 1: '" + line + "'; expected 'plexion schedule 1'";
    return false;
  }
  while (std::getline(lines, line)) {
    ++number;
    if (line.empty() || line[0] == '#') continue;
    if (read.switches.empty() && line.compare(0, 6, "story ") == 0) {
      read.story = line.substr(6);
      continue;
    }
    if (read.switches.empty() && line == "sync-only") {
      read.decisionPoints = DecisionPoints::kSynchronisation;
      continue;
    }
    if (read.switches.empty() && line == "time-may-pass") {
      read.timeMayPass = true;
      continue;
    }
    std::istringstream words(line);
    Switch change{};
    std::string who;
    std::string rest;
    bool good = static_cast<bool>(words >> change.decision >> who) && !(words >> rest);
    if (good && who == "time") {
      change.thread = Switch::kTimePasses;
    } else if (good) {
      std::istringstream digits(who);
      good = static_cast<bool>(digits >> change.thread) && digits.eof();
    }
    if (!good || (!read.switches.empty() && read.switches.back().decision >= change.decision)) {
      error = "line " + std::to_string(number) + ": '" + line +
              "'; expected a decision's number, greater than the one before, and a thread's "
              "number or 'time'";
      return false;
    }
    read.switches.push_back(change);
  }
  // Only now: a text with a mistake changes nothing.
  *this = read;
  return true;
}

size_t ReplayScheduler::Choose(const Decision& decision) {
  while (next_ < schedule_.switches.size() &&
         schedule_.switches[next_].decision < decision.number) {
    ++next_;
  }
  if (next_ < schedule_.switches.size() && schedule_.switches[next_].decision == decision.number) {
    const uint32_t thread = schedule_.switches[next_++].thread;
    if (thread == Switch::kTimePasses && decision.timeMayPass) return decision.count;
    for (size_t i = 0; i < decision.count; ++i) {
      if (decision.candidates[i] == thread) return i;
    }
  }
  return UsualChoice(decision);
}

}  // namespace plexion_sim
