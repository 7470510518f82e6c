// The operator's commands that work on what plays: on, back, pause, what and when.

#include <algorithm>

#include "host/base/Text.h"
#include "host/launcher/commands/HostCommand.h"
#include "host/launcher/commands/PlayStatus.h"
#include "host/launcher/commands/WindowCommands.h"
#include "host/launcher/control/PlayText.h"
#include "host/launcher/programme/time/LocalTime.h"

namespace plexion_host {
namespace {

using Text = const std::string&;

bool IsNumber(Text text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char character) {
    return character >= '0' && character <= '9';
  });
}

template <typename Call>
bool OnPlay(CommandContext& context, std::string& error, const Call& call) {
  // Not under a lock of ours: whoever directs may end at any moment, and With says so.
  if (context.play == nullptr) {
    error = "nothing plays here";
    return false;
  }
  return context.play->With(error, call);
}

/// An action; with --json what plays is told behind it.
template <typename Call>
bool Act(CommandContext& context, const Arguments& arguments, std::string& error,
         const Call& call) {
  if (!OnPlay(context, error, call)) return false;
  // What was asked for has been taken, and may not be on the screen yet: the status says what comes.
  return !arguments.json || PrintStatus(context, true, error);
}

bool Next(CommandContext& context, const Arguments& arguments, std::string& error) {
  return Act(context, arguments, error,
             [&](PlayControl& control) { return control.Next(arguments.TextAt(0), error); });
}

bool Previous(CommandContext& context, const Arguments& arguments, std::string& error) {
  return Act(context, arguments, error,
             [&](PlayControl& control) { return control.Previous(arguments.TextAt(0), error); });
}

/// A number means a window, here as everywhere. One that stands for a zone is halted and let go on
/// with it: whoever directs the zone must know of it, or it would go on to the next item meanwhile.
bool PauseOrPlayWindow(CommandContext& context, const Arguments& arguments, bool pause,
                       std::string& error) {
  const CommandRule rule{pause ? "pause" : "play",
                         "",
                         {{"N", ArgumentRule::Kind::kNumber, 1, kMostWindowNumber}},
                         nullptr};
  Arguments window;
  // By the table's own reader, so that a number which is too large is refused in the same words.
  if (!CheckArguments(rule, {arguments.texts[0]}, window, error)) {
    return context.Misuse(error, error);
  }
  PlayReport report;
  std::string none;
  const auto ask = [&](PlayControl& control) { return control.Report(report, none); };
  // Windows of a command line have nobody who directs them: they are halted themselves.
  const bool directed =
      context.play != nullptr && context.play->With(none, ask) && report.kind != "windows";
  if (!directed) return (pause ? PauseWindow : PlayWindow)(context, window, error);
  for (const PlayedZone& zone : report.zones) {
    if (static_cast<long>(zone.window) != window.numbers[0]) continue;
    return Act(context, arguments, error, [&](PlayControl& control) {
      return pause ? control.Pause(zone.zone, error) : control.Play("", zone.zone, error);
    });
  }
  error = "window " + arguments.texts[0] + " is on in no zone; 'status' shows what is";
  return false;
}

bool Play(CommandContext& context, const Arguments& arguments, std::string& error) {
  const std::string what = arguments.TextAt(0);
  if (IsNumber(what)) return PauseOrPlayWindow(context, arguments, false, error);
  // As from a script whose variable is not set: everything going on is not what it wanted.
  if (what.empty() && !arguments.texts.empty()) {
    return context.Misuse(error,
                          "the first word is empty; expected an item, a content, a window's "
                          "number, or nothing; 'resume ZONE' lets a zone go on");
  }
  return Act(context, arguments, error,
             [&](PlayControl& control) { return control.Play(what, arguments.TextAt(1), error); });
}

bool Pause(CommandContext& context, const Arguments& arguments, std::string& error) {
  const std::string zone = arguments.TextAt(0);
  if (IsNumber(zone)) return PauseOrPlayWindow(context, arguments, true, error);
  return Act(context, arguments, error,
             [&](PlayControl& control) { return control.Pause(zone, error); });
}

bool Resume(CommandContext& context, const Arguments& arguments, std::string& error) {
  const std::string zone = arguments.TextAt(0);
  if (IsNumber(zone)) return PauseOrPlayWindow(context, arguments, false, error);
  return Act(context, arguments, error,
             [&](PlayControl& control) { return control.Play("", zone, error); });
}

bool Status(CommandContext& context, const Arguments& arguments, std::string& error) {
  return PrintStatus(context, arguments.json, error);
}

bool Programme(CommandContext& context, const Arguments& arguments, std::string& error) {
  const std::string verb = arguments.TextAt(0);
  const std::string word = arguments.TextAt(1);
  if (verb == "reload" || verb == "load") {
    // A file for "load" alone: "reload FILE" is what somebody types who wants the other one.
    if ((verb == "load") == word.empty()) {
      return context.Misuse(
          error, verb == "load" ? "load: FILE is missing; usage: programme load FILE"
                                : "'" + word + "' is one word too many; usage: programme reload");
    }
    return Act(context, arguments, error,
               [&](PlayControl& control) { return control.Load(word, error); });
  }
  if (!verb.empty() && verb != "day") {
    return context.Misuse(
        error, "'" + verb + "' is no word of it; expected day [YYYY-MM-DD], reload or load FILE");
  }
  if (!word.empty() && !ReadDate(word)) {
    return context.Misuse(error, "'" + PrintableWord(word) + "' is no date; expected YYYY-MM-DD");
  }
  PlannedDay day;
  if (!OnPlay(context, error,
              [&](PlayControl& control) { return control.Day(word, day, error); })) {
    return false;
  }
  context.kernel.Printf("%s", (arguments.json ? DayJson(day) : DayText(day)).c_str());
  return true;
}

}  // namespace

std::vector<CommandRule> PlayCommands() {
  const auto word = [](const char* name) {
    return ArgumentRule{name, ArgumentRule::Kind::kText, 0, 0, true};
  };
  return {
      {"status", "tells what plays, since when, and what comes next", {}, Status, true},
      {"next", "goes on to the next item", {word("ZONE")}, Next, true},
      {"previous", "goes back to the item before", {word("ZONE")}, Previous, true},
      {"play",
       "goes to an item, plays another content once, or lets a window or all go on",
       {word("N|ITEM|CONTENT"), word("ZONE")},
       Play,
       true},
      {"pause", "halts a window, a zone, or all", {word("N|ZONE")}, Pause, true},
      {"resume", "lets a window, a zone, or all go on", {word("N|ZONE")}, Resume, true},
      {"programme",
       "tells what plays on a day; reads the programme anew, or another one",
       {word("day|reload|load"), word("DATE|FILE")},
       Programme,
       true},
  };
}

}  // namespace plexion_host
