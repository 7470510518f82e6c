// The operator's commands for volume, mute, and the moment that is played.

#include <cmath>
#include <memory>

#include "host/base/Text.h"
#include "host/launcher/commands/HostCommand.h"
#include "host/launcher/commands/PlayStatus.h"
#include "host/launcher/commands/WindowCommands.h"

namespace plexion_host {
namespace {

constexpr std::chrono::milliseconds kSeekPatience{2000};

/// "+5", "-5" or "40". Returns  false for anything else.
bool ReadLevel(const std::string& text, SoundControl::Change& change) {
  const bool step = !text.empty() && (text[0] == '+' || text[0] == '-');
  const auto number = ReadWholeNumber(step ? text.substr(1) : text, 0, 100);
  if (!number) return false;
  const double share = static_cast<double>(*number) / 100;
  if (step) {
    change.by = text[0] == '-' ? -share : share;
  } else {
    change.volume = share;
  }
  return true;
}

/// A zone by its name or a window by its number; both must be there.
bool FindTarget(CommandContext& context, const std::string& name, SoundControl::Target& target,
                std::string& error) {
  if (name.empty()) return true;
  std::vector<std::string> known;
  const auto number = ReadWholeNumber(name, 1, kMostWindowNumber);
  bool found = false;
  context.windows.WithWindows([&](std::vector<HostWindow>& windows) {
    for (const HostWindow& window : windows) {
      found = found || (number ? window.number == *number : window.zone == name);
      known.push_back(number || window.zone.empty() ? std::to_string(window.number) : window.zone);
    }
  });
  if (!found) {
    error = "there is no zone or window '" + PrintableWord(name) + "'; expected " +
            (known.empty() ? "one that plays" : PrintableWord(Join(known)));
    return false;
  }
  if (number) target.window = static_cast<unsigned>(*number);
  if (!number) target.zone = name;
  return true;
}

bool Change(CommandContext& context, const Arguments& arguments, const std::string& name,
            const SoundControl::Change* change, std::string& error) {
  SoundControl::Target target;
  if (context.sound == nullptr) {
    error = "there is no sound here";
    return false;
  }
  if (!FindTarget(context, name, target, error)) return false;
  if (change != nullptr && !context.sound->Set(target, *change, error)) return false;
  if (arguments.json) return PrintStatus(context, true, error);
  const SoundLevel level = context.sound->Get(target);
  context.kernel.Printf("volume %ld%s\n", std::lround(level.volume * 100),
                        level.muted ? ", muted" : "");
  return true;
}

bool Volume(CommandContext& context, const Arguments& arguments, std::string& error) {
  SoundControl::Change change;
  const std::string first = arguments.TextAt(0);
  const auto wrong = [&](const std::string& word) {
    return context.Misuse(
        error, "'" + PrintableWord(word) + "' is no volume; expected 0 to 100, or +N or -N");
  };
  if (arguments.texts.size() < 2) {
    const bool level = ReadLevel(first, change);
    // A number alone is a level, and no window.
    if (!level && first.find_first_not_of("+-0123456789") == std::string::npos && !first.empty()) {
      return wrong(first);
    }
    return Change(context, arguments, level ? "" : first, level ? &change : nullptr, error);
  }
  if (!ReadLevel(arguments.texts[1], change)) return wrong(arguments.texts[1]);
  return Change(context, arguments, first, &change, error);
}

bool Mute(CommandContext& context, const Arguments& arguments, std::string& error) {
  SoundControl::Change change;
  std::string word = arguments.TextAt(arguments.texts.size() > 1 ? 1 : 0);
  const bool told = word == "on" || word == "off";
  if (told) change.muted = word == "on";
  change.toggle = !told;
  if (arguments.texts.size() > 1 && !told) {
    return context.Misuse(error,
                          "'" + word + "' is neither on nor off; usage: mute [ZONE|N] [on|off]");
  }
  const bool named = arguments.texts.size() > (told ? 1U : 0U);
  return Change(context, arguments, named ? arguments.texts[0] : "", &change, error);
}

/// "90", "1:30", "+10", "-10".
bool ReadMoment(const std::string& text, double& seconds, bool& relative) {
  relative = !text.empty() && (text[0] == '+' || text[0] == '-');
  const std::vector<std::string> parts = SplitAt(relative ? text.substr(1) : text, ':');
  seconds = 0;
  if (parts.size() > 3) return false;
  for (size_t i = 0; i < parts.size(); ++i) {
    const auto number = ReadWholeNumber(parts[i], 0, i == 0 ? 1000000 : 59);
    if (!number) return false;
    seconds = seconds * 60 + static_cast<double>(*number);
  }
  if (relative && text[0] == '-') seconds = -seconds;
  return true;
}

/// What a content answers to whoever asked; it may come when nobody waits any more.
struct SeekAnswer {
  Mutex mutex;
  Condition heard;
  bool there GUARDED_BY(mutex) = false;
  std::string fault GUARDED_BY(mutex);
};

/// The window of a zone, a number, or of the first of what plays.
unsigned WindowToSeek(CommandContext& context, const std::string& name, std::string& error) {
  if (const auto number = ReadWholeNumber(name, 1, kMostWindowNumber)) {
    return static_cast<unsigned>(*number);
  }
  PlayReport report;
  const auto ask = [&](PlayControl& control) { return control.Report(report, error); };
  if (context.play == nullptr || !context.play->With(error, ask)) return 0;
  for (const PlayedZone& zone : report.zones) {
    if ((name.empty() || zone.zone == name) && zone.window != 0) return zone.window;
  }
  error = name.empty() ? "nothing plays" : "nothing plays in '" + PrintableWord(name) + "'";
  return 0;
}

bool Seek(CommandContext& context, const Arguments& arguments, std::string& error) {
  double seconds = 0;
  bool relative = false;
  if (!ReadMoment(arguments.texts[0], seconds, relative)) {
    return context.Misuse(
        error, "'" + arguments.texts[0] + "' is no moment; expected seconds, M:SS, +S or -S");
  }
  const unsigned number = WindowToSeek(context, arguments.TextAt(1), error);
  if (number == 0 || context.sound == nullptr) return false;
  const auto answer = std::make_shared<SeekAnswer>();
  const auto done = [answer](const std::string& fault) {
    const MutexLock lock(answer->mutex);
    answer->there = true;
    answer->fault = fault;
    answer->heard.NotifyAll();
  };
  bool asked = false;
  error = "there is no window " + std::to_string(number);
  context.windows.WithWindows([&](std::vector<HostWindow>& windows) {
    for (const HostWindow& window : windows) {
      if (window.number != number) continue;
      error.clear();
      asked = context.sound->Seek(window.window, seconds, relative, done, error);
    }
  });
  if (!asked) return false;
  SeekAnswer& heard = *answer;
  MutexLock lock(heard.mutex);
  heard.heard.WaitFor(lock, kSeekPatience,
                      [&heard]() REQUIRES(heard.mutex) { return heard.there; });
  error = heard.there ? heard.fault : "the content does not answer";
  if (!error.empty()) return false;
  lock.Unlock();
  return !arguments.json || PrintStatus(context, true, error);
}

}  // namespace

std::vector<CommandRule> SoundCommands() {
  const auto word = [](const char* name) {
    return ArgumentRule{name, ArgumentRule::Kind::kText, 0, 0, true};
  };
  return {
      {"volume",
       "tells or sets the volume of all, a zone or a window: 0 to 100, +N or -N",
       {word("ZONE|N"), word("LEVEL")},
       Volume,
       true},
      {"mute",
       "mutes all, a zone or a window, or takes that back",
       {word("ZONE|N"), word("on|off")},
       Mute,
       true},
      {"seek",
       "goes to a moment of what plays: seconds, M:SS, +S or -S",
       {{"MOMENT", ArgumentRule::Kind::kText}, word("ZONE|N")},
       Seek,
       true},
  };
}

}  // namespace plexion_host
