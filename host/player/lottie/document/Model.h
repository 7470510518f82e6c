#ifndef HOST_PLAYER_LOTTIE_DOCUMENT_MODEL_H_
#define HOST_PLAYER_LOTTIE_DOCUMENT_MODEL_H_

#include <stdint.h>

#include <string_view>

#include "host/player/lottie/document/Arena.h"
#include "host/player/lottie/document/Json.h"

/// A movie as the renderer wants it: read once from its document and checked, constant from then
/// on. All of it lies in one arena (Movie::arena), which outlives every reader.
///
/// Units    lengths in pixels of the composition, times in frames of the composition that a value
///          belongs to, angles in degrees, opacities and scales in percent, colours 0 to 1: as in
///          the document. Numbers are finite.

namespace plexion_host::movie {

/// How a value gets from one key to the next: a cubic curve from (0, 0) to (1, 1).
struct Easing {
  float outX = 0, outY = 0, inX = 1, inY = 1;
};

/// The way of a position between two keys when it is not a straight line.
struct SpatialCurve {
  const float* out = nullptr;  ///< tangents, relative to their ends
  const float* in = nullptr;
  uint32_t dims = 0;
  const float* lengths = nullptr;  ///< along the curve up to each of kCurvePoints points
};
constexpr uint32_t kCurvePoints = 150;

/// From one key to the next.
struct Segment {
  double from = 0;
  double to = 0;
  bool hold = false;
  Span<Easing> easing;  ///< none: linear; one; or one for each dimension
  const float* start = nullptr;
  const float* end = nullptr;
  const SpatialCurve* curve = nullptr;
};

/// A value of `dims` numbers, constant or moving.
struct Property {
  uint32_t dims = 1;
  const float* value = nullptr;  ///< constant value, or the one after the last key; `dims` numbers
  Span<Segment> segments;        ///< in order of time; none: constant
  std::string_view expression;   ///< empty: none
  std::string_view slot;         ///< empty: none
  uint32_t number = 0;           ///< counts all properties of a movie
  int index = 0;                 ///< "ix": as expressions may call it
  bool turns = false;            ///< three angles that take the short way round
};

/// A path: for each vertex x, y and its two absolute handles, in before out.
struct PathData {
  uint32_t count = 0;  ///< of vertices, 6 numbers each: x y inX inY outX outY
  bool closed = false;
  const float* points = nullptr;
};

struct PathSegment {
  double from = 0;
  double to = 0;
  bool hold = false;
  Easing easing;
  bool linear = true;
  PathData start;
  PathData end;
};

struct PathProperty {
  PathData value;  ///< constant value, or the one from the last key on
  Span<PathSegment> segments;
  std::string_view expression;
  uint32_t number = 0;
  int index = 0;  ///< "ix"
};

/// Null members were not in the document and have their usual value.
struct Transform {
  const Property* anchor = nullptr;
  const Property* position = nullptr;
  const Property* positionX = nullptr;  ///< set instead of position when it is split
  const Property* positionY = nullptr;
  const Property* positionZ = nullptr;
  const Property* scale = nullptr;
  const Property* rotation = nullptr;
  const Property* rotationX = nullptr;  ///< in three dimensions these four instead of rotation
  const Property* rotationY = nullptr;
  const Property* rotationZ = nullptr;
  const Property* orientation = nullptr;
  const Property* skew = nullptr;
  const Property* skewAxis = nullptr;
  const Property* opacity = nullptr;
  const Property* startOpacity = nullptr;  ///< of a repeater's copies
  const Property* endOpacity = nullptr;
};

enum class ShapeKind : uint8_t {
  kGroup,
  kPath,
  kRectangle,
  kEllipse,
  kStar,
  kFill,
  kStroke,
  kGradientFill,
  kGradientStroke,
  kNoStyle,
  kTrim,
  kRound,
  kRepeater,
  kMerge,
  kOffset,
  kZigZag,
  kPucker,
  kTwist,
  kTransform,
  kUnknown,
};

struct Dash {
  enum Kind : uint8_t { kDash, kGap, kOffset };
  Kind kind = kDash;
  const Property* length = nullptr;
};

/// One item of a shape layer. Which members mean something follows from its kind.
struct Shape {
  ShapeKind kind = ShapeKind::kUnknown;
  bool hidden = false;
  uint8_t blend = 0;
  uint8_t direction = 0;  ///< 1 or 2 with the clock, 3 against it, 0: not said
  std::string_view name;
  std::string_view matchName;
  std::string_view type;  ///< as in the document
  int index = 0;          ///< "ix"

