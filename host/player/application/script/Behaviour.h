#ifndef HOST_PLAYER_APPLICATION_SCRIPT_BEHAVIOUR_H_
#define HOST_PLAYER_APPLICATION_SCRIPT_BEHAVIOUR_H_

#include <stdint.h>
#include <time.h>

#include <functional>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "host/player/Engine.h"
#include "host/player/application/document/Document.h"
#include "host/player/application/files/BaseFolder.h"
#include "host/player/application/files/FileWatch.h"
#include "host/player/application/paint/TextSetter.h"
#include "host/player/application/played/PlayedElements.h"
#include "host/player/application/script/Script.h"
#include "host/player/application/stage/Animations.h"
#include "host/player/application/stage/Stage.h"

namespace plexion_host::player::application {

/// What an application is made of besides its script. All of it outlives the Behaviour.
struct World {
  Stage& stage;
  Animations& animations;
  TextSetter& texts;
  const BaseFolder& base;
  const BaseFolder& extensions;  ///< not open when there are none
  EngineHost& host;
  /// The time on the wall.
  std::function<timespec()> wallClock;
};

/// The script of an application, with all that it can call, and its timers and handlers.
///
/// Each operation that runs the script returns false with `error` when that fails; the script must
/// then not be run again. Time is the application's own: seconds of play.
class Behaviour {
 public:
  Behaviour(World world, ScriptLimits limits);
  Behaviour(const Behaviour&) = delete;
  Behaviour& operator=(const Behaviour&) = delete;
  ~Behaviour();

  /// Runs the scripts of the document, which register their handlers.
  bool Run(const std::vector<ScriptReference>& scripts, const std::string& documentName,
           EngineError& error);

  /// A moment of the application begins.
  void SetNow(double seconds) {
    now_ = seconds;
    traces_ = 0;
    script_->BeginMoment();
  }
  bool Dispatch(const std::string& event, EngineError& error);
  bool DispatchFrame(EngineError& error);
  bool DispatchKey(const std::string& event, unsigned long code, EngineError& error);
  bool DispatchPointer(const char* action, double x, double y, int button, EngineError& error);
  bool DispatchScroll(const char* direction, unsigned delta, EngineError& error);
  bool DispatchEventCode(unsigned long code, EngineError& error);
  bool DispatchPlayed(const PlayedEvent& event, EngineError& error);
  /// What belongs to files that have changed since.
  bool DispatchChangedFiles(EngineError& error);
  /// All timers that are due.
  bool RunTimers(EngineError& error);
  /// What was to be called when an animation is over; `tokens` are those of Animations.
  bool FinishAnimations(const std::vector<int>& tokens, EngineError& error);
  void DropAnimations(const std::vector<int>& tokens);

  bool HasHandler(const std::string& event) const;
  /// Seconds at which the next timer is due; infinity when there is none.
  double NextTimer() const;
  Script& GetScript() { return *script_; }

  // For the bindings.
  static Behaviour& Of(lua_State* state);
  World& GetWorld() { return world_; }
  double Now() const { return now_; }
  /// The number of a trace within its moment, from 1.
  unsigned CountTrace() { return ++traces_; }
  void AddHandler(const std::string& event, int reference);
  int AddTimer(double seconds, double period, int reference);
  bool CancelTimer(int id);
  void WatchFile(lua_State* state, const std::string& name, int reference);
  void PushElement(lua_State* state, const Element& element);
  void PushElementOrNil(lua_State* state, const Element* element);
  /// Raises an error when the value is no element, or one that is gone.
  Element& CheckElement(lua_State* state, int index);

 private:
  struct Timer {
    int id;
    double due;
    double period;  ///< 0: once
    int reference;
    bool isNew;  ///< made while timers ran: not before the next frame
  };
  struct Watched {
    std::string name;
    int reference;
  };

  /// Calls every handler of an event with what `push` puts on the stack.
  using Push = std::function<void(lua_State*)>;
  bool CallHandlers(const std::string& event, const Push& push, EngineError& error);

  World world_;
  std::unique_ptr<Script> script_;
  double now_ = 0;
  unsigned traces_ = 0;
  std::unordered_map<std::string, std::vector<int>> handlers_;
  std::vector<Timer> timers_;
  int nextTimer_ = 1;
  std::vector<Watched> watched_;
  std::unique_ptr<FileWatch> fileWatch_;
};

// The script's vocabulary, by subject; each leaves the stack as it was.
void BindElements(lua_State* state);
void BindStage(lua_State* state);
void BindTime(lua_State* state);
void BindFiles(lua_State* state);
void BindSurroundings(lua_State* state);

/// "title 'two words' x" as three arguments; quotes and backslashes as in a shell.
/// Returns  false with `error` when a quote is never closed.
bool SplitArguments(const std::string& line, std::vector<std::string>& words, std::string& error);

/// "left" for 0x01000001, "a" for 97; empty when a key has no name.
std::string KeyName(unsigned long code);

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_SCRIPT_BEHAVIOUR_H_
