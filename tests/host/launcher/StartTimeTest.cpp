#include <gtest/gtest.h>
#include <stdlib.h>

#include <ctime>

#include "host/launcher/options/StartTime.h"

namespace plexion_host {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::system_clock;

class StartTimeTest : public ::testing::Test {
 protected:
  void SetUp() override { SetZone("UTC"); }
  void TearDown() override { SetZone("UTC"); }
  static void SetZone(const char* zone) {
    setenv("TZ", zone, 1);
    tzset();
  }
  static int64_t Seconds(const char* text, int64_t now) {
    std::optional<StartTime> time;
    EXPECT_EQ("", ReadStartTime(text, time)) << text;
    const auto moment = Resolve(*time, system_clock::time_point(seconds(now)));
    return std::chrono::duration_cast<seconds>(moment.time_since_epoch()).count();
  }
};

constexpr int64_t kNoon = 1795435200;  // 2026-11-23 12:00:00 UTC
constexpr int64_t kDay = 24 * 60 * 60;

TEST_F(StartTimeTest, ATimeOfDayIsTodaysAlsoWhenItHasPassed) {
  EXPECT_EQ(kNoon + 1, Seconds("12:00:01", kNoon));
  EXPECT_EQ(kNoon, Seconds("12:00:00", kNoon));
  EXPECT_EQ(kNoon + 60, Seconds("12:01", kNoon));
  EXPECT_EQ(kNoon - 5 * 3600, Seconds("07:00:00", kNoon)) << "after a power cut at noon";
  EXPECT_EQ(kNoon - kDay / 2, Seconds("0:00:00", kNoon));
}

TEST_F(StartTimeTest, ATimeOfDayIsLocalAlsoAcrossTheChangeOfTheClock) {
  SetZone("CET-1CEST,M3.5.0,M10.5.0/3");
  const int64_t midnight = 1792879200;  // 2026-10-25 00:00 CEST; the clock goes back at three
  EXPECT_EQ(midnight + 10 * 3600, Seconds("9:00:00", midnight));
}

TEST_F(StartTimeTest, AUnixTimeIsThatMomentEvenInThePast) {
  EXPECT_EQ(kNoon + 7, Seconds("1795435207", kNoon));
  EXPECT_EQ(5, Seconds("5", kNoon));
}

TEST_F(StartTimeTest, ReadsFractionsOfASecond) {
  const std::pair<const char*, int64_t> cases[] = {{"10:00:00.5", 36000500},
                                                   {"10:00:00.05", 36000050},
                                                   {"00:00:59.999", 59999},
                                                   {"17.25", 17250}};
  for (const auto& [text, expected] : cases) {
    std::optional<StartTime> time;
    EXPECT_EQ("", ReadStartTime(text, time));
    EXPECT_EQ(expected, time->milliseconds) << text;
  }
  std::optional<StartTime> time;
  ReadStartTime("12:00:00.250", time);
  EXPECT_EQ(milliseconds(kNoon * 1000 + 250),
            Resolve(*time, system_clock::time_point(seconds(kNoon))).time_since_epoch());
}

TEST_F(StartTimeTest, RefusesWhatIsNoTime) {
  for (const char* const text :
       {"", "noon", "24:00:00", "12:60:00", "12:00:60", "12:", "12:00:", "12:00:00.",
        "12:00:00.1234", "12:00:00x", "-5", "1.2.3", "123456789012", ":::", "1:2:3:4"}) {
    std::optional<StartTime> time;
    EXPECT_NE("", ReadStartTime(text, time)) << text;
    EXPECT_FALSE(time.has_value()) << text;
  }
}

}  // namespace
}  // namespace plexion_host
