// "plexion ctl": the operator's commands from another process.

#ifndef HOST_LAUNCHER_CTL_CTLCOMMAND_H_
#define HOST_LAUNCHER_CTL_CTLCOMMAND_H_

#include <string>
#include <vector>

namespace plexion_host {

/// Whether the command line is "plexion ctl ...".
bool IsCtlCommand(const std::vector<std::string>& arguments);

/// Sends one command to a launcher's socket and prints its answer.
/// Returns  0; 1 when the command failed, with its reason on standard error; 2 for a wrong line; 3
///          when no launcher answers.
int RunCtlCommand(const std::vector<std::string>& arguments);

/// The words as one line of the shell, whatever is in them. Returns  false for a line end, which no
/// line can hold.
bool QuoteWords(const std::vector<std::string>& words, std::string& line);

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_CTL_CTLCOMMAND_H_
