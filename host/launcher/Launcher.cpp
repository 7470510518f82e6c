// The launcher from command line to exit code: which of its commands it is, and what has to be done before
// there is a second thread.

#include "host/launcher/Launcher.h"

#include <cstdlib>
#include <filesystem>

#include "host/base/Text.h"
#include "host/contracts/DataDirectory.h"
#include "host/contracts/Isolation.h"
#include "host/contracts/WatchFiles.h"
#include "host/launcher/ctl/CtlCommand.h"
#include "host/launcher/launch/Launch.h"
#include "host/launcher/options/Help.h"
#include "host/launcher/programme/ProgrammeCommand.h"
#include "host/launcher/render/ContentCommand.h"

namespace plexion_host {
namespace {

void ExportSettings(const LauncherOptions& options) {
  // For modules, which have no other way to the launcher's own options.
  const std::string& path = options.dataDirectory;
  std::error_code error;
  if (options.watch) setenv(kWatchVariable, "1", 1);
  if (!path.empty()) {
    setenv(kDataDirectoryVariable, std::filesystem::absolute(path, error).c_str(), 1);
  }
  // Where no desktop has a message bus, libraries would start a program that starts one, and wait for it.
  const char* const runtime = getenv("XDG_RUNTIME_DIR");
  const bool bus =
      runtime != nullptr && std::filesystem::exists(std::string(runtime) + "/bus", error);
  if (!bus) setenv("DBUS_SESSION_BUS_ADDRESS", "disabled:", 0);
  // The variable alone says so for a whole suite, or a whole machine.
  const bool given = options.isolation.has_value();
  setenv(kIsolationVariable, options.isolation.value_or(true) ? "on" : "off", given ? 1 : 0);
  // Contents' processes find the engines where this one does.
  const char* const variable = "PLEXION_MODULE_PATH";
  const std::string modules =
      Join(ModulePath(std::string(), options.modulePath, getenv(variable)), ":");
  setenv(variable, modules.c_str(), 1);
  std::string map;
  for (const auto& [name, file] : options.moduleMap) map += name + ":" + file + "\n";
  setenv(kModuleMapVariable, map.c_str(), 1);
}

}  // namespace

int RunLauncher(const std::vector<std::string>& arguments) {
  if (IsContentCommand(arguments)) return RunContentCommand(arguments);
  if (IsProgrammeCommand(arguments)) return RunProgrammeCommand(arguments);
  if (IsCtlCommand(arguments)) return RunCtlCommand(arguments);
  EndWatch::BlockSignals();
  CommandLine line = ParseCommandLine(arguments);
  if (line.kind == CommandLine::Kind::kVersion || line.kind == CommandLine::Kind::kWrong) {
    Console console;
    const bool wrong = line.kind == CommandLine::Kind::kWrong;
    if (wrong) console.PrintError("plexion: " + line.error + "\n");
    console.Print(wrong ? ShortUsage() : "Plexion " PLEXION_VERSION "\n");
    if (wrong) console.PrintError("plexion: " + line.error + "\n");
    return wrong ? kExitUsage : kExitCompleted;
  }
  ExportSettings(line.options);
  const bool help = line.kind == CommandLine::Kind::kHelp;
  // Lives as long as the process, which is watched to its very end.
  static Launch* const launch = new Launch(arguments, std::move(line));
  return help ? launch->ShowHelp() : launch->Run();
}

}  // namespace plexion_host
