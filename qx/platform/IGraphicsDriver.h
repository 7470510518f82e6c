#ifndef QX_PLATFORM_IGRAPHICSDRIVER_H_
#define QX_PLATFORM_IGRAPHICSDRIVER_H_

#include <stdint.h>

#include "qx/core/IQXModule.h"
#include "qx/plexion/Geometry.h"

namespace qx {
namespace plexion {
class StageWindow;
}  // namespace plexion

namespace platform {

class OutputPlane;
class Plane;
class RenderPlane;

/// Pixel formats. 0 means "the default". Only kPixelFormat32 is understood by the service's own
/// copy; others are a platform's own business.
enum : uint32_t {
  /// 32 bits a pixel, one machine word 0xAARRGGBB, alpha premultiplied.
  kPixelFormat32 = 1,
};

/// Draws on a plane; belongs to it and lives as long.
class DrawingContext {
 public:
  /// Copies `sourceRect` of `source` over `destinationRect` of this context's plane, stretching
  /// where the sizes differ. Alpha is copied, not blended. Either rectangle may reach outside its
  /// plane (a window that is activated passes its screen rectangle): what lies outside is skipped.
  ///
  /// Returns  false when it cannot; nothing is drawn then, and the caller copies in software.
  virtual bool StretchCopy(Plane* source, const plexion::Rect& sourceRect,
                           const plexion::Rect& destinationRect) = 0;
  /// Waits until drawing that was started is in the plane's pixels.
  virtual void Finish() = 0;

 protected:
  ~DrawingContext() {}
};

/// A surface of pixels made by the driver.
///
/// Thread   any; one thread draws at a time. Pixels may be read by the driver at any moment, except
///          between LockPixels and UnlockPixels of an output plane.
class Plane {
 public:
  virtual plexion::Dims GetDims() = 0;
  virtual uint32_t GetPixelFormat() = 0;
  /// Bytes from one row to the next.
  virtual uint32_t GetPitch() = 0;
  /// The address of the top left pixel, until UnlockPixels; null when it cannot be had.
  /// `forReading`: the pixels are read only.
  virtual void* LockPixels(bool forReading) = 0;
  virtual void UnlockPixels() = 0;
  /// Null for an unusable plane. Owned by the plane.
  virtual DrawingContext* GetDrawingContext() = 0;

 protected:
  ~Plane() {}
};

/// Off-screen surface of the content's size; the player draws into it.
class RenderPlane : public Plane {
 protected:
  ~RenderPlane() {}
};

/// Visible surface. New planes lie above all others and are visible and opaque.
///
/// Units    positions are screen pixels, regions are pixels of the plane.
class OutputPlane : public Plane {
 public:
  /// The pixels of `region` have changed: present them with the next frame. The region may reach
  /// outside the plane.
  virtual void ShowRegion(const plexion::Rect& region) = 0;
  virtual bool MoveTo(const plexion::Point& point) = 0;
  virtual plexion::Rect GetRect() = 0;
  virtual void SetVisible(bool visible) = 0;
  virtual bool IsVisible() = 0;
  /// 0 transparent to 255 opaque, times the pixels' own alpha.
  virtual void SetAlpha(unsigned char alpha) = 0;
  /// Moves this plane right above, or below, `other` in the stack; null means above, or below, all.
  /// Returns  false when `other` is no plane of this driver.
  virtual bool SetAbove(OutputPlane* other) = 0;
  virtual bool SetBelow(OutputPlane* other) = 0;
  /// The plane's window became, or stopped being, the active one.
  virtual void SetActive(bool active) = 0;

  // For hosts; the service does not call these.
  virtual unsigned char GetAlpha() = 0;
  /// Place in the stack, 0 at the bottom.
  virtual unsigned GetStackingIndex() = 0;
  /// The name given at creation; valid as long as the plane.
  virtual const char* GetName() = 0;

 protected:
  ~OutputPlane() {}
};

/// The display, module "IGraphicsDriver".
///
/// Thread   any.
class IGraphicsDriver : public IQXModule {
 public:
  /// 0,0 when there is no screen.
  virtual plexion::Dims GetScreenDims() = 0;

  /// Owns     the caller; give it back to DestroyRenderPlane. `window` is who asks, for the
  ///          accounting of graphics memory (StageWindow::IncrementGraphicsMemoryUsedCount).
  /// Returns  null, or a plane without drawing context, when it cannot be made.
  virtual RenderPlane* CreateRenderPlane(const plexion::Dims& dims, uint32_t pixelFormat,
                                         plexion::StageWindow* window) = 0;

  /// `defaultPlacement`: the size was not asked for, so the driver may choose another. `name` is
  /// copied.
  /// Owns     the caller; give it back to DestroyOutputPlane.
  virtual OutputPlane* CreateOutputPlane(const plexion::Rect& rect, bool defaultPlacement,
                                         RenderPlane* renderPlane, plexion::StageWindow* window,
                                         const char* name) = 0;

  /// Gives `plane` the size `dims` and the place `rect`; the driver may replace the object, then it
  /// destroys the old one. Visibility, alpha and order in the stack stay.
  /// Returns  false when it cannot; `plane` is then as before.
  virtual bool ResizeOutputPlane(OutputPlane*& plane, const plexion::Dims& dims,
                                 const plexion::Rect& rect, RenderPlane* renderPlane,
                                 plexion::StageWindow* window, const char* name) = 0;
  virtual bool ResizeRenderPlane(RenderPlane*& plane, const plexion::Dims& dims,
                                 plexion::StageWindow* window) = 0;

  /// Null does nothing. Nobody may draw into the plane any more.
  virtual void DestroyRenderPlane(RenderPlane* plane) = 0;
  virtual void DestroyOutputPlane(OutputPlane* plane) = 0;
};

}  // namespace platform
}  // namespace qx

#endif  // QX_PLATFORM_IGRAPHICSDRIVER_H_
