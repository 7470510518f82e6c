// What a device can find wrong.

#ifndef SIM_KERNEL_FINDING_H_
#define SIM_KERNEL_FINDING_H_

#include <string>
#include <vector>

#include "sim/schedule/Scheduler.h"

namespace plexion_sim {

/// What the simulated device can find wrong.
enum class FindingKind {
  // After these the run cannot go on.
  kDeadlock,         ///< everybody waits for ever, or some wait for each other
  kRunAway,          ///< more virtual time or decisions than a run may take
  kUseAfterDestroy,  ///< a call into a kernel object, instance, plane or module that is gone
  kCheck,            ///< a precondition of the module's is broken (qx/core/Check.h)
  kMemory,           ///< double free, unknown address, overrun
  // The run goes on after these.
  kLockMisuse,  ///< unlocked by another, destroyed while held or waited for
  kLockOrder,   ///< two locks taken in both orders
  kLeak,        ///< not given back
  kContract,    ///< a call that a platform contract forbids
  kDataRace,    ///< two threads, one of them writing, and nothing orders them (thread sanitizer)
};

const char* NameOf(FindingKind kind);
bool IsFatal(FindingKind kind);

struct Finding {
  FindingKind kind;
  Nanoseconds time;
  std::string thread;
  std::string text;

  /// "deadlock at 12.000000 ms, thread host: ..."
  std::string ToText() const;
};

class Findings {
 public:
  void Add(Finding finding) { all_.push_back(std::move(finding)); }
  const std::vector<Finding>& All() const { return all_; }
  bool Has(FindingKind kind) const;
  /// Takes the findings of this kind away: the story expected them. Returns  their texts.
  std::vector<std::string> Take(FindingKind kind);
  /// All, a paragraph each; empty when there is none.
  std::string ToText() const;

 private:
  std::vector<Finding> all_;
};

}  // namespace plexion_sim

#endif  // SIM_KERNEL_FINDING_H_
