#ifndef TESTS_HOST_PLAYER_PLAYERFIXTURE_H_
#define TESTS_HOST_PLAYER_PLAYERFIXTURE_H_

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <initializer_list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/kernel/HostKernel.h"
#include "host/player/instance/PlayerInstance.h"
#include "qx/core/morvellib/MorvelInstanceParameters.h"
#include "qx/platform/IGraphicsDriver.h"
#include "tests/host/player/VirtualPlayerClock.h"

namespace plexion_host::player {

using namespace qx::plexion;  // the statuses, mostly

constexpr IQXKernel::Time kMs = 1000000;
/// How long a test waits for another thread before it fails; never waited for in a good run.
constexpr std::chrono::seconds kPatience{60};

/// The host kernel of the test process; its console can be captured.
HostKernel& TestKernel();

class FakePlane final : public qx::platform::RenderPlane {
 public:
  FakePlane(uint32_t width, uint32_t height, uint32_t paddingPixels = 0)
      : dims_{width, height},
        pitchPixels_(width + paddingPixels),
        pixels_(size_t{pitchPixels_} * height, kUntouched) {}

  static constexpr uint32_t kUntouched = 0x12345678;

  Dims GetDims() override { return dims_; }
  uint32_t GetPixelFormat() override { return format; }
  uint32_t GetPitch() override { return pitchPixels_ * 4; }
  void* LockPixels(bool) override {
    if (refuseLock) return nullptr;
    ++locks;
    return pixels_.data();
  }
  void UnlockPixels() override { --locks; }
  qx::platform::DrawingContext* GetDrawingContext() override { return nullptr; }

  uint32_t At(uint32_t x, uint32_t y) const { return pixels_[size_t{y} * pitchPixels_ + x]; }
  const std::vector<uint32_t>& Pixels() const { return pixels_; }

  uint32_t format = qx::platform::kPixelFormat32;
  bool refuseLock = false;
  int locks = 0;

 private:
  Dims dims_;
  uint32_t pitchPixels_;
  std::vector<uint32_t> pixels_;
};

/// Stands for the window: hears all that the instance says.
class RecordingWindow final : public qx::core::morvellib::MorvelInstanceNotifier {
 public:
  struct Event {
    StageWindowStatus status;
    std::string message;
    Rect rect;
    unsigned percent;
    double framesPerSecond;
  };

  void OnMorvelInstanceNotification(StageWindowStatus status,
                                    const StageWindowStatusData* data) override {
    Event event = {status, "", {0, 0, 0, 0}, 0, 0};
    if (data != nullptr) {
      if (data->message != nullptr) event.message = data->message;
      if (data->rect != nullptr) event.rect = *data->rect;
      event.percent = data->percent;
      event.framesPerSecond = data->framesPerSecond;
    }
    // What a window does in here may call the instance again.
    if (onStatus) onStatus(status);
    std::lock_guard<std::mutex> lock(mutex_);
    events_.push_back(event);
    changed_.notify_all();
  }
  void OnMorvelInstanceInterFrameNotification() override {
    if (onInterFrame) onInterFrame();
    std::lock_guard<std::mutex> lock(mutex_);
    ++interFrames_;
    changed_.notify_all();
  }

  bool WaitFor(StageWindowStatus status) {
    return WaitUntil([status](const Event& event) { return event.status == status; });
  }
  /// Any of them.
  bool WaitFor(std::initializer_list<StageWindowStatus> statuses) {
    return WaitUntil([&](const Event& event) {
      return std::find(statuses.begin(), statuses.end(), event.status) != statuses.end();
    });
  }
  bool WaitForEnd() {
    return WaitUntil([](const Event& event) { return IsTerminalStatus(event.status); });
  }

  std::vector<Event> Events(StageWindowStatus status) {
    std::lock_guard<std::mutex> lock(mutex_);
    std::vector<Event> found;
    for (const Event& event : events_) {
      if (event.status == status) found.push_back(event);
    }
    return found;
  }
  size_t Count(StageWindowStatus status) { return Events(status).size(); }
  int InterFrames() {
    std::lock_guard<std::mutex> lock(mutex_);
    return interFrames_;
  }

  /// The states and errors in the order in which they were announced, no events.
  std::vector<StageWindowStatus> States() {
    std::lock_guard<std::mutex> lock(mutex_);
    std::vector<StageWindowStatus> states;
    for (const Event& event : events_) {
      if (event.status < kInfoLoadProgress) states.push_back(event.status);
    }
    return states;
  }
  std::vector<StageWindowStatus> All() {
    std::lock_guard<std::mutex> lock(mutex_);
    std::vector<StageWindowStatus> all;
    for (const Event& event : events_) all.push_back(event.status);
    return all;
  }
  /// The terminal status's message; empty before.
  std::string EndMessage() {
    std::lock_guard<std::mutex> lock(mutex_);
    for (const Event& event : events_) {
      if (IsTerminalStatus(event.status)) return event.message;
    }
    return "";
  }

  // Set before the instance is configured; run on the player's thread.
  std::function<void(StageWindowStatus)> onStatus;
  std::function<void()> onInterFrame;

