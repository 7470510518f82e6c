// Stories of the service, by name.

#ifndef SIM_STORIES_STORIES_H_
#define SIM_STORIES_STORIES_H_

#include <functional>
#include <string>
#include <vector>

#include "sim/device/SimHost.h"
#include "sim/explore/Explore.h"
#include "sim/stories/Invariants.h"

extern "C" {
IQXModule* IQXModule_IPlexion_ModuleLoad();
void IQXModule_IPlexion_ModuleUnload(IQXModule* module);
}

namespace plexion_sim {

/// All stories of the service, by name. Each must go well in every order of its threads.
const std::vector<Story>& Stories();

/// A way to use the service that its contract leaves to the host to avoid, and how the device finds
/// it.
struct HostCase {
  Story story;
  FindingKind kind;
  std::string part;  ///< of the finding's text
};
/// Told in docs/concurrency.md.
const std::vector<HostCase>& CasesLeftToHost();

/// A story of either kind; null for an unknown name.
const Story* FindStory(const std::string& name);

/// A story with the service loaded before it and unloaded after it, a small screen and small
/// content, and all invariants watched.
Story ServiceStory(const std::string& name, const std::string& summary,
                   const std::function<void(SimDevice&)>& prepare,
                   const std::function<void(SimDevice&, SimHost&)>& tell);

/// Reports a contract finding when `holds` is false. Returns  `holds`, so that a story can stop
/// where going on makes no sense.
inline bool Expect(SimDevice& device, bool holds, const std::string& what) {
  if (!holds) device.kernel.Report(FindingKind::kContract, "expected: " + what);
  return holds;
}

// By subject.
std::vector<Story> WindowStories();
std::vector<Story> RunStories();
std::vector<Story> GeometryStories();
std::vector<Story> InputStories();
std::vector<Story> ThreadStories();

}  // namespace plexion_sim

#endif  // SIM_STORIES_STORIES_H_
