// The operator's commands that work on the launcher itself.

#include <cinttypes>
#include <ctime>

#include "host/base/Text.h"
#include "host/launcher/commands/Diagnosis.h"
#include "host/launcher/commands/HostCommand.h"

namespace plexion_host {
namespace {

bool Snapshot(CommandContext& context, const Arguments& arguments, std::string& error) {
  const MutexLock lock(context.mutex);
  if (context.display == nullptr) {
    error = "there is no display to take a picture of";
    return false;
  }
  return context.display->SaveSnapshot(arguments.texts[0], error);
}

bool Diagnose(CommandContext& context, const Arguments& arguments, std::string& error) {
  if (context.diagnosis == nullptr) {
    error = "there is nothing to diagnose";
    return false;
  }
  // Without the context's lock: it gathers for a while, and the page and other clients ask meanwhile.
  if (!context.diagnosis->Write(arguments.texts[0], error)) return false;
  // Printed, since whoever typed it over the socket does not know the launcher's working folder.
  context.kernel.Printf("written to %s\n", PrintableWord(arguments.texts[0]).c_str());
  return true;
}

bool Time(CommandContext& context, const Arguments&, std::string&) {
  const std::chrono::duration<double> up = std::chrono::steady_clock::now() - context.started;
  // Both clocks: the one on the wall may have been set since the start.
  const std::time_t now = std::time(nullptr);
  tm parts{};
  char text[64] = "";
  if (localtime_r(&now, &parts) != nullptr) {
    std::strftime(text, sizeof(text), "%Y-%m-%d %H:%M:%S %z", &parts);
  }
  const MutexLock lock(context.mutex);
  const uint64_t frames = context.display != nullptr ? context.display->GetFrameCount() : 0;
  context.kernel.Printf("%s, up %.3f s, %" PRIu64 " frames presented\n", text, up.count(), frames);
  return true;
}

bool Version(CommandContext& context, const Arguments&, std::string&) {
  context.kernel.Printf("Plexion " PLEXION_VERSION "\n");
  return true;
}

bool Quit(CommandContext& context, const Arguments&, std::string&) {
  // A request and no wait: this runs on the shell's thread, which the end of the run will join.
  context.windows.RequestQuit();
  return true;
}

}  // namespace

std::vector<CommandRule> LauncherCommands() {
  return {
      {"snapshot",
       "saves the composed screen as a PNG file",
       {{"FILE", ArgumentRule::Kind::kText}},
       Snapshot},
      {"diagnose",
       "writes what a bug report needs as a tar file: versions, options, windows, log",
       {{"FILE", ArgumentRule::Kind::kText}},
       Diagnose},
      {"time", "tells the time, how long Plexion has run, and the frames presented", {}, Time},
      {"version", "tells Plexion's version", {}, Version},
      {"quit", "ends all contents and then Plexion", {}, Quit},
  };
}

}  // namespace plexion_host
