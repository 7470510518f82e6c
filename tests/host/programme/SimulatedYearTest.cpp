// A year of one display in virtual time: each change of part on its frame, and what was played.

#include <cstdio>
#include <cstdlib>
#include <fstream>

#include "tests/host/programme/VirtualStage.h"

namespace plexion_host {
namespace {

constexpr int64_t kMinute = 60000;
constexpr int64_t kHour = 60 * kMinute;
/// Longest way to the right content after the clock was set: a load, and those that fail before it.
constexpr int64_t kSettles = 20000;
constexpr int kSteps = 200;
constexpr int kDocuments = 50;

/// Playlists by letter; each version of the document has contents and times of its own. Six of its
/// contents fail.
std::string YearDocument(int version) {
  const std::string v = std::to_string(version);
  const auto item = [&](const char* kind, const char* name, const char* more) {
    return std::string(R"({"content":")") + kind + "-" + name + v + "\"" + more + "}";
  };
  const std::string playlists =
      R"("all":[)" + item("never", "a", R"(,"duration":"15m")") + "," + item("bad", "a1-", "") +
      "," + item("run", "a2-", "") + "," + item("bad", "a3-", "") + "," +
      item("never", "a4-", R"(,"duration":"7m")") + R"(],"breakfast":[)" +
      item("never", "b", R"(,"duration":"5m")") + "," + item("bad", "b1-", R"(,"duration":"1m")") +
      R"(],"lunch":[)" + item("bad", "l0-", "") + "," + item("never", "l", R"(,"duration":"9m")") +
      R"(],"night":[)" + item("slow", "n", R"(,"duration":"30m")") + R"(],"alarm":[)" +
      item("never", "x", R"(,"duration":"1m")") + "," + item("bad", "x1-", "") + R"(],"news":[)" +
      item("never", "w", R"(,"duration":"8m")") + "," + item("bad", "w1-", "") + "]";
  const std::string lunch = version % 2 == 0 ? "11:30" : "11:45";
  const std::string schedule =
      R"({"playlist":"breakfast","from":"06:00","to":")" + lunch +
      R"("},{"playlist":"lunch","from":")" + lunch + R"(","to":"14:00"},)" +
      R"({"playlist":"night","from":"22:00","to":"06:00"},)"
      R"({"playlist":"news","from":"18:00","to":"18:20","interrupt":"after-item"},)"
      R"({"playlist":"alarm","from":"02:30","to":"02:45","priority":5,"interrupt":"resume"},)"
      R"({"playlist":"alarm","rule":"FREQ=MONTHLY;BYDAY=1WE","from":"12:00","to":"12:05",)"
      R"("priority":5})";
  return Document(playlists, schedule);
}

char LetterOf(const std::string& name) { return name[name.find('-') + 1]; }
char LetterOf(const DayPart& part) {
  const std::map<std::string, char> letters = {{"all", 'a'},   {"breakfast", 'b'}, {"lunch", 'l'},
                                               {"night", 'n'}, {"alarm", 'x'},     {"news", 'w'}};
  return letters.at(part.playlist);
}

/// The number of the first frame at or after a moment, 60 a second.
int64_t FrameOf(int64_t steadyMs) { return (steadyMs * 60 + 999) / 1000; }

struct Month {
  int shown = 0, parts = 0, onTheFrame = 0, afterItem = 0, afterStep = 0, steps = 0, documents = 0;
  int64_t screenMs = 0;
};

/// The display, and what is checked of it.
class Year {
 public:
  explicit Year(Moment begin) : stage_(YearDocument(0), begin) { Plan(0); }

  VirtualStage& Stage() { return stage_; }
  std::map<std::string, Month>& Months() { return months_; }

  void Run(int64_t ms) {
    const ZoneTime from = stage_.Now();
    stage_.RunFor(ms);
    CheckParts(from, stage_.Now().wall);
    CheckShown();
  }
  void Step(int64_t ms) {
    ++MonthOf(stage_.Now().wall).steps;
    stage_.StepClock(ms);
    steppedAtMs_ = stage_.Now().steadyMs;
  }
  void Change(int version) {
    ++MonthOf(stage_.Now().wall).documents;
    stage_.Director().SetProgramme(VirtualStage::Read(YearDocument(version)));
    const int64_t asked = stage_.Now().steadyMs;
    Run(20 * kMinute);
    Plan(version);
    // It counts from the end of an item on, and not before.
    const std::string suffix = std::to_string(version);
    const auto& history = stage_.History();
    for (size_t i = 1; i < history.size(); ++i) {
      const std::string& name = history[i].content;
      if (history[i].at.steadyMs < asked || LetterOf(name) != 'a') continue;
      if (name.substr(name.size() - suffix.size()) != suffix) continue;
      EXPECT_EQ("next", history[i].reason) << name;
      return;
    }
    ADD_FAILURE() << "document " << version << " never counted";
  }

