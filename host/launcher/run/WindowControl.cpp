// Pauses windows, lets them go on, and tells of them.
#include "host/launcher/run/WindowControl.h"

#include "host/base/Text.h"

namespace plexion_host {
namespace {

bool RefuseToGoOn(const char* what, std::string& error) {
  error =
      std::string("there is no ") + what +
      " content: these are windows beside each other; expected a run of --programme or --signage";
  return false;
}

}  // namespace

bool WindowControl::Next(const std::string&, std::string& error) {
  return RefuseToGoOn("next", error);
}

bool WindowControl::Previous(const std::string&, std::string& error) {
  return RefuseToGoOn("previous", error);
}

bool WindowControl::Play(const std::string& what, const std::string& zone, std::string& error) {
  if (what.empty()) return PauseOrPlay(false, zone, error);
  error = "'" + PrintableWord(what) +
          "' has no place among windows; expected a window's number, or a run of --programme or "
          "--signage";
  return false;
}

bool WindowControl::Pause(const std::string& zone, std::string& error) {
  return PauseOrPlay(true, zone, error);
}

bool WindowControl::PauseOrPlay(bool pause, const std::string& number, std::string& error) {
  std::vector<std::string> numbers;
  bool found = false;
  windows_.WithWindows([&](std::vector<HostWindow>& windows) {
    for (const HostWindow& each : windows) {
      numbers.push_back(std::to_string(each.number));
      if (!number.empty() && numbers.back() != number) continue;
      // One that loads or has ended stays as it is.
      const bool fits =
          each.status == (pause ? qx::plexion::kStatusPlaying : qx::plexion::kStatusPaused);
      if (fits) pause ? each.window->Pause() : each.window->Play();
      found = found || fits;
    }
  });
  if (found) return true;
  if (!number.empty() && !FindZone(numbers, number, error)) return false;
  error = pause ? "nothing plays that could be paused" : "nothing is paused";
  return false;
}

bool WindowControl::Report(PlayReport& report, std::string&) {
  report.kind = "windows";
  windows_.WithWindows([&](std::vector<HostWindow>& windows) {
    for (const HostWindow& each : windows) {
      PlayedZone zone;
      zone.zone = std::to_string(each.number);
      zone.content = each.content;
      zone.paused = each.paused;
      zone.shownMs = each.shownMs;
      zone.window = each.number;
      report.zones.push_back(std::move(zone));
    }
  });
  return true;
}

}  // namespace plexion_host
