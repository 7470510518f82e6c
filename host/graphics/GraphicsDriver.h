// The module IGraphicsDriver over the composed screen.

#ifndef HOST_GRAPHICS_GRAPHICSDRIVER_H_
#define HOST_GRAPHICS_GRAPHICSDRIVER_H_

#include <memory>
#include <vector>

#include "host/base/Mutex.h"
#include "host/graphics/Planes.h"
#include "host/graphics/Screen.h"
#include "qx/platform/IGraphicsDriver.h"

namespace plexion_host {

/// Module "IGraphicsDriver": makes planes in memory and stacks the output planes on a Screen. It
/// needs no display loop; without one the screen is simply not presented.
///
/// A plane that is resized stays the same object: its storage is swapped under its pixel lock,
/// since the size may change on a host's thread while the player draws. A render plane is shared memory,
/// which only the player's process for that content gets to know; an output plane, which is what is
/// seen, is not.
class GraphicsDriver : public qx::platform::IGraphicsDriver {
 public:
  explicit GraphicsDriver(std::shared_ptr<Screen> screen) : screen_(std::move(screen)) {}

  qx::plexion::Dims GetScreenDims() override;
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

 private:
  /// Null for a plane that is not of this driver.
  MemoryRenderPlane* FindRenderPlane(const qx::platform::RenderPlane* plane);

  const std::shared_ptr<Screen> screen_;
  Mutex mutex_;
  std::vector<std::unique_ptr<MemoryRenderPlane>> renderPlanes_ GUARDED_BY(mutex_);
};

}  // namespace plexion_host

#endif  // HOST_GRAPHICS_GRAPHICSDRIVER_H_
