// One movie or media file inside of an application.
#ifndef HOST_PLAYER_APPLICATION_EMBEDDED_EMBEDDEDPLAYER_H_
#define HOST_PLAYER_APPLICATION_EMBEDDED_EMBEDDEDPLAYER_H_

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "host/base/Mutex.h"
#include "host/base/NamedThread.h"
#include "host/player/Engine.h"
#include "host/player/EnginePacer.h"
#include "host/player/WatchedMemory.h"
#include "host/player/application/files/BaseFolder.h"
#include "host/player/application/paint/Painter.h"
#include "host/player/application/stage/Element.h"
#include "host/player/engines/EngineSource.h"

namespace plexion_host::player::application {

/// Plays a movie or a media file inside of an application: the engine for it, and what a player would
/// do for that engine. Its time is the application's.
///
/// Order    Open; TakeLoaded until it no longer says kLoading; then the rest, as often as wanted.
/// Thread   the application's. Opening takes its time, so it is done on a thread of its own, which
///          has the engine for itself until TakeLoaded has seen the end of it.
class EmbeddedPlayer final : public Resource, private EngineHost {
 public:
  enum class State { kLoading, kReady, kFailed };

  EmbeddedPlayer(EngineHost& host, EngineSource& engines) : host_(host), engines_(engines) {}
  /// Waits for the loading thread, which has been told to give up.
  ~EmbeddedPlayer() override;

  using Variables = std::vector<std::pair<std::string, std::string>>;

  /// What is to be played: an open file, or the address of a stream.
  struct Content {
    OpenFile file;
    std::string address;
    std::string name;
  };

  /// Begins to open it; the host's RequestFrame tells when that is over. `loops` 0 plays without end.
  /// `variables` are the content's, on top of the window's.
  void Open(Content content, double loops, double speed, const Variables& variables);
  /// kFailed when it cannot be played, or is an application itself; Failure then says why.
  State TakeLoaded();
  /// Returns early when it is loaded, or cannot be.
  void WaitUntilLoaded(std::chrono::milliseconds most);
  /// What is still being opened is not wanted any more. Does not wait.
  void Cancel() { cancelled_ = true; }

  qx::plexion::Dims AuthoredDims() const { return facts_.stageDims; }

  /// A factor for its sound.
  void SetVolume(double volume);
  /// Once it is ready: see Engine::SaveMemory.
  void SaveMemory() { engine_->SaveMemory(); }
  /// Moves on to `seconds` of the application. Returns  true when its picture has changed.
  bool Advance(double seconds, bool playing);
  /// Seconds at which the picture may change next; infinity when that is not known.
  double NextMoment() const;
  /// True once, when it has come to its end.
  bool TakeEnded();
  /// Why it failed or ended; empty when all went well.
  std::string Failure();
  /// What of it could not be drawn, since the last call.
  std::vector<std::string> TakeNotices();
  /// The picture of the last Advance, in a size of the caller's.
  EmbeddedPixels Render(uint32_t width, uint32_t height);
  size_t PixelBytes() const { return pixels_.Size(); }

 private:
  void Load();
  void AddNotice(const std::string& text);
  bool TryLoad(const ContentAddress& address, std::string& error);

  // EngineHost, for the engine inside.
  qx::plexion::MemoryWatchdog* Memory() override { return host_.Memory(); }
  const PlayerSettings& Settings() override { return settings_; }
  bool Cancelled() override { return cancelled_ || host_.Cancelled(); }
  void ReportProgress(unsigned) override {}
  void RequestFrame() override;
  void Complete() override;
  void Fail(const EngineError& error) override;
  void Notify(qx::plexion::StageWindowStatus event, const std::string& message) override;

  EngineHost& host_;
  EngineSource& engines_;
  Content content_;
  PlayerSettings settings_;
  NamedThread loader_;
  State state_ = State::kLoading;

  // The loading thread's while it runs.
  ContentFacts facts_;
  std::unique_ptr<Engine> engine_;

  EnginePacer pacer_;
  WatchedBuffer pixels_;
  qx::plexion::Dims pixelDims_ = {0, 0};
  double volume_ = 1;
  bool changed_ = true;
  bool playing_ = false;
  bool ended_ = false;
  bool endTaken_ = false;

  std::atomic<bool> cancelled_{false};
  std::atomic<bool> frameRequested_{false};
  std::atomic<bool> completeRequested_{false};
  Mutex mutex_;
  Condition loadedChanged_;
  bool loaded_ GUARDED_BY(mutex_) = false;
  std::string failure_ GUARDED_BY(mutex_);
  std::vector<std::string> notices_ GUARDED_BY(mutex_);
};

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_EMBEDDED_EMBEDDEDPLAYER_H_
