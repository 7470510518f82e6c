#include <gtest/gtest.h>

#include "host/calendar/Calendar.h"
#include "host/launcher/programme/Schedule.h"

namespace plexion_host {
namespace {

Calendar calendar;

Programme Read(const std::string& schedule) {
  Programme programme;
  std::string error;
  const std::string text = R"({"timezone":"Europe/Rome","playlists":{"a":[],"b":[],"c":[],"z":[]},
    "zones":[{"name":"main","playlist":"z"}],"fallback":"z","schedule":[)" +
                           schedule + "]}";
  EXPECT_TRUE(ReadProgramme(text, "", calendar, programme, error)) << error;
  return programme;
}

std::string Day(const std::string& schedule, const char* date) {
  const Programme programme = Read(schedule);
  Schedule plan(programme, calendar);
  std::string text;
  for (const DayPart& part : plan.Day(programme.zones[0], *ReadDate(date))) {
    text += ShowTimeOfDay(plan.Clock().At(part.begin).ms).substr(0, 5) + part.playlist + " ";
  }
  return text;
}

TEST(ScheduleTest, DayPartsFollowTheRules) {
  const struct {
    const char* schedule;
    const char* date;
    const char* parts;
  } cases[] = {
      {"", "2026-11-23", "00:00z "},
      {R"({"playlist":"a","from":"07:00","to":"11:00"})", "2026-11-23", "00:00z 07:00a 11:00z "},
      {R"({"playlist":"a","days":["tue"],"from":"07:00","to":"11:00"})", "2026-11-23", "00:00z "},
      // Past midnight: yesterday's reaches into today.
      {R"({"playlist":"a","days":["sun"],"from":"22:00","to":"02:00"})", "2026-11-23",
       "00:00a 02:00z "},
      // Of two alike the later one counts, a higher priority before all.
      {R"({"playlist":"a","from":"08:00","to":"12:00"},{"playlist":"b","from":"10:00","to":"11:00"},
          {"playlist":"c","from":"09:00","to":"10:30","priority":1})",
       "2026-11-23", "00:00z 08:00a 09:00c 10:30b 11:00a 12:00z "},
      {R"({"playlist":"a","firstDate":"2026-11-24"})", "2026-11-23", "00:00z "},
      {R"({"playlist":"a","firstDate":"2026-11-24"})", "2026-11-24", "00:00a "},
      // The second Friday of each month; every other week from a date on; three days and no more.
      {R"({"playlist":"a","rule":"FREQ=MONTHLY;BYDAY=2FR"})", "2026-11-13", "00:00a "},
      {R"({"playlist":"a","rule":"FREQ=MONTHLY;BYDAY=2FR"})", "2026-11-20", "00:00z "},
      {R"({"playlist":"a","rule":"FREQ=WEEKLY;INTERVAL=2","firstDate":"2026-11-02"})", "2026-11-16",
       "00:00a "},
      {R"({"playlist":"a","rule":"FREQ=WEEKLY;INTERVAL=2","firstDate":"2026-11-02"})", "2026-11-23",
       "00:00z "},
      {R"({"playlist":"a","rule":"FREQ=DAILY;COUNT=3","firstDate":"2026-11-20"})", "2026-11-22",
       "00:00a "},
      {R"({"playlist":"a","rule":"FREQ=DAILY;COUNT=3","firstDate":"2026-11-20"})", "2026-11-23",
       "00:00z "},
      // The clock jumps from 02:00 to 03:00, and goes back from 03:00 to 02:00.
      {R"({"playlist":"a","from":"02:30","to":"04:00"})", "2026-03-29", "00:00z 03:00a 04:00z "},
      {R"({"playlist":"a","from":"02:30","to":"04:00"})", "2026-10-25", "00:00z 02:30a 04:00z "},
  };
  for (const auto& [schedule, date, parts] : cases)
    EXPECT_EQ(parts, Day(schedule, date)) << schedule;
}

TEST(ScheduleTest, TheNightsOfSummerTimeAreAsLongAsTheyAre) {
  const Programme programme = Read(R"({"playlist":"a","from":"02:30","to":"04:00"})");
  Schedule plan(programme, calendar);
  const auto lasts = [&](const char* date) {
    const DayPart part =
        plan.At(programme.zones[0], plan.Clock().Of(*ReadDate(date), 3 * 3600000 + 60000));
    EXPECT_EQ("a", part.playlist);
    return (part.end - part.begin) / 60000;
  };
  EXPECT_EQ(90, lasts("2026-11-23"));
  EXPECT_EQ(60, lasts("2026-03-29")) << "begins when the clock jumps over 02:30";
  EXPECT_EQ(150, lasts("2026-10-25")) << "begins at the first 02:30";
}

TEST(ScheduleTest, ShowsTimesAndDates) {
  for (const char* const date : {"1970-01-01", "2024-02-29", "2026-12-31", "2100-03-01"}) {
    EXPECT_EQ(date, ShowDate(*ReadDate(date)));
  }
  EXPECT_EQ(3, DayOfWeek(0));
  EXPECT_EQ(0, DayOfWeek(*ReadDate("2026-11-23")));
  EXPECT_FALSE(ReadDate("2026-13-01"));
  EXPECT_EQ(86400000, *ReadTimeOfDay("24:00"));
  EXPECT_FALSE(ReadTimeOfDay("24:01"));
}

}  // namespace
}  // namespace plexion_host
