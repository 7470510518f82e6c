// The launcher's own options: one table of what they are called, what they expect and where it goes.

#include "host/launcher/options/CommandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <functional>

#include "host/base/Check.h"
#include "host/base/Text.h"
#include "host/launcher/options/OptionValues.h"
#include "host/launcher/options/WindowArguments.h"

namespace plexion_host {
namespace {

/// What a command line says, as far as the options themselves go.
struct Reading {
  LauncherOptions options;
  std::string help;  // the topic
  bool version = false;
  std::string error;  // the first
};

/// Declares the options; parsing then fills `reading`.
class OptionTable {
 public:
  OptionTable(CLI::App& app, Reading& reading) : app_(app), reading_(reading) {
    app.set_help_flag("");
    LauncherOptions& to = reading.options;
    using Text = const std::string&;
    topic_ = "display";
    Add("--display", "MODE",
        "auto, window, fullscreen or headless; auto takes a window where there is a display",
        [&to](Text text) { return ReadDisplayMode(text, to.display.mode); });
    Add("--screen", "WxH",
        "Size of the screen in pixels; else 1280x720, or in full screen the display's",
        [&to](Text text) { return ReadScreen(text, to.display); });
    Add("--rotate", "DEGREES",
        "Turn the screen clockwise by 90, 180 or 270; else what a programme says, else 0",
        [&to](Text text) {
          const auto degrees = ReadWholeNumber(text, 0, 270);
          if (!degrees || *degrees % 90 != 0) return "0, 90, 180 or 270";
          to.rotation = static_cast<uint32_t>(*degrees);
          return "";
        });
    AddText("--snapshot", "FILE", "Save the composed screen as PNG", to.snapshotFile);
    Add("--snapshot-at", "MS", "... so long after play begins; otherwise when the content ends",
        [&to](Text text) { return ReadTime(text, 0, to.snapshotAtMs); });
    topic_ = "schedule";
    Add("--exit-after", "MS", "End all content after so long",
        [&to](Text text) { return ReadTime(text, 0, to.exitAfterMs); });
    AddText("--programme", "FILE",
            "Play a programme: a document, a folder or a list of contents, see docs/programme.md",
            to.programme);
    Add("--rehearse", "DAY[,FROM-TO[,SPEED]]",
        "Play a day of the programme, 240 times as fast unless said otherwise: "
        "2026-11-23,07:00-23:00,480; contents keep their own speed",
        [&to](Text text) {
          to.rehearsal = ReadRehearsal(text);
          return std::string(to.rehearsal ? ""
                                          : "YYYY-MM-DD[,HH:MM-HH:MM[,SPEED]], SPEED 1 to 10000");
        });
    topic_ = "playing";
    AddFlag("--signage", to.signage,
            "Play the contents one after the other, each ready before the last one ends");
    AddFlag("--loop", to.loop, "With --signage: begin again after the last content");
    AddFlag("--watch", to.watch,
            "Read an application's document, scripts and pictures again when they change");
    Add("--transition", "KIND[,MS[,DIRECTION]]",
        "How contents of --signage and --programme follow each other: cut, fade, push or wipe; "
        "left, right, up or down; else cut",
        [&to](Text text) { return ReadTransition(text, to.transition); });
    Add("--restart-failed", "N",
        "Open a content that failed up to N times again, after 1, 2, 4 s ...; else 3 with "
        "--signage, "
        "and 0",
        [&to](Text text) { return ReadRestarts(text, to.restartFailed); });
    Add("--load-timeout", "MS",
        "With --signage: leave out what is not ready after so long, and ask for it again later; "
        "else 15000",
        [&to](Text text) { return ReadTime(text, 1, to.loadTimeoutMs); });
    Add("--captions", "on|off|FILE",
        "Show the captions of videos: of the file beside each (.srt, .vtt, .ass), else those "
        "inside; "
        "or those of a file. It counts as --fit does; else off",
        [&to](Text text) {
          to.captions = WholeCaptionPath(text);
          return std::string();
        })
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    Add("--fit", "MODE",
        "How contents fill the screen or their rectangle: contain, cover, stretch or none. For the "
        "contents behind it; behind all of them for those that have none of their own; else "
        "contain",
        [&to](Text text) {
          to.fit = ReadFit(text);
          return to.fit ? std::string() : std::string(kFitsExpected);
        })
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    topic_ = "schedule";
    Add("--start-at", "TIME",
        "Begin to play at HH:MM[:SS[.mmm]] of today or a Unix time; at once when it has passed",
        [&to](Text text) { return ReadStartTime(text, to.startAt); });
    topic_ = "playing";
    AddText("--sound-output", "NAME",
            "The sound output by its name, auto or none; a wrong name lists what there is",
            to.soundOutput);
    topic_ = "operator";
    Add("--key-mode", "MODE",
        "direct, simulate-key-up[,DELAY] or auto-repeat[,DELAY,INTERVAL], in milliseconds",
        [&to](Text text) { return ReadKeyMode(text, to.keyMode); });
    topic_ = "system";
    Add("--memory-limit", "BYTES[K|M]", "Let the content of each window allocate this much at most",
        [&to](Text text) { return ReadMemoryLimit(text, to.memoryLimitBytes); });
    AddText("--diagnose", "FILE.tar",
            "At the end write what a bug report needs: versions, options without passwords, "
            "windows, log",
            to.diagnose);
    Add("--isolation", "on|off",
        "Play each content in a process of its own, so that a crash or a hang ends nothing else; "
        "else on",
        [&to](Text text) { return ReadOnOff(text, to.isolation); });
    topic_ = "operator";
    AddText("--shellsocket", "PATH", "Take the operator's commands from a Unix socket, too",
            to.shellSocket);
    AddText("--shellsocket-group", "GROUP", "Let the members of this group use the socket as well",
            to.shellSocketGroup);
    Add("--look", "ADDRESS:PORT",
        "Serve a page with the picture, now and next and the day, at 127.0.0.1:8080 for example",
        [&to](Text text) { return ReadLookAddress(text, to.look); });
    AddText("--look-token", "FILE",
            "With --look: take the token in its address from this file, which is made if need be",
            to.lookToken);
    topic_ = "log";
    Add("--log-level", "LEVEL",
        "Log with time and level what happened: error, warning, info or debug, and what is worse",
        [&to](Text text) {
          to.logLevel = ReadLogLevel(text);
          return std::string(to.logLevel ? "" : "error, warning, info or debug");
        });
    AddFlag("--log-json", to.logJson, "Log each line as a JSON object");
    Add("--frozen-after", "MS",
        "Name a video or movie that plays and whose picture has not changed for so long; else "
        "60000, 0: never",
        [&to](Text text) { return ReadTime(text, 0, to.frozenAfterMs); });
    AddText("--record", "FILE",
            "Write down every call between the service and its host, for plexion-sim to show and "
            "replay",
            to.recordFile);
    Add("--record-size", "MB", "With --record: most that the file takes, from 1; else 64",
        [&to](Text text) { return ReadCount(text, 1, 2047, "megabytes", to.recordMegabytes); });
    Add("--record-minutes", "N",
        "With --record: keep the beginning and the last N minutes; else as many as there is room "
        "for",
        [&to](Text text) { return ReadCount(text, 1, 100000, "minutes", to.recordMinutes); });
    topic_ = "system";
    AddText("--datadir", "DIR", "Folder to use in place of /mtd_down/halvex/plexion",
            to.dataDirectory);
    Add("--modulemap", "NAME:FILE", "Load a platform module from this library", [&to](Text text) {
      return ReadModuleMap(text, to.moduleMap);
    })->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    Add("--modulepath", "DIR", "Search this folder for platform modules, after the launcher's own",
        [&to](Text text) {
          to.modulePath.push_back(text);
          return std::string();
        })
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    AddFlag("--version", reading.version, "The version");
    app.add_option("-h,--help", reading.help, "Help, on one topic or \"all\"")
        ->type_name("[TOPIC]")
        ->expected(0, 1)
        ->group(topic_);
  }

