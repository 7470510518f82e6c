// Graphics drivers that are wrong in one thing each: the kit's own, with one fault in front of it.

#include <chrono>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "kit/certify/bench/BenchGraphics.h"
#include "qx/core/IQXKernel.h"
#include "qx/plexion/StageWindow.h"
#include "tests/kit/certify/Fault.h"

namespace {

using namespace qx::platform;
using plexion_certify::BenchGraphics;
using qx::plexion::Dims;
using qx::plexion::Point;
using qx::plexion::Rect;
using qx::plexion::StageWindow;

/// Copies pixel by pixel, which the kit's own driver leaves to the module.
class FaultyContext final : public DrawingContext {
 public:
  explicit FaultyContext(Plane& plane) : plane_(plane) {}

  bool StretchCopy(Plane* source, const Rect& from, const Rect& to) override {
    if (FAULT("copy-draws-and-answers-false")) Put(0, 0, 0xFF00FF00u);
    if (from.width == 0 || to.width == 0) return true;
    if (FAULT("copy-draws-and-answers-false")) return false;
    const Dims target = plane_.GetDims(), origin = source->GetDims();
    const int grow = FAULT("copy-one-row-too-many") ? 1 : 0;
    for (int64_t y = 0; y < std::min<int64_t>(to.height, 4000) + grow; ++y) {
      for (int64_t x = 0; x < std::min<int64_t>(to.width, 4000); ++x) {
        int64_t toX = static_cast<int32_t>(to.x) + x, toY = static_cast<int32_t>(to.y) + y;
        const int64_t fromX = static_cast<int32_t>(from.x) + x * from.width / to.width;
        const int64_t fromY = static_cast<int32_t>(from.y) + y * from.height / to.height;
        if (FAULT("copy-outside-moves-inside")) {
          if (static_cast<int32_t>(to.x) < 0) toX = x;
          if (static_cast<int32_t>(to.y) < 0) toY = y;
        }
        const bool inside = toX >= 0 && toY >= 0 && toX < target.width && toY < target.height;
        if (!inside && FAULT("copy-writes-outside") && toY < 0) Put(0, toY - 100000000, 0);
        if (!inside || fromX < 0 || fromY < 0 || fromX >= origin.width || fromY >= origin.height)
          continue;
        uint32_t pixel = Get(*source, fromX, fromY);
        if (FAULT("copy-blends") && pixel >> 24 < 255)
          pixel = (pixel >> 1 & 0x7F7F7F7Fu) + (Get(plane_, toX, toY) >> 1 & 0x7F7F7F7Fu);
        if (FAULT("copy-makes-opaque")) pixel |= 0xFF000000u;
        if (FAULT("copy-swaps-colours"))
          pixel = (pixel & 0xFF00FF00u) | (pixel >> 16 & 255) | (pixel & 255) << 16;
        Put(toX, toY, pixel);
      }
    }
    return true;
  }
  void Finish() override {}

 private:
  static uint32_t Get(Plane& plane, int64_t x, int64_t y) {
    uint32_t pixel = 0;
    memcpy(&pixel, static_cast<char*>(plane.LockPixels(true)) + y * plane.GetPitch() + x * 4, 4);
    plane.UnlockPixels();
    return pixel;
  }
  void Put(int64_t x, int64_t y, uint32_t pixel) {
    memcpy(static_cast<char*>(plane_.LockPixels(false)) + y * plane_.GetPitch() + x * 4, &pixel, 4);
    plane_.UnlockPixels();
  }
  Plane& plane_;
};

/// What both kinds of planes forward.
template <typename Interface>
class FaultyPlane : public Interface {
 public:
  explicit FaultyPlane(Interface* plane) : inner(plane), context_(*plane) {}
  Dims GetDims() override {
    Dims dims = inner->GetDims();
    if (FAULT("size-is-rounded-up-to-16")) dims.width = (dims.width + 15) & ~15u;
    if (FAULT("size-is-as-at-first") && first_.width == 0) first_ = dims;
    return FAULT("size-is-as-at-first") ? first_ : dims;
  }
  uint32_t GetPixelFormat() override {
    return FAULT("format-is-another") ? 7 : inner->GetPixelFormat();
  }
  uint32_t GetPitch() override {
    if (FAULT("pitch-in-pixels")) return inner->GetDims().width;
    if (FAULT("pitch-without-padding")) return inner->GetDims().width * 4 - 4;
    return inner->GetPitch();
  }
  void* LockPixels(bool forReading) override {
    if (FAULT("lock-is-null-for-reading") && forReading) return nullptr;
    reading_ = forReading;
    auto* const pixels = static_cast<unsigned char*>(inner->LockPixels(forReading));
    if (FAULT("lock-clears-for-reading") && forReading) memset(pixels, 0, 64);
    if (FAULT("lock-hands-out-one-buffer")) {
      static std::vector<unsigned char> everybodys(64 << 20);
      return everybodys.data();
    }
    return pixels;
  }
  void UnlockPixels() override {
    if (FAULT("unlock-after-reading-clears") && reading_) {
      memset(inner->LockPixels(false), 0, 64);
      inner->UnlockPixels();
    }
    inner->UnlockPixels();
    if (FAULT("planes-are-cached-without-a-lock") && inner->GetDims().width == 40)
      std::this_thread::sleep_for(std::chrono::microseconds(300));
  }
  DrawingContext* GetDrawingContext() override {
    if (FAULT("context-is-null")) return nullptr;
    if (FAULT("context-is-another-each-time")) return new FaultyContext(*inner);
    return &context_;
  }

