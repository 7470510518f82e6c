// Prints and draws the day parts of a programme.
#include "host/launcher/programme/DayChart.h"

#include <algorithm>
#include <cstdio>

#include "host/base/Text.h"

namespace plexion_host {
namespace {

// The page in a browser knows these two as well.
constexpr int kLeft = 140;
constexpr int kHour = 48;
constexpr int kRow = 56;
constexpr int kTop = 64;

std::string Why(const DayPart& part) {
  if (part.entry == nullptr) return part.fallback ? "fallback" : "zone's own";
  std::string why = part.entry->line > 0 ? "line " + std::to_string(part.entry->line) : "schedule";
  if (part.entry->priority != 0) why += ", priority " + std::to_string(part.entry->priority);
  return why;
}

std::string NameOf(const DayPart& part) {
  return part.playlist.empty() ? "(nothing)" : PrintableWord(part.playlist);
}

/// The same playlist has the same colour in every row: its place in the document decides.
std::string ColorOf(const Programme& programme, const std::string& playlist) {
  const char* const colors[] = {"#4c78a8", "#f58518", "#54a24b", "#e45756",
                                "#72b7b2", "#b279a2", "#eeca3b", "#9d755d"};
  for (size_t i = 0; i < programme.playlists.size(); ++i) {
    if (programme.playlists[i].name == playlist) return colors[i % std::size(colors)];
  }
  return "#999999";
}

}  // namespace

std::vector<DayRow> DayRows(const Programme& programme, Schedule& schedule, int32_t day) {
  std::vector<DayRow> rows;
  for (const Zone& zone : programme.zones) {
    for (const DayPart& part : schedule.Day(zone, day)) {
      const LocalTime::Reading end = schedule.Clock().At(part.end);
      // The end of the day is 24:00 of it, and not 00:00 of the next one.
      const int64_t endMs = end.day > day ? int64_t{24} * 3600000 : end.ms;
      rows.push_back({zone.name, part, ShowTimeOfDay(schedule.Clock().At(part.begin).ms),
                      ShowTimeOfDay(endMs), Why(part)});
    }
  }
  return rows;
}

std::string DayTable(const Programme& programme, Schedule& schedule, int32_t day) {
  std::string table;
  std::string zone;
  for (const DayRow& row : DayRows(programme, schedule, day)) {
    if (programme.zones.size() > 1 && row.zone != zone) {
      table += "zone " + PrintableWord(row.zone) + "\n";
    }
    zone = row.zone;
    table += "  " + row.from + " - " + row.to + "  " + NameOf(row.part) + "  (" + row.why + ")\n";
  }
  return table;
}

std::string DaySvg(const Programme& programme, Schedule& schedule, int32_t day) {
  const Moment midnight = schedule.Clock().Of(day, 0);
  // Nights of summer time have 23 or 25 hours.
  const double hours = static_cast<double>(schedule.Clock().Of(day + 1, 0) - midnight) / 3600000.0;
  const int width = kLeft + static_cast<int>(hours * kHour) + 20;
  const int height = kTop + static_cast<int>(programme.zones.size()) * kRow + 20;
  char line[512];
  std::snprintf(line, sizeof line,
                "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%d\" height=\"%d\" "
                "font-family=\"sans-serif\" font-size=\"13\">\n",
                width, height);
  std::string svg = line;
  svg +=
      "<rect width=\"100%\" height=\"100%\" fill=\"#ffffff\"/>\n<text x=\"12\" y=\"24\" "
      "font-size=\"16\">" +
      EscapeXml(PrintableWord(programme.name)) + " " + ShowDate(day) + "</text>\n";
  for (Moment at = midnight; static_cast<double>(at - midnight) / 3600000.0 <= hours;
       at += 3600000) {
    const int x = kLeft + static_cast<int>((at - midnight) / 3600000) * kHour;
    const LocalTime::Reading reading = schedule.Clock().At(at);
    const std::string label = reading.day > day ? "24" : std::to_string(reading.ms / 3600000);
    std::snprintf(line, sizeof line,
                  "<line x1=\"%d\" y1=\"%d\" x2=\"%d\" y2=\"%d\" stroke=\"#dddddd\"/>"
                  "<text x=\"%d\" y=\"%d\" text-anchor=\"middle\">%s</text>\n",
                  x, kTop - 8, x, height - 12, x, kTop - 14, label.c_str());
    svg += line;
  }
  for (size_t row = 0; row < programme.zones.size(); ++row) {
    const Zone& zone = programme.zones[row];
    const int y = kTop + static_cast<int>(row) * kRow;
    svg += "<text x=\"12\" y=\"" + std::to_string(y + 30) + "\">" +
           EscapeXml(PrintableWord(zone.name)) + "</text>\n";
    for (const DayPart& part : schedule.Day(zone, day)) {
      const double from = static_cast<double>(part.begin - midnight) / 3600000.0 * kHour;
      const double to = static_cast<double>(part.end - midnight) / 3600000.0 * kHour;
      std::snprintf(
          line, sizeof line,
          "<rect x=\"%.1f\" y=\"%d\" width=\"%.1f\" height=\"%d\" rx=\"4\" fill=\"%s\"/>\n",
          kLeft + from, y, std::max(to - from - 1, 1.0), kRow - 12,
          ColorOf(programme, part.playlist).c_str());
      svg += line;
      // A label only where it has room.
      const std::string name = NameOf(part);
      if (to - from < static_cast<double>(name.size()) * 8) continue;
      std::snprintf(line, sizeof line, "<text x=\"%.1f\" y=\"%d\" fill=\"#ffffff\">",
                    kLeft + from + 6, y + 27);
      svg += line + EscapeXml(name) + "</text>\n";
    }
  }
  return svg + "</svg>\n";
}

}  // namespace plexion_host
