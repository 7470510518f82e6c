// The list between a stage and its picture.
#ifndef HOST_PLAYER_APPLICATION_PAINT_DISPLAYLIST_H_
#define HOST_PLAYER_APPLICATION_PAINT_DISPLAYLIST_H_

#include <cairo.h>
#include <stddef.h>
#include <stdint.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/player/application/paint/KeptGroups.h"
#include "host/player/application/paint/Placement.h"
#include "host/player/application/paint/letters/TextLayouts.h"
#include "host/player/application/stage/Stage.h"
#include "qx/plexion/Geometry.h"

/// What is to be seen of a stage, in the order in which it is painted: built once for a picture,
/// compared with the one before, then painted. All sizes are reckoned here, before any pixel is.

namespace plexion_host::player::application {

/// What a blur or shadow does to an element, in pixels of the plane.
struct Effect {
  float blurX = 0;  ///< standard deviations
  float blurY = 0;
  float shadowBlurX = 0;
  float shadowBlurY = 0;
  float shadowX = 0;
  float shadowY = 0;
  Colour shadow;
  bool hasShadow = false;
  /// A group as it is, whose picture is moved instead of being painted anew.
  bool isKept = false;

  bool IsBlurred() const { return blurX > 0 || blurY > 0; }
  bool operator==(const Effect& other) const {
    return blurX == other.blurX && blurY == other.blurY && shadowBlurX == other.shadowBlurX &&
           shadowBlurY == other.shadowBlurY && shadowX == other.shadowX &&
           shadowY == other.shadowY && shadow == other.shadow && hasShadow == other.hasShadow &&
           isKept == other.isKept;
  }
};

/// One step of painting. Elements, and what surrounds some of them: each push has its pop, and they
/// nest.
struct DisplayItem {
  enum class Kind : uint8_t {
    kElement,
    kPushClip,
    kPopClip,
    kPushLayer,
    kPopLayer,
    kPushEffect,
    kPopEffect
  };

  /// What groups around an element leave of it: a rectangle around that, and how it is rounded.
  struct Clip {
    cairo_rectangle_int_t box = {0, 0, 0, 0};
    double rounding = 0;
  };

  Kind kind = Kind::kElement;
  /// What is painted, or the group that clips. Only while the stage is as it was at building.
  Element* element = nullptr;
  cairo_matrix_t matrix = {1, 0, 0, 1, 0, 0};  ///< to pixels of the plane
  double opacity = 1;  ///< of the element as it is painted; of a layer that is popped, of all in it
  cairo_operator_t merge = CAIRO_OPERATOR_OVER;  ///< how a layer that is popped is put down
  /// Pixels that it may touch, those of smoothed edges with them; of a layer, all of its elements'.
  cairo_rectangle_int_t bounds = {0, 0, 0, 0};
  size_t end = 0;  ///< of a push: where its pop is
  // Of an effect: what of the element it is made of, which may reach past the plane.
  Effect effect;
  cairo_rectangle_int_t source = {0, 0, 0, 0};
  bool isCut = false;  ///< some of the element lies outside of what it is made of

  // For the comparison, of elements.
  uint32_t handle = 0;
  uint64_t revision = 0;
  double seenOpacity = 1;  ///< with that of all layers around it
  Clip clip;
};

struct DisplayList {
  std::vector<DisplayItem> items;
  cairo_rectangle_int_t stage = {0, 0, 0, 0};  ///< pixels that lie wholly on it
  /// Elements that are not in it for a reason that their author should know.
  std::vector<std::pair<const Element*, std::string>> refused;
};

/// Lists what of the stage is seen on a plane of `dims`, with a picture for each of the groups `kept`.
/// An element larger than kLargestSeen is
/// refused; so is a layer when too many lie inside of each other, whose elements are then
/// transparent one by one.
DisplayList BuildDisplayList(Stage& stage, TextLayouts& texts, const StageFit& fit,
                             qx::plexion::Dims dims, const KeptGroups& kept);

/// The first item that has to be painted in a part of the plane: an opaque rectangle that covers it
/// hides all before it, the ground as well. Empty: the ground is seen.
std::optional<size_t> FirstSeen(const DisplayList& list, const cairo_rectangle_int_t& part);

/// Adds the pixels in which the two may differ.
void AddDifference(const DisplayList& before, const DisplayList& after, cairo_region_t* region);

/// Elements with a shadow or blur on a plane: each may cost as much as the plane.
constexpr size_t kMostEffects = 64;
/// Pixels that an element may have on a side; the drawing library counts not much further.
constexpr double kLargestSeen = 1e6;
/// Of all layers that lie inside of each other.
constexpr size_t kMostLayerBytes = size_t{256} * 1024 * 1024;

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_PAINT_DISPLAYLIST_H_
