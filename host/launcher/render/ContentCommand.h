#ifndef HOST_LAUNCHER_RENDER_CONTENTCOMMAND_H_
#define HOST_LAUNCHER_RENDER_CONTENTCOMMAND_H_

#include <string>
#include <vector>

#include "host/contracts/IContentRenderer.h"

namespace plexion_host {

/// "plexion render CONTENT ..." and "plexion check CONTENT ...": work on content that needs no
/// window and no display.
struct ContentCommand {
  enum class Kind { kRender, kCheck, kHelp, kWrong };
  Kind kind = Kind::kWrong;
  RenderRequest request;
  std::string text;  ///< kHelp: the help; kWrong: what is wrong, and what would be right
};

/// Whether `arguments`, which begin with the program's name, are such a command. Content that has
/// the name of one of them is played by "./render".
bool IsContentCommand(const std::vector<std::string>& arguments);

ContentCommand ParseContentCommand(const std::vector<std::string>& arguments);

/// Runs it. Returns  an ExitCode.
int RunContentCommand(const std::vector<std::string>& arguments);

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_RENDER_CONTENTCOMMAND_H_
