// "plexion programme check FILE" and "plexion programme show FILE".

#ifndef HOST_LAUNCHER_PROGRAMME_PROGRAMMECOMMAND_H_
#define HOST_LAUNCHER_PROGRAMME_PROGRAMMECOMMAND_H_

#include <string>
#include <vector>

namespace plexion_host {

/// Whether `arguments`, which begin with the program's name, are such a command.
bool IsProgrammeCommand(const std::vector<std::string>& arguments);

/// Runs it. Returns  an ExitCode.
int RunProgrammeCommand(const std::vector<std::string>& arguments);

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_PROGRAMME_PROGRAMMECOMMAND_H_
