// plexion-content: one content in a process of its own. The launcher starts it, and nobody else has a
// use for it.

#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <string>
#include <utility>
#include <vector>

#include "host/base/Text.h"
#include "host/content/ContentServer.h"
#include "host/contracts/Isolation.h"
#include "host/kernel/HostKernel.h"

namespace {

using plexion_host::player::remote::CallPage;

/// Dies with the launcher, however that goes.
void TieTo(pid_t launcher) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != launcher) _exit(1);  // it went before that
}

CallPage* MapPage() {
  void* const page = mmap(nullptr, sizeof(CallPage), PROT_READ | PROT_WRITE, MAP_SHARED,
                          plexion_host::player::remote::kPageDescriptor, 0);
  return page == MAP_FAILED ? nullptr : static_cast<CallPage*>(page);
}

plexion_host::ModuleFiles ReadModuleFiles() {
  plexion_host::ModuleFiles files;
  files.path =
      plexion_host::ModulePath(plexion_host::ExecutableFolder(), {}, getenv("PLEXION_MODULE_PATH"));
  const char* const map = getenv(plexion_host::kModuleMapVariable);
  for (const std::string& line : plexion_host::SplitAt(map == nullptr ? "" : map, '\n')) {
    const size_t colon = line.find(':');
    if (colon != std::string::npos) files.map[line.substr(0, colon)] = line.substr(colon + 1);
  }
  return files;
}

}  // namespace

int main(int argc, char** argv) {
  CallPage* const page = argc == 2 ? MapPage() : nullptr;
  if (page == nullptr) {
    fputs("plexion-content: the launcher starts this, one for each content\n", stderr);
    return 2;
  }
  TieTo(static_cast<pid_t>(strtol(argv[1], nullptr, 10)));
  // The desktop's settings are a file that content may not write, and a library says so at length. It
  // has a memory of its own for them.
  setenv("GSETTINGS_BACKEND", "memory", 0);
  const plexion_host::ModuleFiles files = ReadModuleFiles();
  std::vector<std::string> libraries = files.path;
  for (const auto& [name, file] : files.map) libraries.push_back(file);
  // As long as the process: a library that cannot be unloaded keeps the pointer.
  auto* const kernel = new plexion_host::HostKernel({argv[0]}, files);
  IQXModule_QXModule_PutKernel(kernel);
  auto* const server = new plexion_host::content::ContentServer(*page, std::move(libraries));
  const int code = server->Run();
  kernel->GetConsole().Flush();
  // Libraries that were opened have threads, which would still run while the process takes itself
  // apart.
  _exit(code);
}
