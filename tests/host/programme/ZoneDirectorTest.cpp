// What a zone shows when: items, day parts, interruptions, failures, the operator.

#include "tests/host/programme/VirtualStage.h"

namespace plexion_host {
namespace {

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

TEST(ZoneDirectorTest, AnInterruptionWaitsForTheItemOrOnlyInterruptsWhatStillLasts) {
  // Waits for the item, and does not ask again and again meanwhile; for what has no end it does not.
  const char* const news =
      R"({"playlist":"news","from":"12:01","to":"12:20","interrupt":"after-item"})";
  VirtualStage waits(
      Document(R"("all":[{"content":"never1","duration":"10m"}],"news":["run"])", news),
      At("2026-11-23", "12:00"));
  waits.RunFor(9 * 60000);
  EXPECT_EQ("never1 ", waits.Contents());
  EXPECT_LT(waits.advances, 20u);
  waits.RunFor(62000);
  EXPECT_EQ("run ", waits.Contents());
  EXPECT_EQ(At("2026-11-23", "12:10"), waits.History()[1].at.wall / 60000 * 60000);
  VirtualStage stays(Document(R"("all":["never1"],"news":["run"])", news),
                     At("2026-11-23", "12:00"));
  stays.RunFor(62000);
  EXPECT_EQ("never1 run ", stays.Contents());

  // Two interruptions, one in the other; then one behind which another part counts.
  VirtualStage nested(
      Document(
          R"("all":[{"content":"never1","duration":"1h"}],"b":[{"content":"never2","duration":"1h"}],)"
          R"("c":[{"content":"never3","duration":"1h"}],"d":[{"content":"never4","duration":"1h"}])",
          R"({"playlist":"b","from":"12:10","to":"12:30","priority":1,"interrupt":"resume"},)"
          R"({"playlist":"c","from":"12:15","to":"12:20","priority":2,"interrupt":"resume"},)"
          R"({"playlist":"b","from":"13:00","to":"13:10","priority":1,"interrupt":"resume"},)"
          R"({"playlist":"d","from":"13:05","to":"14:00"})"),
      At("2026-11-23", "12:00"));
  nested.RunFor(70 * 60000 + 1000);
  EXPECT_EQ("never1 never2 never3 never2 never1 never2 never4 ", nested.Contents());
  EXPECT_EQ(At("2026-11-23", "13:10"), nested.History().back().at.wall);
}

TEST(ZoneDirectorTest, WhatNothingTakesThePlaceOfStaysOnAlthoughItIsInterrupted) {
  // The part's only content fails, or hangs: what it interrupts stands still below the reason, goes
  // on with what was left of it, and is dropped once.
  for (const char* const broken : {"bad", "never-loads"}) {
    const std::string document = Document(
        R"("all":[{"content":"never1","duration":"1h"},{"content":"never2","duration":"1h"}],"b":[")" +
            std::string(broken) + "\"]",
        R"({"playlist":"b","from":"12:10","to":"12:11","interrupt":"resume"})");
    VirtualStage stage(document, At("2026-11-23", "12:00"));
    stage.RunFor(10 * 60000 + 30000);
    EXPECT_EQ("(none of its contents can be played)", stage.Seen()) << broken;
    stage.RunFor(31000);
    EXPECT_EQ("never1 never1 ", stage.Contents()) << broken;
    EXPECT_EQ("never1", stage.Seen());
    stage.RunFor(50 * 60000);
    EXPECT_EQ("never2 ", stage.Contents()) << "an hour after its beginning, and a minute more";
    EXPECT_EQ(At("2026-11-23", "13:01") / 1000, stage.History().back().at.wall / 1000);
    EXPECT_EQ(0u, stage.emptyFrames);

    // It crashes while it is interrupted: the next one, and not the last picture of this.
    VirtualStage crashing(document, At("2026-11-23", "12:00"));
    crashing.RunFor(10 * 60000 + 5000);
    crashing.Crash("never1");
    crashing.RunFor(4 * 60000);
    EXPECT_EQ("never1 never2 ", crashing.Contents());

    // A new programme comes meanwhile: what is on stays until its content is ready.
    VirtualStage changed(document, At("2026-11-23", "12:00"));
    changed.RunFor(10 * 60000 + 5000);
    changed.Director().SetProgramme(VirtualStage::Read(Document(R"("all":["slow"])")));
    changed.RunFor(60000);
    EXPECT_EQ("never1 slow ", changed.Contents());
    EXPECT_EQ(0u, changed.emptyFrames);
  }
}

TEST(ZoneDirectorTest, AnItemLongerThanItsPartEndsWithIt) {
  VirtualStage stage(Document(R"("all":["run"],"noon":[{"content":"never","duration":"3h"}])",
                              R"({"playlist":"noon","from":"12:00","to":"12:30"})"),
                     At("2026-11-23", "12:00"));
  stage.RunFor(31 * 60000);
  ASSERT_GE(stage.History().size(), 2u);
  EXPECT_EQ("run", stage.History()[1].content);
  EXPECT_EQ(At("2026-11-23", "12:30"), stage.History()[1].at.wall);
}

TEST(ZoneDirectorTest, TheFallbackGivesWayWhenTheContentsCanBePlayedAgain) {
  VirtualStage stage(Document(R"("all":["bad1"],"other":["never"])", "", "other"),
                     At("2026-11-23", "12:00"));
  stage.RunFor(10000);
  EXPECT_EQ("never ", stage.Contents());
  stage.Mend("bad1");
  stage.RunFor(62000);
  EXPECT_EQ("bad1 ", stage.Contents()) << "also in the place of a fallback without an end";
  EXPECT_EQ(0u, stage.emptyFrames);
}

TEST(ZoneDirectorTest, WhatIsOverDoesNotStandForEver) {
  VirtualStage stage(Document(R"("all":["run1"])"), At("2026-11-23", "12:00"));
  stage.RunFor(2000);
  stage.Break("run1");
  stage.RunFor(15000);
  EXPECT_EQ("run1 run1 ", stage.Contents()) << "the second was loaded already";
  EXPECT_EQ("run1", stage.Seen()) << "its last picture";
  stage.RunFor(10000);
  EXPECT_EQ("(none of its contents can be played)", stage.Seen());
  EXPECT_EQ("none of its contents can be played", stage.Director().Status(stage.Now()).reason);
  stage.Mend("run1");
  stage.RunFor(62000);
  EXPECT_EQ("run1", stage.Seen());
}

TEST(ZoneDirectorTest, AnAlignedPassBeginsAtItsTime) {
  const auto stage = [](const char* items) {
    return VirtualStage(
        std::string(R"({"timezone":"Europe/Rome","zones":[{"name":"main","playlist":"all"}],)") +
            R"("playlists":{"all":{"align":"5m","items":[)" + items + "]}}}",
        At("2026-11-23", "12:01"));
  };
  // Entered where it would be by now; the pass of four minutes begins again after its end, and at
  // each fifth minute, whatever is on then.
  VirtualStage known =
      stage(R"({"content":"never1","duration":"2m"},{"content":"never2","duration":"2m"})");
  known.RunFor(18 * 60000 + 30000);
  std::string text;
  for (const auto& shown : known.History()) {
    const int64_t since = shown.at.wall - At("2026-11-23", "12:00");
    text += shown.content.substr(5) + "@" + std::to_string(since / 60000) + " ";
    EXPECT_TRUE(since / 60000 % 5 != 0 || since % 60000 == 0) << "on the frame";
  }
  EXPECT_EQ("1@1 2@2 1@4 1@5 2@7 1@9 1@10 2@12 1@14 1@15 2@17 1@19 ", text);
  // What has an end that nobody knows is cut as well.
  VirtualStage unknown = stage(R"("never1","run1","never2")");
  unknown.RunFor(9 * 60000 + 500);
  EXPECT_EQ("never1", unknown.Seen());
  EXPECT_EQ(At("2026-11-23", "12:10"), unknown.History().back().at.wall);
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

TEST(ZoneDirectorTest, WhatHasNoEndDoesNotKeepANewProgrammeOut) {
  VirtualStage stage(Document(R"("all":["never1"])"), At("2026-11-23", "12:00"));
  stage.RunFor(60000);
  stage.Director().SetProgramme(VirtualStage::Read(Document(R"("all":["never1"])")));
  stage.RunFor(6000);
  EXPECT_EQ("never1 ", stage.Contents()) << "the same stays";
  stage.Director().SetProgramme(VirtualStage::Read(Document(R"("all":["never2","run"])")));
  stage.RunFor(8000);
  EXPECT_EQ("never2 ", stage.Contents());
  EXPECT_EQ(0u, stage.emptyFrames);
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
  EXPECT_EQ("operator", stage.History()[3].reason);
  EXPECT_EQ("next", stage.History()[4].reason);

  EXPECT_FALSE(stage.Director().PlayItem("run9", stage.Now()));
  EXPECT_TRUE(stage.Director().PlayItem("run1", stage.Now()));
  stage.RunFor(7000);
  EXPECT_EQ("run1 run2 ", stage.Contents()) << "goes on behind it";
  const ZoneStatus status = stage.Director().Status(stage.Now());
  EXPECT_EQ("run2", status.content);
  EXPECT_EQ(2u, status.item);
  EXPECT_EQ(3u, status.items);
  EXPECT_EQ("run3", status.next);

  // What has no end ends for the operator, and begins again when it is alone.
  VirtualStage alone(Document(R"("all":["never"])"), At("2026-11-23", "12:00"));
  alone.RunFor(3000);
  alone.Director().Next(alone.Now());
  alone.RunFor(3000);
  EXPECT_EQ("never never ", alone.Contents());
  alone.Director().PlayOnce(once, alone.Now());
  alone.RunFor(8000);
  EXPECT_EQ("run7 never ", alone.Contents());
}

}  // namespace
}  // namespace plexion_host