 private:
  /// `read` puts a value where it belongs and answers an empty text, or what was expected.
  CLI::Option* Add(const std::string& name, const std::string& value, const std::string& help,
                   const std::function<std::string(const std::string&)>& read) {
    Reading& reading = reading_;
    const auto each = [&reading, name, value, read](const std::vector<std::string>& texts) {
      for (const std::string& text : texts) {
        // An unset variable of a script, for example; it must not count as an option left out.
        const std::string expected = text.empty() ? value : read(text);
        // The first mistake is told: it stands first on the line, too.
        if (expected.empty() || !reading.error.empty()) continue;
        reading.error =
            name + (text.empty() ? ": the value is empty; expected " : ": '" + text + "' is not ") +
            expected;
      }
      return true;
    };
    return app_.add_option(name, each, help)->type_name(value)->expected(1)->group(topic_);
  }
  void AddText(const std::string& name, const std::string& value, const std::string& help,
               std::string& to) {
    Add(name, value, help, [&to](const std::string& text) {
      to = text;
      return std::string();
    });
  }

  void AddFlag(const std::string& name, bool& to, const std::string& help) {
    app_.add_flag(name, to, help)->group(topic_);
  }

  CLI::App& app_;
  Reading& reading_;
  std::string topic_;  // of the options that are being added
};

/// What is wrong with the options together; empty when nothing is.
std::string FindContradiction(const LauncherOptions& options) {
  if (options.signage && !options.programme.empty()) return "--programme: not with --signage";
  if (options.rehearsal && options.programme.empty()) return "--rehearse: it needs --programme";
  if (options.loop && !options.signage) return "--loop: it needs --signage";
  if (options.recordFile.empty() && (options.recordMegabytes != 64 || options.recordMinutes > 0)) {
    return "--record-size, --record-minutes: they need --record FILE";
  }
  if (!options.lookToken.empty() && !options.look) {
    return "--look-token: it needs --look ADDRESS:PORT";
  }
  if (!options.shellSocketGroup.empty() && options.shellSocket.empty()) {
    return "--shellsocket-group: it needs --shellsocket PATH";
  }
  if (options.snapshotAtMs && options.snapshotFile.empty()) {
    return "--snapshot-at: it needs --snapshot FILE";
  }
  return {};
}

bool Contains(const std::vector<std::string>& arguments, const char* word) {
  return std::find(arguments.begin() + 1, arguments.end(), word) != arguments.end();
}

/// Options of the launcher that are for single contents, and the variables that carry them.
constexpr std::pair<const char*, const char*> kContentOptions[] = {{"--fit", kFitVariable},
                                                                   {"--captions", "captions"}};

bool IsCaptions(std::string_view name) { return name == "--captions"; }

/// Hands each argument to the launcher's parser or to the service's.
void Divide(const CLI::App& app, const std::vector<std::string>& arguments,
            std::vector<std::string>& own, CommandLine& line) {
  // The service's options are not this parser's: it would refuse them. So each word goes to the one
  // that knows the option before it, and a value is never looked at as an option.
  std::vector<std::string>& service = line.windowArguments;
  for (size_t i = 1; i < arguments.size();) {
    const std::string& argument = arguments[i];
    const size_t equals = argument.find('=');
    const bool dashed = argument.compare(0, 2, "--") == 0 || argument == "-h";
    const CLI::Option* const option = dashed && argument.size() > 1
                                          ? app.get_option_no_throw(argument.substr(0, equals))
                                          : nullptr;
    size_t taken = 1;
    if (option != nullptr) {
      // "--help" alone, or with a topic.
      const bool mayHave = i + 1 < arguments.size() && arguments[i + 1].compare(0, 1, "-") != 0;
      const bool hasValue =
          option->get_expected_min() > 0 || (option->get_expected_max() > 0 && mayHave);
      if (hasValue && equals == std::string::npos) taken = 2;
    } else {
      taken = 1 + ServiceValueCount(arguments, i);
    }
    const auto first = arguments.begin() + static_cast<std::ptrdiff_t>(i);
    const auto last = first + static_cast<std::ptrdiff_t>(std::min(taken, arguments.size() - i));
    if (option != nullptr) own.insert(own.end(), first, last);
    // The place among the service's words decides which contents the option is for, so it is kept
    // with it.
    for (const auto& [name, variable] : kContentOptions) {
      if (option == nullptr || option->get_name() != name) continue;
      const std::string value =
          equals == std::string::npos ? *(last - 1) : argument.substr(equals + 1);
      line.contentOptions.push_back(
          {service.size(), variable, IsCaptions(name) ? WholeCaptionPath(value) : value});
    }
    // Both need it: the launcher loads modules by it, the service passes it on.
    if (option == nullptr || option->get_name() == "--modulemap") {
      service.insert(service.end(), first, last);
    }
    i += taken;
  }
}

}  // namespace

CommandLine ParseCommandLine(const std::vector<std::string>& arguments) {
  PLEXION_CHECK(!arguments.empty(), "a command line begins with the program's name");
  CommandLine line;
  Reading reading;
  CLI::App app;
  const OptionTable table(app, reading);
  std::vector<std::string> own;
  Divide(app, arguments, own, line);
  try {
    std::reverse(own.begin(), own.end());  // the parser takes them from the back
    app.parse(own);
  } catch (const CLI::ParseError& error) {
    line.kind = CommandLine::Kind::kWrong;
    line.error = error.what();
    // The parser's own words for that count the values.
    const CLI::Option* const option =
        app.get_option_no_throw(line.error.substr(0, line.error.find(':')));
    const bool missing = dynamic_cast<const CLI::ArgumentMismatch*>(&error) != nullptr;
    if (missing && option != nullptr && option->get_expected_min() > 0) {
      line.error =
          option->get_name() + ": the value is missing; expected " + option->get_type_name();
    }
    return line;
  }
  line.options = reading.options;
  // Not read by the table: these two are the service's options. The launcher only has to know
  // whether they are there.
  line.options.pause = Contains(arguments, "--pause");
  line.options.useShell = Contains(arguments, "--useshell");
  const CLI::Option* const help = app.get_option("--help");
  if (help->count() > 0) {
    line.kind = CommandLine::Kind::kHelp;
    line.helpTopic = reading.help;
  } else if (reading.version) {
    line.kind = CommandLine::Kind::kVersion;
  } else {
    line.error = reading.error.empty() ? FindContradiction(line.options) : reading.error;
    if (!line.error.empty()) line.kind = CommandLine::Kind::kWrong;
  }
  return line;
}

std::vector<OptionHelp> LauncherOptionHelp() {
  Reading reading;
  CLI::App app;
  const OptionTable table(app, reading);
  std::vector<OptionHelp> all;
  for (const CLI::Option* const option : app.get_options()) {
    OptionHelp help;
    for (const std::string& name : option->get_snames()) help.name += "-" + name + ", ";
    for (const std::string& name : option->get_lnames()) help.name += "--" + name;
    if (option->get_expected_max() > 0) help.name += " " + option->get_type_name();
    help.topic = option->get_group();
    help.text = option->get_description();
    all.push_back(help);
  }
  return all;
}

std::vector<std::string> LauncherOptionNames() {
  Reading reading;
  CLI::App app;
  const OptionTable table(app, reading);
  std::vector<std::string> names;
  for (const CLI::Option* const option : app.get_options()) {
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
  }
  return names;
}

}  // namespace plexion_host
