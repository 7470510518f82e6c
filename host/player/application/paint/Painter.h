#ifndef HOST_PLAYER_APPLICATION_PAINT_PAINTER_H_
#define HOST_PLAYER_APPLICATION_PAINT_PAINTER_H_

#include <cairo.h>
#include <stdint.h>

#include <string>
#include <unordered_map>
#include <vector>

#include "host/player/Engine.h"
#include "host/player/application/paint/TextSetter.h"
#include "host/player/application/stage/Placement.h"
#include "host/player/application/stage/Stage.h"

namespace plexion_host::player::application {

/// Pixels that a played element shows: 0xAARRGGBB, alpha multiplied in.
struct PlayedPixels {
  const uint32_t* pixels = nullptr;
  uint32_t width = 0;
  uint32_t height = 0;
};

/// Gives a movie or media element its picture of the moment.
class PlayedSource {
 public:
  virtual ~PlayedSource() = default;
  /// `width` and `height` are what the element covers of the plane; the picture is as large as its
  /// fit into that wants it. Nothing to be seen: no pixels.
  virtual PlayedPixels Render(Element& element, double width, double height) = 0;
};

/// Draws a stage into a plane. Keeps what it drew last as a list of placed elements, and draws anew
/// only where that list differs from what is to be seen now.
class Painter {
 public:
  Painter(Stage& stage, TextSetter& texts, PlayedSource& played,
          qx::plexion::MemoryWatchdog* watchdog)
      : stage_(stage), texts_(texts), played_(played), watchdog_(watchdog) {}
  ~Painter();
  Painter(const Painter&) = delete;
  Painter& operator=(const Painter&) = delete;

  /// `counter` is drawn on top of everything in a corner, when there is one.
  DrawResult Draw(const DrawTarget& target, const std::string& counter);

 private:
  /// What groups around an element leave of it: a rectangle around that, and how it is rounded.
  struct Clip {
    cairo_rectangle_int_t box;
    double rounding;
  };
  /// One element as it lies on the plane; equal ones look the same.
  struct Placed {
    uint32_t handle;
    uint64_t revision;
    cairo_matrix_t matrix;
    double opacity;
    Clip clip;
    cairo_rectangle_int_t bounds;
  };
  using List = std::vector<Placed>;

  // What is where; PainterDamage.cpp.
  void CollectScene(Element& root, const cairo_matrix_t& base, double opacity, const Clip& clip,
                    List& list);
  void Collect(Element& element, cairo_matrix_t matrix, double opacity, Clip clip, List& list);
  Box ContentBox(Element& element);
  List CollectAll(const StageFit& fit, qx::plexion::Dims dims);
  static void AddDifference(const List& before, const List& after, cairo_region_t* region);

  // Drawing; Painter.cpp.
  void PaintAll(cairo_t* cairo, const StageFit& fit, uint8_t bgAlpha);
  void PaintRoot(cairo_t* cairo, Element& root, const cairo_matrix_t& matrix);
  void PaintDissolve(cairo_t* cairo, const cairo_matrix_t& matrix);
  void PaintChildren(cairo_t* cairo, Element& element, double opacity);
  void Paint(cairo_t* cairo, Element& element, double opacity);
  void PaintRectangle(cairo_t* cairo, const Element& element, double opacity);
  void PaintText(cairo_t* cairo, const Element& element, double opacity);
  void PaintPicture(cairo_t* cairo, const Element& element, const PlayedPixels& picture, int fit,
                    double opacity);
  void PaintPlaceholder(cairo_t* cairo, const Element& element, double opacity);
  void PaintCounter(cairo_t* cairo, const std::string& counter);
  bool IsSeen(cairo_t* cairo, Element& element);

  Stage& stage_;
  TextSetter& texts_;
  PlayedSource& played_;
  qx::plexion::MemoryWatchdog* watchdog_;
  List drawn_;
  qx::plexion::Dims drawnDims_ = {0, 0};
  cairo_rectangle_int_t counterBounds_ = {0, 0, 0, 0};
  cairo_region_t* region_ = nullptr;  ///< of the draw at hand
};

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_PAINT_PAINTER_H_
