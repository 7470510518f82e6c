// Figures that are drawn with paths: rectangles, lines, polygons, arcs.
#ifndef HOST_PLAYER_APPLICATION_PAINT_FIGURES_H_
#define HOST_PLAYER_APPLICATION_PAINT_FIGURES_H_

#include <cairo.h>

#include "host/player/application/paint/letters/TextLayouts.h"
#include "host/player/application/stage/Element.h"

namespace plexion_host::player::application {

constexpr double kPi = 3.14159265358979323846;

/// False for kinds that are no figure.
bool IsFigure(ElementKind kind);
/// In the element's own units, which the context has.
void PaintFigure(cairo_t* cairo, const Element& element, double opacity);
/// What PaintFigure may touch.
Box FigureBox(const Element& element);
/// Whether a point is in its fill, also a transparent one, or on its stroke.
bool IsFigureHit(const Element& element, double x, double y);

/// A box with round corners as the path of a context.
void RoundedBox(cairo_t* cairo, double x, double y, double width, double height, double radius);
/// Whether a point is in such a box at 0,0.
bool IsInRoundedBox(double x, double y, double width, double height, double radius);
void SetColour(cairo_t* cairo, const Colour& colour, double opacity);

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_PAINT_FIGURES_H_
