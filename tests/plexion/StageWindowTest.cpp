// The window itself: status, observers, named pointers, timing lines, input, memory figures.

#include "qx/plexion/MemoryWatchdog.h"
#include "tests/plexion/WindowFixture.h"

namespace qx {
namespace plexion {
namespace {

using Texts = std::vector<std::string>;

class StageWindowObject : public WindowTest {};

TEST_F(StageWindowObject, ReportsThePlayersStatusAndItsOwnFailuresFirst) {
  Story([&] {
    StageWindowImpl* const bare = Unconfigured();
    EXPECT_EQ(bare->GetStageWindowStatus(), kErrorModuleUnavailable);
    EXPECT_FALSE(bare->Play() || bare->Pause() || bare->LoadMVXAsync() || bare->CreatePlanes());
    EXPECT_FALSE(bare->Terminate(kStatusComplete));

    StageWindowImpl* const window = Make();
    EXPECT_EQ(window->GetStageWindowStatus(), kStatusConfigured);
    device->graphics.renderContextIsNull = true;
    EXPECT_FALSE(window->CreatePlanes());
    EXPECT_EQ(window->GetStageWindowStatus(), kErrorRenderPlaneCreationFailure);
    window->Play();
    RunFor(100);
    EXPECT_EQ(window->GetStageWindowStatus(), kErrorRenderPlaneCreationFailure);
    // The driver's unusable plane stays with the driver; the window never owned it.
    device->graphics.DestroyRenderPlane(window->GetRenderPlane());
  });
}

TEST_F(StageWindowObject, TellsObserversInTheOrderOfRegistration) {
  Story([&] {
    Texts log;
    Observer a(service, "a", &log);
    Observer b(service, "b", &log);
    Observer c(service, "c", &log);
    Observer first(service, "first", &log);
    StageWindowParameters parameters = Defaults();
    parameters.notifier = &first;
    StageWindowImpl* const window = Make(parameters);
    for (Observer* observer : {&a, &b, &c, &b}) window->RegisterNotifier(observer);
    EXPECT_EQ(window->notifiers.Count(), 4u);

    log.clear();
    window->OnMorvelInstanceNotification(kInfoLoadProgress, nullptr);
    EXPECT_EQ(log, (Texts{"first kInfoLoadProgress", "a kInfoLoadProgress", "b kInfoLoadProgress",
                          "c kInfoLoadProgress"}));

    Observer stranger(service);
    window->UnregisterNotifier(&stranger);
    EXPECT_EQ(window->notifiers.Count(), 4u);
    for (Observer* observer : {&b, &first, &a}) window->UnregisterNotifier(observer);
    EXPECT_TRUE(window->hasNotifiers);
    window->UnregisterNotifier(&c);
    EXPECT_FALSE(window->hasNotifiers);
    const size_t locks = Calls("Mutex::Lock");
    log.clear();
    window->OnMorvelInstanceNotification(kInfoLoadProgress, nullptr);
    EXPECT_EQ(Calls("Mutex::Lock"), locks);
    EXPECT_TRUE(log.empty());
  });
}

TEST_F(StageWindowObject, KeepsNamedPointers) {
  Story([&] {
    StageWindowImpl* const window = Unconfigured();
    int p = 0;
    int q = 0;
    window->SetContext(nullptr, &p);
    window->SetContext("", &p);
    EXPECT_EQ(window->contexts.Count(), 0u);
    EXPECT_EQ(window->GetContext(nullptr), nullptr);
    EXPECT_EQ(window->GetContext(""), nullptr);

    char name[] = "name";
    window->SetContext(name, &p);
    name[0] = 'x';  // the window has its own copy
    window->SetContext("name", &q);
    EXPECT_EQ(window->contexts.Count(), 1u);
    EXPECT_EQ(window->GetContext("name"), &q);
    EXPECT_EQ(window->GetContext("nam"), nullptr);
    window->SetContext("name", nullptr);
    EXPECT_EQ(window->contexts.Count(), 0u);

    // Null under an unknown name makes a record all the same.
    window->SetContext("empty", nullptr);
    EXPECT_EQ(window->contexts.Count(), 1u);
    EXPECT_EQ(window->GetContext("empty"), nullptr);

    // Three blocks: the record, its name, and the array's room for it.
    for (uint64_t nth = 1; nth <= 4; ++nth) {
      Faults().Fail(plexion_sim::Fallible::kAllocate,
                    Faults().Count(plexion_sim::Fallible::kAllocate) + nth);
      window->SetContext("lost", &p);
      Faults().Clear();
      EXPECT_EQ(window->GetContext("lost"), nth == 4 ? &p : nullptr) << nth;
      EXPECT_EQ(window->contexts.Count(), nth == 4 ? 2u : 1u) << nth;
    }
  });
}

TEST_F(StageWindowObject, PrintsTimingLinesOnlyWhenAsked) {
  for (const bool instrument : {false, true}) {
    Restart({});
    Script().frames = 3;
    Story([&] {
      StageWindowParameters parameters = Defaults();
      parameters.instrument = instrument;
      RunFor(7);
      StageWindowImpl* const window = Make(parameters);
      RunFor(5);
      ASSERT_TRUE(window->CreatePlanes());
      window->Play();
      RunFor(1000);
      EXPECT_EQ(window->GetStageWindowStatus(), kStatusComplete);
    });
    long lines = 0;
    for (const std::string& line : device->kernel.PrintedLines()) {
      lines += line.compare(0, 19, "First screen update") == 0;
    }
    EXPECT_EQ(lines, instrument ? 1 : 0);
    EXPECT_EQ(Printed("Source file loaded: 7"), instrument ? 1 : 0) << device->kernel.PrintedText();
    EXPECT_EQ(device->kernel.PrintedText().find("Shutdown complete ") != std::string::npos,
              instrument);
    EXPECT_EQ(device->kernel.PrintedText().find("Begin play: ") != std::string::npos, instrument);
  }
}

TEST_F(StageWindowObject, TakesInputOfEveryKind) {
  Story([&] {
    // A window without a player takes everything silently.
    StageWindowImpl* const bare = Unconfigured();
    bare->DispatchMouseButtonDown(kMouseButtonLeft, 1, 2);
    bare->DispatchMouseButtonUp(kMouseButtonLeft, 1, 2);
    bare->DispatchMouseMove(1, 2);
    bare->DispatchScrollWheelScroll(kScrollWheelUp, 1);
    bare->DispatchKeyDownDirect(13);
    bare->UpdateProxyParameters("10.0.0.1", 80, nullptr, nullptr);
    EXPECT_FALSE(bare->SetAbove(nullptr) || bare->SetBelow(nullptr) || bare->IsVisible());
    bare->SetVisible(true);
    bare->SetAlpha(3);

    Script().frames = 0;
    Script().authored = {200, 100};
    StageWindowParameters parameters = Defaults();
    parameters.outputRect = {10, 20, 400, 300};
    StageWindowImpl* const window = Shown(parameters);
    window->Play();
    RunFor(100);
    ASSERT_TRUE(window->IsActiveStageWindow());

    window->DispatchMouseButtonDown(kMouseButtonRight, 399, 299);
    window->DispatchMouseButtonUp(kMouseButtonRight, 0, 0);
    window->DispatchMouseMove(201, 3);
    window->DispatchScrollWheelScroll(kScrollWheelDown, 4);
    window->DispatchKeyDown(65);
    window->DispatchKeyUp(65);
    window->DispatchKeyDownDirect(0);
    window->DispatchKeyUpDirect(0);
    EXPECT_EQ(Player(window)->Input(), (Texts{"button down 2 199,99", "button up 2 0,0",
                                              "move 100,1", "scroll 1 4", "down 65", "up 65"}));

    // Stretched along one axis, and not shown at all yet.
    for (const auto& [rect, place] : {std::pair<Rect, const char*>{{0, 0, 400, 100}, "100,50"},
                                      {{0, 0, 200, 200}, "201,25"},
                                      {{0, 0, 0, 0}, "201,50"}}) {
      parameters.outputRect = rect;
      StageWindowImpl* const other = rect.width > 0 ? Shown(parameters) : Make(parameters);
      other->DispatchMouseMove(201, 50);
      EXPECT_EQ(Player(other)->Input().back(), std::string("move ") + place);
      service->DestroyStageWindow(other);
    }

    // Equal sizes: positions pass unchanged.
    Script("same.mvx").frames = 0;
    StageWindowImpl* const same = Shown(Defaults("same.mvx"));
    same->DispatchMouseMove(201, 3);
    EXPECT_EQ(Player(same)->Input().back(), "move 201,3");

    window->SetAlpha(7);
    window->SetVisible(false);
    EXPECT_EQ(Output(window)->alpha, 7);
    EXPECT_FALSE(window->IsVisible());
    EXPECT_TRUE(window->SetBelow(nullptr));
    EXPECT_TRUE(same->SetBelow(window));
    EXPECT_EQ(device->graphics.Stack().front(), Output(same));
    EXPECT_TRUE(same->SetAbove(window));
    EXPECT_EQ(device->graphics.Stack().back(), Output(same));
  });
}

TEST_F(StageWindowObject, TheTimingKeyNeverReachesTheContentAsAKey) {
  constexpr unsigned long kTimingKey = 4194560;
  Script().frames = 0;
  Story([&] {
    StageWindowImpl* const window = Shown(Defaults());
    window->Play();
    RunFor(50);
    const IQXKernel::Time before = window->creationTime;
    window->DispatchKeyDown(kTimingKey);
    const IQXKernel::Time pressed = window->creationTime;
    EXPECT_GT(pressed, before);
    RunFor(10);
    window->DispatchKeyUp(kTimingKey);
    EXPECT_GT(window->creationTime, pressed);
    EXPECT_EQ(Player(window)->Input(), (Texts{"event 7"}));
  });
}

TEST_F(StageWindowObject, RedrawsInFullWhenItBecomesActive) {
  Script().frames = 0;
  Script().authored = {200, 100};
  Script("other.mvx") = Script();
  // Where it is on the screen is what is shown of its plane, in proportion: kept.
  const std::pair<Rect, const char*> kPlaces[] = {
      {{0, 0, 200, 100}, "ShowRegion output2 0,0,200,100"},
      {{10, 20, 400, 300}, "ShowRegion output2 20,60,800,900"},
      {{0u - 50, 30, 400, 300}, "ShowRegion output2 -100,90,800,900"}};
  for (const auto& [place, region] : kPlaces) {
    Restart({}, [&](plexion_sim::SimDevice& d) {
      d.player.usual.frames = 0;
      d.player.usual.authored = {200, 100};
    });
    Story([&, place = place, region = region] {
      StageWindowImpl* const first = Shown(Defaults());
      StageWindowParameters parameters = Defaults("other.mvx");
      parameters.outputRect = place;
      StageWindowImpl* const second = Shown(parameters);
      for (StageWindowImpl* window : {first, second}) window->Play();
      RunFor(100);
      ASSERT_TRUE(first->IsActiveStageWindow());
      const auto& journal = device->kernel.GetJournal().Entries();
      size_t at = journal.size();
      EXPECT_TRUE(second->SetActiveStageWindow());
      Texts told;
      for (; at < journal.size(); ++at) {
        const std::string call = journal[at].call;
        if (call == "SetActive" || call == "ShowRegion" || call == "Activate" ||
            call == "Deactivate") {
          told.push_back(call + " " + journal[at].detail);
        }
      }
      EXPECT_EQ(told, (Texts{"SetActive output1 false", "Deactivate player1",
                             "SetActive output2 true", region, "Activate player2"}));
    });
  }
}

TEST_F(StageWindowObject, ShowsItsMemoryFigures) {
  Story([&] {
    unsigned long long used = 1;
    unsigned long long limit = 1;
    unsigned long long graphics = 1;
    StageWindowImpl* const bare = Unconfigured();
    bare->parameters.memoryLimit = 77;
    bare->IncrementGraphicsMemoryUsedCount(5);
    bare->GetMemoryInfo(used, limit, graphics);
    EXPECT_EQ(used, 0u);
    EXPECT_EQ(limit, 77u);
    EXPECT_EQ(graphics, 0u);
    EXPECT_EQ(bare->GetMemoryWatchdog(), nullptr);

    StageWindowParameters parameters = Defaults();
    parameters.memoryLimit = 1000;
    StageWindowImpl* const window = Make(parameters);
    void* const block = window->GetMemoryWatchdog()->Alloc(600, "here", 1);
    window->IncrementGraphicsMemoryUsedCount(50);
    window->DecrementGraphicsMemoryUsedCount(51);
    window->GetMemoryInfo(used, limit, graphics);
    EXPECT_EQ(used, 600u);
    EXPECT_EQ(limit, 1000u);
    EXPECT_EQ(graphics, 50u);
    EXPECT_EQ(window->GetMemoryWatchdog()->Alloc(401, "here", 2), nullptr);
    RunFor(10);
    EXPECT_EQ(window->GetStageWindowStatus(), kErrorNotEnoughMemory);
    EXPECT_EQ(Printed("YELLOW ALERT: StageWindow exceeded memlimit of 1000 bytes"), 1);
    window->GetMemoryWatchdog()->Free(block, "here", 3);
  });
}

TEST_F(StageWindowObject, IsDestroyedWhileItsPlayerNotifies) {
  Script().frames = 0;
  Script().frameTime = plexion_sim::kMillisecond;
  Story([&] {
    for (int i = 0; i < 20; ++i) {
      StageWindowImpl* const window = Shown(Defaults());
      Observer observer(service);
      window->RegisterNotifier(&observer);
      window->Play();
      RunFor(i);
      service->DestroyStageWindow(window);
    }
  });
}

}  // namespace
}  // namespace plexion
}  // namespace qx
