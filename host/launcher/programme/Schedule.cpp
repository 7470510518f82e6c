// Finds the day part of a moment.
#include "host/launcher/programme/Schedule.h"

#include <algorithm>

#include "host/base/Check.h"

namespace plexion_host {
namespace {

/// How far a change is looked for: what comes later is found when that time has come.
constexpr int32_t kDaysAhead = 8;

}  // namespace

Schedule::Schedule(const Programme& programme, ICalendar& calendar)
    : programme_(programme), clock_(calendar) {
  PLEXION_CHECK(!programme.zones.empty(), "a programme has a zone, if only one for the screen");
  clock_.Open(programme.timeZone);
  for (const Entry& entry : programme.schedule) {
    rules_.push_back({&entry, Recurrence(calendar, entry.rule, entry.firstDay)});
  }
}

Schedule::Span Schedule::Around(Rule& rule, Moment moment) {
  const Entry& entry = *rule.entry;
  // An entry whose "to" is not after its "from" goes on past midnight: 22:00 to 02:00, and 00:00 to
  // 00:00 is a whole day. The day that its rule names is the one on which it begins.
  const int64_t lasts = entry.toMs > entry.fromMs ? 0 : kDayMs;
  const int32_t today = clock_.At(moment).day;
  // Yesterday's may reach into today.
  for (int32_t day = today - 1; day <= today + kDaysAhead; ++day) {
    if (day < entry.firstDay || day > entry.lastDay || !rule.days.Holds(day)) continue;
    // Both ends through the zone's rules, not `begin` plus a length: in the night when the clock
    // changes, 01:00 to 04:00 lasts two or four hours, and still ends at four.
    Span span;
    span.begin = clock_.Of(day, entry.fromMs);
    span.end = clock_.Of(day, entry.toMs + lasts);
    // One that follows at once is the same part: a whole day's entry does not begin anew at midnight.
    if (span.end <= moment || span.end <= span.begin) continue;
    return span;
  }
  return {};
}

DayPart Schedule::At(const Zone& zone, Moment moment) {
  DayPart part;
  Span best;
  // Even if nothing changes, somebody looks again before the days that were looked at are over.
  Moment next = moment + (kDaysAhead - 1) * kDayMs;
  for (Rule& rule : rules_) {
    const Entry& entry = *rule.entry;
    // An entry that names no zone is for the first one.
    const std::string& name = entry.zone.empty() ? programme_.zones.front().name : entry.zone;
    if (name != zone.name) continue;
    const Span span = Around(rule, moment);
    if (span.begin > moment) {
      next = std::min(next, span.begin);
      continue;
    }
    next = std::min(next, span.end);
    // ">=": of two alike the one further down in the document wins, which its author wrote last.
    const bool higher = part.entry == nullptr || entry.priority > part.entry->priority ||
                        (entry.priority == part.entry->priority && span.begin >= best.begin);
    if (!higher) continue;
    part.entry = &entry;
    best = span;
  }
  part.end = next;
  if (part.entry != nullptr) {
    part.playlist = part.entry->playlist;
    part.begin = best.begin;
    return part;
  }
  part.fallback = zone.playlist.empty();
  part.playlist = part.fallback ? programme_.fallback : zone.playlist;
  // Counted from midnight, so that every start and every display finds the same place in it.
  part.begin = clock_.Of(clock_.At(moment).day, 0);
  return part;
}

bool Schedule::Holds(const Entry* entry, Moment moment) {
  if (entry == nullptr) return true;
  const auto rule = std::find_if(rules_.begin(), rules_.end(),
                                 [entry](const Rule& each) { return each.entry == entry; });
  PLEXION_CHECK(rule != rules_.end(), "the entry is one of this programme");
  return Around(*rule, moment).begin <= moment;
}

std::vector<DayPart> Schedule::Day(const Zone& zone, int32_t day) {
  std::vector<DayPart> parts;
  const Moment end = clock_.Of(day + 1, 0);
  for (Moment at = clock_.Of(day, 0); at < end;) {
    DayPart part = At(zone, at);
    // At gives the time since which the part counts; a chart of one day begins at its midnight.
    part.begin = at;
    part.end = std::min(part.end, end);
    at = part.end;
    // A boundary of an entry that does not win changes nothing.
    const bool same = !parts.empty() && parts.back().entry == part.entry &&
                      parts.back().playlist == part.playlist;
    if (same) {
      parts.back().end = part.end;
    } else {
      parts.push_back(part);
    }
  }
  return parts;
}

}  // namespace plexion_host
