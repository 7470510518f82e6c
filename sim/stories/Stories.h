#ifndef SIM_STORIES_STORIES_H_
#define SIM_STORIES_STORIES_H_

#include <functional>
#include <string>
#include <vector>

#include "sim/Explore.h"
#include "sim/SimHost.h"

namespace plexion_sim {

/// All stories of the service, by name. Each must go well in every order of its threads.
const std::vector<Story>& Stories();
/// Null for an unknown name.
const Story* FindStory(const std::string& name);

/// A story with the service loaded before it and unloaded after it, a small screen and small
/// content.
Story ServiceStory(const std::string& name, const std::string& summary,
                   std::function<void(SimDevice&)> prepare,
                   std::function<void(SimDevice&, SimHost&)> tell);

/// Reports a contract finding when `holds` is false. Returns  `holds`, so that a story can stop
/// where going on makes no sense.
bool Expect(SimDevice& device, bool holds, const std::string& what);

// By subject.
std::vector<Story> WindowStories();
std::vector<Story> InputStories();

}  // namespace plexion_sim

#endif  // SIM_STORIES_STORIES_H_
