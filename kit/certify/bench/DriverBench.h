// The graphics driver under test, with short ways to make planes and to look at their pixels.

#ifndef KIT_CERTIFY_BENCH_DRIVERBENCH_H_
#define KIT_CERTIFY_BENCH_DRIVERBENCH_H_

#include <cstring>
#include <functional>
#include <string>

#include "kit/certify/Bench.h"
#include "kit/certify/Case.h"
#include "kit/certify/bench/BareWindow.h"
#include "qx/platform/IGraphicsDriver.h"

namespace plexion_certify {

class DriverBench {
 public:
  explicit DriverBench(Case& c) : window(c.GetBench().Ledger()), driver(Acquire(c)), c_(c) {}

  /// A usable plane; ends the case when there is none to be had.
  qx::platform::RenderPlane* Render(const qx::plexion::Dims& dims) {
    auto* const plane = driver.CreateRenderPlane(dims, qx::platform::kPixelFormat32, &window);
    CERTIFY_REQUIRE(c_, plane != nullptr, Text("a render plane of %ux%u", dims.width, dims.height),
                    "null");
    return plane;
  }
  qx::platform::OutputPlane* Output(const qx::plexion::Rect& rect, const char* name) {
    auto* const plane = driver.CreateOutputPlane(rect, false, nullptr, &window, name);
    CERTIFY_REQUIRE(c_, plane != nullptr, Text("an output plane of %ux%u", rect.width, rect.height),
                    "null");
    return plane;
  }

  /// A pixel of its own for each seed and place.
  static uint32_t Colour(uint32_t seed, uint32_t x, uint32_t y) {
    return 0xFF000000u | ((seed * 2654435761u) ^ (x * 40503u + y * 9973u + seed));
  }
  /// Writes every pixel of the plane.
  void Paint(qx::platform::Plane& plane, uint32_t seed) {
    Each(plane, false,
         [seed](uint32_t x, uint32_t y, uint32_t& pixel) { pixel = Colour(seed, x, y); });
  }
  void Fill(qx::platform::Plane& plane, uint32_t colour) {
    Each(plane, false, [colour](uint32_t, uint32_t, uint32_t& pixel) { pixel = colour; });
  }
  /// The first pixel that is not as Paint wrote it; empty when all are.
  std::string Unlike(qx::platform::Plane& plane, uint32_t seed) {
    std::string wrong;
    Each(plane, true, [&](uint32_t x, uint32_t y, uint32_t& pixel) {
      if (pixel == Colour(seed, x, y) || !wrong.empty()) return;
      wrong = Text("0x%08x in place of 0x%08x at %u,%u", pixel, Colour(seed, x, y), x, y);
    });
    return wrong;
  }
  /// How many pixels are so.
  uint32_t Find(qx::platform::Plane& plane, const std::function<bool(uint32_t)>& is) {
    uint32_t found = 0;
    Each(plane, true, [&](uint32_t, uint32_t, uint32_t& pixel) { found += is(pixel); });
    return found;
  }
  uint32_t PixelOf(qx::platform::Plane& plane, uint32_t x, uint32_t y) {
    const auto* const pixels = static_cast<const unsigned char*>(plane.LockPixels(true));
    uint32_t pixel = 0;
    memcpy(&pixel, pixels + size_t{y} * plane.GetPitch() + size_t{x} * 4, sizeof(pixel));
    plane.UnlockPixels();
    return pixel;
  }

  BareWindow window;
  qx::platform::IGraphicsDriver& driver;

 private:
  static qx::platform::IGraphicsDriver& Acquire(Case& c) {
    LedgerKernel& kernel = c.GetBench().Ledger();
    IQXModule* const module = kernel.AcquireModule("IGraphicsDriver");
    CERTIFY_REQUIRE(c, module != nullptr, "the module IGraphicsDriver",
                    kernel.WhyNot("IGraphicsDriver"));
    return *static_cast<qx::platform::IGraphicsDriver*>(module);
  }

  template <typename Visit>
  void Each(qx::platform::Plane& plane, bool forReading, Visit visit) {
    const qx::plexion::Dims dims = plane.GetDims();
    auto* row = static_cast<unsigned char*>(plane.LockPixels(forReading));
    CERTIFY_REQUIRE(c_, row != nullptr, "the address of the pixels", "null");
    for (uint32_t y = 0; y < dims.height; ++y, row += plane.GetPitch()) {
      auto* const pixels = reinterpret_cast<uint32_t*>(row);
      for (uint32_t x = 0; x < dims.width; ++x) visit(x, y, pixels[x]);
    }
    plane.UnlockPixels();
  }

  Case& c_;
};

}  // namespace plexion_certify

#endif  // KIT_CERTIFY_BENCH_DRIVERBENCH_H_
