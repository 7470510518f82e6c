// Loads the module as a kernel loads it, but hands it the recorder's kernel and calls it through the recorder.

#include "Recorded.h"

#include <dlfcn.h>

#include <cstdio>
#include <string>

#include "kit/FindModuleContract.h"
#include "qx/core/IQXKernel.h"
#include "qx/core/QXString.h"

IQXModule* Recorded::Load(const char* path, int argc, const char* const* argv) {
  plexion_record::RecorderSettings settings;
  settings.path = path;
  settings.limitBytes = 8 * 1024 * 1024;
  settings.argc = argc;
  settings.argv = argv;
  std::string error;
  if (!recorder_.Open(settings, error)) {
    fprintf(stderr, "minimal-host: --record: %s\n", error.c_str());
    return nullptr;
  }
  QXString folder;
  kernel_.GetBinDirectory(folder, nullptr);
  void* const library =
      dlopen((std::string(folder.Utf8()) + "/IPlexion.so").c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    fprintf(stderr, "minimal-host: %s\n", dlerror());
    return nullptr;
  }
  const auto putKernel =
      reinterpret_cast<void (*)(IQXKernel*)>(dlsym(library, "IQXModule_QXModule_PutKernel"));
  const auto load = reinterpret_cast<plexion_record::Recorder::LoadEntry>(
      dlsym(library, "IQXModule_IPlexion_ModuleLoad"));
  unload_ = reinterpret_cast<plexion_record::Recorder::UnloadEntry>(
      dlsym(library, "IQXModule_IPlexion_ModuleUnload"));
  plexion_kit::ModuleContract contract;
  const bool suits =
      !plexion_kit::FindModuleContract(reinterpret_cast<const void*>(load), contract) ||
      contract.SuitsTheseHeaders();
  if (putKernel == nullptr || load == nullptr || unload_ == nullptr || !suits) {
    fprintf(stderr, "minimal-host: IPlexion.so is of another contract\n");
    return nullptr;
  }
  putKernel(&recorder_.Kernel());
  return recorder_.Load(load);
}

void Recorded::Unload(IQXModule* module) {
  if (module != nullptr) recorder_.Unload(unload_, module);
  recorder_.Close();
}
