// The operator's control of a programme: asked on any thread, done on the one that plays.
#include <filesystem>

#include "host/base/Text.h"
#include "host/launcher/programme/DayChart.h"
#include "host/launcher/programme/ProgrammeRun.h"

namespace plexion_host {

bool ProgrammeRun::Ask(std::string& error, const std::function<bool()>& work) {
  bool good = false;
  if (requests_.Call([&] { good = work(); })) return good;
  error = "the programme does not answer; expected it within two seconds";
  return false;
}

bool ProgrammeRun::AskZone(const std::string& zone, std::string& error,
                           const std::function<bool(Playing&, const ZoneTime&)>& work) {
  return Ask(error, [&] {
    std::vector<std::string> names;
    for (const Playing& playing : zones_) names.push_back(playing.zone);
    const auto index = FindZone(names, zone, error);
    return index && work(zones_[*index], Now());
  });
}

bool ProgrammeRun::Next(const std::string& zone, std::string& error) {
  return AskZone(zone, error, [](Playing& playing, const ZoneTime& now) {
    playing.director->Next(now);
    return true;
  });
}

bool ProgrammeRun::Previous(const std::string& zone, std::string& error) {
  return AskZone(zone, error, [](Playing& playing, const ZoneTime& now) {
    playing.director->Previous(now);
    return true;
  });
}

bool ProgrammeRun::Play(const std::string& what, const std::string& zone, std::string& error) {
  if (what.empty()) {
    return AskZone(zone, error, [&](const Playing& named, const ZoneTime& now) {
      for (const Playing& playing : zones_) {
        if (zone.empty() || &playing == &named) playing.director->SetPaused(false, now);
      }
      return true;
    });
  }
  return AskZone(zone, error, [&](Playing& playing, const ZoneTime& now) {
    if (playing.director->PlayItem(what, now)) return true;
    std::error_code fault;
    const bool address = what.find("://") != std::string::npos;
    if (!address && !std::filesystem::exists(what, fault)) {
      error = "'" + PrintableWord(what) +
              "' is no item of what plays, and there is no such file; " +
              "expected an item's content or its file name, a path, or an address";
      return false;
    }
    Item item;
    item.content = what;
    playing.director->PlayOnce(item, now);
    return true;
  });
}

bool ProgrammeRun::Pause(const std::string& zone, std::string& error) {
  return AskZone(zone, error, [&](const Playing& named, const ZoneTime& now) {
    for (const Playing& playing : zones_) {
      if (zone.empty() || &playing == &named) playing.director->SetPaused(true, now);
    }
    return true;
  });
}

bool ProgrammeRun::Report(PlayReport& report, std::string& error) {
  return Ask(error, [&] {
    const ZoneTime now = Now();
    report.kind = "programme";
    report.name = programme_->name;
    report.file = path_;
    for (const Playing& playing : zones_) {
      const ZoneStatus status = playing.director->Status(now);
      PlayedZone zone;
      zone.zone = playing.zone;
      zone.content = status.content;
      zone.reason = status.reason;
      zone.playlist = status.playlist;
      zone.item = status.item;
      zone.items = status.items;
      zone.paused = status.paused;
      zone.shownMs = status.shownMs;
      zone.next = status.next;
      zone.nextInMs = status.nextInMs;
      const qx::plexion::StageWindow* const window = playing.stage->WindowOf(status.number);
      zone.window = window != nullptr ? session_.windows.NumberOf(window) : 0;
      report.zones.push_back(std::move(zone));
    }
    return true;
  });
}

bool ProgrammeRun::Day(const std::string& day, PlannedDay& planned, std::string& error) {
  const auto date = day.empty() ? std::optional<int32_t>(0) : ReadDate(day);
  if (!date) {
    error = "'" + PrintableWord(day) + "' is no date; expected YYYY-MM-DD";
    return false;
  }
  return Ask(error, [&] {
    Schedule schedule(*programme_, calendar_);
    const Moment now = Now().wall;
    const int32_t which = day.empty() ? schedule.Clock().At(now).day : *date;
    planned.name = programme_->name;
    planned.file = path_;
    planned.day = ShowDate(which);
    for (const DayRow& row : DayRows(*programme_, schedule, which)) {
      planned.parts.push_back({row.zone, row.from, row.to, row.part.playlist, row.why,
                               row.part.begin <= now && now < row.part.end});
    }
    planned.svg = DaySvg(*programme_, schedule, which);
    return true;
  });
}

bool ProgrammeRun::Load(const std::string& path, std::string& error) {
  return Ask(error, [&] { return TakeDocument(path.empty() ? path_ : path, error); });
}

}  // namespace plexion_host
