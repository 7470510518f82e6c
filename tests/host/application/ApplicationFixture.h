// An application in a folder of its own, and a host that records.
#ifndef TESTS_HOST_APPLICATION_APPLICATIONFIXTURE_H_
#define TESTS_HOST_APPLICATION_APPLICATIONFIXTURE_H_

#include <gtest/gtest.h>
#include <stdlib.h>

#include <atomic>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "host/player/application/ApplicationEngine.h"
#include "qx/plexion/StageWindowParameters.h"

namespace plexion_host::player::application {

using namespace qx::plexion;  // the statuses, mostly

/// Stands for the player: hears what an engine says.
class RecordingHost final : public EngineHost {
 public:
  MemoryWatchdog* Memory() override { return memory; }
  const PlayerSettings& Settings() override { return settings; }
  bool Cancelled() override { return ++looks > cancelAfter || cancelled; }
  void ReportProgress(unsigned percent) override { progress.push_back(percent); }
  void RequestFrame() override {
    std::lock_guard<std::mutex> lock(mutex_);
    requested_ = true;
    changed_.notify_all();
  }
  void Complete() override { completed = true; }
  void Fail(const EngineError& error) override { failure = error; }
  void Notify(StageWindowStatus event, const std::string& message) override {
    notes.emplace_back(event, message);
  }
  /// Whether somebody has asked for a frame since the last time.
  bool TakeRequest() {
    std::lock_guard<std::mutex> lock(mutex_);
    return std::exchange(requested_, false);
  }
  /// Until an engine's own thread asks for a frame.
  bool WaitForRequest() {
    std::unique_lock<std::mutex> lock(mutex_);
    const bool came =
        changed_.wait_for(lock, std::chrono::seconds(60), [this] { return requested_; });
    requested_ = false;
    return came;
  }
  /// What could not be drawn or opened.
  std::vector<std::string> Notices() const {
    std::vector<std::string> notices;
    for (const auto& note : notes) {
      if (note.first == kInfoUnsupportedPlaceholderRendered) notices.push_back(note.second);
    }
    return notices;
  }
  std::vector<std::string> Traces() const {
    std::vector<std::string> traces;
    for (const auto& note : notes) {
      if (note.first == kInfoNotifyTSTrace) traces.push_back(note.second);
    }
    return traces;
  }

  PlayerSettings settings;
  MemoryWatchdog* memory = nullptr;
  bool cancelled = false;
  std::atomic<uint64_t> looks{0};  ///< how often somebody asked whether to end
  uint64_t cancelAfter = UINT64_MAX;
  bool completed = false;
  EngineError failure = {kStatusUnconfigured, ""};
  std::vector<unsigned> progress;
  std::vector<std::pair<StageWindowStatus, std::string>> notes;

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool requested_ = false;
};

/// An application in a folder of its own, played in time that the test makes: a position of its
/// frame rate at a time, and only those that the engine asks for.
class ApplicationTest : public ::testing::Test {
 protected:
  ApplicationTest() {
    char pattern[] = "/tmp/plexion-application-XXXXXX";
    top_ = mkdtemp(pattern);
    folder_ = top_ / "app";
    std::filesystem::create_directory(folder_);
    host_.settings.traceFlags = kTraceScript;
    host_.settings.gcHeapLimitMegabytes = 64;
  }
  ~ApplicationTest() override {
    engine_.reset();
    std::filesystem::remove_all(top_);
  }

  /// What plays movies and media; a test brings its own.
  virtual EngineSource& Engines() { return engines_; }

  /// What asks the network; a test brings its own.
  virtual IDataAccess* Access() { return nullptr; }

  void Write(const std::string& name, const std::string& text) {
    std::filesystem::create_directories((folder_ / name).parent_path());
    std::ofstream(folder_ / name, std::ios::binary) << text;
  }

  /// Loads a folder; `error_` says why when it cannot.
  bool Load() {
    ContentAddress content;
    content.path = folder_;
    content.name = "app";
    ApplicationClocks clocks = SystemClocks();
    // Twenty milliseconds of work whenever somebody looks: what is stuck is found out in no time.
    clocks.working = [this] { return workingTime_ += workPerLook_; };
    clocks.wall = [this] { return wall_; };
    engine_ = MakeApplicationEngine(host_, Engines(), clocks, watchFiles_, Access());
    const bool loaded = engine_->Load(content, facts_, error_);
    if (!loaded) engine_.reset();
    return loaded;
  }
  bool LoadDocument(const std::string& document) {
    Write("application.xml", document);
    return Load();
  }
  /// A small stage at 10 frames a second with a red rectangle "box", and a script.
  bool LoadScript(const std::string& script) {
    Write("main.lua", script);
    return LoadDocument(
        "<application width='64' height='36' rate='10' background='#000000'>\n"
        "<scene id='one'><rectangle id='box' x='8' y='8' width='16' height='8' fill='#ff0000'/>"
        "<text id='label' x='50' y='18' size='12' text='A' font='DejaVu Sans'/></scene>\n"
        "<scene id='two'><rectangle width='64' height='36' fill='#0000ff'/></scene>\n"
        "<script src='main.lua'/></application>");
  }

  /// Moves on to `position`, with a stop wherever the engine wants one.
  void RunTo(uint64_t position) {
    for (;;) {
      Visit(position_);
      if (result_.nextPosition > position) break;
      position_ = std::max(position_ + 1, result_.nextPosition);
    }
    position_ = position;
  }
  void Visit(uint64_t position) {
    FrameStep step;
    step.frame = step.position = position_ = position;
    step.playing = playing_;
    ++visits_;
    result_ = engine_->Advance(step);
    if (result_.changed) drawn_ = Draw(false);
  }
  DrawResult Draw(bool everything) {
    if (pixels_.size() != size_t{64} * 36) {
      pixels_.assign(size_t{64} * 36, 0x12345678);
      everything = true;
    }
    DrawTarget target;
    target.pixels = pixels_.data();
    target.pitchBytes = 64 * 4;
    target.dims = {64, 36};
    target.everything = everything;
    return engine_->Draw(target);
  }
  uint32_t At(uint32_t x, uint32_t y) const { return pixels_[size_t{y} * 64 + x]; }
  void Press(unsigned long code) {
    InputEvent event;
    event.kind = InputEvent::kKeyDown;
    event.code = code;
    engine_->OnInput(event);
    Visit(position_);
  }
  std::string Trace(size_t index) const {
    const auto traces = host_.Traces();
    return index < traces.size() ? traces[index] : "(none)";
  }

  std::filesystem::path top_;
  std::filesystem::path folder_;
  RecordingHost host_;
  InstalledEngines engines_;
  std::unique_ptr<Engine> engine_;
  ContentFacts facts_;
  EngineError error_;
  StepResult result_;
  DrawResult drawn_;
  std::vector<uint32_t> pixels_;
  uint64_t position_ = 0;
  bool playing_ = true;
  bool watchFiles_ = false;
  int visits_ = 0;
  int64_t workingTime_ = 0;
  int64_t workPerLook_ = 20000000;
  timespec wall_ = {1000000000, 250000000};
};

}  // namespace plexion_host::player::application

#endif  // TESTS_HOST_APPLICATION_APPLICATIONFIXTURE_H_
