// What happened on a device, in order.

#ifndef SIM_SCHEDULE_JOURNAL_H_
#define SIM_SCHEDULE_JOURNAL_H_

#include <cstdint>
#include <string>
#include <vector>

#include "sim/schedule/Scheduler.h"

namespace plexion_sim {

/// What happened, in order: one entry for each call of the kernel or of a scripted module. Texts
/// hold names and numbers of the run, never addresses, so that the same choices give the same
/// bytes.
class Journal {
 public:
  struct Entry {
    Nanoseconds time;
    std::string thread;
    const char* call;    ///< static text
    std::string detail;  ///< arguments, then " -> " and the result where there is one
  };

  bool IsOn() const { return on_; }
  void SetOn(bool on) { on_ = on; }
  void Add(Nanoseconds time, const std::string& thread, const char* call, std::string detail);

  const std::vector<Entry>& Entries() const { return entries_; }
  /// "milliseconds.nanoseconds  thread  call(detail)", a line an entry.
  std::string ToText() const;
  /// How many entries have this call, with `part` anywhere in the detail.
  size_t Count(const std::string& call, const std::string& part = "") const;

 private:
  bool on_ = true;
  std::vector<Entry> entries_;
};

}  // namespace plexion_sim

#endif  // SIM_SCHEDULE_JOURNAL_H_
