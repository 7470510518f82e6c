// minimal-host [--frames FOLDER] CONTENT...: hands the module a kernel and plays the contents to their end.

#include <cstdio>
#include <cstring>
#include <vector>

#include "HostKernel.h"
#include "qx/core/IQXKernel.h"
#include "qx/plexion/IPlexion.h"
#include "qx/plexion/StageWindowSet.h"

int main(int argc, char** argv) {
  // Windows borrow texts of this, so it lives until the end.
  const std::vector<const char*> own(argv, argv + argc);
  std::vector<const char*> contents;
  for (int i = 0; i < argc; ++i) {
    if (strcmp(argv[i], "--frames") == 0) {
      ++i;  // the graphics driver's
    } else {
      contents.push_back(argv[i]);
    }
  }

  IQXKernel* kernel = PlexionHost_CreateKernel(argc, const_cast<const char**>(own.data()));
  // The set is an array of the module's kind: it takes its memory from this kernel as well.
  IQXModule_QXModule_PutKernel(kernel);
  IQXModule* module = kernel->AcquireModule("IPlexion");
  if (module == nullptr) {
    fprintf(stderr, "minimal-host: there is no IPlexion.so beside the program\n");
    return 1;
  }
  auto* service = static_cast<qx::plexion::IPlexionSets*>(module);
  int result = 1;
  {
    qx::plexion::StageWindowSet set;
    const QXError error = service->CreateAndConfigureStageWindowSet(
        set, static_cast<int>(contents.size()), contents.data(), 8);
    if (error == QXError_OK) {
      result = service->RunStageWindowSetToCompletion(set) ? 0 : 1;
    } else if (error == QXError_Usage) {
      service->ShowUsage("minimal-host", 8);
      result = 2;
    }
    service->DestroyStageWindowSet(set);
  }
  kernel->ReleaseModule(module);
  PlexionHost_DestroyKernel(kernel);
  return result;
}
