// What plays, as the command "status" tells it.

#ifndef HOST_LAUNCHER_COMMANDS_PLAYSTATUS_H_
#define HOST_LAUNCHER_COMMANDS_PLAYSTATUS_H_

#include <string>

#include "host/launcher/commands/CommandContext.h"

namespace plexion_host {

/// Returns  false with the reason in `error`.
bool StatusText(CommandContext& context, bool json, std::string& text, std::string& error);
/// The same, printed.
bool PrintStatus(CommandContext& context, bool json, std::string& error);

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_COMMANDS_PLAYSTATUS_H_
