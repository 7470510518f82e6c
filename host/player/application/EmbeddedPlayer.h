#ifndef HOST_PLAYER_APPLICATION_EMBEDDEDPLAYER_H_
#define HOST_PLAYER_APPLICATION_EMBEDDEDPLAYER_H_

#include <atomic>
#include <memory>
#include <mutex>
#include <string>

#include "host/player/Engine.h"
#include "host/player/EngineSource.h"
#include "host/player/Timeline.h"
#include "host/player/WatchedMemory.h"
#include "host/player/application/BaseFolder.h"
#include "host/player/application/Element.h"
#include "host/player/application/Painter.h"

namespace plexion_host::player::application {

/// Plays a movie or a medium inside of an application: the engine for it, and what a player would
/// do for that engine. Its time is the application's.
///
/// Thread   the application's, but for what an engine's own threads may call of EngineHost.
class EmbeddedPlayer final : public Resource, private EngineHost {
 public:
  EmbeddedPlayer(EngineHost& host, EngineSource& engines) : host_(host), engines_(engines) {}
  ~EmbeddedPlayer() override;

  /// Opens what `file` is. `loops` 0 plays without end.
  /// Returns  false with `error` when it cannot be played, or is an application itself.
  bool Load(OpenFile file, const std::string& name, double loops, double speed, std::string& error);

  qx::plexion::Dims AuthoredDims() const { return facts_.stageDims; }

  /// Moves on to `seconds` since it began to play. Returns  true when its picture has changed.
  bool Advance(double seconds, bool playing);
  /// Seconds at which the picture may change next; infinity when that is not known.
  double NextMoment() const;
  /// True once, when it has come to its end.
  bool TakeEnded();
  /// Why it ended; empty when all went well.
  std::string Failure();
  /// The picture of the last Advance, in a size of the caller's.
  PlayedPixels Render(uint32_t width, uint32_t height);

 private:
  // EngineHost, for the engine inside.
  qx::plexion::MemoryWatchdog* Memory() override { return host_.Memory(); }
  const PlayerSettings& Settings() override { return settings_; }
  bool Cancelled() override { return host_.Cancelled(); }
  void ReportProgress(unsigned) override {}
  void RequestFrame() override;
  void Complete() override;
  void Fail(const EngineError& error) override;
  void Notify(qx::plexion::StageWindowStatus event, const std::string& message) override;

  EngineHost& host_;
  EngineSource& engines_;
  OpenFile file_;
  PlayerSettings settings_;
  ContentFacts facts_;
  Timeline timeline_;
  std::unique_ptr<Engine> engine_;
  WatchedBuffer pixels_;
  qx::plexion::Dims pixelDims_ = {0, 0};
  bool changed_ = true;
  bool playing_ = false;
  bool ended_ = false;
  bool endTaken_ = false;
  uint64_t position_ = 0;
  uint64_t nextPosition_ = 0;
  std::atomic<bool> frameRequested_{false};
  std::atomic<bool> completeRequested_{false};
  std::mutex mutex_;
  std::string failure_;  ///< under mutex_
};

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_EMBEDDEDPLAYER_H_
