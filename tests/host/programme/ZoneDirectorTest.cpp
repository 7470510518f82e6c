#include <gtest/gtest.h>

#include <queue>
#include <random>

#include "host/calendar/Calendar.h"
#include "host/launcher/programme/ZoneDirector.h"

namespace plexion_host {
namespace {

Calendar calendar;

/// Contents in virtual time: "slow" loads take twelve seconds, "never" ones do not end, "bad" ones
/// fail, "run" ones last five seconds of their own.
class VirtualStage final : public ZoneStage {
 public:
  struct Shown {
    ZoneTime at;
    std::string content;
  };

  VirtualStage(const std::string& document, Moment begin) : now_{begin, 1000} {
    director_ = std::make_unique<ZoneDirector>(Read(document), calendar, "main", *this,
                                               [this](const ZoneNews& news) { OnNews(news); });
  }

  static std::shared_ptr<const Programme> Read(const std::string& document) {
    auto programme = std::make_shared<Programme>();
    std::string error;
    EXPECT_TRUE(ReadProgramme(document, "", calendar, *programme, error)) << error;
    return programme;
  }

  void RunFor(int64_t ms) {
    const int64_t end = now_.steadyMs + ms;
    int64_t due = director_->Advance(now_);
    while (true) {
      const bool event = !events_.empty() && events_.top().atMs <= std::min(due, end);
      const int64_t next = event ? events_.top().atMs : std::min(due, end);
      now_.wall += next - now_.steadyMs;
      now_.steadyMs = next;
      if (event) {
        const Event happened = events_.top();
        events_.pop();
        Happen(happened);
      } else if (next == end) {
        break;
      }
      due = director_->Advance(now_);
      EXPECT_GT(due, now_.steadyMs) << "a director that spins";
      EXPECT_LE(loaded_.size(), 4u) << "contents that nobody drops";
    }
  }

  void StepClock(int64_t ms) {
    now_.wall += ms;
    director_->Advance(now_);
  }

  ZoneDirector& Director() { return *director_; }
  const ZoneTime& Now() const { return now_; }
  const std::vector<Shown>& History() const { return shown_; }
  /// The contents in order, since the last question.
  std::string Contents() {
    std::string text;
    for (; asked_ < shown_.size(); ++asked_) text += shown_[asked_].content + " ";
    return text;
  }
  const std::string& Seen() const { return seen_; }
  unsigned Failures() const { return failures_; }
  unsigned emptyFrames = 0;

  void Load(uint64_t number, const Item& item) override {
    EXPECT_TRUE(loaded_.emplace(number, item.content).second);
    const std::string& name = item.content;
    if (name.rfind("never-loads", 0) == 0) return;
    const int64_t takes = name.rfind("slow", 0) == 0 ? 12000 : 200 + random_() % 800;
    events_.push({now_.steadyMs + takes, number, name.rfind("bad", 0) == 0 ? 2 : 0});
  }
  void Show(uint64_t number, uint64_t previous, const Transition&) override {
    ASSERT_EQ(1u, ready_.count(number)) << "shown before it was ready";
    if (number == paused_) return;
    if (previous == 0 && !seen_.empty() && reason_.empty()) ++emptyFrames;
    seen_ = loaded_[number];
    reason_.clear();
    shown_.push_back({now_, seen_});
    if (seen_.rfind("run", 0) == 0) events_.push({now_.steadyMs + 5000, number, 1});
  }
  void Pause(uint64_t number) override { paused_ = number; }
  void Resume(uint64_t number) override {
    EXPECT_EQ(paused_, number);
    paused_ = 0;
  }
  void Drop(uint64_t number) override {
    EXPECT_EQ(1u, loaded_.erase(number)) << "dropped twice";
    ready_.erase(number);
  }
  void ShowReason(const std::string& reason) override {
    reason_ = reason;
    seen_ = "(" + reason + ")";
  }

 private:
  struct Event {
    int64_t atMs;
    uint64_t number;
    int kind;  ///< 0 loaded, 1 ended, 2 failed
    bool operator<(const Event& other) const { return atMs > other.atMs; }
  };

  void Happen(const Event& event) {
    if (loaded_.count(event.number) == 0) return;
    if (event.kind == 0) {
      ready_.insert(event.number);
      director_->OnLoaded(event.number, loaded_[event.number].rfind("never", 0) == 0, now_);
    } else if (event.number == paused_) {
      events_.push({event.atMs + 1000, event.number, event.kind});
    } else {
      director_->OnEnded(event.number, event.kind == 2 ? "it is bad" : "", now_);
    }
  }
  void OnNews(const ZoneNews& news) { failures_ += news.kind == ZoneNews::Kind::kFailed ? 1 : 0; }

