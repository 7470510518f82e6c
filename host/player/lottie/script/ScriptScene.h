// What an expression sees of a movie, and the values that go in and out.

#ifndef HOST_PLAYER_LOTTIE_SCRIPT_SCRIPTSCENE_H_
#define HOST_PLAYER_LOTTIE_SCRIPT_SCRIPTSCENE_H_

#include <stdint.h>

#include <string>
#include <string_view>
#include <vector>

#include "host/player/lottie/raster/Geometry.h"

namespace plexion_host::movie {

/// A value of a property: keyed values go to an expression, results come back, in the document's
/// own units (percent, degrees, colours 0 to 1, times in seconds).
struct ScriptValue {
  enum class Kind : uint8_t { kNone, kNumber, kVector, kPath, kText };
  static constexpr uint32_t kMostNumbers = 256;

  Kind kind = Kind::kNone;
  std::vector<double> numbers;  ///< one for kNumber, any count for kVector
  /// For each vertex of a kPath six numbers: x, y, and its two absolute handles, in before out.
  std::vector<double> path;
  bool closed = false;
  std::string text;  ///< UTF-8; lines end with \r
};

enum class NodeKind : uint8_t {
  kNone,
  kComposition,
  kLayer,
  kTransform,  ///< of a layer or of a group
  kContents,   ///< the list of shapes of a layer or of a group
  kShape,      ///< one of these; its type is Name "gr", "rc", ...
  kDashes,
  kEffects,
  kEffect,  ///< also a group of values inside of one
  kMasks,
  kMask,
  kText,
  kData,  ///< a list or an object of a JSON file
  kProperty,
};

/// One thing in a movie. What the pointers mean is the scene's matter; equal nodes are the same
/// thing. Nodes stay valid as long as the scene's movie.
struct SceneNode {
  NodeKind kind = NodeKind::kNone;
  const void* what = nullptr;
  const void* where = nullptr;  ///< which use of a composition it stands in

  explicit operator bool() const { return kind != NodeKind::kNone; }
  bool operator==(const SceneNode& other) const {
    return kind == other.kind && what == other.what && where == other.where;
  }
};

/// Names of a node; empty where the document has none.
struct NodeNames {
  std::string_view name;       ///< "nm"
  std::string_view matchName;  ///< "mn"
  std::string_view type;  ///< "ty" of a shape: "gr", "rc", ...; "layer" of a value that names one
  int index = 0;          ///< "ix", or "ind" of a layer
};

struct CompositionFacts {
  double width = 0;
  double height = 0;
  double durationSeconds = 0;
  double frameSeconds = 0;
};

struct LayerFacts {
  double inSeconds = 0;
  double outSeconds = 0;
  double startSeconds = 0;
  double width = 0;  ///< of its source; 0 without
  double height = 0;
  bool active = false;  ///< shown at the frame that is drawn
};

struct ScriptMarker {
  double seconds = 0;
  double durationSeconds = 0;
  std::string_view comment;
};

/// What an expression may look at. The renderer implements it over its movie; Expressions calls it
/// while it evaluates, on the same thread. Nothing here changes anything, and only ValueAt and KeyValue
/// may throw: what calls the others has a script engine under it that cannot be unwound.
///
/// Names are the document's short ones ("p" of a transform, "s" of a rectangle): which word of the
/// language means which of them is known to Expressions only.
class IScriptScene {
 public:
  virtual ~IScriptScene() = default;

  /// kNone when no composition has the name. The movie itself is one.
  virtual SceneNode CompositionNamed(std::string_view name) = 0;
  /// The composition that a layer stands in.
  virtual SceneNode CompositionOf(const SceneNode& layer) = 0;
  /// The composition that a layer shows; kNone when it shows none.
  virtual SceneNode SourceOf(const SceneNode& layer) = 0;
  virtual SceneNode ParentOf(const SceneNode& layer) = 0;
  virtual CompositionFacts FactsOfComposition(const SceneNode& composition) = 0;
  virtual LayerFacts FactsOfLayer(const SceneNode& layer) = 0;
  virtual NodeNames NamesOf(const SceneNode& node) = 0;

  /// Items of a composition (layers), contents, effects, an effect (its values), masks, dashes, in
  /// the document's order; 0 for everything else.
  virtual int CountOf(const SceneNode& list) = 0;
  /// `position` from 0 to CountOf - 1.
  virtual SceneNode ItemOf(const SceneNode& list, int position) = 0;

  /// A part by its short name. Of a layer: "ks" transform, "shapes", "ef", "masksProperties", "t",
  /// "tm", "data". Of data its members by their names, elements as "any words 0". Of a group: "it" its contents, "tr" its transform. Of a text: "d". Of everything else its
  /// properties: "p", "a", "s", "px", "py", "c", "pt", ...; of a value of an effect "v".
  /// Returns  kNone when it is not there.
  virtual SceneNode PartOf(const SceneNode& node, std::string_view part) = 0;
  /// What a property belongs to; kNone when that is not known.
  virtual SceneNode GroupOf(const SceneNode& node) = 0;

  /// The time of the frame that is drawn, in the composition that a node stands in. Units  seconds.
  virtual double NowOf(const SceneNode& node) = 0;
  /// A property at a time of its composition.
  /// Units    seconds. `scripted`: with its own expression, should it have one.
  /// Returns  false when there is no value.
  virtual bool ValueAt(const SceneNode& property, double seconds, bool scripted,
                       ScriptValue& value) = 0;
  virtual int KeyCount(const SceneNode& property) = 0;
  /// `key` from 0 to KeyCount - 1. Units  seconds of its composition.
  virtual double KeyTime(const SceneNode& property, int key) = 0;
  virtual void KeyValue(const SceneNode& property, int key, ScriptValue& value) = 0;

  /// From a layer's own plane to its composition's, parents included.
  virtual Matrix MatrixOf(const SceneNode& layer, double seconds) = 0;
  /// The box around what a layer shows, in its own plane: left, top, width, height. `cost` grows by
  /// the points that were looked at. May evaluate other expressions.
  /// Returns  false when that is not known.
  virtual bool SourceRectOf(const SceneNode& layer, double seconds, double box[4],
                            double& cost) = 0;
  /// Markers of a composition, or of the movie when it is the outermost one.
  virtual int MarkerCount(const SceneNode& composition) = 0;
  virtual ScriptMarker MarkerAt(const SceneNode& composition, int position) = 0;
};

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_SCRIPT_SCRIPTSCENE_H_
