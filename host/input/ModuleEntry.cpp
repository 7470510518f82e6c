// The library's two modules, "IUserInputDriver" and "IHostInput": one user input, which is there
// and delivers as long as either is loaded.

#include <memory>
#include <mutex>

#include "host/contracts/HostModule.h"
#include "host/input/UserInput.h"
#include "qx/platform/IUserInputDriver.h"

namespace plexion_host {
namespace {

/// Where there is no list of windows, input goes nowhere.
class NoWindows final : public IHostWindows {
 public:
  void WithWindows(const std::function<void(std::vector<HostWindow>&)>&) override {}
  qx::plexion::IPlexionSets* GetService() override { return nullptr; }
  void RequestQuit() override {}
};

/// User input together with the modules that it stands on.
class SharedInput {
 public:
  SharedInput()
      : kernel_(*IQXKernel::GetKernel()),
        windows_(static_cast<IHostWindows*>(kernel_.AcquireModule("IHostWindows"))),
        display_(static_cast<IHostDisplay*>(kernel_.AcquireModule("IHostDisplay"))),
        input_(std::make_unique<UserInput>(windows_ != nullptr ? *windows_ : none_, display_)) {}
  ~SharedInput() {
    input_.reset();
    kernel_.ReleaseModule(display_);
    kernel_.ReleaseModule(windows_);
  }
  SharedInput(const SharedInput&) = delete;
  SharedInput& operator=(const SharedInput&) = delete;

  UserInput& Get() { return *input_; }

  static std::shared_ptr<SharedInput> Share() {
    static Mutex mutex;
    static std::weak_ptr<SharedInput> shared;
    const MutexLock lock(mutex);
    std::shared_ptr<SharedInput> input = shared.lock();
    if (input == nullptr) {
      input = std::make_shared<SharedInput>();
      shared = input;
    }
    return input;
  }

 private:
  IQXKernel& kernel_;
  NoWindows none_;
  IHostWindows* const windows_;
  IHostDisplay* const display_;
  std::unique_ptr<UserInput> input_;
};

class UserInputDriver final : public qx::platform::IUserInputDriver {
 private:
  const std::shared_ptr<SharedInput> shared_ = SharedInput::Share();
};

class HostInput final : public IHostInput {
 public:
  bool LoadKeyMap(const std::string& path, std::string& error) override {
    return input_.LoadKeyMap(path, error);
  }
  uint32_t MapKey(int32_t sdlKey, uint16_t modifiers) override {
    return input_.MapKey(sdlKey, modifiers);
  }
  uint32_t KeyByName(const std::string& name) override { return input_.KeyByName(name); }
  void KeyDown(InputSource source, uint32_t key) override { input_.KeyDown(source, key); }
  void KeyUp(InputSource source, uint32_t key) override { input_.KeyUp(source, key); }
  void PointerMove(InputSource source, int32_t x, int32_t y) override {
    input_.PointerMove(source, x, y);
  }
  void PointerDown(InputSource source, qx::plexion::MouseButton button, int32_t x,
                   int32_t y) override {
    input_.PointerDown(source, button, x, y);
  }
  void PointerUp(InputSource source, qx::plexion::MouseButton button, int32_t x,
                 int32_t y) override {
    input_.PointerUp(source, button, x, y);
  }
  void Wheel(InputSource source, qx::plexion::ScrollWheelDirection direction,
             uint16_t notches) override {
    input_.Wheel(source, direction, notches);
  }
  void ReleaseAll(InputSource source) override { input_.ReleaseAll(source); }

 private:
  const std::shared_ptr<SharedInput> shared_ = SharedInput::Share();
  UserInput& input_ = shared_->Get();
};

}  // namespace
}  // namespace plexion_host

PLEXION_HOST_MODULE(IUserInputDriver, plexion_host::UserInputDriver)
PLEXION_HOST_MODULE(IHostInput, plexion_host::HostInput)
