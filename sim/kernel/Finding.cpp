// Findings as text.

#include "sim/kernel/Finding.h"

#include <cinttypes>
#include <cstdio>

namespace plexion_sim {

const char* NameOf(FindingKind kind) {
  switch (kind) {
    case FindingKind::kDeadlock:
      return "deadlock";
    case FindingKind::kRunAway:
      return "run away";
    case FindingKind::kUseAfterDestroy:
      return "use after destroy";
    case FindingKind::kCheck:
      return "check";
    case FindingKind::kMemory:
      return "memory";
    case FindingKind::kLockMisuse:
      return "lock misuse";
    case FindingKind::kLockOrder:
      return "lock order";
    case FindingKind::kLeak:
      return "leak";
    case FindingKind::kContract:
      return "contract";
    case FindingKind::kDataRace:
      return "data race";
  }
  return "?";
}

bool IsFatal(FindingKind kind) { return kind <= FindingKind::kMemory; }

std::string Finding::ToText() const {
  char when[48];
  std::snprintf(when, sizeof when, " at %" PRId64 ".%06" PRId64 " ms, thread ", time / kMillisecond,
                time % kMillisecond);
  return NameOf(kind) + std::string(when) + thread + ": " + text;
}

bool Findings::Has(FindingKind kind) const {
  for (const Finding& finding : all_) {
    if (finding.kind == kind) return true;
  }
  return false;
}

std::vector<std::string> Findings::Take(FindingKind kind) {
  std::vector<std::string> taken;
  std::vector<Finding> kept;
  for (Finding& finding : all_) {
    if (finding.kind == kind) {
      taken.push_back(finding.text);
    } else {
      kept.push_back(std::move(finding));
    }
  }
  all_ = std::move(kept);
  return taken;
}

std::string Findings::ToText() const {
  std::string text;
  for (const Finding& finding : all_) text += finding.ToText() + "\n";
  return text;
}

}  // namespace plexion_sim
