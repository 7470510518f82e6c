// Finds locks that are taken in both orders, or against the documented one.

#include "sim/schedule/LockOrder.h"

#include <algorithm>

namespace plexion_sim {

namespace {

std::string Family(std::string name) {
  // "stateLock1" and "stateLock2" are of one kind: the order holds between kinds.
  while (!name.empty() && name.back() >= '0' && name.back() <= '9') name.pop_back();
  return name;
}

std::pair<std::string, std::string> Sorted(std::string one, std::string other) {
  if (other < one) std::swap(one, other);
  return {one, other};
}

bool Common(const std::set<uint32_t>& left, const std::set<uint32_t>& right) {
  return std::any_of(left.begin(), left.end(),
                     [&](uint32_t lock) { return right.count(lock) > 0; });
}

}  // namespace

void LockOrder::Allow(const std::string& one, const std::string& other) {
  allowed_.insert(Sorted(Family(one), Family(other)));
}

void LockOrder::Document(const std::vector<std::set<std::string>>& steps) {
  for (size_t step = 0; step < steps.size(); ++step) {
    for (const std::string& name : steps[step]) steps_[name] = step;
  }
}

std::string LockOrder::AgainstOrder(const Lock& wanted, const std::vector<Lock>& held,
                                    const std::string& threadName) {
  const std::string name = Family(wanted.name);
  const auto place = steps_.find(name);
  if (place == steps_.end()) return "";
  for (const Lock& before : held) {
    const std::string earlier = Family(before.name);
    const auto other = steps_.find(earlier);
    if (other == steps_.end() || other->second < place->second) continue;
    if (allowed_.count(Sorted(earlier, name)) > 0) continue;
    if (!reportedAgainstOrder_.insert({earlier, name}).second) continue;
    return threadName + " takes " + wanted.name + " while it holds " + before.name +
           ", against the documented order";
  }
  return "";
}

std::string LockOrder::Taken(const Lock& wanted, const std::vector<Lock>& held, uint32_t thread,
                             const std::string& threadName) {
  std::string report = AgainstOrder(wanted, held, threadName);
  for (const Lock& before : held) {
    std::set<uint32_t> others;
    std::string story = threadName + " takes " + wanted.name + " while it holds";
    for (const Lock& lock : held) {
      story += (lock.number == held.front().number ? " " : ", ") + lock.name;
      if (lock.number != before.number) others.insert(lock.number);
    }
    std::vector<Edge>& same = edges_[{before.number, wanted.number}];
    const bool known = std::any_of(same.begin(), same.end(), [&](const Edge& edge) {
      return edge.thread == thread && edge.alsoHeld == others;
    });
    if (known) continue;
    const auto opposite = edges_.find({wanted.number, before.number});
    if (opposite != edges_.end()) {
      for (const Edge& edge : opposite->second) {
        if (edge.thread == thread || Common(edge.alsoHeld, others)) continue;
        const auto pair = std::minmax(before.number, wanted.number);
        if (allowed_.count(Sorted(Family(before.name), Family(wanted.name))) > 0) continue;
        if (!reported_.insert({pair.first, pair.second}).second) continue;
        report += (report.empty() ? "" : "; ") + story + ", but before that " + edge.story;
      }
    }
    same.push_back({thread, threadName, others, story});
  }
  return report;
}

}  // namespace plexion_sim
