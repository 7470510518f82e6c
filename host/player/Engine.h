#ifndef HOST_PLAYER_ENGINE_H_
#define HOST_PLAYER_ENGINE_H_

#include <stdint.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/player/ContentAddress.h"
#include "host/player/PlayerSettings.h"
#include "qx/core/IQXKernel.h"
#include "qx/core/IQXModule.h"
#include "qx/plexion/Geometry.h"
#include "qx/plexion/InputTypes.h"
#include "qx/plexion/MemoryWatchdog.h"
#include "qx/plexion/StageWindowStatus.h"

/// What decodes and draws one kind of content. A PlayerInstance opens an engine by what the content
/// holds and owns it; everything about threads, pacing, statuses and planes is the instance's.
///
/// Order    Load; then, as often as wanted, SetPlaying, OnInput, Advance and Draw; the destructor.
/// Thread   every operation runs on the player's thread, one at a time. Inside of an application
///          the engine is made, and its Load runs, on another thread before that. An engine with
///          threads of its own ends them in its destructor; they reach the player through
///          EngineHost alone.
/// Window   an engine never calls the window, with one exception: its memory comes from
///          EngineHost::Memory, and an allocation that passes the window's limit ends the window.
///          The engine then fails the operation at hand; the instance knows the true reason.

namespace plexion_host::player {

/// Why content ended, for the status and the message beside it. The instance puts the content's
/// name in front of the message.
struct EngineError {
  qx::plexion::StageWindowStatus status = qx::plexion::kErrorFatalPlaybackError;
  std::string message;
};

/// What Load finds out.
struct ContentFacts {
  qx::plexion::Dims stageDims = {0, 0};  ///< as authored; never 0 after a successful Load
  /// Frames a second of a clocked engine, which the instance paces. 0: self-paced, the engine asks
  /// for each frame with EngineHost::RequestFrame and ends with EngineHost::Complete; it then
  /// honours PlayerSettings::loops and speed itself.
  double framesPerSecond = 0;
  /// Frames of one pass of a clocked engine; 0: no end of its own.
  uint64_t frameCount = 0;
};

/// One moment of clocked content.
struct FrameStep {
  uint64_t frame = 0;     ///< within the pass, 0 .. frameCount - 1
  uint64_t pass = 0;      ///< 0 for the first one
  uint64_t position = 0;  ///< frames since the start, over all passes
  bool playing = false;   ///< false before Play and while paused
};

constexpr uint64_t kNoFrame = UINT64_MAX;

struct StepResult {
  /// The picture differs from the one that the last Draw left behind.
  bool changed = false;
  /// First position at which the picture may change by itself; positions before it are not
  /// visited, so that content which stands still costs nothing. kNoFrame: not before an input or
  /// RequestFrame.
  uint64_t nextPosition = 0;
};

/// The render plane's pixels while it is locked.
struct DrawTarget {
  uint32_t* pixels = nullptr;  ///< 0xAARRGGBB, alpha premultiplied
  uint32_t pitchBytes = 0;
  qx::plexion::Dims dims = {0, 0};
  uint8_t bgAlpha = 255;    ///< alpha of the black that lies under the content
  bool everything = false;  ///< the plane's pixels are not those of the last Draw
};

struct DrawResult {
  bool drawn = false;  ///< false: the pixels already show the moment, nothing was touched
  qx::plexion::Rect dirty = {0, 0, 0, 0};
  /// Not empty: the picture could not be drawn. The content goes on; observers are told.
  std::string failure;
};

/// Input, and what else happens to the window, in the order in which it came.
struct InputEvent {
  enum Kind {
    kKeyDown,
    kKeyUp,
    kMouseButtonDown,
    kMouseButtonUp,
    kMouseMove,
    kScroll,
    kEventCode,
    kActivated,
    kDeactivated,
    kStageRect,
  };
  Kind kind = kKeyDown;
  unsigned long code = 0;  ///< key or event code, the host's
  qx::plexion::MouseButton button = qx::plexion::kMouseButtonLeft;
  qx::plexion::ScrollWheelDirection direction = qx::plexion::kScrollWheelUp;
  uint16_t x = 0;  ///< render-plane pixels
  uint16_t y = 0;
  uint16_t delta = 0;
  qx::plexion::Rect stageRect = {0, 0, 0, 0};
};

struct ProxySettings {
  std::string host;
  unsigned port = 0;
  std::string user;
  std::string password;
};

/// The player, as an engine sees it. Outlives the engine.
class EngineHost {
 public:
  virtual ~EngineHost() = default;

