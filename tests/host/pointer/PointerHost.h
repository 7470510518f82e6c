// A screen, an input driver and a kernel for the pointer stream.

#ifndef TESTS_HOST_POINTER_POINTERHOST_H_
#define TESTS_HOST_POINTER_POINTERHOST_H_

#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "host/contracts/IHostDisplay.h"
#include "host/contracts/IHostInput.h"

namespace plexion_host {

/// A screen of one colour a rectangle, presented when the test says so.
class ScriptedDisplay final : public IHostDisplay {
 public:
  void SetSize(uint32_t width, uint32_t height);
  /// Fills and presents; returns when every observer has heard of it.
  void Paint(const qx::plexion::Rect& rect, uint32_t colour);
  std::vector<uint32_t> GetPixels();
  size_t GetObserverCount();

  bool Open(const DisplayOptions&, std::string&) override { return true; }
  std::string Describe() override { return "scripted"; }
  bool IsHeadless() override { return true; }
  void Run() override {}
  void RequestQuit() override {}
  void Close() override {}
  void BeginUpdate() override {}
  void EndUpdate() override {}
  void CopyScreen(qx::plexion::Dims& dims, std::vector<uint32_t>& pixels) override;
  bool SaveSnapshot(const std::string&, std::string&) override { return false; }
  void AddEventSink(IDisplayEventSink*) override {}
  void RemoveEventSink(IDisplayEventSink*) override {}
  void AddFrameObserver(IFrameObserver* observer) override;
  void RemoveFrameObserver(IFrameObserver* observer) override;
  uint64_t GetFrameCount() override { return 0; }

 private:
  std::mutex mutex_;
  qx::plexion::Dims dims_{0, 0};
  std::vector<uint32_t> pixels_;
  std::vector<IFrameObserver*> observers_;
};

/// Writes down what arrives: "down 65", "button 0 down 3,4".
class JournalInput final : public IHostInput {
 public:
  bool WaitFor(const std::string& entry);
  std::vector<std::string> GetEntries();

  bool LoadKeyMap(const std::string&, std::string&) override { return true; }
  uint32_t MapKey(int32_t sdlKey, uint16_t modifiers) override;
  uint32_t KeyByName(const std::string& name) override { return name == "red" ? 1001 : 0; }
  void KeyDown(InputSource source, uint32_t key) override;
  void KeyUp(InputSource source, uint32_t key) override;
  void PointerMove(InputSource source, int32_t x, int32_t y) override;
  void PointerDown(InputSource source, qx::plexion::MouseButton button, int32_t x,
                   int32_t y) override;
  void PointerUp(InputSource source, qx::plexion::MouseButton button, int32_t x,
                 int32_t y) override;
  void Wheel(InputSource source, qx::plexion::ScrollWheelDirection direction,
             uint16_t notches) override;
  void ReleaseAll(InputSource source) override;

 private:
  void Write(InputSource source, const std::string& entry);

  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<std::string> entries_;
};

/// The process's one kernel, with the two above as its built-in modules.
struct PointerHost {
  static PointerHost& Get();
  /// Puts fresh modules in the place of the old ones.
  void Reset();
  /// What was printed since the last call.
  std::string TakeOutput();

  ScriptedDisplay* display = nullptr;
  JournalInput* input = nullptr;

 private:
  PointerHost();
  int outputFd_ = -1;
};

}  // namespace plexion_host

#endif  // TESTS_HOST_POINTER_POINTERHOST_H_
