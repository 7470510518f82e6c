// An engine in a process of its own, behind the interface of all engines.

#ifndef HOST_PLAYER_REMOTE_REMOTEENGINE_H_
#define HOST_PLAYER_REMOTE_REMOTEENGINE_H_

#include <atomic>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/base/ModuleHandle.h"
#include "host/base/Mutex.h"
#include "host/contracts/IHostPlanes.h"
#include "host/player/Engine.h"
#include "host/player/remote/ContentProcesses.h"
#include "host/player/remote/MemoryGrants.h"

namespace plexion_host::player::remote {

/// How long an answer may take. Content that gives none is ended, and its window with it.
struct Patience {
  /// Of a process that sleeps or stands still instead of answering.
  std::chrono::milliseconds still{2000};
  /// Of one that works on, in processor time: a little more than a script may work for one moment, so
  /// that the script's own limit, which names the script, comes first.
  std::chrono::milliseconds working{3000};
  /// Of one that would work but gets no processor, on the wall.
  std::chrono::milliseconds most{15000};
  /// Of a load that shows no sign of life. One that does may take as long as a network takes.
  std::chrono::milliseconds loading{10000};
};

/// Plays one content in a process. What it is handed goes there as records, what comes back is checked,
/// and the process draws into the render plane's own memory; where that cannot be handed out, into
/// memory of ours, which is copied.
///
/// Thread   as every engine: the player's. What the process says by itself comes on the thread of
///          ContentProcesses, or on the player's with the next answer, and goes on to EngineHost, which
///          takes it from any.
class RemoteEngine final : public Engine, private ProcessListener {
 public:
  /// Both outlive the engine.
  RemoteEngine(ContentProcesses& processes, EngineHost& host, const ContentOrder& order,
               const Patience& patience = {});
  RemoteEngine(const RemoteEngine&) = delete;
  RemoteEngine& operator=(const RemoteEngine&) = delete;
  ~RemoteEngine() override;

  bool Load(const ContentAddress& content, ContentFacts& facts, EngineError& error) override;
  void SetPlaying(bool playing) override;
  void OnInput(const InputEvent& event) override;
  void OnProxy(const ProxySettings& proxy) override;
  void SetVolume(double factor) override;
  bool Seek(double seconds, bool relative, std::string& fault) override;
  void SaveMemory() override;
  std::optional<uint64_t> BytesElsewhere() const override;
  StepResult Advance(const FrameStep& step) override;
  bool WorkAhead(const FrameStep& next) override;
  DrawResult Draw(const DrawTarget& target) override;

 private:
  using Clock = std::chrono::steady_clock;

  void OnEvent(const Event& event) override;
  void OnMemory(const ProcessMemory& memory) override;
  void OnEnd(const EngineError& error) override;

  bool SendLoad(const ContentAddress& content);
  CallEnd CallLoad(Kind kind, Record& answer);
  /// Opens libraries and gives up rights, and looks at what that took. As CallLoad.
  CallEnd CallProtect(Record& answer, std::string& fault);
  void ReportProgress();
  /// Returns  false when there is no answer to be used; the window has then been told why.
  bool Call(const Record& order, Record& answer);
  bool Await(Record& answer);
  StepResult TakeAhead();
  /// Whether the process may have more time for what it was asked at `asked`, by then `worked`.
  bool MayGoOn(Clock::time_point asked, int64_t worked) const;
  /// `patience`: how long an answer was waited for.
  EngineError ErrorOf(CallEnd end, const std::string& fault, std::chrono::milliseconds patience);
  EngineError TakeEndOfProcess();
  /// The first reason ends the window. Also when it came while the content was loading.
  void GiveUp(const EngineError& error);
  bool IsGone();
  void SendOrGiveUp(bool sent);

  bool ShareMemory(const DrawTarget& target);
  bool MakeOwnMemory(const DrawTarget& target, uint64_t bytes);
  void SetPlane(const DrawTarget& target, uint64_t bytes);
  void CopyOwn(const DrawTarget& target, const qx::plexion::Rect& dirty) const;
  void FreeOwnMemory();

  ContentProcesses& processes_;
  EngineHost& host_;
  const ContentOrder order_;
  const Patience patience_;
  TakenProcess taken_;
  MemoryGrants grants_;

  ModuleHandle<IHostPlanes> planes_;
  bool planesAsked_ = false;
  uint64_t sharedId_ = 0;  ///< of the plane's memory that the process has; 0: it has ours, or none
  PlaneMemory plane_;
  uint32_t* own_ = nullptr;  ///< memory of ours that the process draws into
  uint64_t ownBytes_ = 0;

  /// Whether the next Advance can be left to the Draw that will follow it.
  bool IsSteady(const FrameStep& step) const;
  /// StepResult's next position of content whose picture changes with every frame.
  uint64_t NextOf(const FrameStep& step) const { return selfPaced_ ? kNoFrame : step.position + 1; }

  bool selfPaced_ = false;
  /// Moved to by the next Draw: video, and a movie that moves with every frame, take one order for each
  /// frame, not two.
  std::optional<FrameStep> pending_;
  unsigned steadyFrames_ = 0;  ///< in a row, each followed by another picture

  /// Ordered before it is due, and drawn into the memory that the process has.
  std::optional<FrameStep> ahead_;
  /// What came of it, from the Advance to that moment until its Draw.
  std::optional<DrawResult> drawnAhead_;
  uint8_t bgAlpha_ = 255;     ///< of the last Draw
  bool drawWhole_ = false;    ///< the plane has what nobody was told of
  uint64_t planesGiven_ = 0;  ///< memories that the process was given so far

  /// Of the largest plane that the process was given; it may have one mapped until it reads of the next.
  std::atomic<uint64_t> planeBytes_{0};

  static constexpr uint64_t kNotTaken = UINT64_MAX;
  uint64_t memoryBefore_ =
      kNotTaken;  ///< the process's, before it took content; of the listener's calls

  Mutex mutex_;
  Condition changed_;
  bool loaded_ GUARDED_BY(mutex_) = false;  ///< from now on ends are told to the host
  bool gone_ GUARDED_BY(mutex_) = false;
  bool ended_ GUARDED_BY(mutex_) = false;  ///< OnEnd has come
  EngineError end_ GUARDED_BY(mutex_);
  std::vector<unsigned> percents_
      GUARDED_BY(mutex_);                   ///< of the load, each more than the one before
  size_t reported_ GUARDED_BY(mutex_) = 0;  ///< of these
};

}  // namespace plexion_host::player::remote

#endif  // HOST_PLAYER_REMOTE_REMOTEENGINE_H_
