#ifndef HOST_PLAYER_RENDER_OFFSCREENCONTENT_H_
#define HOST_PLAYER_RENDER_OFFSCREENCONTENT_H_

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "host/player/Engine.h"
#include "host/player/engines/EngineSource.h"

namespace plexion_host::player {

/// One content without a window: opened, stepped from frame to frame and drawn as fast as it goes.
///
/// Order    Open; then Draw for frames in rising order. Content with an end of its own may go back,
///          an application cannot: what its script did stays done.
/// Thread   one.
class OffscreenContent final : public EngineHost {
 public:
  OffscreenContent() = default;
  OffscreenContent(const OffscreenContent&) = delete;
  OffscreenContent& operator=(const OffscreenContent&) = delete;
  ~OffscreenContent() override;

  /// Returns  false with `error` when the content cannot be opened, is wrong, or paces itself by a
  ///          clock of its own (video and sound), so that it has no frames by number.
  bool Open(const std::string& content, const std::string& morvelVars, EngineError& error);

  const ContentFacts& Facts() const { return facts_; }
  /// A single picture that never changes.
  bool IsStill() const { return still_; }
  const std::string& Name() const { return address_.name; }

  /// Draws `frame` into `pixels`, rows of dims.width without padding, 0xAARRGGBB with premultiplied
  /// alpha, transparent where the content draws nothing. Pixels of the last call that come back
  /// untouched (`pixelsAreLast`) get only what changed, as a window's would.
  bool Draw(uint64_t frame, const qx::plexion::Dims& dims, std::vector<uint32_t>& pixels,
            bool pixelsAreLast, EngineError& error);

  /// What of the content is not used, see Engine::Findings.
  std::vector<std::string> Findings() { return engine_->Findings(); }
  /// What the content asked for and was not drawn, each once, in the order in which it was met.
  const std::vector<std::string>& NotDrawn() const { return notDrawn_; }

  // EngineHost.
  qx::plexion::MemoryWatchdog* Memory() override { return nullptr; }
  const PlayerSettings& Settings() override { return settings_; }
  bool Cancelled() override { return false; }
  void ReportProgress(unsigned) override {}
  void RequestFrame() override {}
  void Complete() override {}
  void Fail(const EngineError& error) override;
  void Notify(qx::plexion::StageWindowStatus event, const std::string& message) override;

 private:
  bool CheckKind(EngineError& error);

  ContentAddress address_;
  PlayerSettings settings_;
  InstalledEngines engines_;
  std::unique_ptr<Engine> engine_;
  ContentFacts facts_;
  bool still_ = false;
  bool stepped_ = false;
  uint64_t nextPosition_ = 0;  ///< of content without an end: first moment not visited yet
  std::vector<std::string> notDrawn_;
  std::set<std::string> told_;
  EngineError failure_;
  bool failed_ = false;
};

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_RENDER_OFFSCREENCONTENT_H_
