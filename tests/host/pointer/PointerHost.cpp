// A scripted screen, and input that is written down.

#include "tests/host/pointer/PointerHost.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <memory>

#include "host/kernel/HostKernel.h"

namespace plexion_host {
namespace {

constexpr std::chrono::seconds kPatience{20};

HostKernel* kernel = nullptr;

}  // namespace

// Display

void ScriptedDisplay::SetSize(uint32_t width, uint32_t height) {
  const std::lock_guard<std::mutex> lock(mutex_);
  dims_ = {width, height};
  pixels_.assign(size_t{width} * height, 0xFF000000u);
}

void ScriptedDisplay::Paint(const qx::plexion::Rect& rect, uint32_t colour) {
  std::vector<IFrameObserver*> observers;
  PresentedFrame frame;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    for (uint32_t y = rect.y; y < rect.y + rect.height; ++y) {
      for (uint32_t x = rect.x; x < rect.x + rect.width; ++x) {
        pixels_[size_t{y} * dims_.width + x] = colour;
      }
    }
    frame.dims = dims_;
    frame.damage = {rect};
    observers = observers_;
  }
  for (IFrameObserver* observer : observers) observer->OnFramePresented(frame);
}

std::vector<uint32_t> ScriptedDisplay::GetPixels() {
  const std::lock_guard<std::mutex> lock(mutex_);
  return pixels_;
}

size_t ScriptedDisplay::GetObserverCount() {
  const std::lock_guard<std::mutex> lock(mutex_);
  return observers_.size();
}

void ScriptedDisplay::CopyScreen(qx::plexion::Dims& dims, std::vector<uint32_t>& pixels) {
  const std::lock_guard<std::mutex> lock(mutex_);
  dims = dims_;
  pixels = pixels_;
}

void ScriptedDisplay::AddFrameObserver(IFrameObserver* observer) {
  const std::lock_guard<std::mutex> lock(mutex_);
  observers_.push_back(observer);
}

void ScriptedDisplay::RemoveFrameObserver(IFrameObserver* observer) {
  const std::lock_guard<std::mutex> lock(mutex_);
  observers_.erase(std::remove(observers_.begin(), observers_.end(), observer), observers_.end());
}

// Input

void JournalInput::Write(InputSource source, const std::string& entry) {
  const std::lock_guard<std::mutex> lock(mutex_);
  entries_.push_back(source == InputSource::kPointerStream ? entry : "wrong source: " + entry);
  changed_.notify_all();
}

bool JournalInput::WaitFor(const std::string& entry) {
  std::unique_lock<std::mutex> lock(mutex_);
  return changed_.wait_for(lock, kPatience, [&] {
    return std::find(entries_.begin(), entries_.end(), entry) != entries_.end();
  });
}

std::vector<std::string> JournalInput::GetEntries() {
  const std::lock_guard<std::mutex> lock(mutex_);
  return entries_;
}

uint32_t JournalInput::MapKey(int32_t sdlKey, uint16_t modifiers) {
  // A letter with shift is a capital; the rest is taken as it is.
  const bool capital = modifiers != 0 && sdlKey >= 'a' && sdlKey <= 'z';
  return static_cast<uint32_t>(capital ? sdlKey - 'a' + 'A' : sdlKey);
}

void JournalInput::KeyDown(InputSource source, uint32_t key) {
  Write(source, "down " + std::to_string(key));
}

void JournalInput::KeyUp(InputSource source, uint32_t key) {
  Write(source, "up " + std::to_string(key));
}

void JournalInput::PointerMove(InputSource source, int32_t x, int32_t y) {
  Write(source, "move " + std::to_string(x) + "," + std::to_string(y));
}

void JournalInput::PointerDown(InputSource source, qx::plexion::MouseButton button, int32_t x,
                               int32_t y) {
  Write(source,
        "press " + std::to_string(button) + " at " + std::to_string(x) + "," + std::to_string(y));
}

void JournalInput::PointerUp(InputSource source, qx::plexion::MouseButton button, int32_t x,
                             int32_t y) {
  Write(source,
        "release " + std::to_string(button) + " at " + std::to_string(x) + "," + std::to_string(y));
}

void JournalInput::Wheel(InputSource source, qx::plexion::ScrollWheelDirection direction,
                         uint16_t notches) {
  Write(source, "wheel " + std::to_string(direction) + " by " + std::to_string(notches));
}

void JournalInput::ReleaseAll(InputSource source) { Write(source, "all released"); }

// Host

PointerHost& PointerHost::Get() {
  static PointerHost host;
  return host;
}

PointerHost::PointerHost() : outputFd_(memfd_create("output", MFD_CLOEXEC)) {
  kernel = new HostKernel({"plexion"}, ModuleFiles(), outputFd_, outputFd_);
  IQXModule_QXModule_PutKernel(kernel);
}

void PointerHost::Reset() {
  static std::unique_ptr<ScriptedDisplay> ownedDisplay;
  static std::unique_ptr<JournalInput> ownedInput;
  ownedDisplay = std::make_unique<ScriptedDisplay>();
  ownedInput = std::make_unique<JournalInput>();
  display = ownedDisplay.get();
  input = ownedInput.get();
  kernel->AddBuiltIn("IHostDisplay", display);
  kernel->AddBuiltIn("IHostInput", input);
  TakeOutput();
}

std::string PointerHost::TakeOutput() {
  const off_t size = lseek(outputFd_, 0, SEEK_END);
  std::string text(static_cast<size_t>(std::max<off_t>(size, 0)), '\0');
  const ssize_t count = pread(outputFd_, text.data(), text.size(), 0);
  text.resize(static_cast<size_t>(std::max<ssize_t>(count, 0)));
  if (ftruncate(outputFd_, 0) == 0) lseek(outputFd_, 0, SEEK_SET);
  return text;
}

}  // namespace plexion_host
