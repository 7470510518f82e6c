#ifndef HOST_PLAYER_LOTTIE_DOCUMENT_READER_H_
#define HOST_PLAYER_LOTTIE_DOCUMENT_READER_H_

#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/player/lottie/document/Model.h"

namespace plexion_host::movie {

// What a movie may ask for. More costs more than any display has.
constexpr unsigned kLargestStage = 8192;
constexpr double kSlowestFrameRate = 1;
constexpr double kFastestFrameRate = 240;
constexpr double kMostFrames = 100000;
constexpr double kMostRepeaterCopies = 1000;
constexpr uint64_t kMostLayers = 5000;          ///< with every use of a composition counted
constexpr uint64_t kMostDrawnItems = 50000;     ///< likewise, repeater copies included
constexpr uint64_t kMostVertices = 2000000;     ///< likewise
constexpr uint64_t kMostMergedVertices = 1000;  ///< of paths that cut each other
constexpr double kMostStarPoints = 1000;
constexpr uint32_t kMostLayerStyles = 32;    ///< of one layer
constexpr uint64_t kItemsOfLayerStyle = 16;  ///< as many as it costs at least
constexpr double kShortestDash = 0.1;
constexpr double kSlowestTimeStretch = 0.001;
constexpr unsigned kDeepestCompositions = 64;
/// How far an easing curve may overshoot.
constexpr double kLargestEasing = 10;

/// Reads a document's tree into `movie` and checks what it would cost to draw. Texts are copied,
/// but a picture's data (ImageAsset::source): that stays in the tree.
/// Returns  false with what is wrong, where, and what is allowed:
///          layer 3 ("logo"): a repeater with 5000 copies; at most 1000 are allowed
///          Throws std::bad_alloc.
bool ReadMovie(const JsonValue& document, Movie& movie, std::string& error);

/// A list of shapes that stands on its own, as a glyph's does, into `arena`.
/// Returns  false with what is wrong.
bool ReadShapes(const JsonValue& list, Arena& arena, Span<Shape>& shapes, std::string& error);

/// A value's copy in another arena, with all that it holds.
JsonValue CopyJson(const JsonValue& value, Arena& arena);

/// What is wrong with a document, inside of the readers only.
class ReadFault : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Reads values that move in time.
class PropertyReader {
 public:
  PropertyReader(Arena& arena, const JsonValue* slots) : arena_(arena), slots_(slots) {}

  /// Null when `value` is null. `factor` multiplies the first `scaled` numbers of every value.
  const Property* Read(const JsonValue* value, uint32_t dims, double factor = 1);
  const PathProperty* ReadPath(const JsonValue* value, const JsonValue* closed);
  const Transform* ReadTransform(const JsonValue& value);

  /// The value itself, or what its slot has in its place.
  const JsonValue* Slotted(const JsonValue* value) const;

  uint32_t Count() const { return count_; }
  bool AnyExpression() const { return anyExpression_; }
  Arena& Memory() { return arena_; }
  uint64_t vertices = 0;  ///< the largest number of each path, added up

 private:
  const Property* ReadScale(const JsonValue* value);
  const float* Numbers(const JsonValue& value, uint32_t dims, double factor);
  void ReadKeys(const JsonValue& keys, Property& property, double factor);
  Span<Easing> ReadEasing(const JsonValue& key, uint32_t dims);
  const SpatialCurve* ReadCurve(const JsonValue& key, const Property& property,
                                const Segment& segment, bool bothStarts);
  PathData ReadPathData(const JsonValue& value, const JsonValue* closed);
  void ReadPathKeys(const JsonValue& keys, const JsonValue* closed, PathProperty& property);

  Arena& arena_;
  const JsonValue* slots_;
  uint32_t count_ = 0;
  bool anyExpression_ = false;
};

/// What it takes to draw something once.
struct Cost {
  uint64_t layers = 0;
  uint64_t items = 0;
  uint64_t vertices = 0;
};

/// Reads the items of shape layers.
class ShapeReader {
 public:
  ShapeReader(PropertyReader& properties, unsigned version)
      : properties_(properties), version_(version) {}

  Span<Shape> Read(const JsonValue* list, Cost& cost, unsigned depth = 0);

 private:
  void ReadOne(const JsonValue& value, Shape& shape, Cost& cost, unsigned depth);
  void ReadStyle(const JsonValue& value, Shape& shape);
  void ReadGradient(const JsonValue& value, Shape& shape);
  void ReadModifier(const JsonValue& value, Shape& shape, Cost& cost);
  void ReadDashes(const JsonValue* list, Shape& shape);

  PropertyReader& properties_;
  unsigned version_;
};

/// Reads what a layer has for "sy", without styles that are switched off. `colourFactor` brings the
/// document's colours to 0 to 1.
Span<LayerStyle> ReadLayerStyles(const JsonValue* list, PropertyReader& properties,
                                 double colourFactor);
/// By what colours of a document of `version` are multiplied.
double ColourFactor(unsigned version);
/// Reads the stops of a gradient and their count, which is no more than the numbers are enough for.
const Property* ReadGradientStops(const JsonValue& gradient, PropertyReader& properties,
                                  uint32_t& count);

/// The extremes that a property's keys reach in any dimension; 0 for null.
double Highest(const Property* property);
double Lowest(const Property* property);
std::string Shown(double number);
std::string Quoted(std::string_view text);

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_DOCUMENT_READER_H_