  /// Null when the window has no watchdog; host/player/WatchedMemory.h copes with both.
  virtual qx::plexion::MemoryWatchdog* Memory() = 0;
  virtual const PlayerSettings& Settings() = 0;

  /// True once the content is to end. A Load that takes long asks now and then, at least every
  /// 50 ms, and gives up. Thread: any.
  virtual bool Cancelled() = 0;
  /// 0 to 100, never less than before. Thread: the player's, inside Load.
  virtual void ReportProgress(unsigned percent) = 0;

  /// Something new is to be seen: Advance and Draw soon. Thread: any.
  virtual void RequestFrame() = 0;
  /// The content has come to its end. Thread: any.
  virtual void Complete() = 0;
  /// The content cannot go on. Thread: any.
  virtual void Fail(const EngineError& error) = 0;
  /// An event for the observers, raised after the engine's operation at hand; its kind is
  /// kInfoNotifyTSTrace or kInfoUnsupportedPlaceholderRendered. Thread: any.
  virtual void Notify(qx::plexion::StageWindowStatus event, const std::string& message) = 0;
};

class Engine {
 public:
  virtual ~Engine() = default;

  /// Opens the content and gets the first frame ready to be drawn.
  /// Returns  false with `error` filled when that is not possible or the host cancelled.
  virtual bool Load(const ContentAddress& content, ContentFacts& facts, EngineError& error) = 0;

  /// Play begins, or resumes, or pauses. Advance and Draw also come while not playing.
  virtual void SetPlaying(bool /*playing*/) {}

  virtual void OnInput(const InputEvent& /*event*/) {}
  virtual void OnProxy(const ProxySettings& /*proxy*/) {}
  /// A factor from 0 to 1 for the sound, on top of the settings'. 1 until told.
  virtual void SetVolume(double /*factor*/) {}
  /// Of a self-paced engine: goes to a moment, in seconds from the content's beginning or, `relative`,
  /// from where it is. Returns  false with `fault` when it cannot.
  virtual bool Seek(double /*seconds*/, bool /*relative*/, std::string& fault) {
    fault = "it has no positions to go to";
    return false;
  }

  /// Memory is scarce: what is kept only to be faster goes, and less of it is kept from now on. May come
  /// again. Nothing that is seen changes.
  virtual void SaveMemory() {}
  /// Bytes that the content has from EngineHost::Memory, where these are not counted by the window's
  /// watchdog itself.
  virtual std::optional<uint64_t> BytesElsewhere() const { return std::nullopt; }

  /// What an author should know of a content that plays: files that nobody names, scenes that are
  /// never shown. After Load, for `plexion check`; may take its time.
  virtual std::vector<std::string> Findings() { return {}; }

  /// Moves on to a moment. Clocked engines are called at the pace of their frame rate (moments that
  /// are too late are left out) and all engines after an input or RequestFrame. No plane is locked,
  /// so this may take its time.
  virtual StepResult Advance(const FrameStep& step) = 0;

  /// The picture of the last Draw has been taken out of the plane, and `next` is the moment that comes
  /// after it. An engine that does its work elsewhere may begin with it now, and draw it into the same
  /// plane.
  /// Returns  whether it does. The next operation is then Advance to that moment, with Draw after it as
  ///          always, or the destructor.
  virtual bool WorkAhead(const FrameStep& /*next*/) { return false; }

  /// Draws the moment of the last Advance. The window's plane is locked meanwhile: no waiting here.
  virtual DrawResult Draw(const DrawTarget& target) = 0;
};

/// An engine in a library of its own, found by module name when content asks for it. The library
/// exports the three entry points of a module, see host/contracts/HostModule.h.
class IEngineModule : public IQXModule {
 public:
  /// Thread: any.
  virtual std::unique_ptr<Engine> CreateEngine(EngineHost& host) = 0;

  /// Content of this engine will probably be loaded soon: libraries that take long can be opened in
  /// the meantime. `format` is what the content's first bytes say it is, see ProbeResult. Nothing
  /// depends on it being called. Thread: any.
  virtual void Prepare(const std::string& /*format*/) {}

  /// The same on the calling thread, for a process that then gives up rights: when this returns, the
  /// engine has all that it could not open later, and no thread at work. Thread: any.
  virtual void OpenLibraries(const std::string& /*format*/) {}
};

/// Module names of the engines that live in libraries of their own.
constexpr char kMovieEngineModule[] = "IMovieEngine";
constexpr char kPictureEngineModule[] = "IPictureEngine";
constexpr char kMediaEngineModule[] = "IMediaEngine";
constexpr char kApplicationEngineModule[] = "IApplicationEngine";

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_ENGINE_H_
