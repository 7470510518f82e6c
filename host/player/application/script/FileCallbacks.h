// Functions that a script wants to be called when files have changed, or data has come.
#ifndef HOST_PLAYER_APPLICATION_SCRIPT_FILECALLBACKS_H_
#define HOST_PLAYER_APPLICATION_SCRIPT_FILECALLBACKS_H_

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "host/player/application/files/BaseFolder.h"
#include "host/player/application/files/FileWatch.h"
#include "host/player/application/net/DeclaredData.h"
#include "host/player/application/script/HandlerCalls.h"

namespace plexion_host::player::application {

/// The watching thread begins with the first file, so that most applications have none.
class FileCallbacks {
 public:
  FileCallbacks(HandlerCalls& calls, const BaseFolder& base, const DeclaredData& data,
                EngineHost& host)
      : calls_(calls), base_(base), data_(data), host_(host) {}

  /// Takes the function on top of the stack. Raises an error in the script when the file cannot be
  /// watched.
  void Add(lua_State* state, const std::string& name);
  /// Another value of declared data has come.
  void MarkChanged(const std::string& name) { changedData_.insert(name); }
  /// Calls what belongs to files and data that have changed since, each with its name.
  void CallChanged();

 private:
  struct Callback {
    std::string name;
    int reference;
  };

  void Call(const std::string& name);

  HandlerCalls& calls_;
  const BaseFolder& base_;
  const DeclaredData& data_;
  EngineHost& host_;
  std::vector<Callback> callbacks_;
  std::set<std::string> changedData_;
  std::unique_ptr<FileWatch> watch_;
};

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_SCRIPT_FILECALLBACKS_H_
