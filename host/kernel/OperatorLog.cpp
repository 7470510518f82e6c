// What an operator reads of a run: levels, styles, and what is left out.

#include "host/kernel/OperatorLog.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <utility>

#include "host/base/Text.h"

namespace plexion_host {
namespace {

constexpr std::array<const char*, 4> kNames = {"error", "warning", "info", "debug"};
/// The same for the journal.
constexpr std::array<const char*, 4> kPriorities = {"<3>", "<4>", "<6>", "<7>"};

constexpr std::chrono::hours kQuiet{1};
constexpr size_t kMostRemembered = 256;

/// What modules say of each content that is opened, and of themselves.
constexpr std::string_view kRoutine[] = {
    "QXPROFILE: ", "Desired locale: ", "Locale set to: ", "Using: ", "Version ", "Media: "};
/// Whole lines of the service's banner.
constexpr std::string_view kBanner[] = {
    "Plexion", "Plays movies and applications in stage windows on the display."};
/// Of those in the same words, what an operator wants to know.
constexpr std::string_view kNotRoutine[] = {"without its sound", "without sound", "is damaged",
                                            "waits for the network", "goes on"};

constexpr std::string_view kSecretNames[] = {"password", "passwd", "pwd",    "token",
                                             "secret",   "apikey", "api_key"};

bool BeginsWith(std::string_view text, std::string_view start) {
  return text.substr(0, start.size()) == start;
}

bool IsInName(char letter) {
  return std::isalnum(static_cast<unsigned char>(letter)) != 0 || letter == '_' || letter == '-';
}

bool EndsAddress(char letter) {
  return letter == '/' || letter == '?' || letter == '#' || letter == ' ' || letter == '\'' ||
         letter == '"';
}

/// user:PASSWORD@ behind each "://".
void HideInAddresses(std::string& text) {
  for (size_t at = text.find("://"); at != std::string::npos; at = text.find("://", at)) {
    at += 3;
    size_t end = at;
    while (end < text.size() && !EndsAddress(text[end])) ++end;
    // In this piece alone: a text of nothing but addresses would be gone through for each of them.
    const std::string_view host = std::string_view(text).substr(at, end - at);
    const size_t sign = host.rfind('@');
    const size_t colon = host.find(':');
    if (sign == std::string::npos || colon > sign) continue;
    text.replace(at + colon + 1, sign - colon - 1, "***");
  }
}

/// NAME=VALUE, where the name says it.
void HideInParameters(std::string& text) {
  for (size_t equals = text.find('='); equals != std::string::npos;
       equals = text.find('=', equals + 1)) {
    size_t start = equals;
    while (start > 0 && IsInName(text[start - 1])) --start;
    const std::string name = LowerAscii(std::string_view(text).substr(start, equals - start));
    const bool secret =
        std::any_of(std::begin(kSecretNames), std::end(kSecretNames),
                    [&](std::string_view word) { return name.find(word) != std::string::npos; });
    if (!secret) continue;
    size_t end = equals + 1;
    while (end < text.size() && text[end] != '&' && text[end] != ' ' && text[end] != '\'' &&
           text[end] != '"' && text[end] != '\n') {
      ++end;
    }
    text.replace(equals + 1, end - equals - 1, "***");
  }
}

/// A record of several lines stays one: those behind the first begin with `start` and blanks, so that
/// no text of a content's can look like a record of its own.
std::string Continued(const std::string& text, const char* start) {
  if (text.find('\n') == std::string::npos) return text;
  return Join(SplitAt(text, '\n'), (std::string("\n") + start + "    ").c_str());
}

std::string JsonText(std::string_view text) {
  std::string json = "\"";
  for (const char letter : Printable(text)) {
    if (letter == '"' || letter == '\\') json += '\\';
    if (letter == '\n') {
      json += "\\n";
    } else if (letter == '\t') {
      json += "\\t";
    } else {
      json += letter;
    }
  }
  return json + "\"";
}

std::string TimeText(OperatorLog::Clock::time_point now, const char* format) {
  const std::time_t seconds = OperatorLog::Clock::to_time_t(now);
  tm parts{};
  char text[64] = "";
  if (localtime_r(&seconds, &parts) != nullptr) {
    std::strftime(text, sizeof text, format, &parts);
  }
  return text;
}

/// RFC 3339, as journals and collectors read it.
std::string FullTime(OperatorLog::Clock::time_point now) {
  const auto ms =
      std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
  char fraction[8];
  std::snprintf(fraction, sizeof fraction, ".%03d", static_cast<int>(ms < 0 ? ms + 1000 : ms));
  std::string zone = TimeText(now, "%z");
  if (zone.size() == 5) zone.insert(3, ":");
  return TimeText(now, "%Y-%m-%dT%H:%M:%S") + fraction + zone;
}

}  // namespace

std::optional<LogLevel> ReadLogLevel(std::string_view word) {
  for (size_t i = 0; i < kNames.size(); ++i) {
    if (word == kNames[i]) return static_cast<LogLevel>(i);
  }
  return std::nullopt;
}

LogLevel LevelOfModuleText(std::string_view line) {
  if (BeginsWith(line, "RED ALERT")) return LogLevel::kError;
  if (BeginsWith(line, "YELLOW ALERT")) return LogLevel::kWarning;
  if (std::find(std::begin(kBanner), std::end(kBanner), line) != std::end(kBanner)) {
    return LogLevel::kDebug;
  }
  for (const std::string_view words : kNotRoutine) {
    if (BeginsWith(line, "Media: ") && line.find(words) != std::string_view::npos) {
      return LogLevel::kWarning;
    }
  }
  for (const std::string_view start : kRoutine) {
    if (BeginsWith(line, start)) return LogLevel::kDebug;
  }
  return LogLevel::kInfo;
}

std::string WithoutPasswords(std::string_view text) {
  std::string hidden(text);
  HideInAddresses(hidden);
  HideInParameters(hidden);
  return hidden;
}

bool GoesToJournal(int fd) {
  const char* const stream = std::getenv("JOURNAL_STREAM");
  struct stat status {};
  if (stream == nullptr || fstat(fd, &status) != 0) return false;
  return std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino) == stream;
}

