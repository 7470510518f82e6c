// The fixture of suites that look into windows.

#ifndef TESTS_PLEXION_WINDOWFIXTURE_H_
#define TESTS_PLEXION_WINDOWFIXTURE_H_

#include <string>
#include <vector>

#include "qx/plexion/StageWindowImpl.h"
#include "tests/support/ServiceTest.h"

namespace qx {
namespace plexion {

/// Windows seen from inside, on the simulated device.
class WindowTest : public ServiceTest {
 protected:
  /// Runs `body` on the simulated device and destroys what windows it leaves.
  void Story(const std::function<void()>& body) {
    EXPECT_TRUE(device->Run([&] {
      body();
      while (!service->stageWindows.IsEmpty()) {
        service->DestroyStageWindow(service->stageWindows[0]);
      }
    }));
  }

  StageWindowParameters Defaults(const char* content = "movie.mvx") {
    StageWindowParameters parameters = {};
    service->InitParameters(parameters);
    parameters.contentPath = content;
    return parameters;
  }

  StageWindowImpl* Unconfigured() {
    return static_cast<StageWindowImpl*>(service->CreateStageWindow());
  }
  StageWindowImpl* Make(const StageWindowParameters& parameters) {
    return static_cast<StageWindowImpl*>(service->CreateStageWindow(parameters));
  }
  StageWindowImpl* Make(const char* content = "movie.mvx") { return Make(Defaults(content)); }

  StageWindowImpl* Shown(const StageWindowParameters& parameters) {
    StageWindowImpl* const window = Make(parameters);
    EXPECT_TRUE(window->CreatePlanes());
    return window;
  }

  plexion_sim::PlayerScript& Script(const char* content = "movie.mvx") {
    return device->player.Content(content);
  }
  plexion_sim::SimInstance* Player(StageWindow* window) {
    return device->player.InstanceOf(window);
  }
  plexion_sim::SimOutputPlane* Output(StageWindow* window) {
    return static_cast<plexion_sim::SimOutputPlane*>(window->GetOutputPlane());
  }
  plexion_sim::SimRenderPlane* Render(StageWindow* window) {
    return static_cast<plexion_sim::SimRenderPlane*>(window->GetRenderPlane());
  }
  void RunFor(int64_t milliseconds) {
    device->kernel.Sleep(milliseconds * plexion_sim::kMillisecond);
  }
  size_t Calls(const char* call, const std::string& part = "") {
    return device->kernel.GetJournal().Count(call, part);
  }
  plexion_sim::Faults& Faults() { return device->kernel.GetFaults(); }
};

/// Remembers what it heard: "kInfoWindowResized 10,20 300x200".
class Observer : public StageWindowNotifier {
 public:
  Observer(IPlexionImpl* service, std::string name = "", std::vector<std::string>* log = nullptr)
      : service_(service), name_(std::move(name)), log_(log) {}

  void OnStageWindowNotification(StageWindow*, StageWindowStatus status,
                                 const StageWindowStatusData* data) override {
    std::string text = service_->StageWindowStatusToString(status);
    if (data != nullptr && data->rect != nullptr) text += " " + plexion_sim::ToText(*data->rect);
    heard.push_back(text);
    if (log_ != nullptr) log_->push_back(name_ + " " + text);
  }

  size_t Count(const std::string& text) const {
    size_t times = 0;
    for (const std::string& one : heard) times += one == text;
    return times;
  }

  std::vector<std::string> heard;

 private:
  IPlexionImpl* const service_;
  const std::string name_;
  std::vector<std::string>* const log_;
};

}  // namespace plexion
}  // namespace qx

#endif  // TESTS_PLEXION_WINDOWFIXTURE_H_
