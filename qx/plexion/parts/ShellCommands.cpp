// The operator's "go", for a set and for one window.

#include "qx/plexion/parts/ShellCommands.h"

namespace qx {
namespace plexion {

bool HostAsksForPause(IQXKernel* kernel) {
  const int argc = kernel->GetArgc();
  const char** const argv = kernel->GetArgv();
  for (int i = 0; i < argc; ++i) {
    if (kernel->StrCmp(argv[i], "--pause") == 0) return true;
  }
  return false;
}

GoShellCommand::~GoShellCommand() {}

QXError GoShellCommand::Execute(unsigned long, char**) {
  event->Signal();
  return QXError_OK;
}

GoToURLShellCommand::~GoToURLShellCommand() {}

QXError GoToURLShellCommand::Execute(unsigned long argc, char** argv) {
  IQXKernel* const kernel = IQXKernel::GetKernel();
  if (argc == 2) {
    const char* const word = argv[1];
    if (word == nullptr || kernel->StrCmp(word, "--rundefault") != 0) url.Assign(word);
  } else if (argc == 3) {
    url.Assign(argv[1]);
    baseUrl.Assign(argv[2]);
  } else {
    // A usage mistake is no error of the shell's: the window keeps waiting for a better line.
    kernel->Printf("Usage: go --rundefault | CONTENT_URL [ ZOR_BASE_URL ]\n");
    return QXError_OK;
  }
  event->Signal();
  return QXError_OK;
}

}  // namespace plexion
}  // namespace qx
