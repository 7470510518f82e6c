// The launcher's memory for pictures, as this process sees it.

#ifndef HOST_CONTENT_DRAWMEMORY_H_
#define HOST_CONTENT_DRAWMEMORY_H_

#include <cstdint>

#include "host/player/remote/Orders.h"

namespace plexion_host::content {

/// Memory that was handed over to be drawn into, mapped while it is the one in use.
class DrawMemory {
 public:
  DrawMemory() = default;
  DrawMemory(const DrawMemory&) = delete;
  DrawMemory& operator=(const DrawMemory&) = delete;
  ~DrawMemory() { Unmap(); }

  /// Takes `descriptor` over, whatever comes of it. Returns  false when it is not the memory that
  /// `plane` describes.
  bool Map(const player::remote::PlaneMemory& plane, int descriptor);
  bool IsMapped() const { return pixels_ != nullptr; }
  uint32_t* Pixels() const { return pixels_; }
  const player::remote::PlaneMemory& Plane() const { return plane_; }

 private:
  void Unmap();

  player::remote::PlaneMemory plane_;
  uint32_t* pixels_ = nullptr;
};

}  // namespace plexion_host::content

#endif  // HOST_CONTENT_DRAWMEMORY_H_
