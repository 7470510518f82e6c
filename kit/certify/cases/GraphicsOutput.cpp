// Promises of the graphics driver: what is seen, where, and what lies above what.

#include <cstring>
#include <vector>

#include "kit/certify/Groups.h"
#include "kit/certify/bench/BenchGraphics.h"
#include "kit/certify/bench/DriverBench.h"

namespace plexion_certify {
namespace {

using namespace qx::platform;
using qx::plexion::Dims;
using qx::plexion::Point;
using qx::plexion::Rect;

std::string Of(const Rect& rect) {
  return Text("%d,%d %ux%u", static_cast<int>(rect.x), static_cast<int>(rect.y), rect.width,
              rect.height);
}

bool Same(const Rect& left, const Rect& right) {
  return left.x == right.x && left.y == right.y && left.width == right.width &&
         left.height == right.height;
}

void Created(Case& c) {
  DriverBench bench(c);
  const Rect asked = {100, 50, 320, 180};
  OutputPlane* const plane = bench.Output(asked, "certify");
  CERTIFY_REQUIRE(c, Same(plane->GetRect(), asked), "the place asked for: " + Of(asked),
                  Of(plane->GetRect()));
  const Dims dims = plane->GetDims();
  CERTIFY_REQUIRE(c, dims.width == 320 && dims.height == 180, "320x180",
                  Text("%ux%u", dims.width, dims.height));
  CERTIFY_REQUIRE(c, plane->IsVisible(), "a new plane is visible", "it is not");
  CERTIFY_REQUIRE(c, plane->GetAlpha() == 255, "a new plane is opaque: 255",
                  Text("%u", plane->GetAlpha()));
  CERTIFY_REQUIRE(c, plane->GetDrawingContext() != nullptr, "a drawing context", "null");
  bench.Paint(*plane, 8);
  const std::string wrong = bench.Unlike(*plane, 8);
  CERTIFY_REQUIRE(c, wrong.empty(), "pixels that can be written", wrong);
}

void Placed(Case& c) {
  DriverBench bench(c);
  c.Step("an output plane whose size was not asked for");
  OutputPlane* const plane =
      bench.driver.CreateOutputPlane({0, 0, 320, 180}, true, nullptr, &bench.window, "placed");
  CERTIFY_REQUIRE(c, plane != nullptr, "a plane", "null");
  const Rect rect = plane->GetRect();
  const Dims dims = plane->GetDims();
  CERTIFY_REQUIRE(
      c,
      dims.width > 0 && dims.height > 0 && rect.width == dims.width && rect.height == dims.height,
      "a size of the driver's choice, the same from GetDims and GetRect",
      Text("%ux%u and ", dims.width, dims.height) + Of(rect));
}

void Name(Case& c) {
  DriverBench bench(c);
  char name[] = "certify-name";
  OutputPlane* const plane = bench.Output({0, 0, 10, 10}, name);
  memset(name, '#', sizeof(name) - 1);
  CERTIFY_REQUIRE(c, plane->GetName() != nullptr && strcmp(plane->GetName(), "certify-name") == 0,
                  "a copy of the name", plane->GetName() == nullptr ? "null" : plane->GetName());
  const char* const first = plane->GetName();
  plane->MoveTo({5, 5});
  CERTIFY_REQUIRE(c, strcmp(first, "certify-name") == 0,
                  "a name that is valid as long as the plane", first);
}

void Moves(Case& c) {
  DriverBench bench(c);
  OutputPlane* const plane = bench.Output({10, 10, 64, 48}, "moves");
  const auto minus = [](int number) { return static_cast<uint32_t>(-number); };
  for (const Point& point : {Point{200, 100}, Point{0, 0}, Point{minus(20), minus(30)},
                             Point{5000, 4000}, Point{3, 4}}) {
    const Rect right = {point.x, point.y, 64, 48};
    c.Step("MoveTo " + Of(right));
    CERTIFY_REQUIRE(c, plane->MoveTo(point), "true, also beyond the screen's edges", "false");
    CERTIFY_REQUIRE(c, Same(plane->GetRect(), right), Of(right), Of(plane->GetRect()));
  }
}

void Visible(Case& c) {
  DriverBench bench(c);
  OutputPlane* const plane = bench.Output({0, 0, 10, 10}, "visible");
  for (const bool visible : {false, false, true, false, true}) {
    plane->SetVisible(visible);
    CERTIFY_REQUIRE(c, plane->IsVisible() == visible, visible ? "visible" : "not visible",
                    visible ? "not visible" : "visible");
  }
}

void Alpha(Case& c) {
  DriverBench bench(c);
  OutputPlane* const plane = bench.Output({0, 0, 10, 10}, "alpha");
  for (const unsigned char alpha : {0, 1, 128, 254, 255}) {
    plane->SetAlpha(alpha);
    CERTIFY_REQUIRE(c, plane->GetAlpha() == alpha, Text("%u", alpha),
                    Text("%u", plane->GetAlpha()));
  }
}

void Regions(Case& c) {
  DriverBench bench(c);
  OutputPlane* const plane = bench.Output({1200, 700, 100, 80}, "regions");
  const auto minus = [](int number) { return static_cast<uint32_t>(-number); };
  for (const Rect& region :
       {Rect{0, 0, 100, 80}, Rect{90, 70, 500, 500}, Rect{minus(5), minus(5), 20, 20},
        Rect{3000, 3000, 10, 10}, Rect{0, 0, 0, 0}, Rect{0, 0, 0xFFFFFFFF, 0xFFFFFFFF},
        Rect{0x7FFFFFFF, 0x7FFFFFFF, 0x7FFFFFFF, 0x7FFFFFFF}}) {
    c.Step("ShowRegion " + Of(region) + " of a plane of 100x80");
    plane->ShowRegion(region);
  }
  c.Step("SetActive");
  plane->SetActive(true);
  plane->SetActive(false);
  c.SleepMs(30);
}

void Resizes(Case& c) {
  DriverBench bench(c);
  OutputPlane* plane = bench.Output({10, 20, 100, 80}, "resizes");
  for (const Rect& rect : {Rect{50, 60, 200, 160}, Rect{0, 0, 31, 17}, Rect{7, 8, 1280, 720}}) {
    c.Step("ResizeOutputPlane to " + Of(rect));
    CERTIFY_REQUIRE(c,
                    bench.driver.ResizeOutputPlane(plane, {rect.width, rect.height}, rect, nullptr,
                                                   &bench.window, "resizes"),
                    "true", "false");
    CERTIFY_REQUIRE(c, Same(plane->GetRect(), rect), "place and size as asked for: " + Of(rect),
                    Of(plane->GetRect()));
    const Dims dims = plane->GetDims();
    CERTIFY_REQUIRE(c, dims.width == rect.width && dims.height == rect.height,
                    "the same size from GetDims", Text("%ux%u", dims.width, dims.height));
    CERTIFY_REQUIRE(c, plane->GetPitch() >= dims.width * 4, "rows that hold their pixels",
                    Text("a pitch of %u", plane->GetPitch()));
    bench.Paint(*plane, 2);
  }
}

void ResizeKeeps(Case& c) {
  DriverBench bench(c);
  bench.Output({0, 0, 50, 50}, "below");
  OutputPlane* plane = bench.Output({10, 20, 100, 80}, "keeps");
  bench.Output({0, 0, 50, 50}, "above");
  const unsigned place = plane->GetStackingIndex();
  plane->SetAlpha(99);
  plane->SetVisible(false);
  c.Step("ResizeOutputPlane of a plane that is hidden, half transparent and in the middle");
  CERTIFY_REQUIRE(c,
                  bench.driver.ResizeOutputPlane(plane, {40, 30}, {1, 2, 40, 30}, nullptr,
                                                 &bench.window, "keeps"),
                  "true", "false");
  CERTIFY_REQUIRE(c, !plane->IsVisible(), "hidden as before", "visible");
  CERTIFY_REQUIRE(c, plane->GetAlpha() == 99, "an alpha of 99 as before",
                  Text("%u", plane->GetAlpha()));
  CERTIFY_REQUIRE(c, plane->GetStackingIndex() == place,
                  Text("place %u in the stack as before", place),
                  Text("%u", plane->GetStackingIndex()));
  CERTIFY_REQUIRE(c, strcmp(plane->GetName(), "keeps") == 0, "its name", plane->GetName());
}

void ResizeFails(Case& c) {
  DriverBench bench(c);
  OutputPlane* plane = bench.Output({10, 20, 100, 80}, "fails");
  OutputPlane* const before = plane;
  c.Step("ResizeOutputPlane to a size that cannot be");
  const bool resized = bench.driver.ResizeOutputPlane(plane, {0xFFFFFFFF, 0xFFFFFFFF},
                                                      {0, 0, 0xFFFFFFFF, 0xFFFFFFFF}, nullptr,
                                                      &bench.window, "fails");
  CERTIFY_REQUIRE(c, !resized, "false for 4294967295x4294967295", "true");
  CERTIFY_REQUIRE(c, plane == before && Same(plane->GetRect(), {10, 20, 100, 80}),
                  "place and size as before: 10,20 100x80", Of(plane->GetRect()));
}

// The stack

/// Five planes; what is asked of the stack is checked by everybody's index.
struct Stack {
  explicit Stack(Case& stackCase) : c(stackCase), bench(stackCase) {
    for (int i = 0; i < 5; ++i) planes.push_back(bench.Output({0, 0, 20, 20}, "stack"));
    lowest = planes[0]->GetStackingIndex();
  }
  /// The planes from the bottom, as letters.
  std::string Order() {
    std::string order(planes.size(), '?');
    for (size_t i = 0; i < planes.size(); ++i) {
      const unsigned place = planes[i]->GetStackingIndex() - lowest;
      if (place < order.size()) order[place] = static_cast<char>('a' + i);
    }
    return order;
  }
  void Expect(const std::string& right) {
    CERTIFY_REQUIRE(c, Order() == right, "from the bottom: " + right, Order());
  }
  Case& c;
  DriverBench bench;
  std::vector<OutputPlane*> planes;
  unsigned lowest = 0;
};

void NewOnTop(Case& c) {
  Stack stack(c);
  CERTIFY_REQUIRE(c, stack.lowest == 0, "0 for the plane at the bottom", Text("%u", stack.lowest));
  stack.Expect("abcde");
}

void Above(Case& c) {
  Stack stack(c);
  c.Step("SetAbove");
  CERTIFY_REQUIRE(c, stack.planes[0]->SetAbove(stack.planes[2]), "true", "false");
  stack.Expect("bcade");
  CERTIFY_REQUIRE(c, stack.planes[4]->SetAbove(stack.planes[1]), "true", "false");
  stack.Expect("becad");
}

void Below(Case& c) {
  Stack stack(c);
  c.Step("SetBelow");
  CERTIFY_REQUIRE(c, stack.planes[4]->SetBelow(stack.planes[1]), "true", "false");
  stack.Expect("aebcd");
  CERTIFY_REQUIRE(c, stack.planes[0]->SetBelow(stack.planes[3]), "true", "false");
  stack.Expect("ebcad");
}

void AboveAll(Case& c) {
  Stack stack(c);
  c.Step("SetAbove and SetBelow with null");
  CERTIFY_REQUIRE(c, stack.planes[1]->SetAbove(nullptr), "true", "false");
  stack.Expect("acdeb");
  CERTIFY_REQUIRE(c, stack.planes[4]->SetBelow(nullptr), "true", "false");
  stack.Expect("eacdb");
}

void Foreign(Case& c) {
  Stack stack(c);
  BenchGraphics others;
  OutputPlane* const foreign =
      others.CreateOutputPlane({0, 0, 5, 5}, false, nullptr, nullptr, "foreign");
  c.Step("SetAbove and SetBelow with a plane of another driver");
  CERTIFY_REQUIRE(c, !stack.planes[1]->SetAbove(foreign), "false for a plane of another driver",
                  "true");
  CERTIFY_REQUIRE(c, !stack.planes[1]->SetBelow(foreign), "false for a plane of another driver",
                  "true");
  stack.Expect("abcde");
}

void Closes(Case& c) {
  Stack stack(c);
  c.Step("DestroyOutputPlane of one in the middle");
  stack.bench.driver.DestroyOutputPlane(stack.planes[2]);
  stack.planes.erase(stack.planes.begin() + 2);
  stack.Expect("abcd");  // letters anew
}

void Together(Case& c) {
  DriverBench bench(c);
  std::vector<OutputPlane*> planes;
  for (uint32_t i = 0; i < 64; ++i) {
    planes.push_back(bench.Output({i * 19, i * 10, 64, 36}, "together"));
    bench.Paint(*planes.back(), i);
    planes.back()->ShowRegion({0, 0, 64, 36});
  }
  for (uint32_t i = 0; i < 64; ++i) {
    const std::string wrong = bench.Unlike(*planes[i], i);
    CERTIFY_REQUIRE(c, wrong.empty(), "64 planes with pixels of their own", wrong);
    CERTIFY_REQUIRE(c, planes[i]->GetStackingIndex() == i, Text("place %u in the stack", i),
                    Text("%u", planes[i]->GetStackingIndex()));
  }
}

constexpr Promise kOutputPromises[] = {
    {"graphics.output.created", "A new output plane has its place and size, is visible and opaque.",
     Level::kBasic, "", Created},
    {"graphics.output.placed", "A size that was not asked for may be another, and is told.",
     Level::kContract, "graphics.output.created", Placed},
    {"graphics.output.name", "The plane's name is a copy.", Level::kContract,
     "graphics.output.created", Name},
    {"graphics.output.moves", "MoveTo moves the plane, beyond the screen as well.",
     Level::kContract, "graphics.output.created", Moves},
    {"graphics.output.visible", "SetVisible is what IsVisible says.", Level::kContract,
     "graphics.output.created", Visible},
    {"graphics.output.alpha", "SetAlpha takes 0 to 255.", Level::kContract,
     "graphics.output.created", Alpha},
    {"graphics.output.regions", "A region that is shown may reach outside the plane.",
     Level::kContract, "graphics.output.created", Regions},
    {"graphics.output.resize", "ResizeOutputPlane gives the plane place and size.",
     Level::kContract, "graphics.output.created", Resizes},
    {"graphics.output.resize-keeps",
     "A resize keeps visibility, alpha, name and place in the stack.", Level::kContract,
     "graphics.output.resize graphics.stack.new-on-top", ResizeKeeps},
    {"graphics.output.resize-fails", "A resize that fails leaves the plane as it was.",
     Level::kContract, "graphics.output.resize", ResizeFails},
};

constexpr Promise kStackPromises[] = {
    {"graphics.stack.new-on-top", "A new plane lies above all others; the lowest has place 0.",
     Level::kContract, "graphics.output.created", NewOnTop},
    {"graphics.stack.above", "SetAbove puts a plane right above another.", Level::kContract,
     "graphics.stack.new-on-top", Above},
    {"graphics.stack.below", "SetBelow puts a plane right below another.", Level::kContract,
     "graphics.stack.new-on-top", Below},
    {"graphics.stack.null", "Null means above, or below, all.", Level::kContract,
     "graphics.stack.new-on-top", AboveAll},
    {"graphics.stack.foreign", "A plane of another driver is refused, and nothing moves.",
     Level::kContract, "graphics.stack.new-on-top", Foreign},
    {"graphics.stack.closes", "A plane that is destroyed leaves no gap.", Level::kContract,
     "graphics.stack.new-on-top", Closes},
    {"graphics.load.together", "64 output planes at a time.", Level::kFull,
     "graphics.stack.new-on-top", Together},
};

}  // namespace

PromiseGroup GraphicsOutputPromises() {
  return MakeGroup("Graphics: output planes", "qx/platform/IGraphicsDriver.h",
                   "Positions are unsigned: one left of or above the screen is a number near "
                   "4294967296, and comes back\n"
                   "as it was given.",
                   kOutputPromises);
}

PromiseGroup GraphicsStackPromises() {
  return MakeGroup("Graphics: the stack", "qx/platform/IGraphicsDriver.h",
                   "An active window is brought above all, a prepared one is put below.",
                   kStackPromises);
}

}  // namespace plexion_certify
