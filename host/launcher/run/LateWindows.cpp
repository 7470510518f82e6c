// Windows that were given up: destroyed beside the run, however long their players take to let go.

#include "host/launcher/run/LateWindows.h"

#include <algorithm>

#include "host/base/Check.h"

namespace plexion_host {

void LateWindows::Take(const OpenWindow& window) {
  PLEXION_CHECK(window.window != nullptr && window.line != nullptr,
                "what is given up is a window of a line");
  window.window->Terminate(qx::plexion::kStatusComplete);
  auto late = std::make_unique<Late>();
  late->line = window.line;
  late->thread = NamedThread("PlexionLate", [this, raw = late.get(), stage = window.window] {
    windows_.Destroy(stage);
    const MutexLock lock(raw->mutex);
    raw->gone = true;
  });
  late_.push_back(std::move(late));
}

bool LateWindows::Has(const WindowLine* line) {
  late_.erase(std::remove_if(late_.begin(), late_.end(),
                             [](const std::unique_ptr<Late>& late) {
                               const MutexLock lock(late->mutex);
                               return late->gone;
                             }),
              late_.end());
  return std::any_of(late_.begin(), late_.end(),
                     [line](const std::unique_ptr<Late>& late) { return late->line == line; });
}

}  // namespace plexion_host
