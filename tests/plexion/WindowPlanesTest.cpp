// Planes and geometry: making, scaling, copying, resizing, moving.

#include "sim/device/SimHost.h"
#include "tests/plexion/WindowFixture.h"

namespace qx {
namespace plexion {
namespace {

using plexion_sim::Fallible;
using plexion_sim::ToText;
using Texts = std::vector<std::string>;

class WindowPlanes : public WindowTest {
 protected:
  StageWindowParameters At(const Rect& rect, const char* content = "movie.mvx") {
    StageWindowParameters parameters = Defaults(content);
    parameters.outputRect = rect;
    return parameters;
  }
};

TEST_F(WindowPlanes, ShrinkAuthoredContentToTheScreenAndNeverEnlarge) {
  const struct {
    Dims authored;
    Dims screen;
    Dims expected;
  } kCases[] = {
      {{1920, 1080}, {1280, 720}, {1280, 720}}, {{800, 1000}, {1280, 720}, {576, 720}},
      {{1000, 500}, {800, 720}, {800, 400}},    {{320, 240}, {1280, 720}, {320, 240}},
      {{1280, 720}, {1280, 720}, {1280, 720}},  {{4000, 3000}, {0, 720}, {4000, 3000}},
      {{4000, 3000}, {1280, 0}, {4000, 3000}},
  };
  for (const auto& one : kCases) {
    SCOPED_TRACE(ToText(one.authored) + " on " + ToText(one.screen));
    Restart({});
    device->graphics.screen = one.screen;
    Script().authored = one.authored;
    Script().frames = 0;
    Story([&] {
      StageWindowImpl* const window = Make();
      ASSERT_TRUE(window->CreatePlanes());
      EXPECT_EQ(ToText(window->GetStageDims()), ToText(one.expected));
      EXPECT_EQ(ToText(Output(window)->GetDims()), ToText(one.expected));
    });
    const bool scaled = ToText(one.expected) != ToText(one.authored);
    EXPECT_EQ(Printed("YELLOW ALERT: scaling content dims to fit output device"), scaled);
    char line[200];
    snprintf(line, sizeof line, "    MVX-authored dims: (%u, %u) scaled content dims: (%u, %u)",
             one.authored.width, one.authored.height, one.expected.width, one.expected.height);
    EXPECT_EQ(Printed(line), scaled) << line;
  }
}

TEST_F(WindowPlanes, TakeTheirSizesFromTheParameters) {
  const struct {
    Dims content;
    Dims output;
    Rect rect;
    bool scale;
    const char* render;  // empty: no plane can be made
    const char* shown;
  } kCases[] = {
      {{0, 0}, {0, 0}, {0, 0, 0, 0}, true, "320x240", "0,0,320,240"},
      {{5000, 4000}, {0, 0}, {3, 4, 0, 0}, true, "5000x4000", "3,4,5000,4000"},
      {{100, 50}, {200, 0}, {1, 2, 0, 0}, true, "100x50", "1,2,200,0"},
      {{100, 50}, {200, 80}, {1, 2, 30, 40}, true, "100x50", "1,2,30,40"},
      {{0, 50}, {0, 0}, {0, 0, 0, 0}, true, "", ""},
      {{50, 0}, {0, 0}, {0, 0, 0, 0}, true, "", ""},
  };
  for (const auto& one : kCases) {
    Restart({});
    Story([&] {
      StageWindowParameters parameters = Defaults();
      parameters.contentDims = one.content;
      parameters.outputDims = one.output;
      parameters.outputRect = one.rect;
      parameters.scaleToFit = one.scale;
      StageWindowImpl* const window = Make(parameters);
      const std::string expected = one.render;
      if (expected.empty()) {
        EXPECT_FALSE(window->CreatePlanes());
        EXPECT_EQ(window->GetStageWindowStatus(), kErrorRenderPlaneCreationFailure);
        return;
      }
      window->CreatePlanes();
      EXPECT_EQ(ToText(window->GetStageDims()), expected);
      if (Output(window) != nullptr) {
        EXPECT_EQ(ToText(Output(window)->GetRect()), one.shown);
      }
    });
  }
}

TEST_F(WindowPlanes, AreNamedAfterTheContent) {
  const struct {
    const char* path;
    const char* given;
    const char* name;
  } kCases[] = {
      {"a/b/movie.mvx", nullptr, "movie.mvx"}, {"a\\b.mvx", nullptr, "b.mvx"},
      {"movie.mvx", nullptr, "movie.mvx"},     {"folder/", nullptr, ""},
      {"a/b.mvx", "given", "given"},           {"a/b.mvx", "", ""},
  };
  for (const auto& one : kCases) {
    Restart({});
    Story([&] {
      StageWindowParameters parameters = Defaults(one.path);
      parameters.outputPlaneName = one.given;
      EXPECT_STREQ(Output(Shown(parameters))->GetName(), one.name);
    });
  }
}

TEST_F(WindowPlanes, FailWithTheStatusThatSaysWhyForGood) {
  const struct {
    const char* what;
    std::function<void(plexion_sim::SimDevice&)> prepare;
    StageWindowStatus status;
  } kCases[] = {
      {"no driver", [](auto& d) { d.Remove("IGraphicsDriver"); }, kErrorModuleUnavailable},
      {"no size",
       [](auto& d) {
         d.player.usual.authored = {0, 5};
       },
       kErrorRenderPlaneCreationFailure},
      {"no render plane",
       [](auto& d) { d.kernel.GetFaults().FailAll(Fallible::kCreateRenderPlane); },
       kErrorRenderPlaneCreationFailure},
      {"no output plane",
       [](auto& d) { d.kernel.GetFaults().FailAll(Fallible::kCreateOutputPlane); },
       kErrorOutputPlaneCreationFailure},
      {"refused by the player", [](auto& d) { d.player.usual.acceptsRenderPlane = false; },
       kErrorOutputPlaneCreationFailure},
  };
  for (const auto& one : kCases) {
    SCOPED_TRACE(one.what);
    Restart({}, one.prepare);
    Story([&] {
      StageWindowImpl* const window = Make();
      EXPECT_FALSE(window->CreatePlanes());
      EXPECT_EQ(window->GetStageWindowStatus(), one.status);
    });
  }
}

TEST_F(WindowPlanes, MadeByTheHostAreTakenByStatusAndNeverDestroyed) {
  Script().frames = 0;
  device->kernel.IgnoreDataRaces();  // a plane is exchanged while the player draws
  Story([&] {
    auto& driver = device->graphics;
    IQXModule* const held = device->kernel.AcquireModule("IGraphicsDriver");
    platform::RenderPlane* const render = driver.CreateRenderPlane({320, 240}, 1, nullptr);
    platform::RenderPlane* const other = driver.CreateRenderPlane({320, 240}, 1, nullptr);
    platform::OutputPlane* const output =
        driver.CreateOutputPlane({0, 0, 320, 240}, false, render, nullptr, "host");

    StageWindowImpl* const bare = Unconfigured();
    EXPECT_FALSE(bare->SetRenderPlane(render) || bare->ResetRenderPlane(render) ||
                 bare->SetOutputPlane(output));
    StageWindowImpl* const window = Make();
    EXPECT_FALSE(window->SetRenderPlane(nullptr) || window->ResetRenderPlane(nullptr) ||
                 window->SetOutputPlane(nullptr));
    EXPECT_TRUE(window->SetRenderPlane(render));
    EXPECT_FALSE(window->SetRenderPlane(other));  // there is one already
    EXPECT_TRUE(window->ResetRenderPlane(other));
    EXPECT_EQ(window->GetRenderPlane(), other);
    EXPECT_TRUE(window->SetOutputPlane(output));
    EXPECT_FALSE(window->SetOutputPlane(output));
    EXPECT_TRUE(window->CreatePlanes());
    EXPECT_EQ(driver.RenderPlanes().size(), 2u);  // nothing was made
    EXPECT_EQ(Player(window)->RenderPlane(), nullptr);
    window->parameters.dcts = true;
    window->LoadMVX();
    EXPECT_TRUE(window->CreatePlanes());
    EXPECT_EQ(Player(window)->RenderPlane(), other);
    service->DestroyStageWindow(window);
    EXPECT_EQ(driver.RenderPlanes().size(), 2u);

    // While it plays, only the reset is allowed, and the player decides.
    StageWindowImpl* const playing = Shown(Defaults());
    playing->Play();
    RunFor(50);
    EXPECT_TRUE(playing->ResetRenderPlane(other));
    Faults().FailAll(Fallible::kInstanceResetRenderPlane);
    EXPECT_FALSE(playing->ResetRenderPlane(render));
    EXPECT_EQ(playing->GetRenderPlane(), other);
    service->DestroyStageWindow(playing);  // with its own plane, not with the host's
    EXPECT_EQ(driver.RenderPlanes().size(), 2u);
    driver.DestroyOutputPlane(output);
    for (platform::RenderPlane* plane : {render, other}) driver.DestroyRenderPlane(plane);
    device->kernel.ReleaseModule(held);
  });
}

TEST_F(WindowPlanes, HandedBackAreTheWindowsOwnAgain) {
  device->graphics.replacesPlanesOnResize = true;
  Story([&] {
    StageWindowImpl* const window = Shown(Defaults());
    platform::RenderPlane* const own = window->GetRenderPlane();
    platform::RenderPlane* const hosts =
        device->graphics.CreateRenderPlane(own->GetDims(), 1, window);
    EXPECT_TRUE(window->ResetRenderPlane(hosts));
    EXPECT_TRUE(window->ResetRenderPlane(own));
    window->Resize({64, 64}, false);  // the driver destroys the plane that it replaces
    EXPECT_NE(window->GetRenderPlane(), own);
    device->graphics.DestroyRenderPlane(hosts);
    service->DestroyStageWindow(window);
    EXPECT_TRUE(device->graphics.RenderPlanes().empty());
  });
}

TEST_F(WindowPlanes, HandedInLaterAreTakenWhereTheStatusAllowsIt) {
  Script().loadSteps = {{1 * plexion_sim::kMillisecond, kStatusLoaded}};
  Script("bad.mvx").FailAt(0, kErrorCorruptMovie);
  Story([&] {
    auto& driver = device->graphics;
    IQXModule* const held = device->kernel.AcquireModule("IGraphicsDriver");
    platform::RenderPlane* const render = driver.CreateRenderPlane({100, 50}, 1, nullptr);
    platform::OutputPlane* const output =
        driver.CreateOutputPlane({0, 0, 100, 50}, false, render, nullptr, "host");

    StageWindowImpl* const loaded = Make();
    loaded->LoadMVX();
    Faults().Fail(Fallible::kInstanceSetRenderPlane, 1);
    EXPECT_FALSE(loaded->SetRenderPlane(render));  // the player refuses it
    EXPECT_EQ(loaded->GetRenderPlane(), nullptr);
    EXPECT_TRUE(loaded->SetRenderPlane(render));
    EXPECT_EQ(Player(loaded)->RenderPlane(), render);
    EXPECT_TRUE(loaded->CreatePlanes());
    EXPECT_EQ(ToText(Output(loaded)->GetRect()), "0,0,100,50");  // as large as the host's plane

    StageWindowImpl* const ended = Make("bad.mvx");
    ended->LoadMVX();
    EXPECT_FALSE(ended->SetRenderPlane(render) || ended->ResetRenderPlane(render) ||
                 ended->SetOutputPlane(output));
    for (StageWindowImpl* window : {loaded, ended}) service->DestroyStageWindow(window);
    driver.DestroyOutputPlane(output);
    driver.DestroyRenderPlane(render);
    device->kernel.ReleaseModule(held);
  });
}

TEST_F(WindowPlanes, CopyTheDirtyPartWhenSizesAreEqualAndElseTheWhole) {
  for (const bool stretches : {false, true}) {
    Restart({});
    device->graphics.stretchCopySupported = stretches;
    device->graphics.extraPitch = 12;
    Script().frames = 2;
    Script().redrawn = {8, 6, 32, 20};
    Story([&] {
      Observer observer(service);
      StageWindowImpl* const same = Shown(Defaults());
      same->RegisterNotifier(&observer);
      same->Play();
      RunFor(300);
      const auto& shown = Output(same)->shown;
      ASSERT_FALSE(shown.empty());
      EXPECT_EQ(ToText(shown.back()), "8,6,32,20");
      EXPECT_GE(observer.Count("kInfoOutputPlaneUpdated 8,6,32,20"), 1u);

      // Stretched along both axes, and along either.
      const std::pair<Dims, const char*> kBig[] = {
          {{640, 720}, "16,18,64,60"}, {{640, 240}, "16,6,64,20"}, {{320, 480}, "8,12,32,40"}};
      for (const auto& [dims, region] : kBig) {
        Script("big.mvx") = Script();
        StageWindowImpl* const big = Shown(At({0, 0, dims.width, dims.height}, "big.mvx"));
        big->Play();
        RunFor(300);
        EXPECT_EQ(ToText(Output(big)->shown.back()), region);
        // Every pixel of the output comes from the render plane by the 16.16 rule.
        const auto& from = Render(big)->surface;
        const auto& to = Output(big)->surface;
        for (uint32_t y = 0; y < to.dims.height; ++y) {
          for (uint32_t x = 0; x < to.dims.width; ++x) {
            const uint32_t sx = (x * ((from.dims.width << 16) / to.dims.width)) >> 16;
            const uint32_t sy = (y * ((from.dims.height << 16) / to.dims.height)) >> 16;
            ASSERT_EQ(to.pixels[y * to.pitch / 4 + x], from.pixels[sy * from.pitch / 4 + sx])
                << x << "," << y;
          }
        }
      }
      // A copy in software waits for what was drawn, not for what is shown.
      EXPECT_EQ(Calls("Finish", "render") > 0, !stretches);
      EXPECT_EQ(Calls("Finish", "output"), 0u);
    });
  }
}

TEST_F(WindowPlanes, ShowNothingThatTheyCannotCopyAndNothingUnseen) {
  device->graphics.outputPixelFormat = 9;
  Script().frames = 0;
  Story([&] {
    Observer observer(service);
    StageWindowImpl* const window = Shown(Defaults());
    window->RegisterNotifier(&observer);
    window->Play();
    RunFor(100);
    EXPECT_TRUE(Output(window)->shown.empty());
    EXPECT_GE(observer.Count("kInfoOutputPlaneUpdated 0,0,320,240"), 1u);

    window->SetVisible(false);
    const size_t heard = observer.Count("kInfoOutputPlaneUpdated 0,0,320,240");
    RunFor(200);
    EXPECT_EQ(observer.Count("kInfoOutputPlaneUpdated 0,0,320,240"), heard);
  });
}

TEST_F(WindowPlanes, ResizeInProportionAtOnceOrBetweenFrames) {
  for (const bool deferred : {false, true}) {
    for (const bool replaces : {false, true}) {
      Restart({});
      device->graphics.replacesPlanesOnResize = replaces;
      Script().frames = 0;
      Story([&] {
        Observer observer(service);
        StageWindowImpl* const window = Shown(At({10, 20, 640, 480}));
        window->RegisterNotifier(&observer);
        window->Resize({320, 120}, deferred);
        RunFor(100);
        EXPECT_EQ(observer.Count("kInfoWindowResized 10,20,320,120"), 1u);
        EXPECT_EQ(ToText(Render(window)->GetDims()), "160x60");
        EXPECT_EQ(ToText(window->GetStageDims()), "160x60");
        EXPECT_EQ(ToText(window->GetRectOnScreen()), "10,20,320,120");
        EXPECT_EQ(Player(window)->RenderPlane(), window->GetRenderPlane());
        EXPECT_FALSE(window->resizeInProgress || window->resizePending);
        EXPECT_EQ(Calls("SetStageRect"), deferred ? 0u : 1u);
      });
    }
  }
}

TEST_F(WindowPlanes, SayWhyAResizeOrMoveFailed) {
  const struct {
    Dims dims;
    std::function<void(plexion_sim::SimDevice&)> prepare;
    const char* outcome;
    bool tooBig;
    bool tooSmall;
  } kCases[] = {
      {{0, 100}, nullptr, "kInfoOutputPlaneResizeFailed 1,2,320,240", false, true},
      {{1281, 100}, nullptr, "kInfoOutputPlaneResizeFailed 1,2,320,240", true, false},
      {{0, 721}, nullptr, "kInfoOutputPlaneResizeFailed 1,2,320,240", true, true},
      {{100, 100},
       [](auto& d) { d.kernel.GetFaults().FailAll(Fallible::kResizeOutputPlane); },
       "kInfoOutputPlaneResizeFailed 1,2,320,240",
       false,
       false},
      {{100, 100},
       [](auto& d) { d.kernel.GetFaults().FailAll(Fallible::kResizeRenderPlane); },
       "kInfoRenderPlaneResizeFailed 1,2,100,100",
       false,
       false},
  };
  for (const auto& one : kCases) {
    SCOPED_TRACE(one.outcome);
    Restart({}, one.prepare);
    Story([&] {
      Observer observer(service);
      StageWindowImpl* const window = Shown(At({1, 2, 0, 0}));
      window->RegisterNotifier(&observer);
      window->Resize(one.dims, false);
      EXPECT_EQ(observer.Count(one.outcome), 1u) << observer.heard.back();
      Faults().FailAll(Fallible::kMoveOutputPlane);
      EXPECT_FALSE(window->MoveTo({5, 6}));
      EXPECT_EQ(observer.heard.back().substr(0, 21), "kInfoWindowMoveFailed");
    });
    EXPECT_EQ(Printed("YELLOW ALERT: Resize request failed. Reason: Too Big"), one.tooBig);
    EXPECT_EQ(Printed("YELLOW ALERT: Resize request failed. Reason: Too Small"), one.tooSmall);
  }
}

TEST_F(WindowPlanes, CannotBeResizedWithoutADriver) {
  device->Remove("IGraphicsDriver");
  Story([&] {
    Observer observer(service);
    StageWindowImpl* const window = Make();
    window->RegisterNotifier(&observer);
    window->Resize({100, 100}, false);
    EXPECT_EQ(observer.heard, (Texts{"kInfoOutputPlaneResizeFailed 0,0,0,0"}));
  });
  EXPECT_EQ(
      Printed("YELLOW ALERT: Resize request failed. Reason: could not acquire Graphics driver"), 1);
}

TEST_F(WindowPlanes, MoveAlwaysAnswersFalseAndNotifiesTheOutcome) {
  Story([&] {
    Observer observer(service);
    StageWindowImpl* const bare = Make();
    bare->RegisterNotifier(&observer);
    EXPECT_FALSE(bare->MoveTo({1, 1}));
    bare->Resize({100, 100}, false);  // counts as done: there is nothing to resize
    EXPECT_EQ(observer.heard, (Texts{"kInfoWindowResized 0,0,0,0"}));

    StageWindowImpl* const window = Shown(Defaults());
    window->RegisterNotifier(&observer);
    EXPECT_FALSE(window->MoveTo({30, 40}));
    EXPECT_EQ(observer.heard.back(), "kInfoWindowMoved 30,40,320,240");
    window->ResizeAndMove({100, 50}, {7, 8});
    EXPECT_EQ(ToText(window->GetRectOnScreen()), "7,8,100,50");
    EXPECT_EQ(observer.heard.back(), "kInfoWindowMoved 7,8,100,50");
  });
}

TEST_F(WindowPlanes, AreWhereTheyAreGoingToBeForWhoeverAsksMeanwhile) {
  class Asking : public StageWindowNotifier {
   public:
    void OnStageWindowNotification(StageWindow* window, StageWindowStatus,
                                   const StageWindowStatusData* data) override {
      heard.push_back(ToText(*data->rect) + "; " + ToText(window->GetRectOnScreen()) + "; " +
                      ToText(window->GetStageDims()));
    }
    Texts heard;
  };
  Story([&] {
    Asking observer;
    StageWindowImpl* const bare = Unconfigured();
    bare->RegisterNotifier(&observer);
    bare->ResizeAndMove({100, 50}, {7, 8});  // nothing is there yet that could be
    EXPECT_FALSE(bare->resizeInProgress || bare->movePending);

    StageWindowImpl* const window = Shown(At({30, 40, 640, 480}));
    window->RegisterNotifier(&observer);
    window->ResizeAndMove({320, 120}, {7, 8});
    EXPECT_EQ(observer.heard,
              (Texts{"30,40,320,120; 7,8,320,120; 320x120", "7,8,320,120; 7,8,320,120; 160x60"}));
  });
}

TEST_F(WindowPlanes, OfTheHostAreResizedWithoutARenderPlane) {
  Story([&] {
    Observer observer(service);
    StageWindowImpl* const window = Make();
    IQXModule* const held = device->kernel.AcquireModule("IGraphicsDriver");
    platform::OutputPlane* const output =
        device->graphics.CreateOutputPlane({1, 2, 30, 40}, false, nullptr, nullptr, "host");
    ASSERT_TRUE(window->SetOutputPlane(output));
    window->RegisterNotifier(&observer);
    window->Resize({10, 20}, false);
    EXPECT_EQ(observer.heard, (Texts{"kInfoWindowResized 1,2,10,20"}));
    window->DispatchMouseMove(5, 6);
    EXPECT_EQ(Player(window)->Input(), (Texts{"move 5,6"}));
    service->DestroyStageWindow(window);
    device->graphics.DestroyOutputPlane(output);
    device->kernel.ReleaseModule(held);
  });
}

TEST_F(WindowPlanes, AskedForInTheMiddleOfAResizeAreMadeAtTheNewSize) {
  Story([&] {
    StageWindowImpl* const window = Make(At({10, 20, 640, 480}));
    window->pendingDims = {320, 120};
    window->pendingPoint = {3, 4};
    window->resizeInProgress = true;
    window->movePending = true;
    EXPECT_EQ(ToText(window->GetStageDims()), "320x120");
    EXPECT_EQ(ToText(window->GetRectOnScreen()), "3,4,320,120");
    ASSERT_TRUE(window->CreatePlanes());
    EXPECT_EQ(ToText(window->GetRectOnScreen()), "3,4,320,120");
    EXPECT_EQ(ToText(Render(window)->GetDims()), "160x60");
    EXPECT_EQ(ToText(window->previousOutputRect), "10,20,640,480");
    EXPECT_FALSE(window->resizeInProgress || window->movePending);

    StageWindowImpl* const failing = Make(At({0, 0, 640, 480}));
    failing->resizeInProgress = true;
    failing->pendingDims = {0, 0};
    Faults().FailAll(Fallible::kCreateRenderPlane);
    EXPECT_FALSE(failing->CreatePlanes());
    EXPECT_EQ(failing->GetStageWindowStatus(), kErrorOutputPlaneCreationFailure);
  });
}

TEST_F(WindowPlanes, SayWhereTheWindowIsWithoutAnOutputPlane) {
  class Provider : public StageWindowRectProvider {
   public:
    Rect GetRectOnScreen() override { return {9, 8, 7, 6}; }
  };
  Provider provider;
  Story([&] {
    StageWindowParameters parameters = At({1, 2, 3, 4});
    parameters.createOutputPlane = false;
    StageWindowImpl* const bare = Unconfigured();
    bare->parameters.outputRect = {1, 2, 3, 4};
    EXPECT_EQ(ToText(bare->GetRectOnScreen()), "1,2,3,4");
    StageWindowImpl* const plain = Shown(parameters);
    EXPECT_EQ(plain->GetOutputPlane(), nullptr);
    EXPECT_EQ(ToText(plain->GetRectOnScreen()), "0,0,320,240");
    plain->DispatchMouseMove(5, 6);
    EXPECT_EQ(Player(plain)->Input(), (Texts{"move 5,6"}));
    parameters.rectProvider = &provider;
    StageWindowImpl* const provided = Make(parameters);
    EXPECT_TRUE(provided->parameters.hasRectProvider);
    EXPECT_EQ(ToText(provided->GetRectOnScreen()), "9,8,7,6");
  });
}

// Found by a random program: the player's thread resizes between two frames, and needs the driver,
// at the moment at which the host's makes planes.
TEST(WindowPlanesOnTwoThreads, HoldTheDriverOnce) {
  for (uint64_t seed = 1; seed <= 60; ++seed) {
    plexion_sim::SimOptions options;
    options.seed = seed;
    plexion_sim::SimDevice simulated(options);
    simulated.kernel.IgnoreDataRaces();  // left to the host: a resize that meets CreatePlanes
    {
      plexion_sim::SimHost host(simulated,
                                {IQXModule_IPlexion_ModuleLoad, IQXModule_IPlexion_ModuleUnload});
      simulated.Run([&] {
        host.LoadService();
        StageWindow* const window = host.OpenWindow({"movie.mvx"});
        window->LoadMVXAsync();
        host.WaitFor(window, kStatusReadyToAnimate);
        window->Resize({64, 64}, true);
        window->CreatePlanes();
        host.RunForMs(20);
        host.UnloadService();
      });
    }
    EXPECT_EQ(simulated.Finish(), "") << "seed " << seed;
  }
}

}  // namespace
}  // namespace plexion
}  // namespace qx