 private:
  void Plan(int version) {
    programme_ = VirtualStage::Read(YearDocument(version));
    plan_ = std::make_unique<Schedule>(*programme_, calendar);
  }
  Month& MonthOf(Moment moment) {
    return months_[ShowDate(plan_->Clock().At(moment).day).substr(0, 7)];
  }

  /// Each change of part between two moments of one run of the clock.
  void CheckParts(const ZoneTime& from, Moment to) {
    DayPart part = plan_->At(programme_->zones[0], from.wall);
    while (part.end < to) {
      const Moment at = part.end;
      const DayPart before = part;
      part = plan_->At(programme_->zones[0], at);
      if (part.entry == before.entry && part.playlist == before.playlist) continue;
      Month& month = MonthOf(at);
      ++month.parts;
      const int64_t steadyMs = from.steadyMs + (at - from.wall);
      const VirtualStage::Shown* const shown = FirstShown(steadyMs);
      ASSERT_NE(nullptr, shown) << ShowDate(plan_->Clock().At(at).day);
      const std::string what = part.playlist + " on " + ShowDate(plan_->Clock().At(at).day) + ": " +
                               shown->content + " after " +
                               std::to_string(shown->at.steadyMs - steadyMs) + " ms";
      const bool afterStep =
          steppedAtMs_ != 0 && steadyMs - steppedAtMs_ < ZoneDirector::kLeadMs + kSettles;
      // Of a part that waited in vain for the end of an item nothing is left to go back from.
      const bool wasOn =
          (shown - 1)->at.steadyMs < steadyMs && LetterOf((shown - 1)->content) == LetterOf(part);
      if (wasOn || (FrameOf(shown->at.steadyMs) == FrameOf(steadyMs) &&
                    LetterOf(shown->content) == LetterOf(part))) {
        ++month.onTheFrame;
      } else if (part.entry != nullptr && part.entry->interruption == Interruption::kAfterItem) {
        ++month.afterItem;
        EXPECT_LE(shown->at.steadyMs - steadyMs, 15 * kMinute) << what;
        EXPECT_EQ('w', LetterOf(shown->content)) << what;
      } else {
        ++month.afterStep;
        EXPECT_TRUE(afterStep) << what;
        EXPECT_LE(shown->at.steadyMs - steadyMs, kSettles) << what;
      }
    }
  }
  const VirtualStage::Shown* FirstShown(int64_t steadyMs) const {
    for (auto shown = stage_.History().rbegin(); shown != stage_.History().rend(); ++shown) {
      if (shown->at.steadyMs < steadyMs) {
        return shown == stage_.History().rbegin() ? nullptr : &*std::prev(shown);
      }
    }
    return nullptr;
  }

  /// What is shown belongs to the part that counts.
  void CheckShown() {
    const auto& history = stage_.History();
    for (; checked_ < history.size(); ++checked_) {
      const VirtualStage::Shown& shown = history[checked_];
      Month& month = MonthOf(shown.at.wall);
      ++month.shown;
      if (checked_ > 0) {
        month.screenMs += shown.at.steadyMs - history[checked_ - 1].at.steadyMs;
      }
      const DayPart part = plan_->At(programme_->zones[0], shown.at.wall);
      EXPECT_EQ(LetterOf(part), LetterOf(shown.content))
          << shown.content << " in " << part.playlist << " at "
          << ShowTimeOfDay(plan_->Clock().At(shown.at.wall).ms);
    }
  }

  VirtualStage stage_;
  std::shared_ptr<const Programme> programme_;
  std::unique_ptr<Schedule> plan_;
  std::map<std::string, Month> months_;
  size_t checked_ = 0;
  int64_t steppedAtMs_ = 0;
};

