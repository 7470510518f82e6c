// Gathers what plays from whoever plays, the display and the sound.
#include "host/launcher/commands/PlayStatus.h"

#include "host/launcher/control/PlayText.h"
#include "host/launcher/health/HealthWatch.h"

namespace plexion_host {

bool StatusText(CommandContext& context, bool json, std::string& text, std::string& error) {
  PlayReport report;
  const auto ask = [&](PlayControl& control) { return control.Report(report, error); };
  if (context.play == nullptr || !context.play->With(error, ask)) return false;
  ScreenFacts screen;
  {
    const MutexLock lock(context.mutex);
    if (context.display != nullptr) {
      screen.display = context.display->Describe();
      screen.framesPresented = context.display->GetFrameCount();
    }
    AddHealth(report, context.windows, context.display);
  }
  for (PlayedZone& zone : report.zones) {
    if (context.sound == nullptr) break;
    const bool windows = report.kind == "windows";
    const SoundLevel level =
        context.sound->Effective(windows ? std::string() : zone.zone, zone.window);
    zone.volume = level.volume;
    zone.muted = level.muted;
  }
  text = json ? ReportJson(report, screen) : ReportText(report, screen);
  return true;
}

bool PrintStatus(CommandContext& context, bool json, std::string& error) {
  std::string text;
  if (!StatusText(context, json, text, error)) return false;
  context.kernel.Printf("%s", text.c_str());
  return true;
}

}  // namespace plexion_host
