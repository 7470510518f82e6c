// Which locks were taken while which others were held.

#ifndef SIM_SCHEDULE_LOCKORDER_H_
#define SIM_SCHEDULE_LOCKORDER_H_

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace plexion_sim {

/// Remembers which lock was taken while which others were held, over a whole run, and finds two
/// threads that take two locks in opposite orders, even when no deadlock came of it this time. What
/// both do under one common lock is no inversion.
class LockOrder {
 public:
  struct Lock {
    uint32_t number;
    std::string name;
  };

  /// `thread` takes `wanted` while it holds `held`, in the order taken.
  /// Returns  a report of the inversion that this completes; empty when there is none, or it was
  ///          reported before, or is allowed.
  std::string Taken(const Lock& wanted, const std::vector<Lock>& held, uint32_t thread,
                    const std::string& threadName);

  /// The two names may be taken in both orders. A name stands for all locks of that name, digits at
  /// its end left out.
  void Allow(const std::string& one, const std::string& other);

  /// The documented order, first taken first; each step names the locks that stand side by side. A
  /// lock is then taken only after those of earlier steps: one taken against this is reported even
  /// when no other thread takes the two the other way round. Other names may be taken anywhere.
  void Document(const std::vector<std::set<std::string>>& steps);

 private:
  struct Edge {
    uint32_t thread;
    std::string threadName;
    std::set<uint32_t> alsoHeld;
    std::string story;
  };

  /// Against the documented order: the report, else empty.
  std::string AgainstOrder(const Lock& wanted, const std::vector<Lock>& held,
                           const std::string& threadName);

  std::map<std::string, size_t> steps_;  // by name
  std::set<std::pair<std::string, std::string>> reportedAgainstOrder_;
  std::map<std::pair<uint32_t, uint32_t>, std::vector<Edge>> edges_;
  std::set<std::pair<uint32_t, uint32_t>> reported_;
  std::set<std::pair<std::string, std::string>> allowed_;
};

}  // namespace plexion_sim

#endif  // SIM_SCHEDULE_LOCKORDER_H_
