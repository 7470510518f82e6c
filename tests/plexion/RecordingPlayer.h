// A player instance that remembers its keys.

#ifndef TESTS_PLEXION_RECORDINGPLAYER_H_
#define TESTS_PLEXION_RECORDINGPLAYER_H_

#include <string>

#include "qx/core/IQXKernel.h"
#include "qx/core/morvellib/MorvelInstance.h"

namespace tests {

/// A player instance that notes keys, with their times, and how it was terminated; all else is
/// accepted without effect.
class RecordingPlayer : public qx::core::morvellib::MorvelInstance {
 public:
  using Dims = qx::plexion::Dims;
  using Status = qx::plexion::StageWindowStatus;

  explicit RecordingPlayer(IQXKernel* kernel) : kernel_(kernel) {}

  /// "down KEY@MS up KEY@MS ..." since the last call.
  std::string TakeKeys() {
    std::string keys = keys_;
    keys_.clear();
    return keys;
  }
  int terminations = 0;
  Status lastTermination = qx::plexion::kStatusUnconfigured;

  bool Configure(const qx::core::morvellib::MorvelInstanceParameters&) override { return true; }
  qx::core::morvellib::MorvelLoadSettings* GetLoadSettings() override { return &settings_; }
  bool LoadMVX() override { return true; }
  bool LoadMVXAsync() override { return true; }
  bool Play() override { return true; }
  bool Pause() override { return true; }
  bool Terminate(Status status) override {
    ++terminations;
    lastTermination = status;
    return true;
  }
  Status GetStageWindowStatus() override { return qx::plexion::kStatusPlaying; }
  Dims GetMVXAuthoredStageDims() override { return {0, 0}; }
  bool SetRenderPlane(qx::platform::RenderPlane*) override { return true; }
  bool ResetRenderPlane(qx::platform::RenderPlane*) override { return true; }
  void RequestInterFrameNotification() override {}
  void SetStageRect(const qx::plexion::Rect&) override {}
  void KeyDown(unsigned long key) override { Note("down ", key); }
  void KeyUp(unsigned long key) override { Note("up ", key); }
  void MouseButtonDown(qx::plexion::MouseButton, unsigned short, unsigned short) override {}
  void MouseButtonUp(qx::plexion::MouseButton, unsigned short, unsigned short) override {}
  void MouseMove(unsigned short, unsigned short) override {}
  void ScrollWheelScroll(qx::plexion::ScrollWheelDirection, unsigned short) override {}
  void SendEvent(unsigned long) override {}
  void Activate() override {}
  void Deactivate() override {}
  void UpdateProxyParameters(const char*, unsigned short, const char*, const char*) override {}

 private:
  void Note(const char* what, unsigned long key) {
    if (!keys_.empty()) keys_ += ' ';
    keys_ += what + std::to_string(key) + "@" + std::to_string(kernel_->GetTime() / 1000000);
  }

  IQXKernel* const kernel_;
  std::string keys_;
  qx::core::morvellib::MorvelLoadSettings settings_;
};

}  // namespace tests

#endif  // TESTS_PLEXION_RECORDINGPLAYER_H_
