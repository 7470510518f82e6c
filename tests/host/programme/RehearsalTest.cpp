// Rehearsals: what is typed, and the clock that runs.

#include <gtest/gtest.h>

#include "host/calendar/Calendar.h"
#include "host/launcher/programme/time/Rehearsal.h"

namespace plexion_host {
namespace {

constexpr int64_t kHourMs = 3600000;

TEST(RehearsalTest, ReadsADayItsHoursAndASpeed) {
  const auto whole = ReadRehearsal("2026-11-23");
  ASSERT_TRUE(whole);
  EXPECT_EQ(whole->toMs - whole->fromMs, 24 * kHourMs);
  const auto evening = ReadRehearsal("2026-11-23,18:30-01:00,480");
  ASSERT_TRUE(evening);
  EXPECT_EQ(evening->fromMs, 18 * kHourMs + kHourMs / 2);
  EXPECT_EQ(evening->speed, 480);
  for (const char* const text :
       {"", "today", "2026-13-01", "2026-11-23,18:30", "2026-11-23,18:30-25:00",
        "2026-11-23,24:00-01:00", "2026-11-23,1-2,0.5", "2026-11-23,01:00-02:00,0",
        "2026-11-23,01:00-02:00,x", "2026-11-23,01:00-02:00,nan", "2026-11-23,01:00-02:00,10001",
        "2026-11-23,01:00-02:00,2,3"}) {
    EXPECT_FALSE(ReadRehearsal(text)) << text;
  }
}

TEST(RehearsalTest, TheClockRunsFromTheFirstQuestionToTheEnd) {
  Calendar calendar;
  LocalTime zone(calendar);
  ASSERT_TRUE(zone.Open("Europe/Rome"));
  ProgrammeClock system;
  EXPECT_EQ(system.At(5, 77), 77);
  EXPECT_FALSE(system.IsOver(kNever - 1));
  EXPECT_EQ(system.LongestSleepMs(), 1000);

  ProgrammeClock clock(*ReadRehearsal("2026-11-23,22:00-01:00,100"), zone);
  const Moment begin = clock.At(5000, 77);
  EXPECT_EQ(zone.At(begin).ms, 22 * kHourMs);
  EXPECT_EQ(clock.At(5000 + 36000, 77) - begin, kHourMs);
  EXPECT_FALSE(clock.IsOver(clock.At(5000 + 107999, 77)));
  EXPECT_TRUE(clock.IsOver(clock.At(5000 + 108000, 77))) << "one o'clock on the next day";
  EXPECT_EQ(clock.LongestSleepMs(), 10) << "a boundary is seen a second of the day late, at most";

  // The night in which the clock is put back has an hour more.
  ProgrammeClock autumn(*ReadRehearsal("2026-10-25,00:00-24:00,1"), zone);
  const Moment midnight = autumn.At(0, 0);
  EXPECT_FALSE(autumn.IsOver(midnight + 25 * kHourMs - 1));
  EXPECT_TRUE(autumn.IsOver(midnight + 25 * kHourMs));
}

}  // namespace
}  // namespace plexion_host
