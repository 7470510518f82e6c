// minimal-host [--frames FOLDER] [--record FILE] CONTENT...: hands the module a kernel and plays the contents to
// their end.

#include <cstdio>
#include <cstring>
#include <vector>

#include "HostKernel.h"
#include "Recorded.h"
#include "qx/core/IQXKernel.h"
#include "qx/plexion/IPlexion.h"
#include "qx/plexion/StageWindowSet.h"

namespace {

/// Returns  the process's exit code.
int Play(IQXModule* module, std::vector<const char*>& words) {
  auto* service = static_cast<qx::plexion::IPlexionSets*>(module);
  int result = 1;
  qx::plexion::StageWindowSet set;
  const QXError error = service->CreateAndConfigureStageWindowSet(
      set, static_cast<int>(words.size()), words.data(), 8);
  if (error == QXError_OK) {
    result = service->RunStageWindowSetToCompletion(set) ? 0 : 1;
  } else if (error == QXError_Usage) {
    service->ShowUsage("minimal-host", 8);
    result = 2;
  }
  service->DestroyStageWindowSet(set);
  return result;
}

}  // namespace

int main(int argc, char** argv) {
  // Windows borrow texts of this, so it lives until the end.
  const std::vector<const char*> own(argv, argv + argc + 1);
  std::vector<const char*> words;
  const char* recording = nullptr;
  for (int i = 0; i < argc; ++i) {
    if (strcmp(argv[i], "--frames") == 0) {
      ++i;  // the graphics driver's
    } else if (strcmp(argv[i], "--record") == 0 && i + 1 < argc) {
      recording = argv[++i];
    } else {
      words.push_back(argv[i]);
    }
  }

  IQXKernel* kernel = PlexionHost_CreateKernel(argc, const_cast<const char**>(own.data()));
  // The set is an array of the module's kind: it takes its memory from this kernel as well.
  IQXModule_QXModule_PutKernel(kernel);
  int result = 1;
  if (recording != nullptr) {
    Recorded recorded(*kernel);
    IQXModule* module = recorded.Load(recording, argc, own.data());
    if (module != nullptr) result = Play(module, words);
    recorded.Unload(module);
  } else if (IQXModule* module = kernel->AcquireModule("IPlexion")) {
    result = Play(module, words);
    kernel->ReleaseModule(module);
  } else {
    fprintf(stderr, "minimal-host: there is no IPlexion.so beside the program\n");
  }
  PlexionHost_DestroyKernel(kernel);
  return result;
}
