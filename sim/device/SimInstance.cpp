// A scripted player instance: its operations, and its own thread.

#include <algorithm>
#include <string>

#include "qx/core/Check.h"
#include "qx/platform/IGraphicsDriver.h"
#include "qx/plexion/MemoryWatchdog.h"
#include "qx/plexion/StageWindow.h"
#include "sim/device/SimPlayer.h"

namespace plexion_sim {

using qx::core::morvellib::MorvelInstanceParameters;
using qx::core::morvellib::MorvelLoadSettings;
using qx::plexion::Dims;
using qx::plexion::Rect;
using qx::plexion::StageWindowStatus;
using qx::plexion::StageWindowStatusData;

SimInstance::SimInstance(SimPlayer& player, std::string name, qx::plexion::StageWindow* window)
    : player_(player),
      kernel_(player.kernel_),
      name_(std::move(name)),
      window_(window),
      settings_(std::make_unique<MorvelLoadSettings>()) {}

bool SimInstance::Use(const char* call, const std::string& detail) {
  kernel_.Point(call);
  kernel_.Note(call, name_ + (detail.empty() ? "" : " " + detail));
  if (destroyed_) {
    kernel_.Report(FindingKind::kUseAfterDestroy,
                   std::string(call) + " of " + name_ + ", which is destroyed");
  }
  return !destroyed_;
}

bool SimInstance::Answer(const char* call, bool result) {
  kernel_.Note(call, name_ + (result ? " -> true" : " -> false"));
  return result;
}

// Operations.

bool SimInstance::Configure(const MorvelInstanceParameters& parameters) {
  Ordered(underStateLock_);
  if (!Use("Configure", parameters.contentUrl.Utf8())) return false;
  const std::string path = parameters.contentUrl.Utf8();
  // Content that the story does not know plays as usual.
  const auto known = player_.content_.find(path);
  script_ = known == player_.content_.end() ? player_.usual : known->second;
  parameters_ = std::make_unique<MorvelInstanceParameters>(parameters);
  settings_->contentUrl.Assign(parameters.contentUrl);
  settings_->zorBase.Assign(parameters.zorBase);
  notifier_ = parameters.notifier;
  if (kernel_.GetFaults().Fails(Fallible::kInstanceConfigure) || !script_.configures) {
    status_ = script_.configureError;
    return Answer("Configure", false);
  }
  status_ = qx::plexion::kStatusConfigured;
  // From here on the player is a thread of the platform, as a real one is.
  thread_ = kernel_.SpawnPlatform(name_, [this] { ThreadMain(); });
  return Answer("Configure", true);
}

MorvelLoadSettings* SimInstance::GetLoadSettings() {
  Ordered(underStateLock_);
  Use("GetLoadSettings");
  return settings_.get();
}

bool SimInstance::LoadMVX() {
  Ordered(underStateLock_);
  if (!Use("LoadMVX", settings_->contentUrl.Utf8())) return false;
  if (kernel_.GetFaults().Fails(Fallible::kInstanceLoad)) return Answer("LoadMVX", false);
  if (status_ != qx::plexion::kStatusConfigured || loadAsked_) return Answer("LoadMVX", false);
  // "go" may have named other content.
  const auto known = player_.content_.find(settings_->contentUrl.Utf8());
  if (known != player_.content_.end()) script_ = known->second;
  Released(this);
  loadAsked_ = true;
  return Answer("LoadMVX", true);
}

bool SimInstance::LoadMVXAsync() { return LoadMVX(); }

bool SimInstance::Play() {
  Ordered(underStateLock_);
  if (!Use("Play")) return false;
  if (kernel_.GetFaults().Fails(Fallible::kInstancePlay)) return Answer("Play", false);
  const bool can = loadAsked_ && !IsTerminalStatus(status_);
  if (can) HandOver(playWanted_, true);
  // What the contract forbids, for stories that show what comes of it.
  if (can && script_.notifiesInPlay) Notify(qx::plexion::kStatusPlaying);
  return Answer("Play", can);
}

bool SimInstance::Pause() {
  Ordered(underStateLock_);
  if (!Use("Pause")) return false;
  if (kernel_.GetFaults().Fails(Fallible::kInstancePause)) return Answer("Pause", false);
  const bool can = playWanted_ && !IsTerminalStatus(status_);
  if (can) HandOver(playWanted_, false);
  return Answer("Pause", can);
}

bool SimInstance::Terminate(StageWindowStatus status) {
  if (!Use("Terminate", std::to_string(status))) return false;
  if (!IsTerminalStatus(status)) {
    kernel_.Report(FindingKind::kContract, "Terminate of " + name_ + " with the status " +
                                               std::to_string(status) +
                                               "; expected a terminal one");
    return false;
  }
  const bool can = thread_ != nullptr && !IsTerminalStatus(status_) && !terminateAsked_;
  if (can) {
    Released(this);
    terminateAsked_ = true;
    terminateAs_ = status;
  }
  return Answer("Terminate", can);
}

StageWindowStatus SimInstance::GetStageWindowStatus() {
  Ordered(underStateLock_);
  kernel_.Point("GetStageWindowStatus");
  if (destroyed_) {
    kernel_.Report(FindingKind::kUseAfterDestroy,
                   "GetStageWindowStatus of " + name_ + ", which is destroyed");
  }
  return status_;
}

Dims SimInstance::GetMVXAuthoredStageDims() {
  if (!Use("GetMVXAuthoredStageDims")) return {0, 0};
  const bool known = status_ == qx::plexion::kStatusLoaded ||
                     (status_ >= qx::plexion::kStatusReadyToAnimate && nextStep_ > 0);
  return known ? script_.authored : Dims{0, 0};
}

bool SimInstance::TakePlane(const char* call, Fallible fallible, qx::platform::RenderPlane* plane) {
  if (!Use(call)) return false;
  const bool can = !kernel_.GetFaults().Fails(fallible) && script_.acceptsRenderPlane &&
                   plane != nullptr && status_ >= qx::plexion::kStatusLoaded &&
                   !IsTerminalStatus(status_);
  if (can) HandOver(renderPlane_, plane);
  return Answer(call, can);
}

bool SimInstance::SetRenderPlane(qx::platform::RenderPlane* plane) {
  return TakePlane("SetRenderPlane", Fallible::kInstanceSetRenderPlane, plane);
}

bool SimInstance::ResetRenderPlane(qx::platform::RenderPlane* plane) {
  Ordered(underStateLock_);
  return TakePlane("ResetRenderPlane", Fallible::kInstanceResetRenderPlane, plane);
}

void SimInstance::RequestInterFrameNotification() {
  Ordered(underGeometryLock_);
  if (Use("RequestInterFrameNotification")) HandOver(interFrames_, interFrames_ + 1);
}

void SimInstance::SetStageRect(const Rect& rect) {
  Ordered(underGeometryLock_);
  Use("SetStageRect", std::to_string(rect.x) + "," + std::to_string(rect.y) + "," +
                          std::to_string(rect.width) + "," + std::to_string(rect.height));
}

void SimInstance::Hear(const char* call, const std::string& what) {
  // Keys of the key simulator's making come under a lock of its own.
  if (kernel_.CurrentTask()->kind != SimTask::Kind::kModule) Ordered(underStateLock_);
  if (Use(call, what)) input_.push_back(what);
}

void SimInstance::KeyDown(unsigned long key) { Hear("KeyDown", "down " + std::to_string(key)); }
void SimInstance::KeyUp(unsigned long key) { Hear("KeyUp", "up " + std::to_string(key)); }
void SimInstance::MouseButtonDown(qx::plexion::MouseButton button, unsigned short x,
                                  unsigned short y) {
  Hear("MouseButtonDown",
       "button down " + std::to_string(button) + " " + std::to_string(x) + "," + std::to_string(y));
}
void SimInstance::MouseButtonUp(qx::plexion::MouseButton button, unsigned short x,
                                unsigned short y) {
  Hear("MouseButtonUp",
       "button up " + std::to_string(button) + " " + std::to_string(x) + "," + std::to_string(y));
}
void SimInstance::MouseMove(unsigned short x, unsigned short y) {
  Hear("MouseMove", "move " + std::to_string(x) + "," + std::to_string(y));
}
void SimInstance::ScrollWheelScroll(qx::plexion::ScrollWheelDirection direction,
                                    unsigned short delta) {
  Hear("ScrollWheelScroll", "scroll " + std::to_string(direction) + " " + std::to_string(delta));
}
void SimInstance::SendEvent(unsigned long eventCode) {
  Hear("SendEvent", "event " + std::to_string(eventCode));
}

void SimInstance::Activate() {
  Ordered(underStateLock_);
  if (Use("Activate")) active_ = true;
}

void SimInstance::Deactivate() {
  Ordered(underStateLock_);
  if (Use("Deactivate")) active_ = false;
}

void SimInstance::UpdateProxyParameters(const char* host, unsigned short port, const char* user,
                                        const char* password) {
  const auto text = [](const char* value) { return value == nullptr ? "null" : value; };
  Use("UpdateProxyParameters", std::string(text(host)) + ":" + std::to_string(port) + " " +
                                   text(user) + " " + text(password));
}

void SimInstance::Announce(StageWindowStatus status) {
  Released(this);
  toAnnounce_.push_back(status);
}

// The player's own thread.

bool SimInstance::Wake() const {
  if (stop_) return true;
  if (IsTerminalStatus(status_)) return false;
  if (terminateAsked_ || interFrames_ > 0 || !toAnnounce_.empty()) return true;
  if (loadAsked_ && !loading_ && nextStep_ == 0) return true;
  const bool ready = status_ >= qx::plexion::kStatusReadyToAnimate;
  return (ready && playWanted_ && status_ != qx::plexion::kStatusPlaying) ||
         (status_ == qx::plexion::kStatusPlaying && !playWanted_);
}

void SimInstance::ThreadMain() {
  while (Step()) {
  }
  GiveBack();
}

bool SimInstance::Step() {
  const bool drawing = status_ == qx::plexion::kStatusPlaying && playWanted_;
  Nanoseconds timeout = IQXKernel::kInfinite;
  if (loading_) {
    timeout = nextStep_ < script_.loadSteps.size() ? script_.loadSteps[nextStep_].after
                                                   : IQXKernel::kInfinite;
  } else if (drawing) {
    timeout = std::max<Nanoseconds>(nextFrame_ - kernel_.Now(), 0);
  }
  const bool asked = kernel_.WaitUntil(
      "the player's wait", [this] { return Wake(); }, timeout);
  Acquired(this);
  if (stop_) return false;
  if (asked) {
    if (terminateAsked_) {
      EndWith(terminateAs_, nullptr);
    } else if (!toAnnounce_.empty()) {
      const StageWindowStatus status = toAnnounce_.front();
      toAnnounce_.erase(toAnnounce_.begin());
      Notify(status);
    } else if (interFrames_ > 0) {
      --interFrames_;
      kernel_.Note("notifies inter-frame", "");
      notifier_->OnMorvelInstanceInterFrameNotification();
    } else if (loadAsked_ && !loading_ && nextStep_ == 0) {
      Load();
    } else if (playWanted_) {
      status_ = qx::plexion::kStatusPlaying;
      nextFrame_ = kernel_.Now() + script_.frameTime;
      Notify(status_);
    } else {
      status_ = qx::plexion::kStatusPaused;
      Notify(status_);
    }
    return true;
  }
  if (loading_) {
    LoadNext();
  } else if (drawing) {
    DrawFrame();
  }
  return true;
}

void SimInstance::Load() {
  loading_ = true;
  status_ = qx::plexion::kStatusLoading;
  Notify(status_);
  if (script_.allocatesOnLoad > 0) Claim(script_.allocatesOnLoad);
}

void SimInstance::LoadNext() {
  QX_CHECK(nextStep_ < script_.loadSteps.size(), "a step that is left");
  const PlayerScript::LoadStep step = script_.loadSteps[nextStep_++];
  if (nextStep_ == script_.loadSteps.size()) loading_ = false;
  if (IsTerminalStatus(step.status)) {
    EndWith(step.status, step.message);
    return;
  }
  StageWindowStatusData data{};
  data.message = step.message;
  data.percent = step.percent;
  if (step.status < qx::plexion::kInfoLoadProgress) status_ = step.status;
  Notify(step.status, &data);
}

void SimInstance::Claim(unsigned long bytes) {
  QX_CHECK(window_ != nullptr, "only a player of a window takes memory of its account");
  qx::plexion::MemoryWatchdog* watchdog = window_->GetMemoryWatchdog();
  if (watchdog == nullptr) return;
  void* block = watchdog->Alloc(bytes, nullptr, 0);
  kernel_.Note("allocates", std::to_string(bytes) + (block == nullptr ? " -> null" : ""));
  if (block != nullptr) blocks_.push_back(block);
}

void SimInstance::GiveBack() {
  QX_CHECK(blocks_.empty() || window_->GetMemoryWatchdog() != nullptr, "where the blocks are from");
  for (void* block : blocks_) window_->GetMemoryWatchdog()->Free(block, nullptr, 0);
  blocks_.clear();
}

void SimInstance::DrawFrame() {
  nextFrame_ += script_.frameTime;
  if (renderPlane_ == nullptr) return;
  if (script_.allocatesPerFrame > 0) {
    Claim(script_.allocatesPerFrame);
    if (terminateAsked_) return;
  }
  const Dims dims = renderPlane_->GetDims();
  Rect redrawn = script_.redrawn;
  if (redrawn.width == 0) redrawn = {0, 0, dims.width, dims.height};
  auto* pixels = static_cast<char*>(renderPlane_->LockPixels(false));
  ++framesDrawn_;
  if (pixels != nullptr) {
    // A pattern that differs from frame to frame and from pixel to pixel.
    const uint32_t pitch = renderPlane_->GetPitch();
    for (uint32_t y = redrawn.y; y < std::min(redrawn.y + redrawn.height, dims.height); ++y) {
      auto* row = reinterpret_cast<uint32_t*>(pixels + static_cast<size_t>(y) * pitch);
      for (uint32_t x = redrawn.x; x < std::min(redrawn.x + redrawn.width, dims.width); ++x) {
        row[x] = 0xFF000000u | ((framesDrawn_ * 40503u + y * 257u + x) & 0xFFFFFFu);
      }
    }
    renderPlane_->UnlockPixels();
  }
  for (const auto& announced : script_.announces) {
    if (announced.first == framesDrawn_) Notify(announced.second);
  }
  StageWindowStatusData data{};
  data.rect = &redrawn;
  Notify(qx::plexion::kInfoRenderPlaneUpdated, &data);
  if (script_.frames > 0 && framesDrawn_ >= script_.frames && !terminateAsked_) {
    EndWith(script_.endStatus, script_.endMessage);
  }
}

void SimInstance::EndWith(StageWindowStatus status, const char* message) {
  status_ = status;
  loading_ = false;
  StageWindowStatusData data{};
  data.message = message;
  Notify(status, &data);
}

void SimInstance::Notify(StageWindowStatus status, const StageWindowStatusData* data) {
  kernel_.Note("notifies", std::to_string(status));
  QX_CHECK(notifier_ != nullptr, "a player that was configured has somebody to tell");
  notifier_->OnMorvelInstanceNotification(status, data);
}

}  // namespace plexion_sim
