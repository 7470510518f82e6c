// The library's entry points: one shell, alive while either of its names is held.

#include "host/base/Check.h"
#include "host/base/Mutex.h"
#include "host/shell/Shell.h"
#include "qx/core/IQXKernel.h"

namespace {

plexion_host::Mutex mutex;
plexion_host::Shell* shell GUARDED_BY(mutex) = nullptr;
int names GUARDED_BY(mutex) = 0;

plexion_host::Shell* Hold() {
  const plexion_host::MutexLock lock(mutex);
  if (names++ == 0) shell = new plexion_host::Shell();
  return shell;
}

void LetGo() {
  const plexion_host::MutexLock lock(mutex);
  PLEXION_CHECK(names > 0, "a name is unloaded as often as it was loaded");
  if (--names > 0) return;
  delete shell;
  shell = nullptr;
}

}  // namespace

extern "C" QX_EXPORT IQXModule* IQXModule_IShell_ModuleLoad() {
  return static_cast<qx::platform::IShell*>(Hold());
}
extern "C" QX_EXPORT void IQXModule_IShell_ModuleUnload(IQXModule*) { LetGo(); }
extern "C" QX_EXPORT IQXModule* IQXModule_IHostShell_ModuleLoad() {
  return static_cast<plexion_host::IHostShell*>(Hold());
}
extern "C" QX_EXPORT void IQXModule_IHostShell_ModuleUnload(IQXModule*) { LetGo(); }
