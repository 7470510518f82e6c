// Counts what planes take against a window's graphics memory.

#ifndef HOST_GRAPHICS_GRAPHICSCHARGE_H_
#define HOST_GRAPHICS_GRAPHICSCHARGE_H_

#include <cstdint>

#include "qx/plexion/StageWindow.h"

namespace plexion_host {

/// The bytes of a plane on its window's account of graphics memory. Settled no later than the
/// plane's destruction: the window itself may be in its destructor then, but still keeps accounts.
class GraphicsCharge {
 public:
  GraphicsCharge(qx::plexion::StageWindow* window, uint64_t bytes) : window_(window) {
    Change(bytes);
  }
  GraphicsCharge(const GraphicsCharge&) = delete;
  GraphicsCharge& operator=(const GraphicsCharge&) = delete;
  ~GraphicsCharge() { Settle(); }

  void Change(uint64_t bytes) {
    if (window_ == nullptr) return;
    if (bytes > bytes_) window_->IncrementGraphicsMemoryUsedCount(bytes - bytes_);
    if (bytes < bytes_) window_->DecrementGraphicsMemoryUsedCount(bytes_ - bytes);
    bytes_ = bytes;
  }

  void Settle() {
    Change(0);
    window_ = nullptr;
  }

 private:
  qx::plexion::StageWindow* window_;
  uint64_t bytes_ = 0;
};

}  // namespace plexion_host

#endif  // HOST_GRAPHICS_GRAPHICSCHARGE_H_
