// Promises of the player runtime: an instance from its creation to its end.

#include <cstring>

#include "kit/certify/Groups.h"
#include "kit/certify/bench/PlayerStage.h"
#include "qx/plexion/StageWindowParameters.h"

namespace plexion_certify {
namespace {

using namespace qx::plexion;  // statuses
using qx::core::morvellib::MorvelInstanceParameters;

std::string Now(PlayerStage& stage) {
  return PlayerStage::NameOf(stage.Instance().GetStageWindowStatus());
}

/// Printed by hosts into a buffer of theirs: what is cut has its zero all the same.
void Version(Case& c) {
  char text[64];
  memset(text, '#', sizeof(text));
  c.Step("GetVersion with 64 bytes of room");
  PlayerUnderTest(c).GetVersion(text, sizeof(text));
  CERTIFY_REQUIRE(c, memchr(text, '\0', sizeof(text)) != nullptr && text[0] != '\0',
                  "a text with its zero", std::string(text, 20));
  for (const unsigned long size : {1UL, 4UL}) {
    memset(text, '#', sizeof(text));
    c.Step(Text("GetVersion with %lu bytes of room", size));
    PlayerUnderTest(c).GetVersion(text, size);
    CERTIFY_REQUIRE(c, text[size] == '#', Text("%lu bytes at most", size),
                    "bytes were written behind them");
    CERTIFY_REQUIRE(c, memchr(text, '\0', size) != nullptr, "a zero within them",
                    std::string(text, size));
  }
}

void Format(Case& c) {
  CERTIFY_REQUIRE(c, PlayerUnderTest(c).GetDefaultPixelFormat() != 0,
                  "a pixel format, which 0 is not", "0");
}

/// Texts of a command line are borrowed, and may go when the window is configured.
void Fill(Case& c) {
  StageWindowParameters from;
  memset(static_cast<void*>(&from), 0, sizeof(from));
  char path[] = "/content/of/certify.mvx";
  from.contentPath = path;
  MorvelInstanceParameters to;
  c.Step("FillInstanceParameters where all but the content is null");
  PlayerUnderTest(c).FillInstanceParameters(to, from);
  memset(path, '#', sizeof(path) - 1);
  CERTIFY_REQUIRE(c, strcmp(to.contentUrl.Utf8(), "/content/of/certify.mvx") == 0,
                  "contentUrl is a copy of the window's contentPath",
                  std::string("\"") + to.contentUrl.Utf8() + "\"");
}

/// A window asks its player for its status from the first moment on; there is no other place that has it.
void Unconfigured(Case& c) {
  PlayerStage stage(c);
  CERTIFY_REQUIRE(c, stage.Instance().GetStageWindowStatus() == kStatusUnconfigured,
                  "kStatusUnconfigured before Configure", Now(stage));
  CERTIFY_REQUIRE(c, stage.Instance().GetLoadSettings() != nullptr,
                  "load settings, which are never null", "null");
  const Dims dims = stage.Instance().GetMVXAuthoredStageDims();
  CERTIFY_REQUIRE(c, dims.width == 0 && dims.height == 0,
                  "an authored size of 0,0 while it is not known",
                  Text("%ux%u", dims.width, dims.height));
}

void Configures(Case& c) {
  PlayerStage stage(c);
  CERTIFY_REQUIRE(c, stage.Configure(), "Configure answers true", "false");
  CERTIFY_REQUIRE(c, stage.Instance().GetStageWindowStatus() == kStatusConfigured,
                  "kStatusConfigured", Now(stage));
  auto* const settings = stage.Instance().GetLoadSettings();
  CERTIFY_REQUIRE(c, settings != nullptr && ContentOf(c) == settings->contentUrl.Utf8(),
                  "load settings with the content",
                  settings == nullptr ? "null" : settings->contentUrl.Utf8());
}

/// Windows wait for one of these and take it for all before it: one that comes late or twice wakes them wrongly.
void LoadsInOrder(Case& c) {
  PlayerStage stage(c);
  stage.ConfigureAndLoad();
  int last = kStatusUnconfigured;  // kStatusConfigured may be announced, too
  for (const Heard& heard : stage.All()) {
    if (heard.status > kStatusReadyToAnimate) continue;
    CERTIFY_REQUIRE(c, heard.status > last,
                    "kStatusLoading, kStatusLoaded and kStatusReadyToAnimate in this order, once",
                    PlayerStage::NameOf(heard.status) + " after " +
                        PlayerStage::NameOf(static_cast<StageWindowStatus>(last)));
    last = heard.status;
  }
  CERTIFY_REQUIRE(c, stage.WasHeard(kStatusLoaded),
                  "kStatusLoaded announced before kStatusReadyToAnimate", "it was not");
  const Dims dims = stage.Instance().GetMVXAuthoredStageDims();
  CERTIFY_REQUIRE(c, dims.width > 0 && dims.height > 0, "the authored size",
                  Text("%ux%u", dims.width, dims.height));
}

/// The window makes its planes from inside of this notification, in this size.
void SizeWhenLoaded(Case& c) {
  Dims atLoaded = {0, 0};
  PlayerStage stage(c);
  stage.whenHeard = [&](StageWindowStatus status) {
    if (status == kStatusLoaded) atLoaded = stage.Instance().GetMVXAuthoredStageDims();
  };
  stage.ConfigureAndLoad();
  CERTIFY_REQUIRE(c, atLoaded.width > 0 && atLoaded.height > 0,
                  "the authored size from inside of kStatusLoaded's notification",
                  Text("%ux%u", atLoaded.width, atLoaded.height));
  stage.Destroy();
}

/// LoadMVX is no wait: the module waits by itself, and would otherwise hold its lock for the whole of a load.
void BothLoads(Case& c) {
  PlayerStage stage(c);
  CERTIFY_REQUIRE(c, stage.Configure(), "Configure answers true", "false");
  bool accepted = false;
  stage.Do("LoadMVX", [&] { accepted = stage.Instance().LoadMVX(); });
  CERTIFY_REQUIRE(c, accepted, "LoadMVX answers true", "false");
  CERTIFY_REQUIRE(c, stage.WaitFor(kStatusReadyToAnimate), "LoadMVX loads as LoadMVXAsync does",
                  Now(stage));
}

/// Whoever is woken by a notification asks for the status at once, and must not get the one before.
void StoredFirst(Case& c) {
  PlayerStage stage(c);
  stage.ConfigureAndLoad();
  stage.GivePlane();
  stage.PlayFrames(2);
  stage.Do("Pause", [&] { stage.Instance().Pause(); });
  stage.WaitFor(kStatusPaused);
  stage.Do("Terminate", [&] { stage.Instance().Terminate(kErrorFatalPlaybackError); });
  stage.WaitFor(kErrorFatalPlaybackError);
  for (const Heard& heard : stage.All()) {
    if (heard.status > kErrorUnsupportedVersion) {
      CERTIFY_REQUIRE(c, heard.answered <= kErrorUnsupportedVersion,
                      "a status from GetStageWindowStatus, never an event",
                      PlayerStage::NameOf(heard.answered));
    } else {
      // A load that was asked for meanwhile may have gone on from it.
      const bool later = heard.status < kStatusPlaying && heard.answered > heard.status;
      CERTIFY_REQUIRE(c, heard.answered == heard.status || later,
                      "GetStageWindowStatus answers " + PlayerStage::NameOf(heard.status) +
                          " from inside of its notification: it is stored first",
                      PlayerStage::NameOf(heard.answered));
    }
  }
}

/// The way of "go": another content is written into the settings between Configure and the load.
void Settings(Case& c) {
  PlayerStage stage(c, "/nowhere/missing-content");
  CERTIFY_REQUIRE(c, stage.Configure(), "Configure answers true: the content is not opened yet",
                  "false");
  stage.Instance().GetLoadSettings()->contentUrl.Assign(ContentOf(c).c_str());
  stage.Do("LoadMVXAsync", [&] { stage.Instance().LoadMVXAsync(); });
  CERTIFY_REQUIRE(c, stage.WaitFor(kStatusReadyToAnimate),
                  "the content that the load settings name at the load", Now(stage));
}

/// An error that is stored but not announced leaves the window waiting for ever.
void NoSuchContent(Case& c) {
  PlayerStage stage(c, "/nowhere/missing-content");
  CERTIFY_REQUIRE(c, stage.Configure(), "Configure answers true: the content is not opened yet",
                  "false");
  stage.Do("LoadMVXAsync", [&] { stage.Instance().LoadMVXAsync(); });
  const auto ended = [&] { return IsTerminalStatus(stage.Instance().GetStageWindowStatus()); };
  CERTIFY_REQUIRE(c, c.Until(ended, 15000), "an error status for a content that there is not",
                  Now(stage));
  const StageWindowStatus status = stage.Instance().GetStageWindowStatus();
  CERTIFY_REQUIRE(c, status != kStatusComplete, "an error status", Now(stage));
  CERTIFY_REQUIRE(c, stage.WaitFor(status, 2000),
                  PlayerStage::NameOf(status) + " announced as well",
                  "it was not: a window would wait for ever");
}

void Plays(Case& c) {
  PlayerStage stage(c);
  stage.ConfigureAndLoad();
  stage.GivePlane();
  stage.PlayFrames(5);
}

/// A host may say Play first and make planes when the screen is there.
void PlayBeforePlane(Case& c) {
  PlayerStage stage(c);
  stage.ConfigureAndLoad();
  bool accepted = false;
  stage.Do("Play without a render plane", [&] { accepted = stage.Instance().Play(); });
  CERTIFY_REQUIRE(c, accepted, "true", "false");
  c.SleepMs(30);
  CERTIFY_REQUIRE(c, stage.Frames() == 0, "no frame without a plane", Text("%d", stage.Frames()));
  stage.GivePlane();
  CERTIFY_REQUIRE(c, stage.WaitForFrames(2), "it plays as soon as there is a plane",
                  Text("%d frames, ", stage.Frames()) + Now(stage));
}

/// One frame may be under way; a second one means that it plays on.
void Pauses(Case& c) {
  PlayerStage stage(c);
  stage.ConfigureAndLoad();
  stage.GivePlane();
  stage.PlayFrames(2);
  bool accepted = false;
  stage.Do("Pause", [&] { accepted = stage.Instance().Pause(); });
  CERTIFY_REQUIRE(c, accepted && stage.WaitFor(kStatusPaused), "kStatusPaused", Now(stage));
  const int before = stage.Frames();
  c.SleepMs(250);
  CERTIFY_REQUIRE(c, stage.Frames() <= before + 1, "no frames while it is paused",
                  Text("%d", stage.Frames() - before));
  stage.Do("Play", [&] { accepted = stage.Instance().Play(); });
  const auto plays = [&] { return stage.Instance().GetStageWindowStatus() == kStatusPlaying; };
  CERTIFY_REQUIRE(c, accepted && c.Until(plays, 10000), "kStatusPlaying again", Now(stage));
  CERTIFY_REQUIRE(c, stage.WaitForFrames(before + 3), "it draws on",
                  Text("%d frames more", stage.Frames() - before));
}

/// The window is destroyed in answer to this: what came after it would reach nobody, or what lies there then.
void Completes(Case& c) {
  PlayerStage stage(c);
  stage.ConfigureAndLoad();
  stage.GivePlane();
  stage.PlayFrames(1);
  const int limit =
      static_cast<int>(c.GetOptions().limitSeconds * 500);  // before the process's own
  c.Step("waiting for the content's end");
  CERTIFY_REQUIRE(
      c, stage.WaitFor(kStatusComplete, limit),
      Text("kStatusComplete within %d s: content of two to ten seconds is asked for", limit / 1000),
      Now(stage));
  const int count = stage.Count();
  c.SleepMs(150);
  CERTIFY_REQUIRE(c, stage.Count() == count, "nothing more after kStatusComplete",
                  Text("%d notifications", stage.Count() - count));
  CERTIFY_REQUIRE(c, stage.Instance().GetStageWindowStatus() == kStatusComplete,
                  "kStatusComplete stays", Now(stage));
}

/// Without a plane, with one, and in the middle of playing: a stuck window is ended by this alone.
void Terminates(Case& c) {
  for (int when = 0; when < 3; ++when) {
    PlayerStage stage(c);
    stage.ConfigureAndLoad();
    if (when > 0) stage.GivePlane();
    if (when > 1) stage.PlayFrames(2);
    bool accepted = false;
    stage.Do("Terminate", [&] { accepted = stage.Instance().Terminate(kErrorTallyScriptStuck); });
    CERTIFY_REQUIRE(c, accepted, "Terminate answers true", "false");
    CERTIFY_REQUIRE(c, stage.WaitFor(kErrorTallyScriptStuck),
                    "the status of Terminate announced, whatever the instance is doing",
                    Now(stage));
    c.SleepMs(30);
    const int count = stage.Count();
    c.SleepMs(100);
    CERTIFY_REQUIRE(c, stage.Count() == count, "nothing more after a terminal status",
                    Text("%d notifications", stage.Count() - count));
    CERTIFY_REQUIRE(c, stage.Instance().GetStageWindowStatus() == kErrorTallyScriptStuck,
                    "the status stays", Now(stage));
  }
}

void Anytime(Case& c) {
  // As the window's events come: at every moment of an instance's life.
  PlayerStage stage(c);
  const auto all = [&](const char* when) {
    auto& instance = stage.Instance();
    stage.Do(std::string("input ") + when, [&] {
      for (const unsigned long key : {0x01000001UL, 65UL, 0x01000007UL}) {
        instance.KeyDown(key);
        instance.KeyUp(key);
      }
      instance.MouseMove(3, 4);
      instance.MouseButtonDown(kMouseButtonLeft, 3, 4);
      instance.MouseButtonUp(kMouseButtonLeft, 3, 4);
      instance.MouseMove(65535, 65535);
      instance.ScrollWheelScroll(kScrollWheelDown, 1);
      instance.SendEvent(7);
      instance.Activate();
      instance.Deactivate();
      instance.SetStageRect({0, 0, 640, 360});
      instance.UpdateProxyParameters(nullptr, 0, nullptr, nullptr);
      instance.UpdateProxyParameters("10.0.0.1", 8080, "user", "word");
    });
  };
  CERTIFY_REQUIRE(c, stage.Configure(), "Configure answers true", "false");
  all("before the load");
  stage.Do("LoadMVXAsync", [&] { stage.Instance().LoadMVXAsync(); });
  all("while it loads");
  CERTIFY_REQUIRE(c, stage.WaitFor(kStatusReadyToAnimate), "kStatusReadyToAnimate", Now(stage));
  all("without a plane");
  stage.GivePlane();
  stage.PlayFrames(1);
  for (int i = 0; i < 20; ++i) all("while it plays");
  stage.Do("Terminate", [&] { stage.Instance().Terminate(kErrorFatalPlaybackError); });
  stage.WaitFor(kErrorFatalPlaybackError);
  all("after its end");
}

/// In all of its states, each of which has a thread in another place; it must return, and say nothing afterwards.
void DestroyAnytime(Case& c) {
  for (int when = 0; when < 6; ++when) {
    PlayerStage stage(c);
    if (when >= 1) CERTIFY_REQUIRE(c, stage.Configure(), "Configure answers true", "false");
    if (when >= 2) stage.Do("LoadMVXAsync", [&] { stage.Instance().LoadMVXAsync(); });
    if (when >= 3) stage.WaitFor(kStatusReadyToAnimate);
    if (when >= 4) stage.GivePlane();
    if (when >= 5) stage.PlayFrames(2);
    static const char* const moments[] = {"created",  "configured",  "loading",
                                          "is ready", "has a plane", "plays"};
    stage.Do(std::string("destroying an instance that ") + moments[when], [&] { stage.Destroy(); });
    const int count = stage.Count();
    c.SleepMs(20);
    CERTIFY_REQUIRE(c, stage.Count() == count, "nothing from an instance that was destroyed",
                    "a notification");
  }
}

constexpr Promise kPromises[] = {
    {"player.version", "The version is a text with its zero, in the room that there is.",
     Level::kContract, "", Version},
    {"player.format", "The default pixel format is one.", Level::kBasic, "", Format},
    {"player.fill", "FillInstanceParameters copies texts, and takes null for those not given.",
     Level::kBasic, "", Fill},
    {"player.create", "A new instance is unconfigured, with load settings and without a size.",
     Level::kBasic, "", Unconfigured},
    {"player.configure",
     "Configure makes it configured and names the content in its load settings.", Level::kBasic,
     "player.create", Configures},
    {"player.load", "A load announces loaded and ready, in order, without a render plane.",
     Level::kBasic, "player.configure", LoadsInOrder},
    {"player.load-both", "LoadMVX starts the load and returns, as LoadMVXAsync does.",
     Level::kContract, "player.load", BothLoads},
    {"player.size", "The authored size is known when kStatusLoaded is announced.", Level::kContract,
     "player.load", SizeWhenLoaded},
    {"player.settings", "What is loaded is what the load settings name then.", Level::kContract,
     "player.load", Settings},
    {"player.missing", "Content that cannot be had ends in an error, which is announced.",
     Level::kBasic, "player.configure", NoSuchContent},
    {"player.play", "Play shows frames.", Level::kBasic, "player.load", Plays},
    {"player.play-before-plane", "Play before there is a plane begins when there is one.",
     Level::kContract, "player.play", PlayBeforePlane},
    {"player.pause", "Pause stops the frames; Play goes on.", Level::kContract, "player.play",
     Pauses},
    {"player.complete", "Content ends in kStatusComplete, and nothing comes after it.",
     Level::kContract, "player.play", Completes},
    {"player.terminate", "Terminate ends it with the status given, at any moment.",
     Level::kContract, "player.play", Terminates},
    {"player.stored-first", "A status is stored before it is announced.", Level::kContract,
     "player.pause player.terminate", StoredFirst},
    {"player.input", "Keys, pointer, activation and proxy are taken at any moment.",
     Level::kContract, "player.play", Anytime},
    {"player.destroy-anytime", "An instance can be destroyed at any moment, and is silent then.",
     Level::kBasic, "player.destroy-waits", DestroyAnytime},
};

}  // namespace

PromiseGroup PlayerLifePromises() {
  return MakeGroup("Player: life of an instance", "qx/core/morvellib/MorvelInstance.h",
                   "The window asks the instance for everything, and stores nothing itself: a "
                   "status that is announced\n"
                   "before it is stored is read as the one before it.",
                   kPromises);
}

}  // namespace plexion_certify
