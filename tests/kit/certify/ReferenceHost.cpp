// The reference host's kernel behind the entry points of the kit.

#include <cstdlib>
#include <vector>

#include "host/kernel/HostKernel.h"
#include "kit/certify/PlexionHost.h"

extern "C" QX_EXPORT IQXKernel* PlexionHost_CreateKernel(int argc, const char** argv) {
  plexion_host::ModuleFiles files;
  files.path = plexion_host::ModulePath(plexion_host::ExecutableFolder(), {},
                                        std::getenv("PLEXION_MODULE_PATH"));
  // What its modules ask each other for, as its launcher has it.
  files.sharedLibraries = {{"IHostDisplay", "IGraphicsDriver"},
                           {"IHostPlanes", "IGraphicsDriver"},
                           {"IHostInput", "IUserInputDriver"}};
  return new plexion_host::HostKernel(std::vector<std::string>(argv, argv + argc), files);
}

extern "C" QX_EXPORT void PlexionHost_DestroyKernel(IQXKernel* kernel) {
  delete static_cast<plexion_host::HostKernel*>(kernel);
}
