// The list of stories, and what is around each of the service.

#include "sim/stories/Stories.h"

namespace plexion_sim {

const std::vector<Story>& Stories() {
  static const std::vector<Story> stories = [] {
    std::vector<Story> all;
    for (const auto& some :
         {WindowStories(), RunStories(), GeometryStories(), InputStories(), ThreadStories()}) {
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
  for (const HostCase& left : CasesLeftToHost()) {
    if (left.story.name == name) return &left.story;
  }
  return nullptr;
}

Story ServiceStory(const std::string& name, const std::string& summary,
                   const std::function<void(SimDevice&)>& prepare,
                   const std::function<void(SimDevice&, SimHost&)>& tell) {
  Story story;
  story.name = name;
  story.summary = summary;
  story.prepare = [prepare](SimDevice& device) {
    WatchLocks(device);
    device.graphics.screen = {64, 32};
    device.player.usual.authored = {8, 4};
    device.player.usual.frames = 2;
    device.player.usual.frameTime = 10 * kMillisecond;
    if (prepare) prepare(device);
  };
  story.tell = [tell](SimDevice& device) {
    SimHost host(device, {IQXModule_IPlexion_ModuleLoad, IQXModule_IPlexion_ModuleUnload});
    if (!Expect(device, host.LoadService() != nullptr, "the service is made")) return;
    WatchService(device, host.Service());
    tell(device, host);
    host.CloseWindows();
    UnwatchService(device);
    host.UnloadService();
  };
  return story;
}

}  // namespace plexion_sim
