// What the launcher does when its display says something.

#include "host/launcher/launch/DisplayWatch.h"

#include <string>

namespace plexion_host {

void DisplayWatch::OnDisplayEvent(const DisplayEvent& event) {
  const bool follows = options_.followsDisplay && options_.width == 0;
  switch (event.kind) {
    case DisplayEvent::Kind::kCloseRequested:
      session_.windows.RequestQuit();
      break;
    case DisplayEvent::Kind::kDisplayResized:
      session_.Log(LogLevel::kInfo,
                   "the display has " + std::to_string(event.x) + "x" + std::to_string(event.y) +
                       " pixels now; " +
                       (follows ? "the zones are laid out for it" : "the picture is scaled to it"),
                   {{"event", "display"}});
      session_.windows.Board().Post([this] { ++session_.screenChanges; });
      break;
    case DisplayEvent::Kind::kOutputsChanged:
      session_.Log(event.x > 0 ? LogLevel::kInfo : LogLevel::kWarning,
                   "an output was plugged in or out; there are " + std::to_string(event.x) +
                       " now, and what plays goes on",
                   {{"event", "display"}});
      break;
    default:
      break;
  }
}

}  // namespace plexion_host
