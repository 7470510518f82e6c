// The scripted graphics driver: planes in memory.

#include "sim/device/SimGraphics.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "qx/core/Check.h"
#include "qx/plexion/StageWindow.h"

namespace plexion_sim {

using qx::platform::OutputPlane;
using qx::platform::Plane;
using qx::platform::RenderPlane;
using qx::plexion::Dims;
using qx::plexion::Point;
using qx::plexion::Rect;
using qx::plexion::StageWindow;

std::string ToText(bool value) { return value ? "true" : "false"; }

std::string ToText(const Rect& rect) {
  char text[64];
  std::snprintf(text, sizeof text, "%d,%d,%u,%u", static_cast<int32_t>(rect.x),
                static_cast<int32_t>(rect.y), rect.width, rect.height);
  return text;
}

std::string ToText(const Dims& dims) {
  return std::to_string(dims.width) + "x" + std::to_string(dims.height);
}

// Surfaces.

SimSurface::SimSurface(SimKernel& simKernel, std::string planeName, const Dims& planeDims,
                       uint32_t format, uint32_t extraPitch)
    : kernel(simKernel),
      name(std::move(planeName)),
      dims(planeDims),
      pixelFormat(format),
      pitch(planeDims.width * 4 + extraPitch),
      // Also the bytes between two rows are real, so that code which takes the width for the pitch paints into
      // them and a checksum tells.
      pixels(static_cast<size_t>(pitch / 4) * planeDims.height) {}

// A destroyed plane stays as an object for the life of the device: its late use is a finding with a name,
// and not a crash that depends on what lies there now.
bool SimSurface::Use(const char* call) const {
  if (destroyed) {
    kernel.Report(FindingKind::kUseAfterDestroy,
                  std::string(call) + " of " + name + ", which is destroyed");
  }
  return !destroyed;
}

uint32_t SimSurface::Checksum() const {
  // Stories compare pictures by it: the journal has a number and not a megabyte of pixels.
  uint32_t sum = 2166136261u;  // FNV-1a over the visible pixels
  for (uint32_t y = 0; y < dims.height; ++y) {
    for (uint32_t x = 0; x < dims.width; ++x) {
      sum = (sum ^ pixels[static_cast<size_t>(y) * (pitch / 4) + x]) * 16777619u;
    }
  }
  return sum;
}

namespace {

void* LockSurface(SimSurface& surface, bool forReading) {
  if (!surface.Use("LockPixels")) return nullptr;
  if (surface.kernel.GetFaults().Fails(Fallible::kLockPixels)) {
    surface.kernel.Note("LockPixels", surface.name + " -> null");
    return nullptr;
  }
  // No exclusion: the module has to bring its own locks, and the simulator is to find where it does not.
  surface.kernel.Note("LockPixels", surface.name + (forReading ? ", read" : ", write"));
  QX_CHECK(surface.locks < 1000, "planes are unlocked as often as they are locked");
  ++surface.locks;
  return surface.pixels.data();
}

void UnlockSurface(SimSurface& surface) {
  if (!surface.Use("UnlockPixels")) return;
  if (surface.locks == 0) {
    surface.kernel.Report(FindingKind::kContract,
                          "UnlockPixels of " + surface.name + ", which is not locked");
    return;
  }
  QX_CHECK(surface.locks > 0, "what is unlocked was locked");
  --surface.locks;
}

/// Nearest pixel, 16.16 fixed point, clipped to both surfaces.
void CopyStretched(const SimSurface& from, const Rect& source, SimSurface& to, const Rect& target) {
  if (target.width == 0 || target.height == 0) return;
  const uint64_t stepX = (static_cast<uint64_t>(source.width) << 16) / target.width;
  const uint64_t stepY = (static_cast<uint64_t>(source.height) << 16) / target.height;
  for (uint64_t row = 0; row < target.height; ++row) {
    const uint64_t toY = target.y + row;
    const uint64_t fromY = source.y + ((row * stepY) >> 16);
    if (toY >= to.dims.height || fromY >= from.dims.height) break;
    for (uint64_t column = 0; column < target.width; ++column) {
      const uint64_t toX = target.x + column;
      const uint64_t fromX = source.x + ((column * stepX) >> 16);
      if (toX >= to.dims.width || fromX >= from.dims.width) break;
      to.pixels[toY * (to.pitch / 4) + toX] = from.pixels[fromY * (from.pitch / 4) + fromX];
    }
  }
}

}  // namespace

// Drawing.

bool SimDrawingContext::StretchCopy(Plane* source, const Rect& sourceRect,
                                    const Rect& destinationRect) {
  SimKernel& kernel = driver_.Kernel();
  kernel.Point("StretchCopy");
  if (!surface_.Use("StretchCopy")) return false;
  // The contract: the source is a plane of this driver.
  const SimSurface& from = static_cast<SimRenderPlane*>(static_cast<RenderPlane*>(source))->surface;
  if (!from.Use("StretchCopy")) return false;
  const bool can =
      driver_.stretchCopySupported && !kernel.GetFaults().Fails(Fallible::kStretchCopy);
  kernel.Note("StretchCopy", from.name + " " + ToText(sourceRect) + " to " + surface_.name + " " +
                                 ToText(destinationRect) + " -> " + ToText(can));
  if (can) CopyStretched(from, sourceRect, surface_, destinationRect);
  return can;
}

void SimDrawingContext::Finish() {
  driver_.Kernel().Point("Finish");
  if (surface_.Use("Finish")) driver_.Kernel().Note("Finish", surface_.name);
}

// Render planes.

SimRenderPlane::SimRenderPlane(SimGraphics& driver, std::string name, const Dims& dims,
                               uint32_t format)
    : surface(driver.Kernel(), std::move(name), dims, format, driver.extraPitch),
      driver_(driver),
      context_(driver, surface) {}

Dims SimRenderPlane::GetDims() {
  surface.Use("GetDims");
  return surface.dims;
}
uint32_t SimRenderPlane::GetPixelFormat() {
  surface.Use("GetPixelFormat");
  return surface.pixelFormat;
}
uint32_t SimRenderPlane::GetPitch() {
  surface.Use("GetPitch");
  return surface.pitch;
}
void* SimRenderPlane::LockPixels(bool forReading) { return LockSurface(surface, forReading); }
void SimRenderPlane::UnlockPixels() { UnlockSurface(surface); }
qx::platform::DrawingContext* SimRenderPlane::GetDrawingContext() {
  surface.Use("GetDrawingContext");
  return driver_.renderContextIsNull ? nullptr : &context_;
}

// Output planes.

SimOutputPlane::SimOutputPlane(SimGraphics& driver, std::string name, std::string planeTitle,
                               const Rect& planeRect)
    : surface(driver.Kernel(), std::move(name), {planeRect.width, planeRect.height},
              driver.outputPixelFormat, driver.extraPitch),
      title(std::move(planeTitle)),
      rect(planeRect),
      driver_(driver),
      context_(driver, surface) {}

Dims SimOutputPlane::GetDims() {
  surface.Use("GetDims");
  return surface.dims;
}
uint32_t SimOutputPlane::GetPixelFormat() {
  surface.Use("GetPixelFormat");
  return surface.pixelFormat;
}
uint32_t SimOutputPlane::GetPitch() {
  surface.Use("GetPitch");
  return surface.pitch;
}
void* SimOutputPlane::LockPixels(bool forReading) { return LockSurface(surface, forReading); }
void SimOutputPlane::UnlockPixels() { UnlockSurface(surface); }
qx::platform::DrawingContext* SimOutputPlane::GetDrawingContext() {
  surface.Use("GetDrawingContext");
  return driver_.outputContextIsNull ? nullptr : &context_;
}

void SimOutputPlane::ShowRegion(const Rect& region) {
  // A Point is where the scheduler may switch: each call of the module into the driver is one.
  surface.kernel.Point("ShowRegion");
  if (!surface.Use("ShowRegion")) return;
  surface.kernel.Note("ShowRegion", surface.name + " " + ToText(region));
  shown.push_back(region);
}

bool SimOutputPlane::MoveTo(const Point& point) {
  surface.kernel.Point("MoveTo");
  if (!surface.Use("MoveTo")) return false;
  const bool moved = !surface.kernel.GetFaults().Fails(Fallible::kMoveOutputPlane);
  // Only on success, as a real driver does it: the window reads GetRect to learn where it is.
  if (moved) {
    rect.x = point.x;
    rect.y = point.y;
  }
  surface.kernel.Note("MoveTo", surface.name + " " + std::to_string(point.x) + "," +
                                    std::to_string(point.y) + " -> " + ToText(moved));
  return moved;
}

Rect SimOutputPlane::GetRect() {
  surface.Use("GetRect");
  return rect;
}

void SimOutputPlane::SetVisible(bool value) {
  surface.kernel.Point("SetVisible");
  if (!surface.Use("SetVisible")) return;
  surface.kernel.Note("SetVisible", surface.name + " " + ToText(value));
  visible = value;
}

bool SimOutputPlane::IsVisible() {
  surface.Use("IsVisible");
  return visible;
}

void SimOutputPlane::SetAlpha(unsigned char value) {
  surface.kernel.Point("SetAlpha");
  if (!surface.Use("SetAlpha")) return;
  surface.kernel.Note("SetAlpha", surface.name + " " + std::to_string(value));
  alpha = value;
}

bool SimOutputPlane::SetAbove(OutputPlane* other) {
  surface.kernel.Point("SetAbove");
  return surface.Use("SetAbove") && driver_.Restack(this, other, true);
}

bool SimOutputPlane::SetBelow(OutputPlane* other) {
  surface.kernel.Point("SetBelow");
  return surface.Use("SetBelow") && driver_.Restack(this, other, false);
}

void SimOutputPlane::SetActive(bool value) {
  surface.kernel.Point("SetActive");
  if (!surface.Use("SetActive")) return;
  surface.kernel.Note("SetActive", surface.name + " " + ToText(value));
  active = value;
}

unsigned char SimOutputPlane::GetAlpha() { return alpha; }

unsigned SimOutputPlane::GetStackingIndex() {
  const auto& stack = driver_.stack_;
  return static_cast<unsigned>(std::find(stack.begin(), stack.end(), this) - stack.begin());
}

const char* SimOutputPlane::GetName() { return title.c_str(); }

// The driver.

std::vector<SimRenderPlane*> SimGraphics::RenderPlanes() const {
  std::vector<SimRenderPlane*> planes;
  for (const auto& plane : renderPlanes_) {
    if (!plane->surface.destroyed) planes.push_back(plane.get());
  }
  return planes;
}

std::vector<SimOutputPlane*> SimGraphics::OutputPlanes() const {
  std::vector<SimOutputPlane*> planes;
  for (const auto& plane : outputPlanes_) {
    if (!plane->surface.destroyed) planes.push_back(plane.get());
  }
  return planes;
}

SimOutputPlane* SimGraphics::FindOutput(const std::string& title) const {
  for (SimOutputPlane* plane : OutputPlanes()) {
    if (plane->title == title) return plane;
  }
  return nullptr;
}

Dims SimGraphics::GetScreenDims() {
  Enter("GetScreenDims");
  kernel_.Note("GetScreenDims", "-> " + ToText(screen));
  return screen;
}

void SimGraphics::Account(const SimSurface& surface, bool more) {
  if (!accountsGraphicsMemory || surface.window == nullptr) return;
  const unsigned long long bytes = surface.pixels.size() * 4;
  if (more) {
    surface.window->IncrementGraphicsMemoryUsedCount(bytes);
  } else {
    surface.window->DecrementGraphicsMemoryUsedCount(bytes);
  }
}

void SimGraphics::Retire(SimSurface& surface) {
  if (surface.locks > 0) {
    kernel_.Report(FindingKind::kContract,
                   surface.name + " is destroyed while its pixels are locked");
  }
  Account(surface, false);
  surface.destroyed = true;
  // The pixels go at once, so that a sanitizer sees who still writes to them.
  std::vector<uint32_t>().swap(surface.pixels);
}

/// What no device has memory for; pixels are real here.
static bool IsTooLarge(const Dims& dims) {
  constexpr uint32_t kMaxSide = 16384;
  return dims.width > kMaxSide || dims.height > kMaxSide;
}

RenderPlane* SimGraphics::CreateRenderPlane(const Dims& dims, uint32_t pixelFormat,
                                            StageWindow* window) {
  Enter("CreateRenderPlane");
  if (kernel_.GetFaults().Fails(Fallible::kCreateRenderPlane) || IsTooLarge(dims)) {
    kernel_.Note("CreateRenderPlane", ToText(dims) + " -> null");
    return nullptr;
  }
  const std::string name = "render" + std::to_string(renderPlanes_.size() + 1);
  renderPlanes_.push_back(std::make_unique<SimRenderPlane>(*this, name, dims, pixelFormat));
  SimRenderPlane* plane = renderPlanes_.back().get();
  plane->surface.window = window;
  kernel_.Note("CreateRenderPlane",
               ToText(dims) + ", format " + std::to_string(pixelFormat) + " -> " + name);
  Account(plane->surface, true);
  return plane;
}

OutputPlane* SimGraphics::CreateOutputPlane(const Rect& rect, bool defaultPlacement, RenderPlane*,
                                            StageWindow* window, const char* title) {
  Enter("CreateOutputPlane");
  if (kernel_.GetFaults().Fails(Fallible::kCreateOutputPlane) ||
      IsTooLarge({rect.width, rect.height})) {
    kernel_.Note("CreateOutputPlane", ToText(rect) + " -> null");
    return nullptr;
  }
  Rect chosen = rect;
  if (defaultPlacement && defaultPlacementFillsScreen) {
    chosen = {0, 0, screen.width, screen.height};
  }
  const std::string name = "output" + std::to_string(outputPlanes_.size() + 1);
  outputPlanes_.push_back(std::make_unique<SimOutputPlane>(*this, name, title, chosen));
  SimOutputPlane* plane = outputPlanes_.back().get();
  plane->surface.window = window;
  stack_.push_back(plane);
  kernel_.Note("CreateOutputPlane", ToText(rect) + (defaultPlacement ? ", default" : "") + ", '" +
                                        title + "' -> " + name);
  Account(plane->surface, true);
  return plane;
}

bool SimGraphics::ResizeOutputPlane(OutputPlane*& plane, const Dims& dims, const Rect& rect,
                                    RenderPlane*, StageWindow*, const char* title) {
  Enter("ResizeOutputPlane");
  auto* old = static_cast<SimOutputPlane*>(plane);
  if (!old->surface.Use("ResizeOutputPlane")) return false;
  const bool can = !kernel_.GetFaults().Fails(Fallible::kResizeOutputPlane) && !IsTooLarge(dims);
  kernel_.Note("ResizeOutputPlane", old->surface.name + " to " + ToText(dims) + " at " +
                                        ToText(rect) + " -> " + ToText(can));
  if (!can) return false;
  if (!replacesPlanesOnResize) {
    Account(old->surface, false);
    old->surface.dims = dims;
    old->surface.pitch = dims.width * 4 + extraPitch;
    old->surface.pixels.assign(static_cast<size_t>(old->surface.pitch / 4) * dims.height, 0);
    old->rect = {rect.x, rect.y, dims.width, dims.height};
    Account(old->surface, true);
    return true;
  }
  const std::string name = "output" + std::to_string(outputPlanes_.size() + 1);
  outputPlanes_.push_back(std::make_unique<SimOutputPlane>(
      *this, name, title, Rect{rect.x, rect.y, dims.width, dims.height}));
  SimOutputPlane* fresh = outputPlanes_.back().get();
  fresh->surface.window = old->surface.window;
  fresh->visible = old->visible;
  fresh->alpha = old->alpha;
  fresh->active = old->active;
  // In the old one's place: a window that grows must not come to the front by it.
  std::replace(stack_.begin(), stack_.end(), old, fresh);
  Retire(old->surface);
  Account(fresh->surface, true);
  plane = fresh;
  return true;
}

bool SimGraphics::ResizeRenderPlane(RenderPlane*& plane, const Dims& dims, StageWindow*) {
  Enter("ResizeRenderPlane");
  auto* old = static_cast<SimRenderPlane*>(plane);
  if (!old->surface.Use("ResizeRenderPlane")) return false;
  const bool can = !kernel_.GetFaults().Fails(Fallible::kResizeRenderPlane) && !IsTooLarge(dims);
  kernel_.Note("ResizeRenderPlane",
               old->surface.name + " to " + ToText(dims) + " -> " + ToText(can));
  if (!can) return false;
  if (!replacesPlanesOnResize) {
    Account(old->surface, false);
    old->surface.dims = dims;
    old->surface.pitch = dims.width * 4 + extraPitch;
    old->surface.pixels.assign(static_cast<size_t>(old->surface.pitch / 4) * dims.height, 0);
    Account(old->surface, true);
    return true;
  }
  const std::string name = "render" + std::to_string(renderPlanes_.size() + 1);
  renderPlanes_.push_back(
      std::make_unique<SimRenderPlane>(*this, name, dims, old->surface.pixelFormat));
  SimRenderPlane* fresh = renderPlanes_.back().get();
  fresh->surface.window = old->surface.window;
  Retire(old->surface);
  Account(fresh->surface, true);
  plane = fresh;
  return true;
}

void SimGraphics::DestroyRenderPlane(RenderPlane* plane) {
  Enter("DestroyRenderPlane");
  if (plane == nullptr) return;
  auto* known = static_cast<SimRenderPlane*>(plane);
  if (!known->surface.Use("DestroyRenderPlane")) return;
  kernel_.Note("DestroyRenderPlane", known->surface.name);
  Retire(known->surface);
}

void SimGraphics::DestroyOutputPlane(OutputPlane* plane) {
  Enter("DestroyOutputPlane");
  if (plane == nullptr) return;
  auto* known = static_cast<SimOutputPlane*>(plane);
  if (!known->surface.Use("DestroyOutputPlane")) return;
  kernel_.Note("DestroyOutputPlane", known->surface.name);
  const auto place = std::find(stack_.begin(), stack_.end(), known);
  QX_CHECK(place != stack_.end(), "a plane that lives stands in the stack");
  stack_.erase(place);
  Retire(known->surface);
}

bool SimGraphics::Restack(SimOutputPlane* plane, OutputPlane* other, bool above) {
  const auto found = std::find(stack_.begin(), stack_.end(), static_cast<SimOutputPlane*>(other));
  const bool can = other == nullptr || (found != stack_.end() && other != plane);
  const char* call = above ? "SetAbove" : "SetBelow";
  kernel_.Note(call, plane->surface.name + ", " +
                         (other == nullptr        ? std::string("all")
                          : found == stack_.end() ? std::string("a stranger's")
                                                  : (*found)->surface.name) +
                         " -> " + ToText(can));
  if (!can) return false;
  stack_.erase(std::find(stack_.begin(), stack_.end(), plane));
  auto place = above ? stack_.end() : stack_.begin();
  if (other != nullptr) {
    place = std::find(stack_.begin(), stack_.end(), static_cast<SimOutputPlane*>(other));
    if (above) ++place;
  }
  stack_.insert(place, plane);
  return true;
}

}  // namespace plexion_sim
