#include <gmock/gmock.h>

#include "host/player/instance/PlayerRuntime.h"
#include "qx/plexion/StageWindowParameters.h"
#include "tests/host/player/PlayerFixture.h"

namespace plexion_host::player {
namespace {

using ::testing::StartsWith;

TEST(PlayerRuntimeTest, CopiesEveryFieldThatMeansSomethingToAPlayer) {
  TestKernel();
  StageWindowParameters from = {};
  from.contentPath = "a.mvx";
  from.base = "/base";
  from.zorBase = "/zor";
  from.zorCmdLine = "-x";
  from.keymap = "keys";
  from.morvelVars = "loop=3";
  from.qlrArgs = "qlr";
  from.sslClientCertTable = "table";
  from.sslCertsDir = "/certs";
  from.fontDirs = "/fonts";
  from.extensionsDir = "/edk";
  from.proxy = "10.0.0.1";
  from.proxyUser = "me";
  from.proxyPassword = "secret";
  from.locale = "de_DE.UTF-8";
  from.proxyPort = 3128;
  from.contentDims = {11, 12};
  from.bgAlpha = 13;
  from.profile = 1;
  from.gl = 2;
  from.traceFlags = 3;
  from.traceFps = 14;
  from.gcHeapLimit = 15;
  from.graphicsMemThreshold = 16;
  from.extraWord = 17;
  from.extraFlag = from.noSpeedLimit = from.debugMode = true;
  from.dcts = from.spdump = from.instrument = true;

  PlayerRuntime runtime;
  qx::core::morvellib::MorvelInstanceParameters to;
  runtime.FillInstanceParameters(to, from);
  EXPECT_STREQ("a.mvx", to.contentUrl.Utf8());
  EXPECT_STREQ("/base", to.base.Utf8());
  EXPECT_STREQ("/zor", to.zorBase.Utf8());
  EXPECT_STREQ("-x", to.zorCmdLine.Utf8());
  EXPECT_STREQ("keys", to.keymap.Utf8());
  EXPECT_STREQ("loop=3", to.morvelVars.Utf8());
  EXPECT_STREQ("qlr", to.qlrArgs.Utf8());
  EXPECT_STREQ("table", to.sslClientCertTable.Utf8());
  EXPECT_STREQ("/certs", to.sslCertsDir.Utf8());
  EXPECT_STREQ("/fonts", to.fontDirs.Utf8());
  EXPECT_STREQ("/edk", to.extensionsDir.Utf8());
  EXPECT_STREQ("10.0.0.1", to.proxy.Utf8());
  EXPECT_STREQ("me", to.proxyUser.Utf8());
  EXPECT_STREQ("secret", to.proxyPassword.Utf8());
  EXPECT_STREQ("de_DE.UTF-8", to.locale.Utf8());
  EXPECT_EQ(3128u, to.proxyPort);
  EXPECT_EQ(11u, to.contentWidth);
  EXPECT_EQ(12u, to.contentHeight);
  EXPECT_EQ(13u, to.bgAlpha);
  EXPECT_EQ(1, to.profile);
  EXPECT_EQ(2, to.gl);
  EXPECT_EQ(3u, to.traceFlags);
  EXPECT_EQ(14u, to.traceFpsMs);
  EXPECT_EQ(15u, to.gcHeapLimitMegabytes);
  EXPECT_EQ(16u, to.graphicsMemThresholdMegabytes);
  EXPECT_EQ(17u, to.extraWord);
  EXPECT_TRUE(to.extraFlag && to.noSpeedLimit && to.debugMode && to.dcts && to.spdump &&
              to.instrument);
  EXPECT_EQ("de_DE.UTF-8", CopySettings(to).locale);
  EXPECT_EQ("", CopySettings({}).locale) << "nobody named one";
}

TEST(PlayerRuntimeTest, NamesItselfWithinTheBuffer) {
  TestKernel();
  PlayerRuntime runtime;
  char text[64];
  runtime.GetVersion(text, sizeof text);
  EXPECT_THAT(text, StartsWith("Plexion player 0."));
  char small[8] = "xxxxxxx";
  runtime.GetVersion(small, 5);
  EXPECT_STREQ("Plex", small);
}

TEST(PlayerRuntimeTest, MakesAndDestroysInstancesThatWereNeverUsed) {
  TestKernel();
  PlayerRuntime runtime;
  qx::core::morvellib::MorvelInstance* instance = runtime.CreateMorvelInstance(nullptr);
  ASSERT_NE(nullptr, instance);
  EXPECT_EQ(kStatusUnconfigured, instance->GetStageWindowStatus());
  runtime.DestroyMorvelInstance(instance);
}

TEST(PlayerRuntimeTest, PlaysOnTheRealClockToo) {
  TestKernel();
  // A few milliseconds of real time: the one test of the clock that a host uses.
  ScriptedEngines engines;
  engines.script.facts = {{8, 8}, 240, 3};
  RecordingWindow window;
  FakePlane plane(8, 8);
  qx::core::morvellib::MorvelInstanceParameters parameters;
  parameters.notifier = &window;
  parameters.contentUrl.Assign("film.mvx");
  PlayerInstance player(nullptr, engines, SteadyPlayerClock());
  ASSERT_TRUE(player.Configure(parameters));
  ASSERT_TRUE(player.LoadMVX());
  ASSERT_TRUE(window.WaitFor(kStatusReadyToAnimate));
  const IQXKernel::Time began = SteadyPlayerClock().Now();
  ASSERT_TRUE(player.SetRenderPlane(&plane));
  ASSERT_TRUE(player.Play());
  ASSERT_TRUE(window.WaitForEnd());
  EXPECT_EQ(kStatusComplete, player.GetStageWindowStatus());
  EXPECT_GE(SteadyPlayerClock().Now() - began, 8 * kMs)
      << "three frames at 240 a second, of which the first began with those of other players";
}

}  // namespace
}  // namespace plexion_host::player
