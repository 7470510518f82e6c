// A screen in memory. Every change of it is one more PNG in the folder that --frames names; a device writes the
// same pixels to its framebuffer instead.

#include <png.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <string>
#include <vector>

#include "qx/core/IQXKernel.h"
#include "qx/platform/IGraphicsDriver.h"

namespace {

using namespace qx;

constexpr uint32_t kScreenWidth = 1280, kScreenHeight = 720;

/// What there may be memory for. A driver refuses the rest: the module tells it on.
bool CanBe(const plexion::Dims& dims) { return dims.width - 1 < 16384 && dims.height - 1 < 16384; }

/// The pixels of a plane, and the lock that is held while somebody has their address: so a resize from another
/// thread waits until the player has finished its frame.
struct Pixels {
  explicit Pixels(const plexion::Dims& size) { Resize(size); }
  void Resize(const plexion::Dims& size) {
    std::lock_guard<std::recursive_mutex> lock(mutex);
    dims = size;
    words.assign(size_t{size.width} * size.height, 0);
  }
  plexion::Dims dims;
  std::vector<uint32_t> words;
  std::recursive_mutex mutex;
};

/// Leaves stretching to the module, which does it in software when a driver cannot.
class NoDrawing : public platform::DrawingContext {
 public:
  bool StretchCopy(platform::Plane*, const plexion::Rect&, const plexion::Rect&) override {
    return false;
  }
  void Finish() override {}
};

/// What the two kinds of planes have in common.
template <typename Interface>
class PlaneOf : public Interface {
 public:
  explicit PlaneOf(const plexion::Dims& dims) : pixels(dims) {}
  plexion::Dims GetDims() override { return pixels.dims; }
  uint32_t GetPixelFormat() override { return platform::kPixelFormat32; }
  uint32_t GetPitch() override { return pixels.dims.width * 4; }
  void* LockPixels(bool) override {
    pixels.mutex.lock();
    return pixels.words.data();
  }
  void UnlockPixels() override { pixels.mutex.unlock(); }
  platform::DrawingContext* GetDrawingContext() override { return &drawing_; }

  Pixels pixels;

 private:
  NoDrawing drawing_;
};

class RenderPlane final : public PlaneOf<platform::RenderPlane> {
  using PlaneOf::PlaneOf;
};

class Driver;

class OutputPlane final : public PlaneOf<platform::OutputPlane> {
 public:
  OutputPlane(Driver& driver, const plexion::Rect& rect, const char* planeName)
      : PlaneOf({rect.width, rect.height}),
        place{rect.x, rect.y},
        name(planeName),
        driver_(driver) {}

  void ShowRegion(const plexion::Rect& region) override;
  bool MoveTo(const plexion::Point& point) override;
  plexion::Rect GetRect() override {
    return {place.x, place.y, pixels.dims.width, pixels.dims.height};
  }
  void SetVisible(bool value) override;
  bool IsVisible() override { return visible; }
  void SetAlpha(unsigned char value) override;
  bool SetAbove(platform::OutputPlane* other) override;
  bool SetBelow(platform::OutputPlane* other) override;
  void SetActive(bool) override {}
  unsigned char GetAlpha() override { return alpha; }
  unsigned GetStackingIndex() override;
  const char* GetName() override { return name.c_str(); }

  plexion::Point place;
  bool visible = true;
  unsigned char alpha = 255;
  const std::string name;

 private:
  Driver& driver_;
};

class Driver : public platform::IGraphicsDriver {
 public:
  Driver() {
    IQXKernel* kernel = IQXKernel::GetKernel();
    for (int i = 1; i + 1 < kernel->GetArgc(); ++i) {
      if (strcmp(kernel->GetArgv()[i], "--frames") == 0) folder_ = kernel->GetArgv()[i + 1];
    }
  }

  plexion::Dims GetScreenDims() override { return {kScreenWidth, kScreenHeight}; }

  platform::RenderPlane* CreateRenderPlane(const plexion::Dims& dims, uint32_t,
                                           plexion::StageWindow*) override {
    return CanBe(dims) ? new RenderPlane(dims) : nullptr;
  }

  platform::OutputPlane* CreateOutputPlane(const plexion::Rect& rect, bool, platform::RenderPlane*,
                                           plexion::StageWindow*, const char* name) override {
    if (!CanBe({rect.width, rect.height})) return nullptr;
    std::lock_guard<std::recursive_mutex> lock(mutex);
    stack.push_back(new OutputPlane(*this, rect, name));
    return stack.back();
  }

  bool ResizeOutputPlane(platform::OutputPlane*& plane, const plexion::Dims& dims,
                         const plexion::Rect& rect, platform::RenderPlane*, plexion::StageWindow*,
                         const char*) override {
    if (!CanBe(dims)) return false;
    std::lock_guard<std::recursive_mutex> lock(mutex);
    static_cast<OutputPlane*>(plane)->pixels.Resize(dims);
    return plane->MoveTo({rect.x, rect.y});
  }

  bool ResizeRenderPlane(platform::RenderPlane*& plane, const plexion::Dims& dims,
                         plexion::StageWindow*) override {
    if (!CanBe(dims)) return false;
    static_cast<RenderPlane*>(plane)->pixels.Resize(dims);
    return true;
  }

