// Makes, stacks and destroys planes in memory.

#include "kit/certify/bench/BenchGraphics.h"

namespace plexion_certify {

using qx::platform::OutputPlane;
using qx::platform::RenderPlane;
using qx::plexion::Dims;
using qx::plexion::Rect;
using qx::plexion::StageWindow;

namespace {
bool CanBe(const Dims& dims) {
  const auto fits = [](uint32_t side) { return side >= 1 && side <= BenchGraphics::kMaxSide; };
  return fits(dims.width) && fits(dims.height) && uint64_t{dims.width} * dims.height <= (64U << 20);
}
}  // namespace

bool BenchOutputPlane::SetAbove(OutputPlane* other) { return driver_.Restack(this, other, true); }

bool BenchOutputPlane::SetBelow(OutputPlane* other) { return driver_.Restack(this, other, false); }

unsigned BenchOutputPlane::GetStackingIndex() {
  const std::lock_guard<std::mutex> lock(driver_.mutex_);
  const auto& stack = driver_.stack_;
  return static_cast<unsigned>(std::find(stack.begin(), stack.end(), this) - stack.begin());
}

RenderPlane* BenchGraphics::CreateRenderPlane(const Dims& dims, uint32_t pixelFormat,
                                              StageWindow*) {
  if (!CanBe(dims) || pixelFormat > qx::platform::kPixelFormat32) return nullptr;
  ++live_;
  return new BenchRenderPlane(dims);
}

OutputPlane* BenchGraphics::CreateOutputPlane(const Rect& rect, bool, RenderPlane*, StageWindow*,
                                              const char* name) {
  if (!CanBe({rect.width, rect.height})) return nullptr;
  ++live_;
  auto* const plane = new BenchOutputPlane(*this, rect, name != nullptr ? name : "");
  const std::lock_guard<std::mutex> lock(mutex_);
  stack_.push_back(plane);
  return plane;
}

bool BenchGraphics::ResizeOutputPlane(OutputPlane*& plane, const Dims& dims, const Rect& rect,
                                      RenderPlane*, StageWindow*, const char*) {
  if (!CanBe(dims)) return false;
  static_cast<BenchOutputPlane*>(plane)->SetDims(dims);
  return plane->MoveTo({rect.x, rect.y});
}

bool BenchGraphics::ResizeRenderPlane(RenderPlane*& plane, const Dims& dims, StageWindow*) {
  if (!CanBe(dims)) return false;
  static_cast<BenchRenderPlane*>(plane)->SetDims(dims);
  return true;
}

void BenchGraphics::DestroyRenderPlane(RenderPlane* plane) {
  if (plane == nullptr) return;
  --live_;
  delete static_cast<BenchRenderPlane*>(plane);
}

void BenchGraphics::DestroyOutputPlane(OutputPlane* plane) {
  if (plane == nullptr) return;
  --live_;
  const std::lock_guard<std::mutex> lock(mutex_);
  stack_.erase(std::remove(stack_.begin(), stack_.end(), plane), stack_.end());
  delete static_cast<BenchOutputPlane*>(plane);
}

bool BenchGraphics::Restack(BenchOutputPlane* plane, OutputPlane* other, bool above) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (other == plane) return true;
  if (other != nullptr && std::find(stack_.begin(), stack_.end(), other) == stack_.end())
    return false;
  stack_.erase(std::remove(stack_.begin(), stack_.end(), plane), stack_.end());
  const auto place = other == nullptr
                         ? (above ? stack_.end() : stack_.begin())
                         : std::find(stack_.begin(), stack_.end(), other) + (above ? 1 : 0);
  stack_.insert(place, plane);
  return true;
}

}  // namespace plexion_certify