/// The table, on standard output or into the file that PLEXION_YEAR_TABLE names, with every content
/// that was shown.
void PrintTable(Year& year) {
  std::string text =
      "month    shown  parts  on their frame  after the item  after a step  steps  documents  "
      "hours on\n";
  Month sum;
  const auto row = [&](const std::string& name, const Month& month) {
    char line[160];
    std::snprintf(line, sizeof line, "%-7s %6d %6d %15d %15d %13d %6d %10d %9.1f\n", name.c_str(),
                  month.shown, month.parts, month.onTheFrame, month.afterItem, month.afterStep,
                  month.steps, month.documents,
                  static_cast<double>(month.screenMs) / static_cast<double>(kHour));
    text += line;
  };
  for (const auto& [name, month] : year.Months()) {
    row(name, month);
    sum.shown += month.shown;
    sum.parts += month.parts;
    sum.onTheFrame += month.onTheFrame;
    sum.afterItem += month.afterItem;
    sum.afterStep += month.afterStep;
    sum.steps += month.steps;
    sum.documents += month.documents;
    sum.screenMs += month.screenMs;
  }
  row("year", sum);
  text += "contents that failed: " + std::to_string(year.Stage().Failed().size()) + ", " +
          std::to_string(year.Stage().Failures()) +
          " times; frames of neither: " + std::to_string(year.Stage().emptyFrames) + "\n";
  const char* const path = std::getenv("PLEXION_YEAR_TABLE");
  if (path == nullptr) {
    std::printf("%s", text.c_str());
    return;
  }
  std::ofstream file(path);
  file << text << "\n";
  LocalTime clock(calendar);
  clock.Open("Europe/Rome");
  for (const VirtualStage::Shown& shown : year.Stage().History()) {
    const LocalTime::Reading at = clock.At(shown.at.wall);
    file << ShowDate(at.day) << " " << ShowTimeOfDay(at.ms) << "  " << shown.content << "  ("
         << shown.reason << ")\n";
  }
}

TEST(SimulatedYearTest, EveryPartBeginsOnItsFrameAndNothingOfNeitherIsSeen) {
  Year year(At("2026-01-01", "00:00"));
  std::mt19937 random(11);
  int documents = 0;
  int steps = 0;
  const Moment end = At("2027-01-01", "00:00");
  for (int day = 0; year.Stage().Now().wall < end; ++day) {
    // At three in the afternoon nothing of any version is near.
    const auto untilThree = [&] {
      LocalTime clock(calendar);
      clock.Open("Europe/Rome");
      const LocalTime::Reading now = clock.At(year.Stage().Now().wall);
      const Moment three = clock.Of(now.ms < 15 * kHour ? now.day : now.day + 1, 15 * kHour);
      return three - year.Stage().Now().wall;
    };
    int64_t left = std::min(untilThree(), end - year.Stage().Now().wall);
    if (steps < kSteps && day % 9 < 5) {
      // Some moment of the day; every fourth right before a part begins or ends.
      const int64_t before = static_cast<int64_t>(random() % static_cast<uint64_t>(left));
      year.Run(before);
      int64_t by = static_cast<int64_t>(random() % (4 * kHour)) - 2 * kHour;
      if (steps % 4 == 0) {
        LocalTime clock(calendar);
        clock.Open("Europe/Rome");
        const Moment now = year.Stage().Now().wall;
        by = clock.Of(clock.At(now).day, 6 * kHour) - now - static_cast<int64_t>(random() % 3000);
      }
      year.Step(by);
      ++steps;
      left = std::min(untilThree(), end - year.Stage().Now().wall);
    }
    if (left <= 0) break;
    year.Run(left);
    if (documents < kDocuments && day % 7 == 3) year.Change(++documents);
  }
  int parts = 0;
  int late = 0;
  for (const auto& [name, month] : year.Months()) {
    parts += month.parts;
    late += month.afterStep;
  }
  PrintTable(year);
  EXPECT_EQ(kSteps, steps);
  EXPECT_EQ(kDocuments, documents);
  EXPECT_GT(year.Stage().Failed().size(), 300u);
  EXPECT_GT(parts, 365 * 6);
  EXPECT_LT(late, kSteps);
  EXPECT_EQ(0u, year.Stage().emptyFrames);
  EXPECT_LT(year.Stage().advances, 2000000u) << "a director that spins";
}

}  // namespace
}  // namespace plexion_host
