// Reports of what plays, one table and one JSON object.
#include "host/launcher/control/PlayText.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "host/base/Text.h"
#include "host/kernel/OperatorLog.h"

namespace plexion_host {
namespace {

using Json = nlohmann::ordered_json;
using std::chrono::system_clock;

std::string TimeText(system_clock::time_point time, const char* format) {
  const std::time_t seconds = system_clock::to_time_t(time);
  tm parts{};
  char text[64] = "";
  if (localtime_r(&seconds, &parts) != nullptr) std::strftime(text, sizeof text, format, &parts);
  return text;
}

std::string IsoTime(system_clock::time_point time) {
  std::string text = TimeText(time, "%Y-%m-%dT%H:%M:%S%z");
  // "+0100" as the format wants it: "+01:00".
  if (text.size() > 5) text.insert(text.size() - 2, ":");
  return text;
}

std::string Seconds(int64_t ms) {
  char text[32];
  std::snprintf(text, sizeof text, "%.1f s", static_cast<double>(ms) / 1000);
  return text;
}

double SecondsNumber(int64_t ms) { return static_cast<double>(ms) / 1000; }

/// Here belongs what else is known of whether a content is alive.
Json HealthJson(const ZoneHealth& health) {
  Json json{{"frames", health.frames}};
  json["lastChangeSeconds"] =
      health.lastChangeAgeMs ? Json(SecondsNumber(*health.lastChangeAgeMs)) : Json();
  json["memoryBytes"] = health.memoryBytes;
  return json;
}

std::vector<std::string> HealthText(const ZoneHealth& health) {
  return {std::to_string(health.frames),
          health.lastChangeAgeMs ? Seconds(*health.lastChangeAgeMs) + " ago" : "-"};
}

Json ZoneJson(const PlayedZone& zone) {
  const auto now = system_clock::now();
  Json json;
  json["zone"] = zone.zone;
  json["content"] = zone.content.empty() ? Json() : Json(WithoutPasswords(zone.content));
  if (!zone.reason.empty()) json["reason"] = WithoutPasswords(zone.reason);
  if (!zone.playlist.empty()) json["playlist"] = zone.playlist;
  if (zone.items > 0) {
    json["item"] = zone.item == 0 ? Json() : Json(zone.item);
    json["items"] = zone.items;
  }
  json["paused"] = zone.paused;
  if (zone.shownMs > 0) {
    json["since"] = IsoTime(now - std::chrono::milliseconds(zone.shownMs));
    json["shownSeconds"] = SecondsNumber(zone.shownMs);
  }
  json["next"] = zone.next.empty() ? Json() : Json(WithoutPasswords(zone.next));
  if (zone.nextInMs) {
    json["nextInSeconds"] = SecondsNumber(*zone.nextInMs);
    json["nextAt"] = IsoTime(now + std::chrono::milliseconds(*zone.nextInMs));
  }
  json["volume"] = static_cast<int>(std::lround(zone.volume * 100));
  json["muted"] = zone.muted;
  if (zone.window != 0) json["window"] = zone.window;
  json["health"] = HealthJson(zone.health);
  return json;
}

/// A path without its detours, an address without its password.
std::string Neat(const std::string& content) {
  if (content.find("://") != std::string::npos) return WithoutPasswords(content);
  return std::filesystem::path(content).lexically_normal().string();
}

std::string WhatText(const PlayedZone& zone) {
  if (zone.content.empty())
    return zone.reason.empty() ? "-" : "nothing: " + WithoutPasswords(zone.reason);
  std::string text = PrintableWord(Neat(zone.content));
  if (zone.item > 0) {
    text += " (" + std::to_string(zone.item) + " of " + std::to_string(zone.items) + ")";
  }
  return text + (zone.paused ? ", paused" : "");
}

std::string NextText(const PlayedZone& zone) {
  std::string text = zone.next.empty() ? "-" : PrintableWord(Neat(zone.next));
  if (zone.nextInMs) text += " in " + Seconds(*zone.nextInMs);
  return text;
}

/// What others wrote may be no UTF-8. In ASCII alone: the console would write what no terminal should
/// get in a way of its own, which is no JSON.
std::string Line(const Json& json) {
  return json.dump(-1, ' ', true, Json::error_handler_t::replace) + "\n";
}

}  // namespace

std::string FormatColumns(const std::vector<std::vector<std::string>>& rows) {
  std::vector<size_t> widths;
  for (const auto& row : rows) {
    widths.resize(std::max(widths.size(), row.size()), 0);
    for (size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
  }
  std::string text;
  for (const auto& row : rows) {
    for (size_t i = 0; i + 1 < row.size(); ++i) {
      text += row[i] + std::string(widths[i] - row[i].size() + 2, ' ');
    }
    text += row.back() + '\n';
  }
  return text;
}

std::string ReportText(const PlayReport& report, const ScreenFacts& screen) {
  std::string text = report.kind;
  if (!report.name.empty()) text += " " + PrintableWord(report.name);
  if (!report.file.empty()) text += " (" + PrintableWord(report.file) + ")";
  if (!screen.display.empty()) {
    text +=
        ", " + screen.display + ", " + std::to_string(screen.framesPresented) + " frames presented";
  }
  text += "\n";
  std::vector<std::vector<std::string>> rows{{report.kind == "windows" ? "no" : "zone", "since",
                                              "frames", "changed", "volume", "plays", "next"}};
  const auto now = system_clock::now();
  for (const PlayedZone& zone : report.zones) {
    const std::vector<std::string> health = HealthText(zone.health);
    const auto since = now - std::chrono::milliseconds(zone.shownMs);
    std::string volume = std::to_string(static_cast<int>(std::lround(zone.volume * 100)));
    rows.push_back(
        {PrintableWord(zone.zone), zone.shownMs > 0 ? TimeText(since, "%H:%M:%S") : "-"});
    std::vector<std::string>& row = rows.back();
    row.insert(row.end(), health.begin(), health.end());
    row.push_back(zone.muted ? volume + " muted" : volume);
    row.push_back(WhatText(zone) +
                  (zone.playlist.empty() ? "" : ", " + PrintableWord(zone.playlist)));
    row.push_back(NextText(zone));
  }
  return text + FormatColumns(rows);
}

std::string ReportJson(const PlayReport& report, const ScreenFacts& screen) {
  Json json;
  json["kind"] = report.kind;
  if (!report.name.empty()) json["name"] = report.name;
  if (!report.file.empty()) json["file"] = report.file;
  json["time"] = IsoTime(system_clock::now());
  json["display"] = screen.display.empty() ? Json() : Json(screen.display);
  json["framesPresented"] = screen.framesPresented;
  json["zones"] = Json::array();
  for (const PlayedZone& zone : report.zones) json["zones"].push_back(ZoneJson(zone));
  return Line(json);
}

std::string DayText(const PlannedDay& day) {
  std::string text = "programme " + PrintableWord(day.name) + " (" + PrintableWord(day.file) +
                     "), " + day.day + "\n";
  std::vector<std::vector<std::string>> rows{{"", "zone", "from", "to", "playlist", "why"}};
  for (const PlannedPart& part : day.parts) {
    rows.push_back({part.now ? ">" : "", PrintableWord(part.zone), part.from, part.to,
                    part.playlist.empty() ? "(nothing)" : PrintableWord(part.playlist), part.why});
  }
  return text + FormatColumns(rows);
}

std::string DayJson(const PlannedDay& day) {
  Json json;
  json["name"] = day.name;
  json["file"] = day.file;
  json["day"] = day.day;
  json["parts"] = Json::array();
  for (const PlannedPart& part : day.parts) {
    json["parts"].push_back(Json{{"zone", part.zone},
                                 {"from", part.from},
                                 {"to", part.to},
                                 {"playlist", part.playlist},
                                 {"why", part.why},
                                 {"now", part.now}});
  }
  return Line(json);
}

}  // namespace plexion_host
