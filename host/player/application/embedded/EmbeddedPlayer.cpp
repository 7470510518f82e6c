// Plays one movie or media file inside of an application, as a player of its own would.
#include "host/player/application/embedded/EmbeddedPlayer.h"

#include <math.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <limits>
#include <system_error>
#include <utility>

#include "host/base/Check.h"
#include "host/player/content/ContentProbe.h"

namespace plexion_host::player::application {

namespace {

constexpr double kNanoseconds = 1e9;
constexpr double kNever = std::numeric_limits<double>::infinity();
constexpr size_t kHead = 4096;
/// Between two looks of the application.
constexpr size_t kMostNotices = 100;

/// A file whose contents are names of others, in any of the formats that the framework follows: it
/// would fetch them from wherever they are, past the application's folder.
bool IsPlaylist(const OpenFile& file) {
  char bytes[kHead];
  const ssize_t count = pread(file.Descriptor(), bytes, sizeof bytes, 0);
  std::string head(bytes, count > 0 ? static_cast<size_t>(count) : 0);
  for (char& c : head) c = static_cast<char>(c >= 'A' && c <= 'Z' ? c + 'a' - 'A' : c);
  const size_t begin = head.find_first_not_of("\xef\xbb\xbf \t\r\n");
  if (begin == std::string::npos) return false;
  for (const char* first : {"#extm3u", "[playlist]", "[reference]", "rtsptext", "v=0", "http://",
                            "https://", "rtsp://"}) {
    if (head.compare(begin, strlen(first), first) == 0) return true;
  }
  if (head[begin] != '<') return false;
  for (const char* tag : {"<mpd", "<smoothstreamingmedia", "<smil", "<asx", "<playlist", "<rss"}) {
    if (head.find(tag) != std::string::npos) return true;
  }
  return false;
}

}  // namespace

EmbeddedPlayer::~EmbeddedPlayer() {
  Cancel();
  loader_.Join();
  engine_.reset();
}

void EmbeddedPlayer::Open(Content content, double loops, double speed, const Variables& variables) {
  PLEXION_CHECK(content_.name.empty() && content.file.IsOpen() == content.address.empty(),
                "a player opens one file or stream in its life");
  content_ = std::move(content);
  // The window's settings, but for what the element says itself.
  settings_ = host_.Settings();
  settings_.loops = static_cast<uint64_t>(loops);
  settings_.loopsGiven = true;
  settings_.speed = speed;
  ForgetFit(settings_);
  for (const auto& variable : variables) {
    const auto same = std::find_if(settings_.variables.begin(), settings_.variables.end(),
                                   [&](const auto& each) { return each.first == variable.first; });
    if (same != settings_.variables.end()) {
      same->second = variable.second;
    } else {
      settings_.variables.push_back(variable);
    }
  }
  // Its time is the application's, which has no end to hurry to.
  settings_.noSpeedLimit = false;
  try {
    loader_ = NamedThread("PlexionLoad", [this] { Load(); });
  } catch (const std::system_error&) {
    // No thread to be had: late is better than not at all.
    Load();
  }
}

void EmbeddedPlayer::Load() {
  ContentAddress address;
  if (content_.file.IsOpen()) address.path = content_.file.Path();
  address.url = content_.address;
  address.name = content_.name;
  std::string error;
  if (!TryLoad(address, error) && error.empty()) error = "it cannot be opened";
  {
    const MutexLock lock(mutex_);
    failure_ = error;
    loaded_ = true;
  }
  loadedChanged_.NotifyAll();
  RequestFrame();
}

bool EmbeddedPlayer::TryLoad(const ContentAddress& address, std::string& error) {
  EngineError reason;
  ProbeResult probe;
  if (!ProbeContent(address, probe, reason)) {
    error = reason.message;
    return false;
  }
  // An application inside of another could go on like that without end.
  if (probe.kind == ContentKind::kApplication) {
    error = "it is an application; expected a movie or a media file";
    return false;
  }
  if (content_.file.IsOpen() && IsPlaylist(content_.file)) {
    error = "it is a list of other files or addresses; expected the movie or media file itself";
    return false;
  }
  std::unique_ptr<Engine> engine = engines_.OpenEngine(address, *this, reason);
  if (engine == nullptr || !engine->Load(address, facts_, reason)) {
    error = reason.message;
    return false;
  }
  if (facts_.stageDims.width == 0 || facts_.stageDims.height == 0) {
    error = "it has no size";
    return false;
  }
  // Only now: what failed to load is destroyed here, on the loading thread.
  engine_ = std::move(engine);
  return true;
}

EmbeddedPlayer::State EmbeddedPlayer::TakeLoaded() {
  if (state_ != State::kLoading) return state_;
  {
    const MutexLock lock(mutex_);
    if (!loaded_) return State::kLoading;
  }
  // All that it still does is to ask for a frame.
  loader_.Join();
  PLEXION_CHECK(!loader_.IsJoinable(), "the engine is the loading thread's while that runs");
  state_ = engine_ == nullptr ? State::kFailed : State::kReady;
  if (engine_ != nullptr) {
    pacer_ = EnginePacer(facts_, settings_);
    engine_->SetVolume(volume_);
  }
  return state_;
}

void EmbeddedPlayer::WaitUntilLoaded(std::chrono::milliseconds most) {
  MutexLock lock(mutex_);
  loadedChanged_.WaitFor(lock, most, [this]() REQUIRES(mutex_) { return loaded_; });
}

void EmbeddedPlayer::SetVolume(double volume) {
  if (volume == volume_) return;
  volume_ = volume;
  if (state_ == State::kReady) engine_->SetVolume(volume);
}

bool EmbeddedPlayer::Advance(double seconds, bool playing) {
  if (state_ != State::kReady) return false;
  const auto now = static_cast<EnginePacer::Time>(llround(seconds * kNanoseconds));
  if (playing != playing_) {
    playing_ = playing;
    engine_->SetPlaying(playing);
    playing ? pacer_.Start(now) : pacer_.Stop(now);
  }
  const bool requested = frameRequested_.exchange(false);
  if (completeRequested_.exchange(false)) ended_ = true;
  uint64_t due = ended_ ? pacer_.Position() : pacer_.DueAt(now);
  if (due == pacer_.EndPosition()) {
    --due;
    ended_ = true;
  }
  // Nothing to be seen before then, so the engine is not even asked.
  if (!pacer_.IsNew(due) && !requested) return false;
  const StepResult result = pacer_.Step(*engine_, due);
  if (ended_) pacer_.Finish();
  changed_ = changed_ || result.changed;
  return result.changed;
}

double EmbeddedPlayer::NextMoment() const {
  if (state_ != State::kReady || ended_) return kNever;
  const EnginePacer::Time deadline = pacer_.NextDeadline();
  return deadline == IQXKernel::kInfinite ? kNever : static_cast<double>(deadline) / kNanoseconds;
}

bool EmbeddedPlayer::TakeEnded() {
  if (!ended_ || endTaken_) return false;
  endTaken_ = true;
  return true;
}

std::string EmbeddedPlayer::Failure() {
  const MutexLock lock(mutex_);
  return failure_;
}

EmbeddedPixels EmbeddedPlayer::Render(uint32_t width, uint32_t height) {
  PLEXION_CHECK(width > 0 && height > 0, "there are pixels to draw");
  if (state_ != State::kReady) return {};
  const bool resized = pixelDims_.width != width || pixelDims_.height != height;
  const size_t bytes = size_t{width} * height * sizeof(uint32_t);
  if (resized && !pixels_.Resize(host_.Memory(), bytes)) {
    pixelDims_ = {0, 0};
    return {};
  }
  pixelDims_ = {width, height};
  if (resized || changed_) {
    DrawTarget target;
    target.pixels = pixels_.As<uint32_t>();
    target.pitchBytes = width * static_cast<uint32_t>(sizeof(uint32_t));
    target.dims = pixelDims_;
    // What lies behind the element shines through.
    target.bgAlpha = 0;
    target.everything = resized;
    const DrawResult result = engine_->Draw(target);
    if (!result.failure.empty()) AddNotice(result.failure);
    changed_ = false;
  }
  return {pixels_.As<uint32_t>(), width, height};
}

void EmbeddedPlayer::RequestFrame() {
  frameRequested_ = true;
  host_.RequestFrame();
}

void EmbeddedPlayer::Complete() {
  completeRequested_ = true;
  RequestFrame();
}

void EmbeddedPlayer::Fail(const EngineError& error) {
  {
    const MutexLock lock(mutex_);
    failure_ = error.message;
  }
  Complete();
}

void EmbeddedPlayer::Notify(qx::plexion::StageWindowStatus event, const std::string& message) {
  if (event != qx::plexion::kInfoUnsupportedPlaceholderRendered) {
    host_.Notify(event, message);
    return;
  }
  // Told by the application, with the element's name, and once: it may be opened many times.
  AddNotice(message);
  RequestFrame();
}

void EmbeddedPlayer::AddNotice(const std::string& text) {
  const MutexLock lock(mutex_);
  if (notices_.size() < kMostNotices) notices_.push_back(text);
}

std::vector<std::string> EmbeddedPlayer::TakeNotices() {
  const MutexLock lock(mutex_);
  return std::exchange(notices_, {});
}

}  // namespace plexion_host::player::application