  Interface* const inner;

 private:
  FaultyContext context_;
  Dims first_ = {};
  bool reading_ = false;
};

class FaultyRenderPlane final : public FaultyPlane<RenderPlane> {
 public:
  FaultyRenderPlane(RenderPlane* plane, StageWindow* window)
      : FaultyPlane(plane), charged(window) {}
  StageWindow* const charged;
};
class FaultyOutputPlane;
std::vector<FaultyOutputPlane*> planes;  // this process has one driver, and threads wait for it
std::recursive_mutex planesMutex;

class FaultyOutputPlane final : public FaultyPlane<OutputPlane> {
 public:
  FaultyOutputPlane(OutputPlane* plane, const char* planeName)
      : FaultyPlane(plane), name_(planeName) {}
  void ShowRegion(const Rect& region) override {
    if (FAULT("regions-are-trusted")) {
      // The pixels are looked at, wherever the region says they are.
      auto* const row = static_cast<volatile unsigned char*>(inner->LockPixels(true)) +
                        uint64_t{region.y} * inner->GetPitch();
      if (region.width > 0) row[uint64_t{region.x} * 4] = row[uint64_t{region.x} * 4];
      inner->UnlockPixels();
    }
    inner->ShowRegion(region);
  }
  bool MoveTo(const Point& point) override {
    if (FAULT("move-refused-beyond-the-screen") && point.x > 1280) return false;
    if (FAULT("move-clamps-to-zero") && static_cast<int32_t>(point.x) < 0)
      return inner->MoveTo({0, 0});
    if (FAULT("move-does-nothing")) return true;
    if (FAULT("move-answers-false")) return inner->MoveTo(point) && false;
    return inner->MoveTo(point);
  }
  Rect GetRect() override {
    Rect rect = inner->GetRect();
    if (FAULT("place-in-other-order")) std::swap(rect.x, rect.y);
    if (FAULT("placed-size-differs-from-rectangle") && placed) ++rect.width;
    return rect;
  }
  void SetVisible(bool visible) override {
    if (FAULT("visible-toggles")) return inner->SetVisible(!inner->IsVisible());
    inner->SetVisible(visible);
  }
  bool IsVisible() override {
    return FAULT("created-hidden") && !shown ? false : inner->IsVisible();
  }
  void SetAlpha(unsigned char alpha) override {
    inner->SetAlpha(FAULT("alpha-in-percent") ? static_cast<unsigned char>(alpha * 100 / 255)
                                              : alpha);
  }
  bool SetAbove(OutputPlane* other) override {
    if (FAULT("above-means-above-all")) return inner->SetAbove(nullptr);
    if (FAULT("above-null-is-refused") && other == nullptr) return false;
    if (other != nullptr && Find(other) == nullptr) return Strange();
    return inner->SetAbove(Find(other));
  }
  bool SetBelow(OutputPlane* other) override {
    if (FAULT("below-goes-above")) return inner->SetAbove(Find(other));
    if (FAULT("below-null-goes-to-second") && other == nullptr)
      return inner->SetBelow(nullptr) && Bottom()->SetBelow(nullptr);
    if (other != nullptr && Find(other) == nullptr) return Strange();
    return inner->SetBelow(Find(other));
  }
  void SetActive(bool active) override { inner->SetActive(active); }
  unsigned char GetAlpha() override { return inner->GetAlpha(); }
  unsigned GetStackingIndex() override {
    if (FAULT("stack-counts-from-one")) return inner->GetStackingIndex() + 1;
    if (FAULT("stack-keeps-gaps")) return inner->GetStackingIndex() + gone;
    return inner->GetStackingIndex();
  }
  const char* GetName() override { return FAULT("name-is-borrowed") ? name_ : inner->GetName(); }