OperatorLog::OperatorLog(const LogSettings& settings, std::function<Clock::time_point()> now)
    : settings_(settings), now_(now ? std::move(now) : [] { return Clock::now(); }) {}

std::string OperatorLog::Line(const LogRecord& record) {
  const Clock::time_point now = now_();
  std::string text = WithoutPasswords(record.text);
  while (!text.empty() && text.back() == '\n') text.pop_back();
  LogLevel level = record.level;
  if (level <= LogLevel::kWarning) {
    const std::optional<uint64_t> leftOut = TimesLeftOut(text, now);
    if (!leftOut) {
      level = LogLevel::kDebug;
    } else if (*leftOut > 0) {
      text += " (and " + std::to_string(*leftOut) + " times since it was said last)";
    }
  }
  if (level > settings_.level) return {};
  const auto index = static_cast<size_t>(level);
  switch (settings_.style) {
    case LogSettings::Style::kJournal:
      return kPriorities[index] + Continued(text, kPriorities[index]) + "\n";
    case LogSettings::Style::kJson: {
      std::string json = "{\"time\":\"" + FullTime(now) + "\",\"level\":\"" + kNames[index] + "\"";
      for (const LogField& field : record.fields) {
        json += std::string(",\"") + field.name +
                "\":" + (field.isNumber ? field.value : JsonText(WithoutPasswords(field.value)));
      }
      return json + ",\"message\":" + JsonText(text) + "}\n";
    }
    case LogSettings::Style::kTimed:
      break;
  }
  return TimeText(now, "%Y-%m-%d %H:%M:%S ") + kNames[index] + " " + Continued(text, "") + "\n";
}

std::optional<uint64_t> OperatorLog::TimesLeftOut(const std::string& text, Clock::time_point now) {
  const MutexLock lock(mutex_);
  const auto found = said_.find(text);
  // A clock that was put back must not silence anything.
  if (found != said_.end() && now >= found->second.at && now - found->second.at < kQuiet) {
    ++found->second.more;
    return std::nullopt;
  }
  if (found == said_.end() && said_.size() >= kMostRemembered) {
    const auto oldest = std::min_element(
        said_.begin(), said_.end(),
        [](const auto& left, const auto& right) { return left.second.at < right.second.at; });
    said_.erase(oldest);
  }
  return std::exchange(said_[text], Said{now, 0}).more;
}

}  // namespace plexion_host
