// Functions that a script wants to be called when files have changed.
#ifndef HOST_PLAYER_APPLICATION_SCRIPT_FILECALLBACKS_H_
#define HOST_PLAYER_APPLICATION_SCRIPT_FILECALLBACKS_H_

#include <memory>
#include <string>
#include <vector>

#include "host/player/application/files/BaseFolder.h"
#include "host/player/application/files/FileWatch.h"
#include "host/player/application/script/HandlerCalls.h"

namespace plexion_host::player::application {

/// The watching thread begins with the first file, so that most applications have none.
class FileCallbacks {
 public:
  FileCallbacks(HandlerCalls& calls, const BaseFolder& base, EngineHost& host)
      : calls_(calls), base_(base), host_(host) {}

  /// Takes the function on top of the stack. Raises an error in the script when the file cannot be
  /// watched.
  void Add(lua_State* state, const std::string& name);
  /// Calls what belongs to files that have changed since, each with the file's name.
  void CallChanged();

 private:
  struct Callback {
    std::string name;
    int reference;
  };

  HandlerCalls& calls_;
  const BaseFolder& base_;
  EngineHost& host_;
  std::vector<Callback> callbacks_;
  std::unique_ptr<FileWatch> watch_;
};

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_SCRIPT_FILECALLBACKS_H_