  bool shown = false, placed = false;
  static unsigned gone;

 private:
  static OutputPlane* Find(OutputPlane* plane);
  static OutputPlane* Bottom();
  bool Strange() { return FAULT("foreign-plane-is-taken") ? inner->SetAbove(nullptr) : false; }
  const char* const name_;
};
unsigned FaultyOutputPlane::gone = 0;

OutputPlane* FaultyOutputPlane::Find(OutputPlane* plane) {
  const std::lock_guard<std::recursive_mutex> lock(planesMutex);
  for (FaultyOutputPlane* mine : planes) {
    if (mine == plane) return mine->inner;
  }
  return nullptr;
}
OutputPlane* FaultyOutputPlane::Bottom() { return planes[0]->inner; }

class FaultyGraphics final : public IGraphicsDriver {
 public:
  Dims GetScreenDims() override {
    if (FAULT("screen-is-nothing")) return {0, 0};
    if (FAULT("screen-changes")) return {1280 + calls_++, 720};
    return inner_.GetScreenDims();
  }
  RenderPlane* CreateRenderPlane(const Dims& dims, uint32_t format, StageWindow* window) override {
    if (FAULT("create-too-large-crashes") && dims.width > 100000) abort();
    if (FAULT("planes-are-cached-without-a-lock") && dims.width == 40 && cached_ != nullptr) {
      RenderPlane* const again = cached_;
      std::this_thread::sleep_for(std::chrono::microseconds(100));
      cached_ = nullptr;
      return again;
    }
    RenderPlane* plane = inner_.CreateRenderPlane(dims, format, window);
    if (FAULT("create-too-large-is-smaller") && plane == nullptr)
      plane = inner_.CreateRenderPlane({64, 64}, format, window);
    if (plane == nullptr) return nullptr;
    window->IncrementGraphicsMemoryUsedCount(BytesOf(dims));
    if (FAULT("accounts-rounds-at-creation")) window->IncrementGraphicsMemoryUsedCount(64);
    return new FaultyRenderPlane(plane, window);
  }
  OutputPlane* CreateOutputPlane(const Rect& rect, bool defaultPlacement, RenderPlane* render,
                                 StageWindow* window, const char* name) override {
    const std::lock_guard<std::recursive_mutex> lock(planesMutex);
    if (FAULT("output-thirty-two-at-most") && planes.size() >= 32) return nullptr;
    if (render != nullptr) {  // as the module asks
      if (FAULT("output-refused-beside-a-render-plane")) return nullptr;
      if (FAULT("output-for-a-window-leaks")) IQXKernel::GetKernel()->CreateEvent(true);
      if (FAULT("output-for-windows-thirty-two-at-most") && planes.size() >= 32) return nullptr;
    }
    OutputPlane* const plane =
        inner_.CreateOutputPlane(rect, defaultPlacement, nullptr, window, name);
    if (plane == nullptr) return nullptr;
    planes.push_back(new FaultyOutputPlane(plane, name));
    planes.back()->placed = defaultPlacement;
    if (FAULT("created-transparent")) plane->SetAlpha(0);
    if (FAULT("created-at-the-bottom")) plane->SetBelow(nullptr);
    return planes.back();
  }
  bool ResizeOutputPlane(OutputPlane*& plane, const Dims& dims, const Rect& rect,
                         RenderPlane* render, StageWindow* window, const char* name) override {
    if (FAULT("resize-refused-beside-a-render-plane") && render != nullptr) return false;
    OutputPlane* inner = static_cast<FaultyOutputPlane*>(plane)->inner;
    if (FAULT("resize-ignores-place")) {
      const Rect old = inner->GetRect();
      return WhenUnlocked(inner, [&] {
        return inner_.ResizeOutputPlane(inner, dims, {old.x, old.y, 0, 0}, nullptr, window, name);
      });
    }
    if (FAULT("resize-output-does-nothing")) return inner->MoveTo({rect.x, rect.y});
    if (FAULT("resize-failed-but-moved") && dims.width > 100000)
      return inner->MoveTo({rect.x, rect.y}) && false;
    if (FAULT("resize-shows-plane")) inner->SetVisible(true);
    if (FAULT("resize-makes-opaque")) inner->SetAlpha(255);
    if (FAULT("resize-brings-to-top")) inner->SetAbove(nullptr);
    if (FAULT("output-freed-while-locked"))
      return inner_.ResizeOutputPlane(inner, dims, rect, nullptr, window, name);
    return WhenUnlocked(
        inner, [&] { return inner_.ResizeOutputPlane(inner, dims, rect, nullptr, window, name); });
  }
  bool ResizeRenderPlane(RenderPlane*& plane, const Dims& dims, StageWindow* window) override {
    RenderPlane* inner = static_cast<FaultyRenderPlane*>(plane)->inner;
    if (FAULT("resize-render-refused")) return false;
    if (FAULT("resize-failed-but-cleared") && dims.width > 100000)
      return inner_.ResizeRenderPlane(inner, inner->GetDims(), window) && false;
    if (FAULT("resize-too-large-is-true") && dims.width > 100000) return true;
    const uint64_t before = BytesOf(inner->GetDims());
    const auto resize = [&] { return inner_.ResizeRenderPlane(inner, dims, window); };
    const bool resized =
        FAULT("render-freed-while-locked") ? resize() : WhenUnlocked(inner, resize);
    if (resized && !FAULT("accounts-forgets-resize")) {
      window->DecrementGraphicsMemoryUsedCount(before);
      window->IncrementGraphicsMemoryUsedCount(BytesOf(dims));
    }
    return resized;
  }
  void DestroyRenderPlane(RenderPlane* plane) override {
    if (plane == nullptr && !FAULT("destroy-null-crashes")) return;
    auto* const faulty = static_cast<FaultyRenderPlane*>(plane);
    if (!FAULT("accounts-never-gives-back"))
      faulty->charged->DecrementGraphicsMemoryUsedCount(BytesOf(faulty->inner->GetDims()));
    if (FAULT("destroy-leaks-pixels")) return;
    if (FAULT("destroy-keeps-large-planes") && BytesOf(faulty->inner->GetDims()) > (1 << 20))
      return;
    if (FAULT("planes-are-cached-without-a-lock") && faulty->inner->GetDims().width == 40 &&
        cached_ == nullptr) {
      cached_ = plane;
      return;
    }
    inner_.DestroyRenderPlane(faulty->inner);
    delete faulty;
  }
  void DestroyOutputPlane(OutputPlane* plane) override {
    if (plane == nullptr && !FAULT("destroy-null-output-crashes")) return;
    const std::lock_guard<std::recursive_mutex> lock(planesMutex);
    auto* const faulty = static_cast<FaultyOutputPlane*>(plane);
    if (FAULT("stack-keeps-gaps")) ++FaultyOutputPlane::gone;
    inner_.DestroyOutputPlane(faulty->inner);
    planes.erase(std::find(planes.begin(), planes.end(), faulty));
    delete faulty;
  }