  Span<Shape> items;                     ///< group: from top to bottom
  const Transform* transform = nullptr;  ///< group, repeater, transform
  const PathProperty* path = nullptr;

  const Property* position = nullptr;  ///< rectangle, ellipse, star; twist: centre
  const Property* size = nullptr;      ///< rectangle, ellipse; zig-zag: how far
  const Property* radius = nullptr;    ///< rectangle, round: roundness; star: outer radius
  const Property* innerRadius = nullptr;
  const Property* roundness = nullptr;
  const Property* innerRoundness = nullptr;
  const Property* points = nullptr;    ///< star; zig-zag: corners or curves
  const Property* rotation = nullptr;  ///< star
  bool polygon = false;                ///< star without inner radius

  const Property* colour = nullptr;
  const Property* opacity = nullptr;
  const Property* width = nullptr;
  bool evenOdd = false;
  uint8_t cap = 2;   ///< 1 butt, 2 round, 3 square
  uint8_t join = 2;  ///< 1 miter, 2 round, 3 bevel
  float miterLimit = 4;
  const Property* miter = nullptr;  ///< offset: the limit as a property
  Span<Dash> dashes;

  bool radial = false;
  const Property* gradientStart = nullptr;
  const Property* gradientEnd = nullptr;
  const Property* highlightLength = nullptr;
  const Property* highlightAngle = nullptr;
  const Property* stops = nullptr;  ///< `stopCount` times offset r g b, then offset and opacity
  uint32_t stopCount = 0;

