// A byte stream as a program of calls to the service and its windows, by two threads of a host, on
// the simulated device: nothing may leak, hang or be used after it is gone.

#include "fuzz/FuzzInput.h"
#include "qx/plexion/StageWindow.h"
#include "sim/device/SimHost.h"

extern "C" {
IQXModule* IQXModule_IPlexion_ModuleLoad();
void IQXModule_IPlexion_ModuleUnload(IQXModule* module);
}

namespace {

using namespace plexion_sim;  // NOLINT(google-build-using-namespace): a program of one file
using namespace qx::plexion;  // NOLINT(google-build-using-namespace)

constexpr unsigned kMostWindows = 5;

class Program {
 public:
  Program(SimDevice& device, FuzzBytes& bytes)
      : device_(device),
        bytes_(bytes),
        host_(device, {IQXModule_IPlexion_ModuleLoad, IQXModule_IPlexion_ModuleUnload}) {}

  void Run() {
    host_.LoadService();
    bool inputRuns = true;
    // Keys and pointer come from a thread of their own, as on a device.
    host_.Spawn("input", [&] {
      for (unsigned i = 0; i < 40 && inputRuns; ++i) {
        host_.KeyDown(13 + i % 2);
        host_.Service()->DispatchMouseMove(static_cast<unsigned short>(i), 3);
        host_.RunForMs(7);
        host_.KeyUp(13 + i % 2);
      }
      inputDone_ = true;
    });
    for (unsigned steps = 0; steps < 60 && !bytes_.IsEmpty(); ++steps) Step();
    inputRuns = false;
    device_.kernel.WaitUntil(
        "input ends", [&] { return inputDone_; }, IQXKernel::kInfinite);
    host_.UnloadService();
  }

 private:
  StageWindow* Pick() {
    auto& windows = host_.Windows();
    return windows.IsEmpty() ? nullptr : windows[bytes_.Byte() % windows.Count()];
  }

  void Open() {
    if (host_.Windows().Count() >= kMostWindows) return;
    const std::string content = "movie" + std::to_string(bytes_.Byte() % 4) + ".mvx";
    PlayerScript& script = device_.player.Content(content);
    script.frames = bytes_.Byte() % 8;
    if (bytes_.Byte() % 8 == 0) script.FailAt(bytes_.Byte() % 3, kErrorCorruptMovie);
    if (bytes_.Byte() % 2 == 0) {
      host_.OpenWindow({"--keymaster", "--outputrect", "10,10,200,100", content});
    } else {
      host_.OpenWindow({content});
    }
  }

  void Step() {
    const uint8_t operation = bytes_.Byte();
    if (operation % 20 == 0) return Open();
    if (operation % 20 == 1) return host_.RunForMs(bytes_.Byte());
    StageWindow* const window = Pick();
    if (window == nullptr) return;
    switch (operation % 20) {
      case 2:
        window->CreatePlanes();
        break;
      case 3:
        window->Play();
        break;
      case 4:
        window->Pause();
        break;
      case 5:
        window->Terminate(static_cast<StageWindowStatus>(kStatusComplete + bytes_.Byte() % 13));
        break;
      case 6:
        window->Resize({bytes_.Word(), bytes_.Word()}, true);
        break;
      case 7:
        window->MoveTo({bytes_.Word(), bytes_.Word()});
        break;
      case 8:
        host_.CloseWindow(window);
        break;
      case 9:
        window->SetActiveStageWindow();
        break;
      case 10:
        window->SetVisible(bytes_.Byte() % 2 == 0);
        break;
      case 11:
        window->SetContext(bytes_.Byte() % 2 == 0 ? "a" : "b",
                           bytes_.Byte() % 2 == 0 ? nullptr : this);
        break;
      case 12:
        window->DispatchKeyDown(bytes_.Word());
        break;
      case 13:
        window->DispatchMouseButtonDown(kMouseButtonLeft, bytes_.Word(), bytes_.Word());
        break;
      case 14:
        window->GetRectOnScreen();
        window->GetStageDims();
        window->GetContext("a");
        break;
      case 15:
        host_.Service()->SetKeyInputMode(kKeyInputModeAutoRepeat, kMillisecond * bytes_.Byte(),
                                         kMillisecond * (1 + bytes_.Byte()));
        break;
      case 16:
        window->LoadMVXAsync();
        break;
      case 17:
        window->IncrementGraphicsMemoryUsedCount(bytes_.Word());
        window->DecrementGraphicsMemoryUsedCount(bytes_.Word());
        break;
      case 18:
        window->UpdateProxyParameters("10.0.0.1", bytes_.Word(), nullptr, nullptr);
        break;
      default:
        window->SetAlpha(bytes_.Byte());
        break;
    }
  }

  SimDevice& device_;
  FuzzBytes& bytes_;
  SimHost host_;
  bool inputDone_ = false;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzBytes bytes(data, size);
  SimOptions options;
  options.seed = bytes.Byte();
  options.journal = false;
  // A resize on the player's thread reads the output plane against the order of the locks; see the
  // list of what is left to the host.
  options.lockOrder = false;
  SimDevice device(options);
  device.graphics.replacesPlanesOnResize = false;
  {
    Program program(device, bytes);
    device.Run([&] { program.Run(); });
  }
  const std::string findings = device.Finish();
  Require(findings.empty(), findings);
  return 0;
}
