// set_host MODULE_FOLDER WORD...: a host as docs/porting.md tells to write one. It has the reference kernel run a whole
// set to its end, and prints what is on the screen meanwhile, at two points, whenever that changes.

#include <atomic>
#include <chrono>
#include <cstdio>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "host/contracts/IHostDisplay.h"
#include "host/contracts/IHostShell.h"
#include "host/kernel/HostKernel.h"
#include "qx/plexion/IPlexion.h"
#include "qx/plexion/StageWindowSet.h"

namespace {

constexpr uint32_t kWidth = 192;  // two windows of 96x96 beside each other
constexpr uint32_t kHeight = 96;

/// Looks at the middle of both windows; says "go" as soon as somebody waits for it, when it is asked to.
class Watch {
 public:
  Watch(IQXKernel& kernel, bool sayGo)
      : kernel_(kernel),
        display_(static_cast<plexion_host::IHostDisplay*>(kernel.AcquireModule("IHostDisplay"))),
        shell_(sayGo ? static_cast<plexion_host::IHostShell*>(kernel.AcquireModule("IHostShell"))
                     : nullptr) {
    plexion_host::DisplayOptions options;
    options.mode = plexion_host::DisplayMode::kHeadless;
    options.width = kWidth;
    options.height = kHeight;
    display_->Plan(options);
    thread_ = std::thread([this] {
      while (!done_) {
        LookOnce();
        if (shell_ != nullptr && !said_ && shell_->TryLine("go")) {
          said_ = true;
          Say("go");
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
      }
    });
  }
  ~Watch() {
    done_ = true;
    thread_.join();
    LookOnce();
    kernel_.ReleaseModule(shell_);
    kernel_.ReleaseModule(display_);
  }
  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;

  static void Say(const std::string& line) {
    fputs(("> " + line + "\n").c_str(), stdout);
    fflush(stdout);
  }

 private:
  void LookOnce() {
    qx::plexion::Dims dims{};
    std::vector<uint32_t> pixels;
    display_->CopyScreen(dims, pixels);
    if (dims.width != kWidth || dims.height != kHeight) return Say("the screen has another size");
    char line[32];
    const size_t middle = kHeight / 2 * kWidth;
    snprintf(line, sizeof(line), "%06x %06x", pixels[middle + kWidth / 4] & 0xFFFFFF,
             pixels[middle + kWidth * 3 / 4] & 0xFFFFFF);
    if (last_ != line) Say("screen " + std::string(line));
    last_ = line;
  }

  IQXKernel& kernel_;
  plexion_host::IHostDisplay* const display_;
  plexion_host::IHostShell* const shell_;
  std::string last_;
  bool said_ = false;
  std::atomic<bool> done_{false};
  std::thread thread_;
};

}  // namespace

int main(int argc, char** argv) {
  std::vector<const char*> words(argv + 1, argv + argc);  // windows borrow these
  bool pause = false;
  for (const char* word : words) pause |= std::string(word) == "--pause";
  plexion_host::ModuleFiles files;
  files.path = {argv[1]};
  files.sharedLibraries = {{"IHostDisplay", "IGraphicsDriver"}, {"IHostShell", "IShell"}};
  // As long as the process: a library that cannot be unloaded keeps the pointer.
  static plexion_host::HostKernel kernel(std::vector<std::string>(argv, argv + argc), files);
  IQXModule_QXModule_PutKernel(&kernel);
  auto* const service = static_cast<qx::plexion::IPlexionSets*>(kernel.AcquireModule("IPlexion"));
  if (service == nullptr) return 3;
  {
    const Watch watch(kernel, pause);
    qx::plexion::StageWindowSet set;
    const QXError error = service->CreateAndConfigureStageWindowSet(
        set, static_cast<int>(words.size()), words.data(), 8);
    Watch::Say("made " + std::to_string(set.Count()) + " windows, " + error.name);
    if (error == QXError_OK) {
      const bool ran = service->RunStageWindowSetToCompletion(set);
      Watch::Say(std::string(ran ? "ran" : "did not run") + ", " + std::to_string(set.Count()) +
                 " windows left");
    }
    service->DestroyStageWindowSet(set);
    Watch::Say(std::to_string(set.Count()) + " windows after destruction");
  }
  kernel.ReleaseModule(service);
  for (const std::string& module : kernel.GetLoadedModules()) Watch::Say("loaded: " + module);
  Watch::Say("end");
}
