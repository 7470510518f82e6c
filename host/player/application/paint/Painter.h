// Draws a stage into a plane.
#ifndef HOST_PLAYER_APPLICATION_PAINT_PAINTER_H_
#define HOST_PLAYER_APPLICATION_PAINT_PAINTER_H_

#include <cairo.h>
#include <stdint.h>

#include <string>
#include <utility>

#include "host/player/Engine.h"
#include "host/player/application/paint/DisplayList.h"
#include "host/player/application/paint/EffectPictures.h"
#include "host/player/application/paint/ElementCosts.h"
#include "host/player/application/paint/Placement.h"
#include "host/player/application/paint/QrCodes.h"
#include "host/player/application/paint/letters/TextLayouts.h"
#include "host/player/application/stage/Stage.h"

namespace plexion_host::player::application {

/// Pixels that an embedded element shows: 0xAARRGGBB, alpha multiplied in.
struct EmbeddedPixels {
  const uint32_t* pixels = nullptr;
  uint32_t width = 0;
  uint32_t height = 0;
};

/// Gives a movie or media element its picture of the moment.
class EmbeddedSource {
 public:
  virtual ~EmbeddedSource() = default;
  /// `width` and `height` are what the element covers of the plane; the picture is as large as its
  /// fit into that wants it. Nothing to be seen: no pixels.
  virtual EmbeddedPixels Render(Element& element, double width, double height) = 0;
};

/// What is drawn on top of everything, for the application's author; each may be empty.
struct DrawingNotes {
  std::string counter;  ///< a line in a corner
  std::string problem;  ///< over the lower edge, as many lines as it takes
};

/// Draws a stage into a plane. Keeps the list of what it drew last, and draws anew only where the
/// list of what is to be seen now differs.
class Painter {
 public:
  Painter(Stage& stage, TextLayouts& texts, EmbeddedSource& embedded,
          qx::plexion::MemoryWatchdog* watchdog, DrawingHost host)
      : stage_(stage),
        texts_(texts),
        embedded_(embedded),
        watchdog_(watchdog),
        host_(std::move(host)),
        effects_(watchdog),
        qrCodes_(host_) {}
  Painter(const Painter&) = delete;
  Painter& operator=(const Painter&) = delete;

  /// `fit` is where the stage lies in the target. `counter` is drawn on top of everything in a
  /// corner, when there is one.
  DrawResult Draw(const DrawTarget& target, const StageFit& fit, const DrawingNotes& notes);

  /// Between two pictures: see Engine::SaveMemory.
  void SaveMemory() { effects_.SaveMemory(); }
  ElementCosts& Costs() { return costs_; }
  /// What the last picture had no time for. True: the stage is to be drawn again soon.
  bool TouchWhatIsLate();
  /// What was moved by whole pixels for a place between them. True: the stage is to be drawn again with
  /// the next frame, or soon when there is none.
  bool TouchWhatIsBesideItsPlace();

 private:
  void PaintRegion(const DrawTarget& target, const StageFit& fit, const DisplayList& list,
                   const cairo_region_t* region, const DrawingNotes& notes, DrawResult& result);
  /// Leaves the context clipped to the stage; `hidden`: all of it is painted over.
  void PaintGround(cairo_t* cairo, const StageFit& fit, uint8_t bgAlpha, bool hidden);
  /// Those from `begin` to `end`; without a region all of them.
  void PaintItems(cairo_t* cairo, const DisplayList& list, size_t begin, size_t end,
                  const cairo_region_t* region);
  /// True: the element is not to be painted itself.
  bool PaintEffect(cairo_t* cairo, const DisplayList& list, size_t begin);
  void PaintElement(cairo_t* cairo, const DisplayItem& item);
  void PaintText(cairo_t* cairo, const DisplayItem& item);
  /// One after the other, for a layout whose lines are moved.
  void PaintLines(cairo_t* cairo, const TextLayouts::Placed& placed);
  void PaintLongText(cairo_t* cairo, const TextLayouts::Placed& placed, double letterPixels);
  void PaintCounter(cairo_t* cairo, const std::string& counter);
  void PaintProblem(cairo_t* cairo, const qx::plexion::Dims& dims, const std::string& problem);

  Stage& stage_;
  TextLayouts& texts_;
  EmbeddedSource& embedded_;
  qx::plexion::MemoryWatchdog* watchdog_;
  const DrawingHost host_;
  KeptGroups kept_;
  EffectPictures effects_;
  QrCodes qrCodes_;
  ElementCosts costs_;
  DisplayList drawn_;
  std::string drawnProblem_;
  qx::plexion::Dims drawnDims_ = {0, 0};
};

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_PAINT_PAINTER_H_
