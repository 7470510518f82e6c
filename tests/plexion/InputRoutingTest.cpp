// Who gets keys and pointer events as windows play, pause, end and go away.

#include "qx/plexion/StageWindowImpl.h"
#include "tests/support/ServiceTest.h"

namespace qx {
namespace plexion {
namespace {

using plexion_sim::kMillisecond;
using plexion_sim::SimInstance;

constexpr unsigned long kShellKey = 0x0100001E;
using Heard = std::vector<std::string>;

class InputRouting : public ServiceTest {
 protected:
  void Story(const std::function<void()>& body) {
    EXPECT_TRUE(device->Run([&] {
      body();
      while (!service->stageWindows.IsEmpty())
        service->DestroyStageWindow(service->stageWindows[0]);
    }));
  }

  StageWindowImpl* Make(const char* content, bool keyMaster = false) {
    device->player.Content(content).frames = 0;
    StageWindowParameters parameters = {};
    service->InitParameters(parameters);
    parameters.contentPath = content;
    parameters.keyMaster = keyMaster;
    return static_cast<StageWindowImpl*>(service->CreateStageWindow(parameters));
  }

  StageWindowImpl* Play(const char* content, bool keyMaster = false) {
    StageWindowImpl* const window = Make(content, keyMaster);
    EXPECT_TRUE(window->CreatePlanes());
    window->Play();
    Settle();
    EXPECT_EQ(window->GetStageWindowStatus(), kStatusPlaying);
    return window;
  }

  void Settle() { device->kernel.Sleep(200 * kMillisecond); }
  void Pause(StageWindow* window) {
    window->Pause();
    Settle();
    EXPECT_EQ(window->GetStageWindowStatus(), kStatusPaused);
  }
  void Finish(StageWindow* window) {
    window->Terminate(kStatusComplete);
    Settle();
    EXPECT_EQ(window->GetStageWindowStatus(), kStatusComplete);
  }

  SimInstance* Player(StageWindow* window) { return device->player.InstanceOf(window); }

  /// "-player1", "+player2": the order in which players were told of (de)activation since.
  std::vector<std::string> Told() {
    std::vector<std::string> told;
    const auto& entries = device->kernel.GetJournal().Entries();
    for (; journalAt_ < entries.size(); ++journalAt_) {
      const auto& entry = entries[journalAt_];
      if (std::string(entry.call) == "Activate") told.push_back("+" + entry.detail);
      if (std::string(entry.call) == "Deactivate") told.push_back("-" + entry.detail);
    }
    return told;
  }

