// The engine for applications: holds the one that plays, and starts one again that could not.
#include "host/player/application/ApplicationEngine.h"

#include <math.h>

#include <algorithm>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "host/base/Check.h"
#include "host/player/application/Application.h"

namespace plexion_host::player::application {

namespace {

/// Between two attempts to start an application that shows its fallback scene.
constexpr double kRetrySeconds = 30;
constexpr double kLongestRetrySeconds = 600;

class ApplicationEngine final : public Engine {
 public:
  ApplicationEngine(EngineHost& host, EngineSource& engines, ApplicationClocks clocks,
                    bool watchFiles, IDataAccess* access)
      : host_(host),
        engines_(engines),
        clocks_(std::move(clocks)),
        watchFiles_(watchFiles),
        access_(access) {}

  bool Load(const ContentAddress& content, ContentFacts& facts, EngineError& error) override {
    content_ = content;
    application_ = std::make_unique<Application>(host_, engines_, clocks_, access_);
    if (!application_->Load(content, StartOptions(), error)) {
      application_.reset();
      return false;
    }
    WatchSources();
    const Stage& stage = application_->GetStage();
    facts.stageDims = {stage.width, stage.height};
    facts.framesPerSecond = frameRate_ = stage.framesPerSecond;
    facts.frameCount = 0;
    return true;
  }

  std::vector<std::string> Findings() override { return application_->Findings(); }

  void OnInput(const InputEvent& event) override { application_->OnInput(event); }

  void SetVolume(double factor) override {
    volume_ = factor;
    if (application_ != nullptr) application_->SetVolume(factor);
  }

  void OnProxy(const ProxySettings& proxy) override {
    proxy_ = proxy;
    if (application_ != nullptr) application_->SetProxy(proxy);
  }

  StepResult Advance(const FrameStep& step) override {
    PLEXION_CHECK(application_ != nullptr, "an application is loaded before it plays");
    if (watch_ != nullptr) TakeChanges(step.position);
    if (application_->IsFallback() && step.position >= retryAt_) Retry(step.position);
    StepResult result = application_->Advance(step);
    if (application_->IsFallback()) {
      if (retryAt_ <= step.position || retryAt_ == kNoFrame) {
        retryAt_ = step.position + static_cast<uint64_t>(ceil(retrySeconds_ * frameRate_));
        retrySeconds_ = std::min(retrySeconds_ * 2, kLongestRetrySeconds);
      }
      result.nextPosition = std::min(result.nextPosition, retryAt_);
    }
    result.changed = result.changed || isNew_;
    return result;
  }

  DrawResult Draw(const DrawTarget& target) override {
    DrawTarget wanted = target;
    // The pixels are those of the application that was there before.
    wanted.everything = target.everything || std::exchange(isNew_, false);
    return application_->Draw(wanted, problem_);
  }

  void SaveMemory() override {
    savesMemory_ = true;
    application_->SaveMemory();
  }

 private:
  void WatchSources() {
    if (!watchFiles_) return;
    if (watch_ == nullptr) watch_ = std::make_unique<FileWatch>([this] { host_.RequestFrame(); });
    application_->WatchSources(*watch_, watched_);
  }

  void TakeChanges(uint64_t position) {
    bool readAgain = false;
    for (const std::string& name : watch_->TakeChanged()) {
      if (!application_->ReadAgain(name)) readAgain = true;
    }
    if (readAgain) ReadAgain(position);
    // Pictures that a script has named meanwhile.
    WatchSources();
  }

  /// The files are somebody's who is at work on them: what is wrong is told, and the last good
  /// application plays on.
  void ReadAgain(uint64_t position) {
    auto next = std::make_unique<Application>(host_, engines_, clocks_, access_);
    EngineError error;
    StartOptions options = {position, frameRate_, "", application_.get()};
    const bool loaded = next->Load(content_, options, error);
    const std::string problem = !loaded ? error.message : next->Failure();
    isNew_ = true;
    if (problem.empty()) {
      Replace(std::move(next));
      problem_.clear();
      return;
    }
    if (problem != problem_) {
      host_.Notify(qx::plexion::kInfoUnsupportedPlaceholderRendered,
                   problem + "; what was read before plays on");
    }
    problem_ = problem;
    // Where the mistake is may be a file that was not there before.
    next->WatchSources(*watch_, watched_);
  }

  void Retry(uint64_t position) {
    auto next = std::make_unique<Application>(host_, engines_, clocks_, access_);
    EngineError error;
    // What shows its fallback scene once more is no news: the picture stays.
    if (!next->Load(content_, {position, frameRate_, application_->Failure(), nullptr}, error))
      return;
    if (next->IsFallback()) return;
    Replace(std::move(next));
    isNew_ = true;
  }

  /// What was told meanwhile holds for the next one as well.
  void Replace(std::unique_ptr<Application> next) {
    next->SetVolume(volume_);
    if (proxy_.has_value()) next->SetProxy(*proxy_);
    if (savesMemory_) next->SaveMemory();
    application_ = std::move(next);
  }

  EngineHost& host_;
  EngineSource& engines_;
  const ApplicationClocks clocks_;
  const bool watchFiles_;
  IDataAccess* const access_;
  std::optional<ProxySettings> proxy_;  ///< once it was told
  std::set<std::string> watched_;
  std::string problem_;  ///< why what its files now hold does not play
  ContentAddress content_;
  std::unique_ptr<Application> application_;
  double frameRate_ = 30;
  double volume_ = 1;
  uint64_t retryAt_ = kNoFrame;  ///< position of the next attempt
  double retrySeconds_ = kRetrySeconds;
  std::unique_ptr<FileWatch> watch_;
  bool savesMemory_ = false;
  bool isNew_ = false;  ///< nothing of it was drawn yet
};

}  // namespace

std::unique_ptr<Engine> MakeApplicationEngine(EngineHost& host, EngineSource& engines,
                                              ApplicationClocks clocks, bool watchFiles,
                                              IDataAccess* access) {
  return std::make_unique<ApplicationEngine>(host, engines, std::move(clocks), watchFiles, access);
}

}  // namespace plexion_host::player::application
