// Promises of the graphics driver: render planes, and the pixels of all.

#include <cstring>
#include <memory>
#include <vector>

#include "kit/certify/Groups.h"
#include "kit/certify/bench/DriverBench.h"

namespace plexion_certify {
namespace {

using namespace qx::platform;
using qx::plexion::Dims;
using qx::plexion::Rect;

std::string Of(const Dims& dims) { return Text("%ux%u", dims.width, dims.height); }

void Screen(Case& c) {
  DriverBench bench(c);
  const Dims screen = bench.driver.GetScreenDims();
  CERTIFY_REQUIRE(c, screen.width > 0 && screen.height > 0, "a screen's size",
                  Of(screen) + ", which says that there is none");
  CERTIFY_REQUIRE(c, screen.width <= 65535 && screen.height <= 65535,
                  "a size that pointer positions of 16 bits reach: 65535 at most", Of(screen));
  const Dims again = bench.driver.GetScreenDims();
  CERTIFY_REQUIRE(c, again.width == screen.width && again.height == screen.height,
                  Of(screen) + " again", Of(again));
}

void Size(Case& c) {
  DriverBench bench(c);
  for (
      const Dims& dims :
      // Odd widths, and one row or column: drivers that round up to their blocks answer with those sizes.
      {Dims{320, 180}, Dims{1, 1}, Dims{37, 3}, Dims{1, 200}, Dims{1919, 1}, Dims{1920, 1080}}) {
    RenderPlane* const plane = bench.Render(dims);
    const Dims seen = plane->GetDims();
    CERTIFY_REQUIRE(c, seen.width == dims.width && seen.height == dims.height,
                    "a render plane of " + Of(dims), Of(seen));
    CERTIFY_REQUIRE(c, plane->GetDrawingContext() != nullptr,
                    "a drawing context, without which a plane is unusable", "null");
    CERTIFY_REQUIRE(c, plane->GetDrawingContext() == plane->GetDrawingContext(),
                    "the plane's one drawing context", "another each time");
    bench.driver.DestroyRenderPlane(plane);
  }
}

void Format(Case& c) {
  DriverBench bench(c);
  RenderPlane* const plane =
      bench.driver.CreateRenderPlane({64, 64}, kPixelFormat32, &bench.window);
  CERTIFY_REQUIRE(c, plane != nullptr && plane->GetPixelFormat() == kPixelFormat32,
                  "kPixelFormat32, as was asked for",
                  plane == nullptr ? "null" : Text("%u", plane->GetPixelFormat()));
}

void Pitch(Case& c) {
  DriverBench bench(c);
  for (const Dims& dims : {Dims{320, 180}, Dims{37, 21}, Dims{1, 50}}) {
    RenderPlane* const plane = bench.Render(dims);
    CERTIFY_REQUIRE(
        c, plane->GetPitch() >= dims.width * 4,
        Text("%u bytes at least from one row of %u pixels to the next", dims.width * 4, dims.width),
        Text("%u", plane->GetPitch()));
  }
}

void Rows(Case& c) {
  DriverBench bench(c);
  for (const Dims& dims : {Dims{320, 180}, Dims{37, 21}, Dims{801, 600}}) {
    RenderPlane* const plane = bench.Render(dims);
    bench.Paint(*plane, 7);
    // Every pixel, not a sample: a wrong pitch shows from the second row on only.
    const std::string wrong = bench.Unlike(*plane, 7);
    CERTIFY_REQUIRE(c, wrong.empty(),
                    "every pixel of " + Of(dims) + " as it was written before UnlockPixels", wrong);
  }
}

void Reading(Case& c) {
  DriverBench bench(c);
  RenderPlane* const plane = bench.Render({64, 64});
  bench.Paint(*plane, 9);
  const void* const pixels = plane->LockPixels(true);
  CERTIFY_REQUIRE(c, pixels != nullptr, "the pixels for reading", "null");
  CERTIFY_REQUIRE(c, *static_cast<const uint32_t*>(pixels) == bench.Colour(9, 0, 0),
                  "the pixel that was written",
                  Text("0x%08x", *static_cast<const uint32_t*>(pixels)));
  plane->UnlockPixels();
  // Twice: some drivers give a copy for reading and write it back when it is unlocked.
  for (int i = 0; i < 2; ++i) {
    const std::string wrong = bench.Unlike(*plane, 9);
    CERTIFY_REQUIRE(c, wrong.empty(), "reading changes nothing, however often", wrong);
  }
}

void Apart(Case& c) {
  DriverBench bench(c);
  std::vector<RenderPlane*> planes;
  for (uint32_t i = 0; i < 12; ++i) {
    planes.push_back(bench.Render({50 + i, 40}));
    bench.Paint(*planes.back(), i);
  }
  OutputPlane* const output = bench.Output({0, 0, 60, 40}, "apart");
  bench.Paint(*output, 77);
  for (uint32_t i = 0; i < 12; ++i) {
    const std::string wrong = bench.Unlike(*planes[i], i);
    CERTIFY_REQUIRE(c, wrong.empty(), "each plane has pixels of its own", wrong);
  }
}

void TooLarge(Case& c) {
  DriverBench bench(c);
  for (
      const Dims& dims :
      // Products that leave 32 bits at 4 bytes a pixel: a driver that multiplies so gives a small block for a
      // huge plane, and the module would write behind it.
      {Dims{0xFFFFFFFF, 0xFFFFFFFF}, Dims{0x40000000, 1}, Dims{0x10000, 0x10000}, Dims{0, 0}}) {
    c.Step("CreateRenderPlane of " + Of(dims));
    RenderPlane* const plane = bench.driver.CreateRenderPlane(dims, 0, &bench.window);
    if (plane == nullptr || plane->GetDrawingContext() == nullptr) continue;
    const Dims seen = plane->GetDims();
    CERTIFY_REQUIRE(c, seen.width == dims.width && seen.height == dims.height,
                    "null, or a plane without drawing context, for " + Of(dims),
                    "a plane of " + Of(seen));
    CERTIFY_REQUIRE(c, uint64_t{plane->GetPitch()} >= uint64_t{dims.width} * 4,
                    "rows that hold their pixels", Text("a pitch of %u", plane->GetPitch()));
  }
}

void Resizes(Case& c) {
  DriverBench bench(c);
  RenderPlane* plane = bench.Render({100, 80});
  for (const Dims& dims : {Dims{200, 160}, Dims{31, 17}, Dims{1280, 720}}) {
    c.Step("ResizeRenderPlane to " + Of(dims));
    CERTIFY_REQUIRE(c, bench.driver.ResizeRenderPlane(plane, dims, &bench.window), "true", "false");
    const Dims seen = plane->GetDims();
    CERTIFY_REQUIRE(c, seen.width == dims.width && seen.height == dims.height,
                    "a plane of " + Of(dims), Of(seen));
    CERTIFY_REQUIRE(c, plane->GetPitch() >= dims.width * 4, "rows that hold their pixels",
                    Text("a pitch of %u", plane->GetPitch()));
    bench.Paint(*plane, 3);
    const std::string wrong = bench.Unlike(*plane, 3);
    CERTIFY_REQUIRE(c, wrong.empty(), "every pixel as it was written", wrong);
  }
}

void FailedResize(Case& c) {
  DriverBench bench(c);
  RenderPlane* plane = bench.Render({100, 80});
  bench.Paint(*plane, 5);
  RenderPlane* const before = plane;
  c.Step("ResizeRenderPlane to a size that cannot be");
  const bool resized =
      bench.driver.ResizeRenderPlane(plane, {0xFFFFFFFF, 0xFFFFFFFF}, &bench.window);
  CERTIFY_REQUIRE(c, !resized, "false for 4294967295x4294967295", "true");
  const Dims seen = plane->GetDims();
  CERTIFY_REQUIRE(c, plane == before && seen.width == 100 && seen.height == 80,
                  "the plane as before: 100x80", Of(seen));
  const std::string wrong = bench.Unlike(*plane, 5);
  CERTIFY_REQUIRE(c, wrong.empty(), "its pixels as before", wrong);
}

void NullPlanes(Case& c) {
  DriverBench bench(c);
  c.Step("DestroyRenderPlane with null");
  bench.driver.DestroyRenderPlane(nullptr);
  c.Step("DestroyOutputPlane with null");
  bench.driver.DestroyOutputPlane(nullptr);
}

/// Locks a plane on this thread and lets another resize it: the pixels stay where they are.
template <typename PlaneType>
void ValidWhileLocked(Case& c, DriverBench& bench, PlaneType* plane,
                      const std::function<bool(PlaneType*&)>& resize) {
  const Dims dims = plane->GetDims();
  const uint32_t pitch = plane->GetPitch();
  auto* const pixels = static_cast<unsigned char*>(plane->LockPixels(false));
  CERTIFY_REQUIRE(c, pixels != nullptr, "the address of the pixels", "null");
  const auto paint = [&](uint32_t seed, bool check) {
    for (uint32_t y = 0; y < dims.height; ++y) {
      for (uint32_t x = 0; x < dims.width; ++x) {
        auto* const at = reinterpret_cast<uint32_t*>(pixels + size_t{y} * pitch) + x;
        if (check && *at != bench.Colour(seed, x, y)) return false;
        if (!check) *at = bench.Colour(seed, x, y);
      }
    }
    return true;
  };
  paint(1, false);
  PlaneType* now = plane;
  std::atomic<bool> resized{false};
  {
    CaseThread other(c, [&] {
      resize(now);
      resized = true;
    });
    c.Step("writing locked pixels while another thread resizes the plane");
    c.Until([&] { return resized.load(); }, 60);
    if (resized && now != plane) {
      plane = nullptr;  // it is gone: windows of such a driver are resized between two frames only
    } else {
      // What was freed is had again by whoever asks next.
      std::vector<std::unique_ptr<unsigned char[]>> taken;
      for (int i = 0; i < 8; ++i) {
        const size_t bytes = size_t{pitch} * dims.height;
        taken.push_back(std::make_unique<unsigned char[]>(bytes));
        memset(taken.back().get(), 0xDD, bytes);
      }
      CERTIFY_EXPECT(c, paint(1, true), "pixels stay where they are until UnlockPixels",
                     "they were overwritten: the memory had been given back");
      if (!c.HasFailed()) paint(2, false);
      plane->UnlockPixels();
    }
    c.Step("waiting for the resize after UnlockPixels");
    c.Until([&] { return resized.load(); }, 5000);
  }
  if (plane == nullptr)
    c.Skip("this driver replaces planes: resize windows with Resize(dims, true) only");
  // Whichever it is by now.
  const Dims seen = now->GetDims();
  CERTIFY_EXPECT(c, seen.width == 150 && seen.height == 90, "150x90 after the resize", Of(seen));
}

void LockedRender(Case& c) {
  DriverBench bench(c);
  ValidWhileLocked<RenderPlane>(c, bench, bench.Render({200, 120}), [&](RenderPlane*& plane) {
    return bench.driver.ResizeRenderPlane(plane, {150, 90}, &bench.window);
  });
}

void LockedOutput(Case& c) {
  DriverBench bench(c);
  ValidWhileLocked<OutputPlane>(
      c, bench, bench.Output({0, 0, 200, 120}, "locked"), [&](OutputPlane*& plane) {
        return bench.driver.ResizeOutputPlane(plane, {150, 90}, {0, 0, 150, 90}, nullptr,
                                              &bench.window, "locked");
      });
}

void Accounts(Case& c) {
  DriverBench bench(c);
  {
    RenderPlane* plane = bench.Render({300, 200});
    OutputPlane* output = bench.Output({0, 0, 300, 200}, "accounts");
    bench.driver.ResizeRenderPlane(plane, {600, 400}, &bench.window);
    bench.driver.ResizeOutputPlane(output, {600, 400}, {0, 0, 600, 400}, plane, &bench.window,
                                   "accounts");
    CERTIFY_REQUIRE(c, bench.window.graphicsBytes >= 0,
                    "a count of graphics memory that is not negative",
                    Text("%lld", bench.window.graphicsBytes.load()));
    bench.driver.DestroyOutputPlane(output);
    bench.driver.DestroyRenderPlane(plane);
  }
  CERTIFY_REQUIRE(c, bench.window.graphicsBytes == 0,
                  "the window's count of graphics memory as before the planes: 0",
                  Text("%lld", bench.window.graphicsBytes.load()));
}

// Copying

constexpr uint32_t kBackground = 0xFF102030u;

/// A destination all of one colour, and a source with a pixel of its own at each place.
struct Copy {
  Copy(Case& c, DriverBench& bench, const Dims& from, const Dims& to)
      : source(bench.Render(from)), target(bench.Render(to)) {
    bench.Paint(*source, 4);
    bench.Fill(*target, kBackground);
    c.Step("StretchCopy");
  }
  bool Do(const Rect& from, const Rect& to) {
    DrawingContext* const context = target->GetDrawingContext();
    const bool done = context->StretchCopy(source, from, to);
    context->Finish();
    return done;
  }
  RenderPlane* source;
  RenderPlane* target;
};

void CopyExact(Case& c) {
  DriverBench bench(c);
  Copy copy(c, bench, {60, 40}, {100, 80});
  if (!copy.Do({10, 5, 30, 20}, {20, 30, 30, 20})) {
    const uint32_t other =
        bench.Find(*copy.target, [](uint32_t pixel) { return pixel != kBackground; });
    CERTIFY_REQUIRE(c, other == 0, "nothing drawn when StretchCopy answers false",
                    Text("%u pixels", other));
    c.Skip("the driver leaves copying to the module");
  }
  for (uint32_t y = 0; y < 80; ++y) {
    for (uint32_t x = 0; x < 100; ++x) {
      const bool inside = x >= 20 && x < 50 && y >= 30 && y < 50;
      const uint32_t right = inside ? bench.Colour(4, x - 10, y - 25) : kBackground;
      const uint32_t seen = bench.PixelOf(*copy.target, x, y);
      if (seen == right) continue;
      c.Fail(Text("0x%08x at %u,%u: %s", right, x, y,
                  inside ? "the source's pixel, its alpha too"
                         : "outside of the destination nothing changes"),
             Text("0x%08x", seen));
    }
  }
}

void CopyOutside(Case& c) {
  DriverBench bench(c);
  Copy copy(c, bench, {60, 40}, {60, 40});
  const auto minus = [](int number) { return static_cast<uint32_t>(-number); };
  for (const Rect& to : {Rect{minus(10), minus(10), 60, 40}, Rect{40, 30, 60, 40},
                         Rect{500, 500, 60, 40}, Rect{0, 0, 0, 0}}) {
    c.Step(Text("StretchCopy to %d,%d %ux%u of a plane of 60x40", static_cast<int>(to.x),
                static_cast<int>(to.y), to.width, to.height));
    copy.Do({0, 0, to.width, to.height}, to);
  }
  c.Step("StretchCopy from outside of the source");
  copy.Do({minus(20), minus(20), 2000, 2000}, {0, 0, 60, 40});
  copy.Do({1000, 1000, 60, 40}, {0, 0, 60, 40});
  bench.Fill(*copy.target, kBackground);
  if (!copy.Do({0, 0, 60, 40}, {minus(10), minus(10), 60, 40})) {
    c.Skip("the driver leaves copies that reach outside to the module");
  }
  CERTIFY_REQUIRE(c, bench.PixelOf(*copy.target, 0, 0) == bench.Colour(4, 10, 10),
                  Text("0x%08x at 0,0: what lies outside is skipped, the rest stays in its place",
                       bench.Colour(4, 10, 10)),
                  Text("0x%08x", bench.PixelOf(*copy.target, 0, 0)));
}

void CopyStretched(Case& c) {
  DriverBench bench(c);
  RenderPlane* const source = bench.Render({20, 10});
  RenderPlane* const target = bench.Render({40, 20});
  bench.Fill(*source, 0x80402010u);
  bench.Fill(*target, kBackground);
  c.Step("StretchCopy of 20x10 to 40x20");
  if (!target->GetDrawingContext()->StretchCopy(source, {0, 0, 20, 10}, {0, 0, 40, 20})) {
    c.Skip("the driver leaves stretching to the module");
  }
  target->GetDrawingContext()->Finish();
  const uint32_t other = bench.Find(*target, [](uint32_t pixel) { return pixel != 0x80402010u; });
  CERTIFY_REQUIRE(c, other == 0,
                  "one colour stretched is that colour, its alpha too: copied, not blended",
                  Text("%u of 800 pixels differ", other));
}

// Load

void Thousands(Case& c) {
  DriverBench bench(c);
  c.Step("10,000 render and output planes, one pair after the other");
  long before = 0;
  const int files = DescriptorCount();
  for (int i = 0; i < 10000; ++i) {
    if (i == 500) before = ResidentBytes();
    RenderPlane* const plane = bench.Render({32, 24});
    OutputPlane* const output = bench.Output({0, 0, 32, 24}, "thousands");
    bench.driver.DestroyOutputPlane(output);
    bench.driver.DestroyRenderPlane(plane);
  }
  const long grown = ResidentBytes() - before;
  CERTIFY_REQUIRE(c, grown < (2L << 20), "planes leave nothing behind",
                  Text("the process grew by %ld KiB", grown >> 10));
  CERTIFY_REQUIRE(c, DescriptorCount() <= files, "no file left open",
                  Text("%d", DescriptorCount() - files));
}

void Large(Case& c) {
  DriverBench bench(c);
  c.Step("large planes, made, written and destroyed");
  const long before = ResidentBytes();
  for (int i = 0; i < 40; ++i) {
    RenderPlane* const plane = bench.Render({1920, 1080});
    bench.Fill(*plane, 0xFF000000u);
    bench.driver.DestroyRenderPlane(plane);
  }
  const long grown = ResidentBytes() - before;
  CERTIFY_REQUIRE(c, grown < (40L << 20), "memory of planes that were destroyed is used again",
                  Text("the process grew by %ld MiB", grown >> 20));
}

void Threads(Case& c) {
  DriverBench bench(c);
  c.Step("four threads make, show, move and destroy planes");
  const auto work = [&](uint32_t seed) {
    for (uint32_t i = 0; i < 100; ++i) {
      RenderPlane* const plane = bench.Render({40, 30});
      OutputPlane* const output = bench.Output({seed * 10, i, 40, 30}, "threads");
      bench.Paint(*plane, seed);
      output->ShowRegion({0, 0, 40, 30});
      output->MoveTo({i, seed});
      output->SetAbove(nullptr);
      output->SetAlpha(static_cast<unsigned char>(i));
      output->GetStackingIndex();
      const std::string wrong = bench.Unlike(*plane, seed);
      CERTIFY_EXPECT(c, wrong.empty(), "each thread's plane keeps its pixels", wrong);
      bench.driver.DestroyOutputPlane(output);
      bench.driver.DestroyRenderPlane(plane);
    }
  };
  CaseThread one(c, [&] { work(1); }), two(c, [&] { work(2); });
  CaseThread three(c, [&] { work(3); }), four(c, [&] { work(4); });
}

constexpr Promise kPromises[] = {
    {"graphics.screen", "The screen has a size, and keeps it.", Level::kBasic, "", Screen},
    {"graphics.render.size", "A render plane has the size asked for and can be drawn on.",
     Level::kBasic, "", Size},
    {"graphics.render.format", "A render plane has the pixel format asked for.", Level::kContract,
     "graphics.render.size", Format},
    {"graphics.render.pitch", "A row's pitch holds its pixels.", Level::kBasic,
     "graphics.render.size", Pitch},
    {"graphics.render.rows", "Every row begins a pitch after the one before, and keeps its pixels.",
     Level::kBasic, "graphics.render.pitch", Rows},
    {"graphics.render.reading", "Pixels can be locked for reading, again and again.", Level::kBasic,
     "graphics.render.rows", Reading},
    {"graphics.render.apart", "Planes share no pixels.", Level::kBasic, "graphics.render.rows",
     Apart},
    {"graphics.render.too-large", "A plane that cannot be made is null, or has no drawing context.",
     Level::kContract, "graphics.render.size", TooLarge},
    {"graphics.render.resize", "ResizeRenderPlane gives the plane its new size.", Level::kContract,
     "graphics.render.rows", Resizes},
    {"graphics.render.resize-fails", "A resize that fails leaves the plane as it was.",
     Level::kContract, "graphics.render.resize", FailedResize},
    {"graphics.destroy-null", "Destroying null does nothing.", Level::kContract, "", NullPlanes},
    {"graphics.locked.render", "A render plane's pixels stay valid while they are locked.",
     Level::kContract, "graphics.render.resize", LockedRender},
    {"graphics.locked.output", "An output plane's pixels stay valid while they are locked.",
     Level::kContract, "graphics.output.resize", LockedOutput},
    {"graphics.accounts", "Graphics memory that a window was charged for is given back to it.",
     Level::kContract, "graphics.render.resize", Accounts},
    {"graphics.copy.exact",
     "StretchCopy copies pixel by pixel, or answers false and draws nothing.", Level::kContract,
     "graphics.render.rows", CopyExact},
    {"graphics.copy.outside", "What lies outside of a plane is skipped.", Level::kContract,
     "graphics.copy.exact", CopyOutside},
    {"graphics.copy.stretched", "Alpha is copied, not blended, also where sizes differ.",
     Level::kContract, "graphics.copy.exact", CopyStretched},
    {"graphics.load.thousands", "10,000 planes leave nothing behind.", Level::kFull,
     "graphics.render.size", Thousands},
    {"graphics.load.large", "The memory of large planes is used again.", Level::kFull,
     "graphics.render.rows", Large},
    {"graphics.load.threads", "Any thread may make, show and destroy planes.", Level::kFull,
     "graphics.render.rows", Threads},
};

}  // namespace

PromiseGroup GraphicsPlanePromises() {
  return MakeGroup("Graphics: planes and pixels", "qx/platform/IGraphicsDriver.h",
                   "A resize on a host thread may meet a player that is drawing. Keep the plane "
                   "object and change its\n"
                   "storage while nobody holds its pixels; a driver that replaces planes has its "
                   "windows resized between\n"
                   "two frames only.",
                   kPromises);
}

}  // namespace plexion_certify