  void DestroyRenderPlane(platform::RenderPlane* plane) override {
    delete static_cast<RenderPlane*>(plane);
  }

  void DestroyOutputPlane(platform::OutputPlane* plane) override {
    std::lock_guard<std::recursive_mutex> lock(mutex);
    stack.erase(std::remove(stack.begin(), stack.end(), plane), stack.end());
    delete static_cast<OutputPlane*>(plane);
    Present();
  }

  /// Composes the whole screen, bottom plane first. A device would do this once for each refresh, and only
  /// where something changed.
  void Present() {
    if (folder_.empty()) return;  // nobody looks
    std::lock_guard<std::recursive_mutex> lock(mutex);
    std::fill(screen_.begin(), screen_.end(), 0xFF000000u);
    for (OutputPlane* plane : stack) {
      if (plane->visible) Compose(*plane);
    }
    WriteFrame();
  }

  std::recursive_mutex mutex;       // guards the stack, the planes' places and the screen
  std::vector<OutputPlane*> stack;  // bottom first

 private:
  void Compose(OutputPlane& plane) {
    std::lock_guard<std::recursive_mutex> lock(plane.pixels.mutex);
    const plexion::Dims dims = plane.pixels.dims;
    for (uint32_t y = 0; y < dims.height; ++y) {
      for (uint32_t x = 0; x < dims.width; ++x) {
        // A position left of or above the screen is a wrapped number, so it is beyond its far edge as well.
        const uint32_t column = plane.place.x + x, row = plane.place.y + y;
        if (column >= kScreenWidth || row >= kScreenHeight) continue;
        const uint32_t source = plane.pixels.words[size_t{y} * dims.width + x];
        uint32_t& target = screen_[size_t{row} * kScreenWidth + column];
        const uint32_t cover = (source >> 24) * plane.alpha / 255;
        uint32_t mixed = 0xFF000000u;
        for (int shift = 0; shift < 24; shift += 8) {  // premultiplied "over"
          const uint32_t over = (source >> shift & 255) * plane.alpha / 255;
          const uint32_t under = (target >> shift & 255) * (255 - cover) / 255;
          mixed |= std::min(over + under, 255u) << shift;
        }
        target = mixed;
      }
    }
  }

  void WriteFrame() {
    char name[32];
    snprintf(name, sizeof(name), "/frame-%04d.png", frames_++);
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    image.width = kScreenWidth;
    image.height = kScreenHeight;
    image.format = PNG_FORMAT_BGRA;  // the bytes of 0xAARRGGBB on a little-endian processor
    if (png_image_write_to_file(&image, (folder_ + name).c_str(), 0, screen_.data(), 0, nullptr) ==
        0) {
      IQXKernel::GetKernel()->Printf("cannot write %s%s: %s\n", folder_.c_str(), name,
                                     image.message);
    }
  }

  std::string folder_;
  int frames_ = 0;
  std::vector<uint32_t> screen_ = std::vector<uint32_t>(size_t{kScreenWidth} * kScreenHeight);
};

void OutputPlane::ShowRegion(const plexion::Rect&) { driver_.Present(); }

bool OutputPlane::MoveTo(const plexion::Point& point) {
  std::lock_guard<std::recursive_mutex> lock(driver_.mutex);
  place = point;
  driver_.Present();
  return true;
}

void OutputPlane::SetVisible(bool value) {
  std::lock_guard<std::recursive_mutex> lock(driver_.mutex);
  visible = value;
  driver_.Present();
}

void OutputPlane::SetAlpha(unsigned char value) {
  std::lock_guard<std::recursive_mutex> lock(driver_.mutex);
  alpha = value;
  driver_.Present();
}

/// Moves `plane` right behind (`above`) or before `other` in `stack`; null is the end of the stack on that side.
bool Restack(Driver& driver, OutputPlane* plane, platform::OutputPlane* other, bool above) {
  std::lock_guard<std::recursive_mutex> lock(driver.mutex);
  auto& stack = driver.stack;
  if (other == plane) return true;
  if (other != nullptr && std::find(stack.begin(), stack.end(), other) == stack.end()) return false;
  stack.erase(std::remove(stack.begin(), stack.end(), plane), stack.end());
  auto at = other == nullptr ? (above ? stack.end() : stack.begin())
                             : std::find(stack.begin(), stack.end(), other) + (above ? 1 : 0);
  stack.insert(at, plane);
  driver.Present();
  return true;
}

bool OutputPlane::SetAbove(platform::OutputPlane* other) {
  return Restack(driver_, this, other, true);
}

bool OutputPlane::SetBelow(platform::OutputPlane* other) {
  return Restack(driver_, this, other, false);
}

unsigned OutputPlane::GetStackingIndex() {
  std::lock_guard<std::recursive_mutex> lock(driver_.mutex);
  const auto& stack = driver_.stack;
  return static_cast<unsigned>(std::find(stack.begin(), stack.end(), this) - stack.begin());
}

}  // namespace

extern "C" QX_EXPORT IQXModule* IQXModule_IGraphicsDriver_ModuleLoad() { return new Driver; }

extern "C" QX_EXPORT void IQXModule_IGraphicsDriver_ModuleUnload(IQXModule* module) {
  delete module;
}