  const Property* start = nullptr;   ///< trim
  const Property* end = nullptr;     ///< trim
  const Property* offset = nullptr;  ///< trim, repeater
  const Property* amount = nullptr;  ///< repeater copies; pucker, offset, twist; zig-zag: how many
  uint8_t mode = 0;                  ///< trim: 1 each, 2 one after the other; merge; repeater order
  bool tooLarge = false;             ///< merge: of too many points to be cut
};

struct Mask {
  enum class Mode : uint8_t { kNone, kAdd, kSubtract, kIntersect, kLighten, kDarken, kDifference };
  Mode mode = Mode::kAdd;
  bool inverted = false;
  std::string_view name;
  const PathProperty* path = nullptr;
  const Property* opacity = nullptr;
  const Property* expansion = nullptr;
  const Property* feather = nullptr;
};

struct Effect;

struct EffectValue {
  int type = 0;  ///< as in the document: 0 slider, 1 angle, 2 colour, 3 point, 4 checkbox, ...
  std::string_view name;
  std::string_view matchName;
  const Property* value = nullptr;
  const Effect* group = nullptr;
};

struct Effect {
  int type = 5;  ///< as in the document: 20 tint, 21 fill, 22 stroke, ...
  bool enabled = true;
  std::string_view name;
  std::string_view matchName;
  int index = 0;
  Span<EffectValue> values;
};

/// In the order of the format's numbers.
enum class LayerStyleKind : uint8_t {
  kStroke,
  kDropShadow,
  kInnerShadow,
  kOuterGlow,
  kInnerGlow,
  kBevel,
  kSatin,
  kColourOverlay,
  kGradientOverlay,
  kUnknown,
};

/// A shadow, glow or overlay of all that a layer shows. Which members mean something follows from
/// its kind; null ones have their usual value.
struct LayerStyle {
  LayerStyleKind kind = LayerStyleKind::kUnknown;
  int type = 0;  ///< as in the document
  const Property* colour = nullptr;
  const Property* opacity = nullptr;
  const Property* blend = nullptr;     ///< as the authoring tool counts them, see StyleBlendOf
  const Property* angle = nullptr;     ///< to the light; gradient: in which it runs
  const Property* size = nullptr;      ///< how soft; stroke: how wide
  const Property* distance = nullptr;  ///< shadows, satin
  const Property* spread = nullptr;    ///< shadows, glows: how much of the size is hard
  const Property* range = nullptr;     ///< glows
  const Property* noise = nullptr;
  /// Shadow: not seen through the layer; inner glow: 2 from its centre; satin: turned round.
  const Property* option = nullptr;
  const Property* gradientKind = nullptr;
  const Property* reverse = nullptr;
  const Property* align = nullptr;  ///< to the layer's box, else to the composition's
  const Property* scale = nullptr;
  const Property* offset = nullptr;  ///< of the gradient's middle, in percent of its box
  const Property* stops = nullptr;   ///< as Shape::stops
  uint32_t stopCount = 0;
  const Property* strength = nullptr;  ///< bevel: how steep
  const Property* soften = nullptr;
  const Property* altitude = nullptr;  ///< bevel: of the light above the plane
  const Property* shadeColour = nullptr;
  const Property* shadeOpacity = nullptr;
  const Property* shadeBlend = nullptr;
};

struct Composition;
struct Layer;

/// A picture that image layers show.
struct ImageAsset {
  std::string_view id;
  float width = 0;
  float height = 0;
  bool embedded = false;
  std::string_view folder;  ///< "u"
  std::string_view source;  ///< "p": data:..., or a file
  std::string_view fit;     ///< how it fills width and height, as SVG has it; empty: usual
};

/// A JSON file whose values expressions read, through the layers that name it.
struct DataAsset {
  std::string_view id;
  std::string_view folder;           ///< "u"
  std::string_view source;           ///< "p"
  const JsonValue* value = nullptr;  ///< null until it is loaded
};

enum class LayerKind : uint8_t {
  kComposition = 0,
  kSolid = 1,
  kImage = 2,
  kNull = 3,
  kShape = 4,
  kText = 5,
  kAudio = 6,
  kCamera = 13,
  kData = 15,
  kOther = 99,
};

struct Layer {
  LayerKind kind = LayerKind::kNull;
  int type = 3;  ///< as in the document
  std::string_view name;
  double index = -1;      ///< "ind"; -1: none
  int32_t parent = -1;    ///< position in the list
  int32_t matte = -1;     ///< position of the layer that mattes this one
  uint8_t matteMode = 0;  ///< 0 none, 1 alpha, 2 inverted, 3 luma, 4 inverted
  bool isMatte = false;   ///< drawn only for others
  bool hidden = false;
  bool flat = true;  ///< not in three dimensions
  bool autoOrient = false;
  uint8_t blend = 0;
  double in = 0;
  double out = 0;
  double start = 0;
  double stretch = 1;
  Transform transform;
  Span<Mask> masks;
  Span<Effect> effects;
  Span<LayerStyle> styles;

  const Composition* composition = nullptr;
  const Property* timeRemap = nullptr;
  float width = 0;  ///< of a composition or a solid
  float height = 0;
  uint32_t colour = 0xFF000000;  ///< of a solid
  const ImageAsset* image = nullptr;
  const DataAsset* data = nullptr;
  Span<Shape> shapes;
  const JsonValue* text = nullptr;  ///< "t" of a text layer, as the document has it
  const Property* perspective = nullptr;
};

struct Composition {
  std::string_view id;
  std::string_view name;
  float width = 0;
  float height = 0;
  double frameRate = 0;  ///< 0: the movie's
  Span<Layer> layers;    ///< from top to bottom
  bool hasCamera = false;
};

struct Marker {
  std::string_view comment;
  double time = 0;
  double duration = 0;
};

struct Movie {
  explicit Movie(qx::plexion::MemoryWatchdog* watchdog) : arena(watchdog) {}

  Arena arena;
  std::string_view name;
  unsigned version = 0;  ///< 50713 for 5.7.13
  float width = 0;
  float height = 0;
  double frameRate = 0;
  double in = 0;
  double out = 0;
  Composition root;
  Span<Composition> compositions;
  Span<ImageAsset> images;
  Span<DataAsset*> data;
  Span<Marker> markers;
  const JsonValue* fonts = nullptr;   ///< "fonts", as the document has it
  const JsonValue* glyphs = nullptr;  ///< "chars"
  bool hasExpressions = false;
  uint32_t propertyCount = 0;
};

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_DOCUMENT_MODEL_H_
