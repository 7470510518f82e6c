// The kit's own graphics driver: planes in memory that notice who writes beside their pixels.

#ifndef KIT_CERTIFY_BENCH_BENCHGRAPHICS_H_
#define KIT_CERTIFY_BENCH_BENCHGRAPHICS_H_

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "qx/platform/IGraphicsDriver.h"

namespace plexion_certify {

/// Leaves stretching to the module.
class BenchContext final : public qx::platform::DrawingContext {
 public:
  bool StretchCopy(qx::platform::Plane*, const qx::plexion::Rect&,
                   const qx::plexion::Rect&) override {
    return false;
  }
  void Finish() override {}
};

/// Rows are longer than their pixels, and what lies around and between them is known.
template <typename Interface>
class BenchPlane : public Interface {
 public:
  explicit BenchPlane(const qx::plexion::Dims& dims) { SetDims(dims); }

  qx::plexion::Dims GetDims() override { return dims_; }
  uint32_t GetPixelFormat() override { return qx::platform::kPixelFormat32; }
  uint32_t GetPitch() override { return pitch_; }
  void* LockPixels(bool) override {
    ++locks_;
    ++lockCalls_;
    return bytes_.data() + kGuard;
  }
  void UnlockPixels() override { --locks_; }
  qx::platform::DrawingContext* GetDrawingContext() override { return &context_; }

  void SetDims(const qx::plexion::Dims& dims) {
    dims_ = dims;
    pitch_ = dims.width * 4 + kPadding;
    bytes_.assign(2 * kGuard + size_t{pitch_} * dims.height, kUntouched);
  }
  /// Everything as if nobody had drawn.
  void Wipe() { std::fill(bytes_.begin(), bytes_.end(), kUntouched); }
  uint32_t Pixel(uint32_t x, uint32_t y) const {
    uint32_t pixel = 0;
    const unsigned char* const at = bytes_.data() + kGuard + size_t{y} * pitch_ + size_t{x} * 4;
    for (int i = 3; i >= 0; --i) pixel = pixel << 8 | at[i];
    return pixel;
  }
  /// Pixels that are not as they were wiped.
  size_t DrawnPixels() const {
    size_t drawn = 0;
    for (uint32_t y = 0; y < dims_.height; ++y) {
      for (uint32_t x = 0; x < dims_.width; ++x) drawn += Pixel(x, y) != 0xC5C5C5C5u;
    }
    return drawn;
  }
  /// Where something was written that is no pixel; empty when nowhere.
  std::string Beside() const {
    for (size_t i = 0; i < kGuard; ++i) {
      if (bytes_[i] != kUntouched) return "before the first row";
      if (bytes_[bytes_.size() - 1 - i] != kUntouched) return "behind the last row";
    }
    for (uint32_t y = 0; y < dims_.height; ++y) {
      for (uint32_t x = 0; x < kPadding; ++x) {
        if (bytes_[kGuard + size_t{y} * pitch_ + size_t{dims_.width} * 4 + x] != kUntouched) {
          return "between the end of row " + std::to_string(y) +
                 " and the next: rows begin every GetPitch() bytes";
        }
      }
    }
    return "";
  }
  int Locks() const { return locks_; }
  int LockCalls() const { return lockCalls_; }

 private:
  static constexpr unsigned char kUntouched = 0xC5;
  static constexpr size_t kGuard = 4096;
  static constexpr uint32_t kPadding = 52;

  qx::plexion::Dims dims_{};
  uint32_t pitch_ = 0;
  std::vector<unsigned char> bytes_;
  std::atomic<int> locks_{0}, lockCalls_{0};
  BenchContext context_;
};

class BenchRenderPlane final : public BenchPlane<qx::platform::RenderPlane> {
  using BenchPlane::BenchPlane;
};

class BenchGraphics;

class BenchOutputPlane final : public BenchPlane<qx::platform::OutputPlane> {
 public:
  BenchOutputPlane(BenchGraphics& driver, const qx::plexion::Rect& rect, const char* name)
      : BenchPlane({rect.width, rect.height}),
        driver_(driver),
        place_{rect.x, rect.y},
        name_(name) {}
  void ShowRegion(const qx::plexion::Rect&) override { ++shown; }
  bool MoveTo(const qx::plexion::Point& point) override {
    place_ = point;
    return true;
  }
  qx::plexion::Rect GetRect() override {
    const qx::plexion::Dims dims = GetDims();
    return {place_.x, place_.y, dims.width, dims.height};
  }
  void SetVisible(bool visible) override { visible_ = visible; }
  bool IsVisible() override { return visible_; }
  void SetAlpha(unsigned char alpha) override { alpha_ = alpha; }
  bool SetAbove(qx::platform::OutputPlane* other) override;
  bool SetBelow(qx::platform::OutputPlane* other) override;
  void SetActive(bool) override {}
  unsigned char GetAlpha() override { return alpha_; }
  unsigned GetStackingIndex() override;
  const char* GetName() override { return name_.c_str(); }

  std::atomic<int> shown{0};

 private:
  BenchGraphics& driver_;
  qx::plexion::Point place_;
  std::atomic<bool> visible_{true};
  std::atomic<unsigned char> alpha_{255};
  const std::string name_;
};

/// Keeps plane objects when they are resized. Not to be resized while something draws.
class BenchGraphics : public qx::platform::IGraphicsDriver {
 public:
  static constexpr uint32_t kMaxSide = 16384;

  qx::plexion::Dims GetScreenDims() override { return {1280, 720}; }
  qx::platform::RenderPlane* CreateRenderPlane(const qx::plexion::Dims& dims, uint32_t pixelFormat,
                                               qx::plexion::StageWindow* window) override;
  qx::platform::OutputPlane* CreateOutputPlane(const qx::plexion::Rect& rect, bool defaultPlacement,
                                               qx::platform::RenderPlane* renderPlane,
                                               qx::plexion::StageWindow* window,
                                               const char* name) override;
  bool ResizeOutputPlane(qx::platform::OutputPlane*& plane, const qx::plexion::Dims& dims,
                         const qx::plexion::Rect& rect, qx::platform::RenderPlane* renderPlane,
                         qx::plexion::StageWindow* window, const char* name) override;
  bool ResizeRenderPlane(qx::platform::RenderPlane*& plane, const qx::plexion::Dims& dims,
                         qx::plexion::StageWindow* window) override;
  void DestroyRenderPlane(qx::platform::RenderPlane* plane) override;
  void DestroyOutputPlane(qx::platform::OutputPlane* plane) override;

  /// Planes that were made and not destroyed.
  int Live() const { return live_; }

 private:
  friend class BenchOutputPlane;
  bool Restack(BenchOutputPlane* plane, qx::platform::OutputPlane* other, bool above);

  std::mutex mutex_;                      // guards the stack
  std::vector<BenchOutputPlane*> stack_;  // bottom first
  std::atomic<int> live_{0};
};

}  // namespace plexion_certify

#endif  // KIT_CERTIFY_BENCH_BENCHGRAPHICS_H_
