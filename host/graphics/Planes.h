// The planes that windows draw into and that are seen.

#ifndef HOST_GRAPHICS_PLANES_H_
#define HOST_GRAPHICS_PLANES_H_

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "host/contracts/IHostDisplay.h"
#include "host/graphics/GraphicsCharge.h"
#include "host/graphics/Surface.h"
#include "qx/platform/IGraphicsDriver.h"

namespace plexion_host {

class Screen;

/// What render and output planes share: the surface.
template <class Interface>
class SurfacePlane : public Interface {
 public:
  SurfacePlane(PixelStore store, qx::plexion::StageWindow* window)
      : charge_(window, store.Bytes()), surface_(std::move(store)) {}
  virtual ~SurfacePlane() = default;

  qx::plexion::Dims GetDims() override { return surface_.GetDims(); }
  uint32_t GetPixelFormat() override { return qx::platform::kPixelFormat32; }
  uint32_t GetPitch() override { return surface_.GetPitch(); }
  void* LockPixels(bool forReading) override { return surface_.LockPixels(forReading); }
  void UnlockPixels() override { surface_.UnlockPixels(); }
  qx::platform::DrawingContext* GetDrawingContext() override { return &surface_; }

  Surface& GetSurface() { return surface_; }
  GraphicsCharge& GetCharge() { return charge_; }

 private:
  GraphicsCharge charge_;
  Surface surface_;
};

using MemoryRenderPlane = SurfacePlane<qx::platform::RenderPlane>;

/// Where and how an output plane stands on the screen.
struct Placement {
  qx::plexion::Rect rect{};  ///< its size is the surface's
  unsigned char alpha = 255;
  bool visible = true;
  bool active = false;
  std::optional<qx::plexion::Rect> clip;  ///< on the screen; nothing of the plane is seen outside

  /// What of it lies on the screen and may be seen.
  Box Seen(const qx::plexion::Dims& screen) const {
    Box seen = ClipRect(rect, 0, 0, screen);
    if (!clip) return seen;
    const Box inside = ClipRect(*clip, 0, 0, screen);
    return {std::max(seen.x1, inside.x1), std::max(seen.y1, inside.y1),
            std::min(seen.x2, inside.x2), std::min(seen.y2, inside.y2)};
  }
  bool CanBeSeen() const { return visible && alpha != 0; }
};

/// What the screen keeps of an output plane.
struct PlaneState {
  Placement placement;
  bool drawn = false;     ///< since it was composed last
  bool composed = false;  ///< with what was drawn, and not presented yet
  PlaneHealth health;
};

/// An output plane: a surface with a place in the screen's stack. All about the place is the screen's.
class ScreenPlane final : public SurfacePlane<qx::platform::OutputPlane> {
 public:
  ScreenPlane(Screen& screen, PixelStore store, const qx::plexion::Rect& rect,
              qx::plexion::StageWindow* window, std::string name);

  void ShowRegion(const qx::plexion::Rect& region) override;
  bool MoveTo(const qx::plexion::Point& point) override;
  qx::plexion::Rect GetRect() override;
  void SetVisible(bool visible) override;
  bool IsVisible() override;
  void SetAlpha(unsigned char alpha) override;
  bool SetAbove(qx::platform::OutputPlane* other) override;
  bool SetBelow(qx::platform::OutputPlane* other) override;
  void SetActive(bool active) override;
  unsigned char GetAlpha() override;
  unsigned GetStackingIndex() override;
  const char* GetName() override { return name_.c_str(); }

 private:
  friend class Screen;

  Screen& screen_;
  const std::string name_;
  PlaneState state_;  ///< reached by Screen::StateOf only
};

}  // namespace plexion_host

#endif  // HOST_GRAPHICS_PLANES_H_
