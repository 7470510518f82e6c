// The script of an application with all that it can call, and what calls it.
#ifndef HOST_PLAYER_APPLICATION_SCRIPT_SCRIPTHOST_H_
#define HOST_PLAYER_APPLICATION_SCRIPT_SCRIPTHOST_H_

#include <stdint.h>
#include <time.h>

#include <functional>
#include <set>
#include <string>
#include <vector>

#include "host/player/Engine.h"
#include "host/player/application/document/Document.h"
#include "host/player/application/embedded/EmbeddedElements.h"
#include "host/player/application/files/BaseFolder.h"
#include "host/player/application/net/DeclaredData.h"
#include "host/player/application/paint/letters/TextLayouts.h"
#include "host/player/application/script/AnimationCallbacks.h"
#include "host/player/application/script/ElementObjects.h"
#include "host/player/application/script/EventHandlers.h"
#include "host/player/application/script/FileCallbacks.h"
#include "host/player/application/script/HandlerCalls.h"
#include "host/player/application/script/ScriptErrors.h"
#include "host/player/application/script/Timers.h"
#include "host/player/application/script/sandbox/Script.h"
#include "host/player/application/stage/Animations.h"
#include "host/player/application/stage/Notices.h"
#include "host/player/application/stage/Stage.h"
#include "host/player/application/stage/TimeZones.h"

namespace plexion_host::player::application {

/// What an application is made of besides its script. All of it outlives the script host.
struct ScriptContext {
  Stage& stage;
  Animations& animations;
  TextLayouts& texts;
  const BaseFolder& base;
  const BaseFolder& extensions;  ///< not open when there are none
  DeclaredData& data;
  EngineHost& host;
  Notices& notices;
  /// The time on the wall.
  std::function<timespec()> wallClock;
};

/// Runs an application's scripts and tells them what happens; the functions that they leave behind
/// are kept by subject: event handlers, timers, and callbacks of files and animations.
///
/// Scripts that fail while they are run for the first time leave an application that never began; what
/// fails later is told, and everything goes on. Time is the application's own: seconds of play.
class ScriptHost {
 public:
  ScriptHost(ScriptContext context, ScriptLimits limits);
  ScriptHost(const ScriptHost&) = delete;
  ScriptHost& operator=(const ScriptHost&) = delete;

  /// Runs the scripts of the document, which register their handlers.
  bool Run(const std::vector<ScriptReference>& scripts, const std::string& documentName,
           EngineError& error);

  /// A moment of the application begins.
  void BeginMoment(double now);

  // What happens, for the script. Errors are told and kept for DispatchErrors.
  /// Returns  false when a handler failed.
  bool Dispatch(const std::string& event);
  void DispatchFrame();
  void DispatchKey(const std::string& event, unsigned long code);
  void DispatchPointer(const char* action, double x, double y, int button);
  void DispatchScroll(const char* direction, unsigned delta);
  void DispatchEventCode(unsigned long code);
  /// An element that has been removed meanwhile is nil.
  void DispatchEmbedded(const EmbeddedEvent& event);
  /// Takes what has come of declared data.
  void TakeData();
  /// What has failed since the last call; while the script rests it is kept.
  void DispatchErrors();
  bool HasErrors() const { return !errors_.IsEmpty(); }
  HandlerCalls& Calls() { return calls_; }

  EventHandlers& Handlers() { return handlers_; }
  Timers& GetTimers() { return timers_; }
  FileCallbacks& Files() { return files_; }
  AnimationCallbacks& AnimationEnds() { return animationEnds_; }
  const ElementObjects& Elements() const { return elements_; }

  // For the libraries that the script calls.
  static ScriptHost& Of(lua_State* state);
  const ScriptContext& Context() const { return context_; }
  double Now() const { return now_; }
  TimeZones& Zones() { return zones_; }
  /// Files of the application that were run as scripts.
  const std::set<std::string>& ScriptFiles() const { return scriptFiles_; }
  void AddScriptFile(const std::string& name) { scriptFiles_.insert(name); }
  /// The number of a trace within its moment, from 1.
  unsigned CountTrace() { return ++traces_; }

 private:
  const ScriptContext context_;
  Script script_;
  ElementObjects elements_;
  ScriptErrors errors_;
  HandlerCalls calls_;
  EventHandlers handlers_;
  Timers timers_;
  FileCallbacks files_;
  AnimationCallbacks animationEnds_;
  TimeZones zones_;
  std::set<std::string> scriptFiles_;
  double now_ = 0;
  unsigned traces_ = 0;
};

/// "left" for 0x01000001, "a" for 97; empty when a key has no name.
std::string KeyName(unsigned long code);

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_SCRIPT_SCRIPTHOST_H_
