#include "host/launcher/options/CommandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdlib>

#include "host/launcher/options/WindowArguments.h"

namespace plexion_host {
namespace {

constexpr char kUsage[] =
    "usage: plexion [launcher options] [window options] CONTENT [[window options] CONTENT ...]\n"
    "       plexion render|check CONTENT ...: frames as files, and what they cost\n";

/// The options as typed, before their values are understood.
struct Typed {
  std::string display, screen, snapshot, snapshotAt, exitAfter, dataDirectory, keyMode, startAt,
      shellSocket, memoryLimit;
  std::vector<std::string> moduleMap, modulePath;
  bool signage = false, loop = false, help = false, version = false;
};

void AddOptions(CLI::App& app, Typed& typed) {
  app.set_help_flag("");
  app.add_option("--display", typed.display,
                 "auto, window, fullscreen or headless; auto takes a window where there is a "
                 "display")
      ->type_name("MODE");
  app.add_option("--screen", typed.screen,
                 "Size of the screen in pixels; else 1280x720, or in full screen the display's")
      ->type_name("WxH");
  app.add_option("--snapshot", typed.snapshot, "Save the composed screen as PNG")
      ->type_name("FILE");
  app.add_option("--snapshot-at", typed.snapshotAt,
                 "... so long after play begins; otherwise when the content ends")
      ->type_name("MS");
  app.add_option("--exit-after", typed.exitAfter, "End all content after so long")->type_name("MS");
  app.add_flag("--signage", typed.signage,
               "Play the contents one after the other, each ready before the last one ends");
  app.add_flag("--loop", typed.loop, "With --signage: begin again after the last content");
  app.add_option("--start-at", typed.startAt, "Begin to play at HH:MM:SS[.mmm] or a Unix time")
      ->type_name("TIME");
  app.add_option("--key-mode", typed.keyMode,
                 "direct, simulate-key-up[,DELAY] or auto-repeat[,DELAY,INTERVAL], in "
                 "milliseconds")
      ->type_name("MODE");
  app.add_option("--memory-limit", typed.memoryLimit,
                 "Let the content of each window allocate this much at most")
      ->type_name("BYTES[K|M]");
  app.add_option("--shellsocket", typed.shellSocket,
                 "Take the operator's commands from a Unix socket, too")
      ->type_name("PATH");
  app.add_option("--datadir", typed.dataDirectory,
                 "Folder to use in place of /mtd_down/halvex/plexion")
      ->type_name("DIR");
  app.add_option("--modulemap", typed.moduleMap, "Load a platform module from this library")
      ->type_name("NAME:FILE")
      ->expected(1)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  app.add_option("--modulepath", typed.modulePath,
                 "Search this folder for platform modules, after the launcher's own")
      ->type_name("DIR")
      ->expected(1)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  app.add_flag("-h,--help", typed.help, "This text");
  app.add_flag("--version", typed.version, "The version");
  // An unset variable of a script, for example; it must not count as an option that is not there.
  for (CLI::Option* const option : app.get_options()) {
    if (option->get_expected_min() == 0) continue;
    option->check([expected = option->get_type_name()](const std::string& value) {
      return value.empty() ? "the value is empty; expected " + expected : std::string();
    });
  }
}

bool ReadNumber(const std::string& text, int64_t& number) {
  if (text.empty() || text.find_first_not_of("0123456789") != std::string::npos) return false;
  if (text.size() > 12) return false;  // no time or size of ours has so many digits
  number = std::strtoll(text.c_str(), nullptr, 10);
  return true;
}

std::vector<std::string> SplitAtCommas(const std::string& text) {
  std::vector<std::string> words(1);
  for (const char character : text) {
    if (character == ',') {
      words.emplace_back();
    } else {
      words.back() += character;
    }
  }
  return words;
}

/// One understood value each. They return an empty text, or what was expected.
std::string ReadDisplayMode(const std::string& text, DisplayMode& mode) {
  const std::pair<const char*, DisplayMode> modes[] = {{"auto", DisplayMode::kAuto},
                                                       {"window", DisplayMode::kWindow},
                                                       {"fullscreen", DisplayMode::kFullscreen},
                                                       {"headless", DisplayMode::kHeadless}};
  for (const auto& [name, value] : modes) {
    if (text != name) continue;
    mode = value;
    return {};
  }
  return "auto, window, fullscreen or headless";
}

std::string ReadScreen(const std::string& text, DisplayOptions& display) {
  constexpr int64_t kMaxSide = 16384;
  const char* const expected = "a size WxH from 1x1 to 16384x16384, for example 1280x720";
  const size_t cross = text.find('x');
  if (cross == std::string::npos) return expected;
  int64_t width = 0;
  int64_t height = 0;
  if (!ReadNumber(text.substr(0, cross), width) || !ReadNumber(text.substr(cross + 1), height)) {
    return expected;
  }
  if (width < 1 || height < 1 || width > kMaxSide || height > kMaxSide) {
    return expected;
  }
  display.width = static_cast<uint32_t>(width);
  display.height = static_cast<uint32_t>(height);
  return {};
}

std::string ReadTime(const std::string& text, std::optional<int64_t>& milliseconds) {
  int64_t value = 0;
  if (!ReadNumber(text, value)) return "a number of milliseconds";
  milliseconds = value;
  return {};
}

std::string ReadKeyMode(const std::string& text, std::optional<KeyMode>& keyMode) {
  const char* const expected =
      "direct, simulate-key-up[,DELAY] or auto-repeat[,DELAY,INTERVAL], in milliseconds";
  const std::vector<std::string> words = SplitAtCommas(text);
  KeyMode result;
  if (words[0] == "direct") {
    if (words.size() != 1) return expected;
  } else if (words[0] == "simulate-key-up") {
    result.mode = qx::plexion::kKeyInputModeSimulateKeyUp;
    if (words.size() > 2) return expected;
    if (words.size() == 2 && !ReadNumber(words[1], result.delayMs)) return expected;
  } else if (words[0] == "auto-repeat") {
    result.mode = qx::plexion::kKeyInputModeAutoRepeat;
    result.delayMs = 500;
    result.intervalMs = 100;
    if (words.size() != 1 && words.size() != 3) return expected;
    if (words.size() == 3 &&
        (!ReadNumber(words[1], result.delayMs) || !ReadNumber(words[2], result.intervalMs))) {
      return expected;
    }
  } else {
    return expected;
  }
  keyMode = result;
  return {};
}

std::string ReadMemoryLimit(std::string text, uint32_t& bytes) {
  const char* const expected =
      "a number of bytes from 1 to 4294967295, or of kilobytes (64K) or megabytes (64M)";
  int64_t unit = 1;
  if (text.back() == 'K') unit = 1024;
  if (text.back() == 'M') unit = 1024 * 1024;
  if (unit > 1) text.pop_back();
  int64_t number = 0;
  if (!ReadNumber(text, number) || number < 1 || number > UINT32_MAX / unit) return expected;
  bytes = static_cast<uint32_t>(number * unit);
  return {};
}

std::string ReadModuleMap(const std::vector<std::string>& typed,
                          std::map<std::string, std::string>& map) {
  for (const std::string& pair : typed) {
    const size_t colon = pair.find(':');
    // Repeated colons are skipped, as the service's own check of this option does.
    const size_t file = colon == std::string::npos ? colon : pair.find_first_not_of(':', colon);
    if (colon == 0 || file == std::string::npos) return "NAME:FILE, for example IShell:my/Shell.so";
    map[pair.substr(0, colon)] = pair.substr(file);
  }
  return {};
}

/// Fills `line.options`. Returns  the error, or an empty text.
std::string Understand(const Typed& typed, LauncherOptions& options) {
  struct Reading {
    const char* option;
    const std::string& text;
    std::string expected;
  };
  const auto given = [](const std::string& text, auto&& read) {
    return text.empty() ? std::string() : read(text);
  };
  const Reading readings[] = {
      {"--display", typed.display,
       given(typed.display,
             [&](const std::string& text) { return ReadDisplayMode(text, options.display.mode); })},
      {"--screen", typed.screen,
       given(typed.screen,
             [&](const std::string& text) { return ReadScreen(text, options.display); })},
      {"--snapshot-at", typed.snapshotAt,
       given(typed.snapshotAt,
             [&](const std::string& text) { return ReadTime(text, options.snapshotAtMs); })},
      {"--exit-after", typed.exitAfter,
       given(typed.exitAfter,
             [&](const std::string& text) { return ReadTime(text, options.exitAfterMs); })},
      {"--key-mode", typed.keyMode,
       given(typed.keyMode,
             [&](const std::string& text) { return ReadKeyMode(text, options.keyMode); })},
      {"--start-at", typed.startAt,
       given(typed.startAt,
             [&](const std::string& text) { return ReadStartTime(text, options.startAt); })},
      {"--memory-limit", typed.memoryLimit,
       given(typed.memoryLimit,
             [&](const std::string& text) {
               return ReadMemoryLimit(text, options.memoryLimitBytes);
             })},
  };
  for (const Reading& reading : readings) {
    if (!reading.expected.empty()) {
      return std::string(reading.option) + ": '" + reading.text + "' is not " + reading.expected;
    }
  }
  const std::string mapExpected = ReadModuleMap(typed.moduleMap, options.moduleMap);
  if (!mapExpected.empty()) return "--modulemap: expected " + mapExpected;
  options.snapshotFile = typed.snapshot;
  options.dataDirectory = typed.dataDirectory;
  options.modulePath = typed.modulePath;
  options.signage = typed.signage;
  options.loop = typed.loop;
  options.shellSocket = typed.shellSocket;
  if (options.loop && !options.signage) return "--loop: it needs --signage";
  if (options.snapshotAtMs && options.snapshotFile.empty()) {
    return "--snapshot-at: it needs --snapshot FILE";
  }
  return {};
}

/// Hands each argument to the launcher's parser or to the service's.
void Divide(const CLI::App& app, const std::vector<std::string>& arguments,
            std::vector<std::string>& own, std::vector<std::string>& service) {
  for (size_t i = 1; i < arguments.size();) {
    const std::string& argument = arguments[i];
    const size_t equals = argument.find('=');
    const bool dashed = argument.compare(0, 2, "--") == 0 || argument == "-h";
    const CLI::Option* const option = dashed && argument.size() > 1
                                          ? app.get_option_no_throw(argument.substr(0, equals))
                                          : nullptr;
    size_t taken = 1;
    if (option != nullptr) {
      const bool hasValue = option->get_expected_min() > 0 && equals == std::string::npos;
      if (hasValue) taken = 2;
    } else {
      taken = 1 + ServiceValueCount(arguments, i);
    }
    const auto first = arguments.begin() + static_cast<std::ptrdiff_t>(i);
    const auto last = first + static_cast<std::ptrdiff_t>(std::min(taken, arguments.size() - i));
    if (option != nullptr) own.insert(own.end(), first, last);
    if (option == nullptr || option->get_name() == "--modulemap") {
      service.insert(service.end(), first, last);
    }
    i += taken;
  }
}

}  // namespace

CommandLine ParseCommandLine(const std::vector<std::string>& arguments) {
  CommandLine line;
  Typed typed;
  CLI::App app;
  AddOptions(app, typed);
  std::vector<std::string> own;
  Divide(app, arguments, own, line.windowArguments);
  try {
    std::reverse(own.begin(), own.end());  // the parser takes them from the back
    app.parse(own);
  } catch (const CLI::ParseError& error) {
    line.kind = CommandLine::Kind::kWrong;
    line.error = error.what();
    return line;
  }
  if (typed.help) {
    line.kind = CommandLine::Kind::kHelp;
  } else if (typed.version) {
    line.kind = CommandLine::Kind::kVersion;
  } else {
    line.error = Understand(typed, line.options);
    if (!line.error.empty()) line.kind = CommandLine::Kind::kWrong;
  }
  return line;
}

std::string LauncherHelp() {
  Typed typed;
  CLI::App app;
  AddOptions(app, typed);
  app.get_formatter()->column_width(32);
  std::string text = app.help();
  // The formatter's own first line speaks of the launcher's options only.
  const size_t options = text.find("Options:");
  if (options != std::string::npos) text.erase(0, options);
  return kUsage + ("\nLauncher " + text) + "\nWindow options, each before its content:\n" +
         WindowOptionHelp();
}

std::string ShortUsage() {
  return std::string(kUsage) + "       plexion --help lists every option\n";
}

std::vector<std::string> LauncherOptionNames() {
  Typed typed;
  CLI::App app;
  AddOptions(app, typed);
  std::vector<std::string> names;
  for (const CLI::Option* const option : app.get_options()) {
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
  }
  return names;
}

}  // namespace plexion_host