  ZoneTime now_;
  std::unique_ptr<ZoneDirector> director_;
  std::priority_queue<Event> events_;
  std::map<uint64_t, std::string> loaded_;
  std::set<uint64_t> ready_;
  std::vector<Shown> shown_;
  size_t asked_ = 0;
  uint64_t paused_ = 0;
  std::string seen_;
  std::string reason_;
  unsigned failures_ = 0;
  std::mt19937 random_{7};
};

Moment At(const char* date, const char* time) {
  LocalTime clock(calendar);
  EXPECT_TRUE(clock.Open("Europe/Rome"));
  return clock.Of(*ReadDate(date), *ReadTimeOfDay(time));
}

std::string Document(const std::string& playlists, const std::string& schedule = "",
                     const std::string& fallback = "") {
  return R"({"timezone":"Europe/Rome","playlists":{)" + playlists +
         R"(},"zones":[{"name":"main","playlist":"all"}],"schedule":[)" + schedule + "]" +
         (fallback.empty() ? "" : ",\"fallback\":\"" + fallback + "\"") + "}";
}

TEST(ZoneDirectorTest, EveryItemEnds) {
  VirtualStage stage(Document(R"("all":["run","never",{"content":"never2","duration":"3s"}])"),
                     At("2026-11-23", "12:00"));
  stage.RunFor(40000);
  EXPECT_EQ("run never never2 run never never2 run ", stage.Contents());
  EXPECT_EQ(0u, stage.emptyFrames);

  VirtualStage alone(Document(R"("all":["never"])"), At("2026-11-23", "12:00"));
  alone.RunFor(3600000);
  EXPECT_EQ("never ", alone.Contents()) << "nobody waits for its place";
}

TEST(ZoneDirectorTest, WhatFailsIsSkippedAndAskedAgain) {
  VirtualStage stage(Document(R"("all":["run1","bad","never-loads","run2"])"),
                     At("2026-11-23", "12:00"));
  stage.RunFor(30000);
  EXPECT_EQ("run1 ", stage.Contents()) << "it stays while the next one loads";
  stage.RunFor(25000);
  EXPECT_EQ("run2 run1 run2 run1 run2 ", stage.Contents());
  const unsigned before = stage.Failures();
  EXPECT_EQ(2u, before);
  stage.RunFor(120000);
  EXPECT_GT(stage.Failures(), before);
}

TEST(ZoneDirectorTest, WhenNothingPlaysTheFallbackDoesThenTheReason) {
  VirtualStage stage(Document(R"("all":["bad1","bad2"],"other":["run"])", "", "other"),
                     At("2026-11-23", "12:00"));
  stage.RunFor(10000);
  EXPECT_EQ("run", stage.Seen());

  VirtualStage alone(Document(R"("all":["bad1","bad2"])"), At("2026-11-23", "12:00"));
  alone.RunFor(10000);
  EXPECT_EQ("(none of its contents can be played)", alone.Seen());
  VirtualStage empty(Document(R"("all":[])"), At("2026-11-23", "12:00"));
  empty.RunFor(10000);
  EXPECT_EQ("(there is nothing to play in \"all\")", empty.Seen());
}

TEST(ZoneDirectorTest, ABoundaryIsOnTheFrame) {
  VirtualStage stage(Document(R"("all":[{"content":"never","duration":"10m"}],"noon":["slow"])",
                              R"({"playlist":"noon","from":"12:00","to":"13:00"})"),
                     At("2026-11-23", "11:58"));
  stage.RunFor(5 * 60000);
  ASSERT_EQ(2u, stage.History().size());
  EXPECT_EQ("slow", stage.History()[1].content);
  EXPECT_EQ(At("2026-11-23", "12:00"), stage.History()[1].at.wall);
}

TEST(ZoneDirectorTest, AStartInTheMiddleFindsTheRightItem) {
  const std::string document = Document(
      R"("all":[],"noon":[{"content":"never1","duration":"10m"},{"content":"never2","duration":"20m"}])",
      R"({"playlist":"noon","from":"12:00","to":"14:00"})");
  VirtualStage stage(document, At("2026-11-23", "12:52"));
  stage.RunFor(10 * 60000);
  EXPECT_EQ("never2 never1 ", stage.Contents());
  EXPECT_NEAR(static_cast<double>(At("2026-11-23", "13:00")),
              static_cast<double>(stage.History()[1].at.wall), 1000);
}

TEST(ZoneDirectorTest, PrioritiesInterruptAsTheySay) {
  const char* const playlists = R"("all":[{"content":"never","duration":"10m"}],"x":["run"])";
  const auto run = [&](const char* how) {
    VirtualStage stage(
        Document(playlists,
                 std::string(R"({"playlist":"x","from":"12:01","to":"12:02","priority":1,)") +
                     R"("interrupt":")" + how + "\"}"),
        At("2026-11-23", "12:00"));
    stage.RunFor(12 * 60000);
    std::string text;
    for (const auto& shown : stage.History()) {
      if (shown.content == "never") {
        text += std::to_string((shown.at.wall - At("2026-11-23", "12:00")) / 1000) + " ";
      }
    }
    return text;
  };
  EXPECT_EQ("0 120 ", run("cut").substr(0, 6));
  EXPECT_EQ("0 120 660 ", run("resume")) << "goes on with what was left of ten minutes";
}

TEST(ZoneDirectorTest, AStepOfTheClockCountsAtOnce) {
  VirtualStage stage(
      Document(
          R"("all":[{"content":"never1","duration":"1h"}],"b":[{"content":"never2","duration":"1h"}])",
          R"({"playlist":"b","from":"15:00","to":"16:00"})"),
      At("2026-11-23", "12:00"));
  stage.RunFor(60000);
  stage.StepClock(3 * 3600000);
  stage.RunFor(2000);
  EXPECT_EQ("never2", stage.Seen());
  stage.StepClock(-3 * 3600000);
  stage.RunFor(2000);
  EXPECT_EQ("never1", stage.Seen());
  EXPECT_EQ(0u, stage.emptyFrames);
}

TEST(ZoneDirectorTest, ANewProgrammeWaitsForTheItem) {
  VirtualStage stage(Document(R"("all":["run1","run2","run3"])"), At("2026-11-23", "12:00"));
  stage.RunFor(8000);
  EXPECT_EQ("run1 run2 ", stage.Contents());
  stage.Director().SetProgramme(VirtualStage::Read(Document(R"("all":["run9","run2","run8"])")));
  stage.RunFor(1000);
  EXPECT_EQ("", stage.Contents());
  stage.RunFor(10000);
  EXPECT_EQ("run8 run9 ", stage.Contents()) << "goes on behind what was on";
}

TEST(ZoneDirectorTest, TheOperatorGoesForthAndBack) {
  VirtualStage stage(Document(R"("all":["run1","run2","run3"])"), At("2026-11-23", "12:00"));
  stage.RunFor(3000);
  stage.Director().Next(stage.Now());
  stage.RunFor(2000);
  stage.Director().Previous(stage.Now());
  stage.RunFor(2000);
  EXPECT_EQ("run1 run2 run1 ", stage.Contents());
  stage.Director().SetPaused(true, stage.Now());
  stage.RunFor(60000);
  EXPECT_EQ("", stage.Contents());
  EXPECT_TRUE(stage.Director().Status(stage.Now()).paused);
  stage.Director().SetPaused(false, stage.Now());
  Item once;
  once.content = "run7";
  stage.Director().PlayOnce(once, stage.Now());
  stage.RunFor(7000);
  EXPECT_EQ("run7 run2 ", stage.Contents());
}

/// A year with both nights of summer time, steps of the clock, new documents and failing contents.
TEST(ZoneDirectorTest, AYearIsRightToTheFrame) {
  const auto document = [](int version) {
    return Document(
        R"("all":[{"content":"never-v)" + std::to_string(version) +
            R"(","duration":"15m"},"bad",{"content":"never-b","duration":"7m"}],)"
            R"("lunch":[{"content":"never-l","duration":"9m"},{"content":"bad","duration":"1m"}],)"
            R"("night":[{"content":"slow-n","duration":"30m"}],"alarm":[{"content":"never-a","duration":"1m"}])",
        R"({"playlist":"lunch","from":"11:30","to":"14:00"},{"playlist":"night","from":"22:00","to":"06:00"},)"
        R"({"playlist":"alarm","from":"02:30","to":"02:45","priority":5},)"
        R"({"playlist":"alarm","rule":"FREQ=MONTHLY;BYDAY=1WE","from":"12:00","to":"12:05","priority":5})");
  };
  std::mt19937 random(11);
  VirtualStage stage(document(0), At("2026-01-01", "00:00"));
  const auto programme = VirtualStage::Read(document(0));
  Schedule plan(*programme, calendar);
  size_t checked = 0;
  size_t boundaries = 0;
  for (int round = 0; round < 365; ++round) {
    const Moment from = stage.Now().wall;
    stage.RunFor(24 * 3600000);
    // Each change of part of this day is on the screen with the first moment of it.
    for (Moment at = from; at < stage.Now().wall;) {
      const DayPart part = plan.At(programme->zones[0], at);
      // A step of the clock right before it leaves no time to load.
      const bool whole =
          part.begin > from + ZoneDirector::kLeadMs && part.entry != nullptr && part.begin == at;
      if (whole) {
        ++boundaries;
        bool found = false;
        for (size_t i = checked; i < stage.History().size() && !found; ++i) {
          found = stage.History()[i].at.wall == part.begin;
        }
        EXPECT_TRUE(found) << part.playlist << " on " << ShowDate(plan.Clock().At(at).day);
      }
      at = part.end;
    }
    checked = stage.History().size();
    if (round % 7 == 3) stage.Director().SetProgramme(VirtualStage::Read(document(round)));
    if (round % 2 == 1) stage.StepClock(static_cast<int64_t>(random() % 7200000) - 3600000);
  }
  EXPECT_GT(boundaries, 1000u);
  EXPECT_GT(stage.Failures(), 300u);
  EXPECT_GT(stage.History().size(), 20000u);
  EXPECT_EQ(0u, stage.emptyFrames) << "never a frame of neither";
}

}  // namespace
}  // namespace plexion_host
