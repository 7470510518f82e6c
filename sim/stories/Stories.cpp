#include "sim/stories/Stories.h"

extern "C" {
IQXModule* IQXModule_IPlexion_ModuleLoad();
void IQXModule_IPlexion_ModuleUnload(IQXModule* module);
}

namespace plexion_sim {

const std::vector<Story>& Stories() {
  static const std::vector<Story> stories = [] {
    std::vector<Story> all;
    for (const auto& some : {WindowStories(), InputStories()}) {
      all.insert(all.end(), some.begin(), some.end());
    }
    return all;
  }();
  return stories;
}

const Story* FindStory(const std::string& name) {
  for (const Story& story : Stories()) {
    if (story.name == name) return &story;
  }
  return nullptr;
}

bool Expect(SimDevice& device, bool holds, const std::string& what) {
  if (!holds) device.kernel.Report(FindingKind::kContract, "expected: " + what);
  return holds;
}

Story ServiceStory(const std::string& name, const std::string& summary,
                   std::function<void(SimDevice&)> prepare,
                   std::function<void(SimDevice&, SimHost&)> tell) {
  Story story;
  story.name = name;
  story.summary = summary;
  story.prepare = [prepare](SimDevice& device) {
    device.graphics.screen = {64, 32};
    device.player.usual.authored = {8, 4};
    device.player.usual.frames = 2;
    device.player.usual.frameTime = 10 * kMillisecond;
    if (prepare) prepare(device);
  };
  story.tell = [tell](SimDevice& device) {
    SimHost host(device, {IQXModule_IPlexion_ModuleLoad, IQXModule_IPlexion_ModuleUnload});
    if (!Expect(device, host.LoadService() != nullptr, "the service is made")) return;
    tell(device, host);
    host.UnloadService();
  };
  return story;
}

}  // namespace plexion_sim
