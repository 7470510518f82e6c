// Where elements lie.
#ifndef HOST_PLAYER_APPLICATION_PAINT_PLACEMENT_H_
#define HOST_PLAYER_APPLICATION_PAINT_PLACEMENT_H_

#include <cairo.h>

#include <vector>

#include "host/player/StageFit.h"
#include "host/player/application/paint/letters/TextLayouts.h"
#include "host/player/application/stage/Stage.h"
#include "qx/plexion/Geometry.h"

/// Where elements lie: on the plane, for drawing, and under a point, for the pointer.

namespace plexion_host::player::application {

/// From an element's own units to those that `outer` leads to.
cairo_matrix_t PlacementOf(const Element& element, const cairo_matrix_t& outer);
/// From a scene's units to the plane's, on its way when it slides.
cairo_matrix_t SceneMatrixOf(const Stage& stage, const StageFit& fit, bool leaving);
/// Children from back to front.
std::vector<Element*> InOrder(const Element& group);

/// The frontmost element at a point of the stage, or null: a text where its lines are, an image,
/// movie or media in its box, a rectangle where it has a fill (a transparent one, too) or its
/// stroke. Groups are not found themselves. What is hidden, wholly transparent, clipped away or in
/// a scene that is leaving is not there.
Element* ElementAt(Stage& stage, TextLayouts& texts, double x, double y);

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_PAINT_PLACEMENT_H_
