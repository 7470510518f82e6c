// Looks at a programme without playing it: is it right, and what plays on a day.
#include "host/launcher/programme/ProgrammeCommand.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "host/base/ModuleHandle.h"
#include "host/base/Text.h"
#include "host/kernel/HostKernel.h"
#include "host/launcher/options/CommandLine.h"
#include "host/launcher/programme/DayChart.h"
#include "qx/core/IQXModule.h"

namespace plexion_host {
namespace {

constexpr char kUsage[] =
    "usage: plexion programme check FILE|FOLDER|LIST\n"
    "       plexion programme show FILE|FOLDER|LIST [--day YYYY-MM-DD] [--svg FILE]\n\n"
    "check  says whether the programme is right, and which of its contents are missing\n"
    "show   prints what plays on a day, today unless given; --svg draws it as well\n\n"
    "To see a day in a few minutes: plexion --programme FILE --rehearse YYYY-MM-DD\n";

struct Typed {
  std::string verb, file, day, svg;
  bool help = false;
};

int WrongUsage(Console& console, const std::string& what) {
  console.PrintError("plexion programme: " + what + "\n" + kUsage);
  return kExitUsage;
}

Moment Now() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(
             std::chrono::system_clock::now().time_since_epoch())
      .count();
}

/// Zones in which nothing is ever on, or not always. Returns  how many there are of the first kind.
size_t CheckZones(const Programme& programme, Console& console) {
  size_t empty = 0;
  for (const Zone& zone : programme.zones) {
    if (!zone.playlist.empty() || !programme.fallback.empty()) continue;
    const bool first = &zone == &programme.zones.front();
    const bool scheduled =
        std::any_of(programme.schedule.begin(), programme.schedule.end(), [&](const Entry& entry) {
          return entry.zone == zone.name || (entry.zone.empty() && first);
        });
    empty += scheduled ? 0U : 1U;
    console.Print("zone " + PrintableWord(zone.name) +
                  (scheduled
                       ? ": nothing is on when no entry of the schedule counts; a \"playlist\" "
                         "of the zone or a \"fallback\" would be\n"
                       : ": nothing is ever on; expected a \"playlist\" of the zone, an entry "
                         "of the schedule, or a \"fallback\"\n"));
  }
  return empty;
}

/// Contents that are named and are not there; addresses are not asked.
int Check(const Programme& programme, Console& console) {
  size_t count = 0;
  size_t missing = CheckZones(programme, console);
  for (const Playlist& playlist : programme.playlists) {
    const std::vector<Item> items = FlatItems(programme, playlist.name);
    if (items.empty()) {
      ++missing;
      console.Print("playlist " + PrintableWord(playlist.name) + ": there is nothing " +
                    (playlist.folder.empty()
                         ? "in it"
                         : "to play in the folder '" + PrintableWord(playlist.folder) + "'") +
                    "\n");
    }
    for (const Item& item : items) {
      ++count;
      std::error_code fault;
      const bool address = item.content.find("://") != std::string::npos;
      if (address || std::filesystem::exists(item.content, fault)) continue;
      ++missing;
      console.Print((item.line > 0 ? "line " + std::to_string(item.line) + ", " : "") +
                    "playlist " + PrintableWord(playlist.name) + ": there is no '" +
                    PrintableWord(item.content) + "'\n");
    }
  }
  console.Print("zones " + std::to_string(programme.zones.size()) + ", playlists " +
                std::to_string(programme.playlists.size()) + ", items " + std::to_string(count) +
                ", schedule entries " + std::to_string(programme.schedule.size()) + ", missing " +
                std::to_string(missing) + "\n");
  return missing == 0 ? kExitCompleted : kExitContentError;
}

int Show(const Programme& programme, ICalendar& calendar, const Typed& typed, Console& console) {
  Schedule schedule(programme, calendar);
  int32_t day = schedule.Clock().At(Now()).day;
  if (!typed.day.empty()) {
    const auto read = ReadDate(typed.day);
    if (!read)
      return WrongUsage(console, "--day: '" + typed.day + "' is no date; expected YYYY-MM-DD");
    day = *read;
  }
  const char* const names[] = {"Monday", "Tuesday",  "Wednesday", "Thursday",
                               "Friday", "Saturday", "Sunday"};
  console.Print(std::string(names[DayOfWeek(day)]) + " " + ShowDate(day) + "\n" +
                DayTable(programme, schedule, day));
  if (typed.svg.empty()) return kExitCompleted;
  std::ofstream file(typed.svg);
  file << DaySvg(programme, schedule, day);
  file.close();
  if (file.good()) return kExitCompleted;
  console.PrintError("plexion programme: cannot write '" + typed.svg + "'\n");
  return kExitCannotWork;
}

}  // namespace

bool IsProgrammeCommand(const std::vector<std::string>& arguments) {
  return arguments.size() > 1 && arguments[1] == "programme";
}

int RunProgrammeCommand(const std::vector<std::string>& arguments) {
  Console console;
  Typed typed;
  CLI::App app;
  app.set_help_flag("");
  app.add_option("VERB", typed.verb);
  app.add_option("FILE", typed.file);
  app.add_option("--day", typed.day);
  app.add_option("--svg", typed.svg);
  app.add_flag("-h,--help", typed.help);
  std::vector<std::string> own(arguments.rbegin(), arguments.rend() - 2);
  try {
    app.parse(own);
  } catch (const CLI::ParseError& error) {
    return WrongUsage(console, error.what());
  }
  if (typed.help) {
    console.Print(kUsage);
    return kExitCompleted;
  }
  const bool show = typed.verb == "show";
  if (!show && typed.verb != "check") {
    return WrongUsage(console,
                      "'" + PrintableWord(typed.verb) + "' is no command; expected check or show");
  }
  if (typed.file.empty()) return WrongUsage(console, "no programme is named");

  ModuleFiles files;
  files.path = ModulePath(ExecutableFolder(), {}, std::getenv("PLEXION_MODULE_PATH"));
  // Lives as long as the process: a library that cannot be unloaded keeps the pointer.
  static HostKernel* const kernel = new HostKernel(arguments, std::move(files));
  IQXModule_QXModule_PutKernel(kernel);
  std::string error;
  const ModuleHandle<ICalendar> calendar(*kernel, kernel->TryAcquireModule("ICalendar", error));
  if (!calendar) {
    console.PrintError("plexion: module ICalendar is not available: " + error + "\n");
    return kExitCannotWork;
  }
  Programme programme;
  if (!OpenProgramme(typed.file, *calendar.Get(), programme, error)) {
    console.PrintError("plexion programme: " + error + "\n");
    return kExitContentError;
  }
  return show ? Show(programme, *calendar.Get(), typed, console) : Check(programme, console);
}

}  // namespace plexion_host