 private:
  size_t journalAt_ = 0;
};

TEST_F(InputRouting, KeysGoToTheKeyMasterAndThePointerToTheActiveWindow) {
  Story([&] {
    StageWindow* const active = Play("active.mvx");
    StageWindow* const master = Play("master.mvx", true);
    EXPECT_EQ(service->GetActiveStageWindow(), active);
    service->DispatchKeyDown(13);
    service->DispatchKeyUp(13);
    service->DispatchMouseButtonDown(kMouseButtonRight, 10, 20);
    service->DispatchMouseButtonUp(kMouseButtonRight, 11, 21);
    service->DispatchMouseMove(12, 22);
    service->DispatchScrollWheelScroll(kScrollWheelDown, 3);
    EXPECT_EQ(Player(master)->Input(), (Heard{"down 13", "up 13"}));
    EXPECT_EQ(Player(active)->Input(),
              (Heard{"button down 2 10,20", "button up 2 11,21", "move 12,22", "scroll 1 3"}));

    service->DestroyStageWindow(master);
    service->DispatchKeyDown(14);
    EXPECT_EQ(Player(active)->Input().back(), "down 14");
  });
}

TEST_F(InputRouting, KeysGivenToAWindowItselfGoWhereAllKeysGo) {
  constexpr unsigned long kTimingKey = 0x400100;
  Story([&] {
    StageWindowImpl* const active = Play("active.mvx");
    StageWindowImpl* const other = Play("other.mvx");
    other->DispatchKeyDown(13);
    other->DispatchKeyUp(13);
    EXPECT_EQ(Player(active)->Input(), (Heard{"down 13", "up 13"}));
    EXPECT_EQ(Player(other)->Input(), Heard());

    // The timing key's press is the window's own; its release goes the way of all keys.
    const IQXKernel::Time made = active->creationTime;
    other->DispatchKeyDown(kTimingKey);
    const IQXKernel::Time pressed = device->kernel.Now();
    EXPECT_EQ(Player(other)->Input(), (Heard{"event 7"}));
    EXPECT_EQ(other->creationTime, pressed);
    EXPECT_EQ(active->creationTime, made);
    Settle();
    other->DispatchKeyUp(kTimingKey);
    EXPECT_EQ(other->creationTime, pressed);
    EXPECT_EQ(active->creationTime, device->kernel.Now());
    EXPECT_EQ(Player(active)->Input().size() + Player(other)->Input().size(), 3u);
  });
}

TEST_F(InputRouting, WithoutWindowsOnlyTheRewindFlagMoves) {
  service->DispatchMouseButtonDown(kMouseButtonLeft, 1, 1);
  service->DispatchMouseButtonUp(kMouseButtonLeft, 1, 1);
  service->DispatchMouseMove(1, 1);
  service->DispatchScrollWheelScroll(kScrollWheelUp, 1);
  EXPECT_FALSE(service->IsRewindOrForward());
  const struct {
    unsigned long key;
    bool after;
  } kKeys[] = {{0x0100000A, true},  {13, true},         {0, true},          {kShellKey, true},
               {0x01000007, false}, {0x0100000B, true}, {0x01000006, true}, {0x01000008, false},
               {0x0100000C, false}, {0x0100000A, true}, {0x01000009, false}};
  for (const auto& key : kKeys) {
    service->DispatchKeyDown(key.key);
    EXPECT_EQ(service->IsRewindOrForward(), key.after) << std::hex << key.key;
    service->DispatchKeyUp(0x0100000B);
    service->DispatchKeyUp(0x01000007);
    EXPECT_EQ(service->IsRewindOrForward(), key.after) << "a release moved it";
  }
}

TEST_F(InputRouting, TheMasterShellKeyBecomesTheShellKey) {
  Restart({"--mastershellkey", std::to_string(0x0100000A)});
  Story([&] {
    StageWindow* const window = Play("a.mvx");
    for (unsigned long key : {0x0100000AUL, kShellKey, 0UL, 0x0100000BUL}) {
      service->DispatchKeyDown(key);
      service->DispatchKeyUp(key);
      // Even though it is a transport key by itself.
      EXPECT_EQ(service->IsRewindOrForward(), key == 0x0100000B);
    }
    const std::string shell = std::to_string(kShellKey);
    const std::string forward = std::to_string(0x0100000B);
    EXPECT_EQ(Player(window)->Input(), (Heard{"down " + shell, "up " + shell, "down " + shell,
                                              "up " + shell, "down " + forward, "up " + forward}));
  });
}

TEST_F(InputRouting, TheLatestMadeOfTheWindowsThatAskIsKeyMaster) {
  Story([&] {
    StageWindowImpl* const first = Make("first.mvx", true);
    StageWindow* const second = Play("second.mvx", true);
    EXPECT_EQ(service->keyMaster, second);
    EXPECT_TRUE(first->CreatePlanes());
    first->Play();  // later on the screen, but made earlier
    Settle();
    EXPECT_EQ(service->keyMaster, second);
    Pause(second);
    EXPECT_EQ(service->keyMaster, first);
    second->Play();
    Settle();
    EXPECT_EQ(service->keyMaster, second);
    service->DestroyStageWindow(second);
    EXPECT_EQ(service->keyMaster, first);
    Finish(first);
    EXPECT_EQ(service->keyMaster, nullptr);
  });
}

TEST_F(InputRouting, OnlyAPlayingWindowOfTheServiceCanBeActivated) {
  Story([&] {
    StageWindow* const first = Play("first.mvx");
    StageWindow* const second = Play("second.mvx");
    StageWindow* const idle = Make("idle.mvx");
    EXPECT_EQ(Told(), (Heard{"+player1"}));  // the first to play, and no other

    EXPECT_TRUE(service->SetActiveStageWindow(first));
    EXPECT_EQ(Told(), Heard());
    EXPECT_TRUE(service->SetActiveStageWindow(second));
    EXPECT_EQ(Told(), (Heard{"-player1", "+player2"}));

    Pause(first);
    {
      StageWindowImpl stray(service);
      stray.activationPending = true;
      for (StageWindow* refused :
           {first, idle, static_cast<StageWindow*>(&stray), static_cast<StageWindow*>(nullptr)}) {
        EXPECT_FALSE(service->SetActiveStageWindow(refused));
      }
      stray.activationPending = false;
    }
    EXPECT_EQ(service->GetActiveStageWindow(), second);
    EXPECT_EQ(Told(), Heard());
  });
}

TEST_F(InputRouting, WhenTheActiveWindowEndsTheLatestPlayingOneFollows) {
  Story([&] {
    StageWindow* const first = Play("first.mvx");
    StageWindow* const second = Play("second.mvx");
    StageWindow* const third = Play("third.mvx");
    Make("idle.mvx");
    service->DestroyStageWindow(Play("fourth.mvx"));
    EXPECT_EQ(Told(), (Heard{"+player1"})) << "the end of another is nothing to the active one";
    Finish(first);  // has ended, so it is not told
    EXPECT_EQ(Told(), (Heard{"+player3"}));
    service->DestroyStageWindow(third);
    EXPECT_EQ(Told(), (Heard{"+player2"}));
    service->DestroyStageWindow(second);
    EXPECT_EQ(Told(), Heard());
    EXPECT_EQ(service->GetActiveStageWindow(), nullptr);
  });
}

TEST_F(InputRouting, APausedWindowIsToldThatItIsNoLongerActive) {
  Story([&] {
    StageWindow* const first = Play("first.mvx");
    StageWindow* const second = Play("second.mvx");
    Told();
    Pause(first);
    EXPECT_EQ(Told(), (Heard{"-player1", "+player2"}));
    Pause(second);  // nobody is left to take its place
    EXPECT_EQ(Told(), (Heard{"-player2"}));
    EXPECT_EQ(service->GetActiveStageWindow(), nullptr);
    service->DispatchKeyDown(13);
    EXPECT_EQ(Player(first)->Input(), Heard());
    first->Play();
    Settle();
    EXPECT_EQ(Told(), (Heard{"+player1"}));
  });
}

TEST_F(InputRouting, KeepsTheActiveWindowThatMayStay) {
  Story([&] {
    StageWindow* const first = Play("first.mvx");
    Told();
    service->ResetKeyMasterAndClearMyActivation(first, true);
    EXPECT_EQ(service->GetActiveStageWindow(), first);
    EXPECT_EQ(Told(), Heard());
    service->ResetKeyMasterAndClearMyActivation(nullptr, false);
    service->ResetKeyMasterAndSetInitialActivationIfRequired(nullptr);
    EXPECT_EQ(service->GetActiveStageWindow(), first);
  });
}

TEST_F(InputRouting, TheKeyModeIsFrozenByTheFirstKey) {
  Story([&] {
    StageWindow* const window = Play("a.mvx");
    const auto set = [&](KeyInputMode mode) {
      return service->SetKeyInputMode(mode, 300 * kMillisecond, 100 * kMillisecond);
    };
    EXPECT_TRUE(set(kKeyInputModeAutoRepeat));
    EXPECT_TRUE(set(kKeyInputModeSimulateKeyUp));
    service->DispatchKeyDown(13);
    EXPECT_FALSE(set(kKeyInputModeDirect));
    service->DispatchKeyUp(13);  // ignored: the service makes one
    Settle();
    EXPECT_EQ(Player(window)->Input(), (Heard{"down 13"}));
    Settle();
    EXPECT_EQ(Player(window)->Input(), (Heard{"down 13", "up 13"}));
  });
}

}  // namespace
}  // namespace plexion
}  // namespace qx
