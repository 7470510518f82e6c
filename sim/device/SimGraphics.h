// A graphics driver whose planes a story can look at.

#ifndef SIM_DEVICE_SIMGRAPHICS_H_
#define SIM_DEVICE_SIMGRAPHICS_H_

#include <memory>
#include <string>
#include <vector>

#include "qx/platform/IGraphicsDriver.h"
#include "sim/device/ScriptedModule.h"

namespace plexion_sim {

class SimGraphics;

/// What both kinds of plane are made of: real pixels.
struct SimSurface {
  SimSurface(SimKernel& simKernel, std::string planeName, const qx::plexion::Dims& planeDims,
             uint32_t format, uint32_t extraPitch);

  /// False after the plane was destroyed, which is reported.
  bool Use(const char* call) const;
  uint32_t Checksum() const;

  SimKernel& kernel;
  std::string name;
  qx::plexion::Dims dims;
  uint32_t pixelFormat;
  uint32_t pitch;
  std::vector<uint32_t> pixels;
  unsigned locks = 0;
  bool destroyed = false;
  qx::plexion::StageWindow* window = nullptr;
};

class SimDrawingContext final : public qx::platform::DrawingContext {
 public:
  SimDrawingContext(SimGraphics& driver, SimSurface& surface)
      : driver_(driver), surface_(surface) {}
  bool StretchCopy(qx::platform::Plane* source, const qx::plexion::Rect& sourceRect,
                   const qx::plexion::Rect& destinationRect) override;
  void Finish() override;

 private:
  SimGraphics& driver_;
  SimSurface& surface_;
};

class SimRenderPlane final : public qx::platform::RenderPlane {
 public:
  SimRenderPlane(SimGraphics& driver, std::string name, const qx::plexion::Dims& dims,
                 uint32_t format);
  qx::plexion::Dims GetDims() override;
  uint32_t GetPixelFormat() override;
  uint32_t GetPitch() override;
  void* LockPixels(bool forReading) override;
  void UnlockPixels() override;
  qx::platform::DrawingContext* GetDrawingContext() override;

  SimSurface surface;

 private:
  SimGraphics& driver_;
  SimDrawingContext context_;
};

class SimOutputPlane final : public qx::platform::OutputPlane {
 public:
  SimOutputPlane(SimGraphics& driver, std::string name, std::string title,
                 const qx::plexion::Rect& rect);
  qx::plexion::Dims GetDims() override;
  uint32_t GetPixelFormat() override;
  uint32_t GetPitch() override;
  void* LockPixels(bool forReading) override;
  void UnlockPixels() override;
  qx::platform::DrawingContext* GetDrawingContext() override;
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
  const char* GetName() override;

  SimSurface surface;
  std::string title;  ///< the name given at creation
  qx::plexion::Rect rect;
  bool visible = true;
  bool active = false;
  unsigned char alpha = 255;
  std::vector<qx::plexion::Rect> shown;  ///< every ShowRegion, in order

 private:
  SimGraphics& driver_;
  SimDrawingContext context_;
};

/// "IGraphicsDriver" without a screen. Planes are real pixels, so pictures can be compared by
/// checksum. Destroyed planes are remembered: a call into one is reported.
class SimGraphics final : public qx::platform::IGraphicsDriver, public ScriptedModule {
 public:
  explicit SimGraphics(SimKernel& kernel) : ScriptedModule(kernel, "IGraphicsDriver") {}

  // The script.
  qx::plexion::Dims screen = {1280, 720};
  uint32_t outputPixelFormat = qx::platform::kPixelFormat32;
  uint32_t extraPitch = 0;            ///< bytes behind each row, a multiple of 4
  bool stretchCopySupported = false;  ///< false: the module copies in software
  bool replacesPlanesOnResize = false;
  bool renderContextIsNull = false;  ///< planes come without a drawing context
  bool outputContextIsNull = false;
  bool defaultPlacementFillsScreen = false;  ///< a size that was not asked for becomes the screen's
  bool accountsGraphicsMemory = true;        ///< tells the window of the bytes of its planes

  // What there is.
  std::vector<SimRenderPlane*> RenderPlanes() const;
  std::vector<SimOutputPlane*> OutputPlanes() const;
  /// The output plane that was made under this name, or null.
  SimOutputPlane* FindOutput(const std::string& title) const;
  /// Bottom first.
  const std::vector<SimOutputPlane*>& Stack() const { return stack_; }
  SimKernel& Kernel() { return kernel_; }

  // IGraphicsDriver.
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
  friend class SimOutputPlane;
  void Account(const SimSurface& surface, bool more);
  void Retire(SimSurface& surface);
  bool Restack(SimOutputPlane* plane, qx::platform::OutputPlane* other, bool above);

  std::vector<std::unique_ptr<SimRenderPlane>> renderPlanes_;
  std::vector<std::unique_ptr<SimOutputPlane>> outputPlanes_;
  std::vector<SimOutputPlane*> stack_;
};

std::string ToText(const qx::plexion::Rect& rect);
std::string ToText(const qx::plexion::Dims& dims);

}  // namespace plexion_sim

#endif  // SIM_DEVICE_SIMGRAPHICS_H_
