// Promises of the player runtime: what it draws, and where.

#include <memory>
#include <mutex>

#include "kit/certify/Groups.h"
#include "kit/certify/bench/PlayerStage.h"

namespace plexion_certify {
namespace {

using namespace qx::plexion;  // statuses

/// Holds the player between two frames while `look` looks at the plane, so that nothing moves.
void BetweenTwoFrames(Case& c, PlayerStage& stage, const std::function<void()>& look) {
  // Shared, and shut at the end: a player that is late must not write into what is gone.
  struct Look {
    std::mutex mutex;
    bool looked = false, over = false;
  };
  const auto shared = std::make_shared<Look>();
  stage.whenBetweenFrames = [shared, look] {
    const std::lock_guard<std::mutex> lock(shared->mutex);
    if (!shared->over) look();
    shared->looked = true;
  };
  stage.Do("RequestInterFrameNotification",
           [&] { stage.Instance().RequestInterFrameNotification(); });
  const auto looked = [&shared] {
    const std::lock_guard<std::mutex> lock(shared->mutex);
    return shared->looked;
  };
  const bool came = c.Until(looked, 8000);
  stage.Do("Pause", [&] { stage.Instance().Pause(); });
  stage.WaitFor(kStatusPaused, 3000);
  {
    const std::lock_guard<std::mutex> lock(shared->mutex);
    shared->over = true;
  }
  CERTIFY_REQUIRE(c, came, "OnMorvelInstanceInterFrameNotification after it was asked for",
                  "none in eight seconds");
}

void Draws(Case& c) {
  PlayerStage stage(c);
  stage.ConfigureAndLoad();
  stage.GivePlane();
  stage.PlayFrames(3);
  size_t drawn = 0;
  BetweenTwoFrames(c, stage, [&] { drawn = stage.plane->DrawnPixels(); });
  CERTIFY_REQUIRE(c, drawn > 320 * 180 / 2, "most of 320x180 pixels drawn in the first frames",
                  Text("%zu", drawn));
}

void Rectangles(Case& c) {
  PlayerStage stage(c);
  stage.ConfigureAndLoad();
  stage.GivePlane();
  stage.PlayFrames(4);
  bool first = true;
  for (const Heard& heard : stage.All()) {
    if (heard.status != kInfoRenderPlaneUpdated) continue;
    CERTIFY_REQUIRE(c, heard.hasRect, "the redrawn rectangle with kInfoRenderPlaneUpdated",
                    "no data, or no rectangle in it");
    const Rect& rect = heard.rect;
    const std::string seen = Text("%u,%u %ux%u", rect.x, rect.y, rect.width, rect.height);
    CERTIFY_REQUIRE(c,
                    rect.width >= 1 && rect.height >= 1 && rect.x + uint64_t{rect.width} <= 320 &&
                        rect.y + uint64_t{rect.height} <= 180,
                    "a rectangle within the plane of 320x180", seen);
    CERTIFY_REQUIRE(c, !first || (rect.width == 320 && rect.height == 180),
                    "the whole plane with the first frame", seen);
    first = false;
  }
}

void Pitch(Case& c) {
  for (const Dims& dims : {Dims{320, 180}, Dims{37, 21}, Dims{1, 1}}) {
    PlayerStage stage(c);
    stage.ConfigureAndLoad();
    stage.GivePlane(dims.width, dims.height);
    stage.PlayFrames(3);
    std::string beside;
    BetweenTwoFrames(c, stage, [&] { beside = stage.plane->Beside(); });
    CERTIFY_REQUIRE(
        c, beside.empty(),
        Text("pixels of the plane of %ux%u written, and nothing else", dims.width, dims.height),
        "bytes written " + beside);
  }
}

void Locked(Case& c) {
  PlayerStage stage(c);
  stage.ConfigureAndLoad();
  stage.GivePlane();
  stage.PlayFrames(3);
  CERTIFY_REQUIRE(c, stage.plane->LockCalls() >= 3, "pixels locked for each of three frames",
                  Text("LockPixels was called %d times", stage.plane->LockCalls()));
  int locks = 0;
  BetweenTwoFrames(c, stage, [&] { locks = stage.plane->Locks(); });
  CERTIFY_REQUIRE(c, locks == 0, "no pixels locked between two frames", Text("%d locks", locks));
}

void Changed(Case& c) {
  PlayerStage stage(c);
  stage.ConfigureAndLoad();
  stage.GivePlane();
  stage.PlayFrames(2);
  auto* const old = stage.plane;
  auto* const next = static_cast<BenchRenderPlane*>(
      stage.graphics.CreateRenderPlane({200, 100}, 0, &stage.window));
  bool taken = false;
  for (int i = 0; i < 6; ++i) {
    // There and back again, so that one falls into a frame.
    BenchRenderPlane* const to = i % 2 == 0 ? next : old;
    BenchRenderPlane* const from = i % 2 == 0 ? old : next;
    stage.Do("SetRenderPlane of another plane",
             [&] { taken = stage.Instance().SetRenderPlane(to); });
    from->Wipe();
    const int locks = from->LockCalls();
    CERTIFY_REQUIRE(c, taken, "SetRenderPlane answers true", "false");
    const int frames = stage.Frames();
    CERTIFY_REQUIRE(c, stage.WaitForFrames(frames + 2), "frames in the new plane", "none");
    CERTIFY_REQUIRE(c, from->DrawnPixels() == 0 && from->LockCalls() == locks,
                    "nothing drawn into the earlier plane once SetRenderPlane has returned",
                    Text("%zu pixels, and LockPixels called %d times", from->DrawnPixels(),
                         from->LockCalls() - locks));
  }
  stage.Destroy();
  stage.graphics.DestroyRenderPlane(next);
}

void SameAgain(Case& c) {
  for (const Dims& dims : {Dims{160, 90}, Dims{400, 240}}) {
    size_t before = 0;
    bool taken = false;
    PlayerStage stage(c);
    stage.ConfigureAndLoad();
    stage.GivePlane();
    stage.PlayFrames(2);
    stage.whenBetweenFrames = [&] {
      // As a resize does it: between two frames, then the plane is set again.
      stage.plane->SetDims(dims);
      before = stage.All().size();
      taken = stage.Instance().SetRenderPlane(stage.plane);
    };
    stage.Do("RequestInterFrameNotification",
             [&] { stage.Instance().RequestInterFrameNotification(); });
    const bool came = c.Until([&] { return stage.BetweenFrames() > 0; }, 3000);
    CERTIFY_REQUIRE(c, came, "an inter-frame notification", "none");
    CERTIFY_REQUIRE(c, taken, "SetRenderPlane of the same plane answers true", "false");
    const int frames = stage.Frames();
    const std::string size = Text("%ux%u", dims.width, dims.height);
    CERTIFY_REQUIRE(c, stage.WaitForFrames(frames + 2), "frames in the plane of " + size + " now",
                    "none");
    for (size_t i = before; i < stage.All().size(); ++i) {
      const Heard heard = stage.All()[i];
      if (heard.status != kInfoRenderPlaneUpdated) continue;
      CERTIFY_REQUIRE(c, heard.rect.width == dims.width && heard.rect.height == dims.height,
                      "everything drawn anew, in the size of now: " + size,
                      Text("%ux%u", heard.rect.width, heard.rect.height));
      break;
    }
    std::string beside;
    BetweenTwoFrames(c, stage, [&] { beside = stage.plane->Beside(); });
    CERTIFY_REQUIRE(c, beside.empty(),
                    "pixels of the plane of " + size + " written, and nothing else",
                    "bytes written " + beside);
    CERTIFY_REQUIRE(c, stage.plane->DrawnPixels() > dims.width * dims.height / 2,
                    "most of its pixels drawn", Text("%zu", stage.plane->DrawnPixels()));
    stage.Destroy();
  }
}

void ResetPlane(Case& c) {
  PlayerStage stage(c);
  stage.ConfigureAndLoad();
  stage.GivePlane();
  stage.PlayFrames(1);
  stage.Do("Pause", [&] { stage.Instance().Pause(); });
  stage.WaitFor(kStatusPaused);
  auto* const next =
      static_cast<BenchRenderPlane*>(stage.graphics.CreateRenderPlane({100, 60}, 0, &stage.window));
  bool taken = false;
  stage.Do("ResetRenderPlane while it is paused",
           [&] { taken = stage.Instance().ResetRenderPlane(next); });
  CERTIFY_REQUIRE(c, taken, "true", "false");
  stage.Do("Play", [&] { stage.Instance().Play(); });
  const int frames = stage.Frames();
  CERTIFY_REQUIRE(c, stage.WaitForFrames(frames + 2) && next->LockCalls() > 0,
                  "it draws into the new plane",
                  Text("LockPixels called %d times", next->LockCalls()));
  stage.Destroy();
  stage.graphics.DestroyRenderPlane(next);
}

void Premultiplied(Case& c) {
  PlayerStage stage(c);
  stage.ConfigureAndLoad();
  stage.GivePlane();
  stage.PlayFrames(3);
  std::string wrong;
  BetweenTwoFrames(c, stage, [&] {
    for (uint32_t y = 0; y < 180 && wrong.empty(); ++y) {
      for (uint32_t x = 0; x < 320 && wrong.empty(); ++x) {
        const uint32_t pixel = stage.plane->Pixel(x, y), alpha = pixel >> 24;
        if (pixel == 0xC5C5C5C5u) continue;  // not drawn
        if ((pixel >> 16 & 255) > alpha || (pixel >> 8 & 255) > alpha || (pixel & 255) > alpha) {
          wrong = Text("0x%08x at %u,%u", pixel, x, y);
        }
      }
    }
  });
  CERTIFY_REQUIRE(c, wrong.empty(),
                  "0xAARRGGBB with premultiplied alpha: no colour above its alpha", wrong);
}

constexpr Promise kPromises[] = {
    {"player.plane.draws", "Frames are drawn into the render plane.", Level::kBasic, "player.play",
     Draws},
    {"player.plane.locked", "Pixels are locked while they are drawn, and not between frames.",
     Level::kContract, "player.plane.draws player.between-frames", Locked},
    {"player.plane.pitch",
     "Rows begin every GetPitch() bytes; nothing beside the pixels is written.", Level::kContract,
     "player.plane.draws player.between-frames", Pitch},
    {"player.plane.rectangle", "Each frame says which part was redrawn; the first one, everything.",
     Level::kContract, "player.play", Rectangles},
    {"player.plane.premultiplied", "Pixels are 0xAARRGGBB, alpha premultiplied.", Level::kContract,
     "player.plane.draws player.between-frames", Premultiplied},
    {"player.plane.changed", "Once SetRenderPlane has returned, the earlier plane is left alone.",
     Level::kContract, "player.play", Changed},
    {"player.plane.same-again", "The same plane set again is read anew, and drawn whole.",
     Level::kContract, "player.between-frames player.plane.draws", SameAgain},
    {"player.plane.reset", "ResetRenderPlane exchanges the plane of paused content.",
     Level::kContract, "player.pause", ResetPlane},
};

}  // namespace

PromiseGroup PlayerPlanePromises() {
  return MakeGroup("Player: planes", "qx/core/morvellib/MorvelInstance.h",
                   "A plane belongs to the window. It may be resized or replaced between two "
                   "frames, and its rows may be\n"
                   "longer than its pixels.",
                   kPromises);
}

}  // namespace plexion_certify
