// Promises of the player runtime: its thread, its locks, what it gives back.

#include "kit/certify/Groups.h"
#include "kit/certify/bench/PlayerStage.h"

namespace plexion_certify {
namespace {

using namespace qx::plexion;  // statuses

void OwnThread(Case& c) {
  PlayerStage stage(c);
  stage.checksCaller = true;
  stage.ConfigureAndLoad();
  stage.GivePlane();
  stage.PlayFrames(2);
  stage.Do("RequestInterFrameNotification",
           [&] { stage.Instance().RequestInterFrameNotification(); });
  stage.Do("SetRenderPlane of the same plane",
           [&] { stage.Instance().SetRenderPlane(stage.plane); });
  stage.Do("KeyDown", [&] { stage.Instance().KeyDown(0x01000001); });
  stage.Do("SetStageRect", [&] { stage.Instance().SetStageRect({0, 0, 320, 180}); });
  stage.Do("Pause", [&] { stage.Instance().Pause(); });
  stage.WaitFor(kStatusPaused);
  stage.Do("Play", [&] { stage.Instance().Play(); });
  stage.Do("Terminate", [&] { stage.Instance().Terminate(kErrorFatalPlaybackError); });
  stage.WaitFor(kErrorFatalPlaybackError);
  const std::vector<Heard> all = stage.All();
  for (const Heard& heard : all) {
    CERTIFY_REQUIRE(c, pthread_equal(heard.thread, all.front().thread) != 0,
                    "every notification of an instance on one thread, the player's own",
                    PlayerStage::NameOf(heard.status) + " on another than the first");
  }
}

/// Holds the player's thread in the notification of `held` and makes every call meanwhile.
void CallsWhileHeld(Case& c, StageWindowStatus held) {
  std::atomic<bool> inside{false}, mayLeave{false};  // outlive the stage, which calls back
  PlayerStage stage(c);
  stage.whenHeard = [&](StageWindowStatus status) {
    if (status != held || inside.exchange(true)) return;
    c.Until([&] { return mayLeave.load(); }, 4000);
  };
  CERTIFY_REQUIRE(c, stage.Configure(), "Configure answers true", "false");
  const bool beforePlay = held < kStatusPlaying;
  if (beforePlay) {
    stage.Instance().LoadMVXAsync();
  } else {
    stage.Instance().LoadMVXAsync();
    CERTIFY_REQUIRE(c, stage.WaitFor(kStatusReadyToAnimate), "kStatusReadyToAnimate",
                    "it did not come");
    stage.GivePlane();
    stage.Instance().Play();
    if (held == kStatusPaused) {
      stage.WaitForFrames(1);
      stage.Instance().Pause();
    }
  }
  if (!c.Until([&] { return inside.load(); }, 10000)) {
    CERTIFY_REQUIRE(c, held == kStatusLoading, PlayerStage::NameOf(held) + " announced",
                    "it was not");
    return;  // a player may go from configured to loaded at once
  }
  std::atomic<const char*> calling{""};
  std::atomic<bool> returned{false};
  {
    CaseThread other(c, [&] {
      auto& instance = stage.Instance();
      const auto call = [&](const char* what, const std::function<void()>& body) {
        calling = what;
        body();
      };
      call("GetStageWindowStatus", [&] { instance.GetStageWindowStatus(); });
      call("GetMVXAuthoredStageDims", [&] { instance.GetMVXAuthoredStageDims(); });
      call("GetLoadSettings", [&] { instance.GetLoadSettings(); });
      call("KeyDown", [&] { instance.KeyDown(65); });
      call("KeyUp", [&] { instance.KeyUp(65); });
      call("MouseMove", [&] { instance.MouseMove(1, 1); });
      call("MouseButtonDown", [&] { instance.MouseButtonDown(kMouseButtonLeft, 1, 1); });
      call("MouseButtonUp", [&] { instance.MouseButtonUp(kMouseButtonLeft, 1, 1); });
      call("ScrollWheelScroll", [&] { instance.ScrollWheelScroll(kScrollWheelUp, 1); });
      call("SendEvent", [&] { instance.SendEvent(7); });
      call("Activate", [&] { instance.Activate(); });
      call("Deactivate", [&] { instance.Deactivate(); });
      call("SetStageRect", [&] { instance.SetStageRect({0, 0, 100, 100}); });
      call("UpdateProxyParameters",
           [&] { instance.UpdateProxyParameters("10.0.0.1", 80, nullptr, nullptr); });
      call("RequestInterFrameNotification", [&] { instance.RequestInterFrameNotification(); });
      if (!beforePlay) call("SetRenderPlane", [&] { instance.SetRenderPlane(stage.plane); });
      call("Pause", [&] { instance.Pause(); });
      call("Play", [&] { instance.Play(); });
      call("Terminate", [&] { instance.Terminate(kErrorFatalPlaybackError); });
      returned = true;
    });
    c.Step("calling every operation while the player's thread is in a notification of " +
           PlayerStage::NameOf(held));
    const bool back = c.Until([&] { return returned.load(); }, 2500);
    CERTIFY_EXPECT(c, back,
                   "every operation returns while " + PlayerStage::NameOf(held) +
                       " is being announced: no lock is held that an operation takes",
                   std::string(calling.load()) + " waits for the player's thread");
    mayLeave = true;
  }
  stage.Destroy();  // nothing calls back after it
}

void FreeWhileLoading(Case& c) {
  for (const StageWindowStatus held : {kStatusLoading, kStatusLoaded, kStatusReadyToAnimate}) {
    CallsWhileHeld(c, held);
    if (c.HasFailed()) return;
  }
}

void FreeWhilePlaying(Case& c) {
  for (const StageWindowStatus held : {kStatusPlaying, kInfoRenderPlaneUpdated, kStatusPaused}) {
    CallsWhileHeld(c, held);
    if (c.HasFailed()) return;
  }
}

void CallsBack(Case& c) {
  // The window's own thread of thought: it asks, and ends content, from inside of a notification.
  std::atomic<bool> called{false};
  PlayerStage stage(c);
  stage.whenHeard = [&](StageWindowStatus status) {
    auto& instance = stage.Instance();
    instance.GetStageWindowStatus();
    instance.GetMVXAuthoredStageDims();
    if (status != kInfoRenderPlaneUpdated || stage.Frames() < 2 || called.exchange(true)) return;
    instance.RequestInterFrameNotification();
    instance.KeyDown(65);
    instance.SetStageRect({0, 0, 320, 180});
    instance.Terminate(kErrorNotEnoughMemory);
  };
  stage.ConfigureAndLoad();
  stage.GivePlane();
  stage.Do("Play, with calls from inside of the notifications", [&] { stage.Instance().Play(); });
  CERTIFY_REQUIRE(c, stage.WaitFor(kErrorNotEnoughMemory),
                  "Terminate on the player's own thread ends it",
                  PlayerStage::NameOf(stage.Instance().GetStageWindowStatus()));
  stage.Destroy();
}

void BetweenFrames(Case& c) {
  PlayerStage stage(c);
  stage.ConfigureAndLoad();
  stage.GivePlane();
  stage.PlayFrames(2);
  CERTIFY_REQUIRE(c, stage.BetweenFrames() == 0,
                  "no inter-frame notification that was not requested",
                  Text("%d", stage.BetweenFrames()));
  for (int i = 1; i <= 4; ++i) {
    stage.Do("RequestInterFrameNotification while it plays",
             [&] { stage.Instance().RequestInterFrameNotification(); });
    CERTIFY_REQUIRE(c, c.Until([&] { return stage.BetweenFrames() >= i; }, 3000),
                    "one notification for each request",
                    Text("none within three seconds of request %d", i));
  }
  c.SleepMs(60);
  CERTIFY_REQUIRE(c, stage.BetweenFrames() == 4, "four notifications for four requests",
                  Text("%d", stage.BetweenFrames()));
}

void BetweenFramesPaused(Case& c) {
  PlayerStage stage(c);
  stage.ConfigureAndLoad();
  stage.GivePlane();
  stage.Do("RequestInterFrameNotification before Play",
           [&] { stage.Instance().RequestInterFrameNotification(); });
  CERTIFY_REQUIRE(c, c.Until([&] { return stage.BetweenFrames() >= 1; }, 3000),
                  "the notification soon also of content that does not play yet",
                  "none within three seconds");
  stage.PlayFrames(1);
  stage.Do("Pause", [&] { stage.Instance().Pause(); });
  stage.WaitFor(kStatusPaused);
  stage.Do("RequestInterFrameNotification while it is paused",
           [&] { stage.Instance().RequestInterFrameNotification(); });
  CERTIFY_REQUIRE(c, c.Until([&] { return stage.BetweenFrames() >= 2; }, 3000),
                  "the notification soon also while it is paused", "none within three seconds");
}

void NothingDrawnBetween(Case& c) {
  std::atomic<bool> drawn{false};
  PlayerStage stage(c);
  stage.whenBetweenFrames = [&] {
    const int locks = stage.plane->LockCalls();
    c.SleepMs(80);
    drawn = drawn || stage.plane->LockCalls() != locks;
  };
  stage.ConfigureAndLoad();
  stage.GivePlane();
  stage.PlayFrames(1);
  stage.Do("RequestInterFrameNotification",
           [&] { stage.Instance().RequestInterFrameNotification(); });
  CERTIFY_REQUIRE(c, c.Until([&] { return stage.BetweenFrames() > 0; }, 8000),
                  "OnMorvelInstanceInterFrameNotification after it was asked for",
                  "none in eight seconds");
  CERTIFY_REQUIRE(c, !drawn, "nothing is drawn until the inter-frame notification has returned",
                  "the plane was locked meanwhile");
  stage.Destroy();
}

void DestroyWaits(Case& c) {
  std::atomic<bool> inside{false}, left{false}, destroyed{false}, tooEarly{false};
  PlayerStage stage(c);
  stage.whenHeard = [&](StageWindowStatus status) {
    if (status != kInfoRenderPlaneUpdated || inside.exchange(true)) return;
    c.SleepMs(120);
    tooEarly = destroyed.load();
    left = true;
  };
  stage.ConfigureAndLoad();
  stage.GivePlane();
  stage.Do("Play", [&] { stage.Instance().Play(); });
  CERTIFY_REQUIRE(c, c.Until([&] { return inside.load(); }, 10000), "a frame", "none");
  stage.Destroy();
  destroyed = true;
  CERTIFY_REQUIRE(c, left && !tooEarly,
                  "DestroyMorvelInstance returns when the callback under way has returned",
                  "it returned while the player's thread was in one");
}

void ThreadEnds(Case& c) {
  {
    PlayerStage warm(c);  // what a runtime makes once, and keeps, is no instance's
    warm.ConfigureAndLoad();
    warm.GivePlane();
    warm.PlayFrames(1);
  }
  c.SleepMs(300);
  const int threads = ThreadCount(), files = DescriptorCount();
  for (int i = 0; i < 5; ++i) {
    PlayerStage stage(c);
    stage.ConfigureAndLoad();
    stage.GivePlane();
    stage.PlayFrames(1);
  }
  c.Step("counting threads and open files after five instances");
  c.Until([&] { return ThreadCount() <= threads && DescriptorCount() <= files; }, 2000);
  CERTIFY_REQUIRE(c, ThreadCount() <= threads,
                  Text("%d threads of the process, as before", threads), Text("%d", ThreadCount()));
  CERTIFY_REQUIRE(c, DescriptorCount() <= files, Text("%d open files, as before", files),
                  Text("%d", DescriptorCount()));
}

void MemoryBack(Case& c) {
  {
    PlayerStage warm(c);
    warm.ConfigureAndLoad();
    warm.GivePlane();
    warm.PlayFrames(1);
  }
  const Balance before = c.GetBench().Ledger().Out();
  {
    PlayerStage stage(c);
    stage.ConfigureAndLoad();
    stage.GivePlane();
    stage.PlayFrames(2);
    stage.Destroy();
    CERTIFY_REQUIRE(c, stage.window.watchdog.Blocks() == 0,
                    "every block of the memory watchdog given back",
                    Text("%ld blocks of %lu bytes", stage.window.watchdog.Blocks(),
                         stage.window.watchdog.GetBytesUsed()));
    CERTIFY_REQUIRE(c, stage.plane->Locks() == 0, "every LockPixels with its UnlockPixels",
                    Text("%d too many", stage.plane->Locks()));
  }
  Balance after = c.GetBench().Ledger().Out();
  after.modules = before.modules;  // PlayerUnderTest holds one more each time
  CERTIFY_REQUIRE(c, after.Equals(before, !c.GetOptions().KernelFindsModules()),
                  "everything of the kernel given back: " + before.ToText(), after.ToText());
}

void Together(Case& c) {
  constexpr int kMany = 64;
  std::vector<std::unique_ptr<PlayerStage>> stages;
  for (int i = 0; i < kMany; ++i) {
    stages.push_back(std::make_unique<PlayerStage>(c));
    CERTIFY_REQUIRE(c, stages.back()->Configure(), Text("instance %d configured", i + 1),
                    "Configure answered false");
  }
  for (auto& stage : stages) stage->Do("LoadMVXAsync", [&] { stage->Instance().LoadMVXAsync(); });
  c.Step("64 instances load");
  int ready = 0;
  for (auto& stage : stages) ready += stage->WaitFor(kStatusReadyToAnimate, 20000);
  CERTIFY_REQUIRE(c, ready == kMany, "64 instances that are ready to animate", Text("%d", ready));
  for (auto& stage : stages) stage->GivePlane(64, 36);
  for (auto& stage : stages) stage->Do("Play", [&] { stage->Instance().Play(); });
  int shown = 0;
  for (auto& stage : stages) shown += stage->WaitForFrames(2, 20000);
  CERTIFY_REQUIRE(c, shown == kMany, "frames of all 64", Text("of %d", shown));
}

void Thousands(Case& c) {
  c.Step("10,000 instances, one after the other");
  auto& runtime = PlayerUnderTest(c);
  BareWindow window(c.GetBench().Ledger());
  long before = 0;
  const int threads = ThreadCount();
  for (int i = 0; i < 10000; ++i) {
    if (i == 500) before = ResidentBytes();
    auto* const instance = runtime.CreateMorvelInstance(&window);
    CERTIFY_REQUIRE(c, instance != nullptr, Text("instance %d", i + 1), "null");
    runtime.DestroyMorvelInstance(instance);
  }
  const long grown = ResidentBytes() - before;
  CERTIFY_REQUIRE(c, grown < (2L << 20), "instances leave nothing behind",
                  Text("the process grew by %ld KiB", grown >> 10));
  CERTIFY_REQUIRE(c, ThreadCount() <= threads, "no thread left",
                  Text("%d", ThreadCount() - threads));
}

void HoursOfKeys(Case& c) {
  PlayerStage stage(c);
  stage.ConfigureAndLoad();
  stage.GivePlane(64, 36);
  stage.Do("Play", [&] { stage.Instance().Play(); });
  stage.Do("Pause", [&] { stage.Instance().Pause(); });
  c.Step("a key that repeats for three hours");
  constexpr int kRepeats = 3 * 3600 * 25;  // every 40 ms
  long before = 0;
  for (int i = 0; i < kRepeats; ++i) {
    if (i == kRepeats / 10) before = ResidentBytes();
    stage.Instance().KeyDown(0x01000004);
    if (i % 2000 == 0) c.SleepMs(1);  // far faster than the keys of a remote
  }
  stage.Instance().KeyUp(0x01000004);
  c.SleepMs(100);
  const long grown = ResidentBytes() - before;
  CERTIFY_REQUIRE(c, grown < (16L << 20), "keys that nobody takes do not pile up",
                  Text("the process grew by %ld MiB", grown >> 20));
  CERTIFY_REQUIRE(c, !IsTerminalStatus(stage.Instance().GetStageWindowStatus()),
                  "content that lives on",
                  PlayerStage::NameOf(stage.Instance().GetStageWindowStatus()));
}

constexpr Promise kPromises[] = {
    {"player.own-thread",
     "Notifications come from the player's own thread, never from inside a call.", Level::kBasic,
     "player.play", OwnThread},
    {"player.no-lock-loading", "While a load is announced no lock is held that an operation takes.",
     Level::kContract, "player.load", FreeWhileLoading},
    {"player.no-lock-playing",
     "While playing is announced no lock is held that an operation takes.", Level::kContract,
     "player.play", FreeWhilePlaying},
    {"player.calls-back", "Operations may be called from inside a notification, Terminate too.",
     Level::kContract, "player.play", CallsBack},
    {"player.between-frames", "One inter-frame notification for each request, none without.",
     Level::kContract, "player.play", BetweenFrames},
    {"player.between-frames-idle", "Inter-frame notifications come also when nothing animates.",
     Level::kContract, "player.between-frames", BetweenFramesPaused},
    {"player.between-frames-still", "Nothing is drawn while an inter-frame notification runs.",
     Level::kContract, "player.between-frames", NothingDrawnBetween},
    {"player.destroy-waits",
     "DestroyMorvelInstance returns when no callback is under way any more.", Level::kContract,
     "player.play", DestroyWaits},
    {"player.balance", "An instance gives back its memory, locks, events, threads and pixels.",
     Level::kContract, "player.play", MemoryBack},
    {"player.threads-end", "An instance leaves no thread and no open file.", Level::kContract,
     "player.play", ThreadEnds},
    {"player.together", "64 instances play at the same time.", Level::kFull, "player.play",
     Together},
    {"player.thousands", "10,000 instances leave nothing behind.", Level::kFull, "player.create",
     Thousands},
    {"player.hours-of-keys", "Hours of key repeat pile up nowhere.", Level::kFull, "player.input",
     HoursOfKeys},
};

}  // namespace

PromiseGroup PlayerThreadPromises() {
  return MakeGroup("Player: threads and locks", "qx/core/morvellib/MorvelInstance.h",
                   "One thread for each instance, operations that only note what is wanted, and no "
                   "lock of your own while\n"
                   "you notify: the window holds its lock while it calls you, and calls you from "
                   "inside of a notification.",
                   kPromises);
}

}  // namespace plexion_certify
