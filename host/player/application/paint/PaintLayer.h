// A picture that is merged as a whole.
#ifndef HOST_PLAYER_APPLICATION_PAINT_PAINTLAYER_H_
#define HOST_PLAYER_APPLICATION_PAINT_PAINTLAYER_H_

#include <cairo.h>

#include "host/player/WatchedMemory.h"

namespace plexion_host::player::application {

/// A transparent picture of its own, for what is merged as a whole into what lies below. As large
/// as what it is for and the clip leave of the plane, in the window's memory. Without memory it is that
/// picture itself; the window is ending then.
class PaintLayer {
 public:
  PaintLayer(cairo_t* below, const cairo_rectangle_int_t& bounds,
             qx::plexion::MemoryWatchdog* watchdog);
  PaintLayer(const PaintLayer&) = delete;
  PaintLayer& operator=(const PaintLayer&) = delete;
  ~PaintLayer();

  /// To draw with, at the same places as below.
  cairo_t* Cairo() { return cairo_ == nullptr ? below_ : cairo_; }
  void Merge(double opacity, cairo_operator_t how = CAIRO_OPERATOR_OVER);

 private:
  cairo_t* below_;
  WatchedBuffer pixels_;
  cairo_surface_t* surface_ = nullptr;
  cairo_t* cairo_ = nullptr;
};

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_PAINT_PAINTLAYER_H_
