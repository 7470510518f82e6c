// What happens when the display's server goes while a window is open.

#include "host/graphics/window/DisplayLoss.h"

#include <dlfcn.h>
#include <unistd.h>

#include "host/base/ModuleHandle.h"
#include "host/contracts/IHostWindows.h"

namespace plexion_host {
namespace {

using ErrorHandler = int (*)(void* display);

int OnConnectionBroken(void* /*display*/) {
  if (!TellDisplayLost("the connection to the X server broke")) return 0;
  // The X library ends the process when this returns. Nothing can be drawn any more, but contents
  // have something to put away: whoever watches the end of the launcher ends the process.
  while (true) pause();
}

}  // namespace

bool TellDisplayLost(const std::string& reason) {
  const ModuleHandle<IHostWindows> windows("IHostWindows");
  if (!windows) return false;
  windows->DisplayLost(reason);
  return true;
}

void WatchDisplayConnection() {
  // The library that SDL has loaded, if it has: this host does not link it.
  void* const library = dlopen("libX11.so.6", RTLD_NOW | RTLD_NOLOAD);
  if (library == nullptr) return;
  const auto set =
      reinterpret_cast<ErrorHandler (*)(ErrorHandler)>(dlsym(library, "XSetIOErrorHandler"));
  if (set != nullptr) set(&OnConnectionBroken);
  // The library stays loaded, as long as there is a handler of ours in it.
}

}  // namespace plexion_host
