// The functions that a script has registered with on(), by event.
#ifndef HOST_PLAYER_APPLICATION_SCRIPT_EVENTHANDLERS_H_
#define HOST_PLAYER_APPLICATION_SCRIPT_EVENTHANDLERS_H_

#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "host/player/application/script/HandlerCalls.h"

namespace plexion_host::player::application {

/// Keeps references to functions in the script's registry for as long as the script lives: there is
/// no way to take a handler back.
class EventHandlers {
 public:
  explicit EventHandlers(HandlerCalls& calls) : calls_(calls) {}

  static bool IsEvent(std::string_view name);
  static std::string EventNames();

  /// Takes the function on top of the stack. Raises an error in the script when there are too many.
  void Add(lua_State* state, const std::string& event);
  bool Has(const std::string& event) const { return handlers_.count(event) != 0; }
  /// Calls every handler of an event, in the order in which they came, with what `push` puts on the
  /// stack. Handlers that are added meanwhile hear of the next event.
  /// Returns  false when one fails, which is told; the others are called all the same.
  bool Call(const std::string& event, const std::function<void(lua_State*)>& push);

 private:
  HandlerCalls& calls_;
  std::unordered_map<std::string, std::vector<int>> handlers_;
};

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_SCRIPT_EVENTHANDLERS_H_
