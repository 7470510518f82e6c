#ifndef HOST_PLAYER_LOTTIE_PAINT_PAINTER_H_
#define HOST_PLAYER_LOTTIE_PAINT_PAINTER_H_

#include <functional>

#include "host/player/lottie/compositing/Effects.h"
#include "host/player/lottie/compositing/Mask.h"
#include "host/player/lottie/compositing/SurfacePool.h"
#include "host/player/lottie/paint/CoverCache.h"
#include "host/player/lottie/paint/DisplayList.h"
#include "host/player/lottie/paint/StylePixels.h"
#include "host/player/lottie/paint/StyledGroups.h"
#include "host/player/lottie/raster/Fill.h"
#include "host/player/lottie/raster/Stroke.h"

namespace plexion_host::movie {

/// Draws display lists.
///
/// Life     keeps its memory from list to list. Errors: throws std::bad_alloc. Thread: one.
class Painter {
 public:
  /// `watchdog` counts the memory of groups' pixels and of what is kept of shapes; null for none.
  /// Borrowed.
  explicit Painter(qx::plexion::MemoryWatchdog* watchdog = nullptr)
      : covers_(watchdog), pool_(watchdog) {}

  /// Before the first Paint of a frame: what is painted twice in one frame does not rest, and
  /// pixels of groups that are used no more are given back in time.
  void BeginFrame() {
    covers_.BeginFrame();
    styled_.BeginFrame();
    pool_.BeginFrame();
  }

  /// Between two frames: see Engine::SaveMemory.
  void SaveMemory() {
    covers_.SaveMemory();
    styled_.SaveMemory();
    made_.clear();
    pool_.SaveMemory();
  }

  /// Draws what of the items `from` to `to` of `list` lies in `clip` over what is there. `stopped` is
  /// asked now and then; once it says so, the rest is left out.
  /// Returns  false when it was stopped.
  bool Paint(const DisplayList& list, size_t from, size_t to, const Surface& target,
             const IntRect& clip, const std::function<bool()>& stopped);

  size_t KeptBytes() const { return covers_.Bytes() + styled_.Bytes(); }
  size_t PoolBytes() const { return pool_.Bytes(); }

 private:
  /// Where the pixels of a list lie in a surface of their own.
  struct Canvas {
    Surface surface;
    int left = 0;  ///< of the plane, where the surface's first pixel is
    int top = 0;
  };

  void PaintItems(const DisplayList& list, size_t from, size_t to, const Canvas& canvas,
                  const IntRect& clip);
  void PaintShape(const DrawItem& item, const Canvas& canvas, const IntRect& clip);
  const Path& OutlineOf(const DrawItem& item, FillRule& rule);
  const KeptCover* CoverOfResting(const DrawItem& item, const IntRect& clip);
  void PaintGroup(const DisplayList& list, const DrawItem& group, size_t at, const Canvas& canvas,
                  const IntRect& clip);
  void PaintStyled(const DisplayList& list, size_t at, const Canvas& canvas, const IntRect& clip);
  void MakeStyled(const DisplayList& list, size_t at, const IntRect& area, StyledGroup& made);
  void CoverMasks(const DrawItem& group, const Canvas& canvas, const IntRect& rect);
  void ClipBox(const DrawItem& group, const Canvas& canvas, const IntRect& rect);

  Rasterizer raster_;
  CoverCache covers_;
  CoverRecorder recorder_;
  Stroker stroker_;
  Path outline_;
  Path scratch_;
  Blur blur_;
  SurfacePool pool_;
  StylePixels stylePixels_{blur_, pool_};
  StyledGroups styled_;
  std::vector<StyledGroup> made_;  ///< empty ones, whose lists are used again
  const std::function<bool()>* stopped_ = nullptr;
  size_t painted_ = 0;
  bool stop_ = false;
};

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_PAINT_PAINTER_H_
