// Finds the engine of a content, and loads its library.

#include "host/player/engines/EngineSource.h"

#include "host/base/ModuleHandle.h"
#include "host/contracts/IHostWindows.h"

namespace plexion_host::player {

namespace {

EngineError MissingEngine(const std::string& what, const char* engine, const char* module) {
  return {qx::plexion::kErrorUnsupportedVersion,
          what + "; this player has no " + engine + " engine (module \"" + module +
              "\" is not on the module path, or a library that it needs is "
              "not installed)"};
}

}  // namespace

bool IsHostPaused() {
  IQXKernel* const kernel = IQXKernel::GetKernel();
  if (kernel == nullptr) return false;
  const ModuleHandle<IHostWindows> windows("IHostWindows");
  return windows && windows->IsPausePending();
}

InstalledEngines::~InstalledEngines() {
  IQXKernel* kernel = IQXKernel::GetKernel();
  if (kernel == nullptr) return;
  kernel->ReleaseModule(movie_);
  kernel->ReleaseModule(picture_);
  kernel->ReleaseModule(media_);
  kernel->ReleaseModule(application_);
}

IEngineModule* InstalledEngines::Acquire(IEngineModule*& slot, const char* moduleName) {
  const MutexLock lock(mutex_);
  IQXKernel* kernel = IQXKernel::GetKernel();
  // Held from the first content on: loading the media framework anew for each would cost a second.
  if (slot == nullptr && kernel != nullptr) {
    slot = static_cast<IEngineModule*>(kernel->AcquireModule(moduleName));
  }
  return slot;
}

void InstalledEngines::Prepare(const ContentAddress& content) {
  // A network is asked when the content is wanted, and not before; and so is everything while the
  // operator has not said "go", who may want other content.
  if (!content.url.empty() || IsHostPaused()) return;
  ProbeResult probe;
  EngineError ignored;
  // Whoever opens the content tells what is wrong with it.
  if (!ProbeContent(content, probe, ignored)) return;
  IEngineModule* const module = ModuleFor(probe.kind);
  if (module != nullptr) module->Prepare(probe.description);
}

void InstalledEngines::OpenLibraries(ContentKind kind, const std::string& format) {
  IEngineModule* const module = ModuleFor(kind);
  if (module != nullptr) module->OpenLibraries(format);
}

IEngineModule* InstalledEngines::ModuleFor(ContentKind kind) {
  switch (kind) {
    case ContentKind::kMovie:
      return Acquire(movie_, kMovieEngineModule);
    case ContentKind::kApplication:
      return Acquire(application_, kApplicationEngineModule);
    case ContentKind::kPicture:
      return Acquire(picture_, kPictureEngineModule);
    default:
      // The media engine has the last word on what nobody knows.
      return Acquire(media_, kMediaEngineModule);
  }
}

std::unique_ptr<Engine> InstalledEngines::OpenEngine(const ContentAddress& content,
                                                     EngineHost& host, EngineError& error) {
  ProbeResult probe;
  if (!ProbeContent(content, probe, error)) return nullptr;
  IEngineModule* const module = ModuleFor(probe.kind);
  if (module != nullptr) return module->CreateEngine(host);
  switch (probe.kind) {
    case ContentKind::kMovie:
      error = MissingEngine(probe.description, "movie", kMovieEngineModule);
      break;
    case ContentKind::kApplication:
      error = MissingEngine("an application (" + probe.description + ")", "application",
                            kApplicationEngineModule);
      break;
    case ContentKind::kPicture:
      error = MissingEngine(probe.description, "picture", kPictureEngineModule);
      break;
    case ContentKind::kMedia:
      error = MissingEngine(probe.description, "media", kMediaEngineModule);
      break;
    default:
      error = {qx::plexion::kErrorCorruptMovie, probe.description};
      break;
  }
  return nullptr;
}

}  // namespace plexion_host::player