 private:
  static uint64_t BytesOf(const Dims& dims) { return uint64_t{dims.width} * dims.height * 4; }

  /// The kit's own driver is resized while nobody draws; this one waits until that is so.
  template <typename PlaneType, typename Resize>
  static bool WhenUnlocked(PlaneType* plane, Resize resize) {
    const auto locks = [plane] {
      return static_cast<plexion_certify::BenchPlane<PlaneType>*>(plane)->Locks();
    };
    for (int i = 0; locks() > 0 && i < 4000; ++i) IQXKernel::GetKernel()->Sleep(1000000);
    return resize();
  }

  BenchGraphics inner_;
  RenderPlane* volatile cached_ = nullptr;
  uint32_t calls_ = 0;
};

}  // namespace

extern "C" QX_EXPORT IQXModule* IQXModule_IGraphicsDriver_ModuleLoad() {
  static int loads = 0;
  if (FAULT("graphics-load-answers-null")) return nullptr;
  if (FAULT("graphics-loads-once") && ++loads > 1) return nullptr;
  if (FAULT("graphics-load-leaves-a-thread")) {
    std::thread([] { std::this_thread::sleep_for(std::chrono::hours(1)); }).detach();
  }
  return new FaultyGraphics;
}
extern "C" QX_EXPORT void IQXModule_IGraphicsDriver_ModuleUnload(IQXModule* module) {
  delete module;
}
