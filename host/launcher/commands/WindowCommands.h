// What other commands do with a window that is named by its number.

#ifndef HOST_LAUNCHER_COMMANDS_WINDOWCOMMANDS_H_
#define HOST_LAUNCHER_COMMANDS_WINDOWCOMMANDS_H_

#include <string>

#include "host/launcher/commands/HostCommand.h"

namespace plexion_host {

constexpr long kMostWindowNumber = 1000000;

/// The first argument is the window's number. Returns  false with what is wrong in `error`.
bool PauseWindow(CommandContext& context, const Arguments& arguments, std::string& error);
bool PlayWindow(CommandContext& context, const Arguments& arguments, std::string& error);

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_COMMANDS_WINDOWCOMMANDS_H_