 private:
  template <typename Condition>
  bool WaitUntil(const Condition& condition) {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, kPatience, [&] {
      for (const Event& event : events_) {
        if (condition(event)) return true;
      }
      return false;
    });
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Event> events_;
  int interFrames_ = 0;
};

/// What a scripted engine does, and what was asked of it. Shared with the test, which looks at it
/// while the player sleeps.
struct EngineScript {
  ContentFacts facts = {{64, 36}, 10, 5};
  std::function<bool(EngineHost&, EngineError&)> onLoad;
  std::function<void(EngineHost&)> onDraw;
  std::function<StepResult(EngineHost&, const FrameStep&)> onAdvance;
  bool worksAhead = false;

  EngineHost* host = nullptr;
  std::vector<uint64_t> drawnFrames;
  std::vector<FrameStep> steps;
  std::vector<uint64_t> ahead;  ///< positions that it was to work on ahead
  std::vector<InputEvent> inputs;
  std::vector<bool> playing;
  std::vector<ProxySettings> proxies;
  std::vector<bool> drawnEverything;
  int savedMemory = 0;
  int live = 0;
};

class ScriptedEngine final : public Engine {
 public:
  ScriptedEngine(EngineHost& host, EngineScript& script) : host_(host), script_(script) {
    script_.host = &host;
    ++script_.live;
  }
  ~ScriptedEngine() override { --script_.live; }

  bool Load(const ContentAddress&, ContentFacts& facts, EngineError& error) override {
    facts = script_.facts;
    return !script_.onLoad || script_.onLoad(host_, error);
  }
  void SetPlaying(bool playing) override {
    EXPECT_FALSE(ahead_) << "nothing comes between an order and its answer";
    script_.playing.push_back(playing);
  }
  void OnInput(const InputEvent& event) override {
    EXPECT_FALSE(ahead_) << "nothing comes between an order and its answer";
    script_.inputs.push_back(event);
  }
  void OnProxy(const ProxySettings& proxy) override { script_.proxies.push_back(proxy); }
  void SaveMemory() override { ++script_.savedMemory; }
  StepResult Advance(const FrameStep& step) override {
    EXPECT_TRUE(!ahead_ || *ahead_ == step.position) << "what was ordered ahead comes next";
    ahead_.reset();
    script_.steps.push_back(step);
    frame_ = step.frame;
    if (script_.onAdvance) return script_.onAdvance(host_, step);
    return {true, step.position + 1};
  }
  bool WorkAhead(const FrameStep& next) override {
    if (!script_.worksAhead) return false;
    script_.ahead.push_back(next.position);
    ahead_ = next.position;
    return true;
  }
  DrawResult Draw(const DrawTarget& target) override {
    EXPECT_FALSE(ahead_) << "a moment is asked for before it is drawn";
    script_.drawnFrames.push_back(frame_);
    script_.drawnEverything.push_back(target.everything);
    if (script_.onDraw) script_.onDraw(host_);
    target.pixels[0] = static_cast<uint32_t>(frame_);
    DrawResult result;
    result.drawn = true;
    result.dirty = {0, 0, target.dims.width, target.dims.height};
    return result;
  }

 private:
  EngineHost& host_;
  EngineScript& script_;
  uint64_t frame_ = 0;
  std::optional<uint64_t> ahead_;
};

class ScriptedEngines final : public EngineSource {
 public:
  std::unique_ptr<Engine> OpenEngine(const ContentAddress& content, EngineHost& host,
                                     EngineError& error) override {
    opened = content;
    opened_.store(true);
    if (!refusal.message.empty()) {
      error = refusal;
      return nullptr;
    }
    return std::make_unique<ScriptedEngine>(host, script);
  }

  void Prepare(const ContentAddress& content) override {
    if (!opened_) prepared = content.name;
  }

  EngineScript script;
  EngineError refusal;
  ContentAddress opened;
  std::string prepared;  ///< content that was announced before any was opened

 private:
  std::atomic<bool> opened_{false};
};

/// A player on virtual time with a scripted engine.
class PlayerFixture : public ::testing::Test {
 protected:
  PlayerFixture() { TestKernel(); }

  bool Configure() {
    parameters_.notifier = &window_;
    if (parameters_.contentUrl.IsEmpty()) parameters_.contentUrl.Assign("film.mvx");
    player_ = std::make_unique<PlayerInstance>(stageWindow_, engines_, clock_);
    return player_->Configure(parameters_);
  }
  void Load() {
    ASSERT_TRUE(Configure());
    ASSERT_TRUE(player_->LoadMVX());
    clock_.Settle();
  }
  void LoadAndPlay() {
    Load();
    ASSERT_TRUE(player_->SetRenderPlane(&plane_));
    ASSERT_TRUE(player_->Play());
    clock_.Settle();
    ASSERT_EQ(kStatusPlaying, player_->GetStageWindowStatus());
  }
  EngineScript& Script() { return engines_.script; }

  VirtualPlayerClock clock_;
  ScriptedEngines engines_;
  RecordingWindow window_;
  FakePlane plane_{64, 36};
  StageWindow* stageWindow_ = nullptr;
  qx::core::morvellib::MorvelInstanceParameters parameters_;
  std::unique_ptr<PlayerInstance> player_;
};

}  // namespace plexion_host::player

#endif  // TESTS_HOST_PLAYER_PLAYERFIXTURE_H_
