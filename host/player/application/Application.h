// One application, from its folder to its picture.
#ifndef HOST_PLAYER_APPLICATION_APPLICATION_H_
#define HOST_PLAYER_APPLICATION_APPLICATION_H_

#include <stdint.h>

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "host/player/Engine.h"
#include "host/player/application/document/Document.h"
#include "host/player/application/embedded/EmbeddedElements.h"
#include "host/player/application/files/BaseFolder.h"
#include "host/player/application/files/FileWatch.h"
#include "host/player/application/net/DeclaredData.h"
#include "host/player/application/paint/Painter.h"
#include "host/player/application/paint/Picture.h"
#include "host/player/application/paint/Placement.h"
#include "host/player/application/paint/letters/TextLayouts.h"
#include "host/player/application/script/ApplicationClocks.h"
#include "host/player/application/script/ScriptHost.h"
#include "host/player/application/stage/Animations.h"
#include "host/player/application/stage/Notices.h"
#include "host/player/application/stage/Stage.h"
#include "host/player/engines/EngineSource.h"

namespace plexion_host::player::application {

class Application;

/// Where an application begins that takes the place of an earlier one.
struct StartOptions {
  uint64_t position = 0;
  double frameRate = 0;  ///< 0: the document's
  /// Why the one before could not start; the same is not told again.
  std::string knownFailure;
  /// Whose place it takes: what a script had set there, and the scene, it takes over where the
  /// names are the same and the document says of them what it said before. Only during Load.
  const Application* before = nullptr;
};

/// An application as it was read from its folder, once: stage, script, players and painter.
///
/// Order    Load; when that succeeds the rest, as often as wanted.
/// Life     of a pass through its files: one that is read again is another application.
/// Thread   the player's.
class Application {
 public:
  /// `access` asks the network; null: the host's module does, when there is something to ask.
  Application(EngineHost& host, EngineSource& engines, const ApplicationClocks& clocks,
              IDataAccess* access = nullptr);
  Application(const Application&) = delete;
  Application& operator=(const Application&) = delete;

  /// Returns  false with `error` when it cannot be read, or its script fails and it has no scene for
  ///          that case; it is then of no use.
  bool Load(const ContentAddress& content, const StartOptions& options, EngineError& error);

  const Stage& GetStage() const { return stage_; }
  /// It could not start and shows the scene that its author has for that.
  bool IsFallback() const { return fallback_; }
  /// Why; empty when it plays.
  const std::string& Failure() const { return failure_; }

  /// Has `watch` tell of its document, scripts and pictures; `watched` are those that it tells of
  /// already.
  void WatchSources(FileWatch& watch, std::set<std::string>& watched) const;
  /// A file that it shows has changed, and is loaded once more. False: it is no such file.
  bool ReadAgain(const std::string& name);

  /// See Engine::Findings.
  std::vector<std::string> Findings() const;

  void OnInput(const InputEvent& event);
  /// A factor for all that is embedded, on top of what its elements say.
  void SetVolume(double factor) { embedded_.SetVolume(factor); }
  void SetProxy(const ProxySettings& proxy) { data_.SetProxy(proxy); }
  void SaveMemory();
  StepResult Advance(const FrameStep& step);
  /// `problem` is drawn on top, for its author; empty: there is none.
  DrawResult Draw(const DrawTarget& target, const std::string& problem);

 private:
  // Loading.
  bool OpenFolders(const ContentAddress& content, EngineError& error);
  bool ReadStage(std::vector<ScriptReference>& scripts, EngineError& error);
  void AddFonts();
  void MakeScriptHost();
  bool ShowFallback(const EngineError& error);
  void TakeOver(const Application& before);
  void LoadStaleResources();
  void LoadPicture(Element& element);

  // Playing.
  void RunScript(const FrameStep& step);
  void TraceCosts();
  void RunPlayed(const FrameStep& step);
  void TakePlayed(double now, bool playing);
  void DispatchInput(const InputEvent& event);
  uint64_t NextPosition(const FrameStep& step) const;
  DrawingHost ForDrawing();

  EngineHost& host_;
  const ApplicationClocks& clocks_;
  Notices notices_;
  Stage stage_;
  Animations animations_;
  TextLayouts texts_;
  std::string documentName_;
  std::string documentText_;
  BaseFolder documentFolder_;
  BaseFolder base_;
  BaseFolder extensions_;
  PartLibrary parts_;
  IDataAccess* const access_;
  DeclaredData data_;
  PictureCache pictures_;
  EmbeddedElements embedded_;
  Painter painter_;
  std::unique_ptr<ScriptHost> script_;
  std::vector<InputEvent> inputs_;
  std::vector<EmbeddedEvent> pending_;  ///< not told to the script yet
  StageFit fit_;
  double frameRate_ = 30;
  double now_ = 0;
  uint64_t nextFrame_ = 0;
  bool settled_ = true;        ///< nothing was left over for the next moment
  bool frameFollows_ = false;  ///< the next frame comes by itself
  bool started_ = false;
  bool fallback_ = false;
  std::string failure_;
  std::string knownFailure_;
  uint64_t drawnRevision_ = 0;
  uint64_t draws_ = 0;
  double nextTrace_ = 0;
};

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_APPLICATION_H_
