#ifndef HOST_PLAYER_LOTTIE_SCENE_SCENE_H_
#define HOST_PLAYER_LOTTIE_SCENE_SCENE_H_

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/player/lottie/paint/DisplayList.h"
#include "host/player/lottie/paint/LayerStyles.h"

namespace plexion_host::movie {

class LayerUse;

/// One use of a composition.
struct CompositionUse {
  const Composition* composition = nullptr;
  const LayerUse* shownBy = nullptr;  ///< null: the movie itself
  std::vector<std::unique_ptr<LayerUse>> layers;
  double time = 0;  ///< its own frames, at the moment
};

/// Draws what a text layer shows as shapes.
class TextSource {
 public:
  virtual ~TextSource() = default;
  virtual void Evaluate(const Moment& moment) = 0;
  virtual const std::vector<ShapeOp>& Ops() const = 0;
  virtual size_t OpCount() const = 0;
  /// What it holds on to, but for glyphs, which texts share.
  virtual size_t Bytes() const = 0;
};

/// What a scene needs from outside of it.
struct SceneParts {
  std::function<const LoadedImage*(const ImageAsset&)> image;     ///< null: not there
  std::function<std::unique_ptr<TextSource>(const Layer&)> text;  ///< null: no text
  PropertyScripts* scripts = nullptr;
};

/// One use of a layer, with what was worked out for it.
class LayerUse {
 public:
  LayerUse(const Layer& layer, CompositionUse& owner, uint64_t number)
      : layer_(&layer), owner_(&owner), number_(number) {}

  const Layer& Model() const { return *layer_; }
  const CompositionUse& Owner() const { return *owner_; }
  const CompositionUse* Content() const { return content_.get(); }
  const LayerUse* Parent() const { return parent_; }
  /// To the plane of its composition, its parents' included, at any time of it.
  Matrix MatrixAt(double time, PropertyScripts* scripts, Constancy& constancy) const;

 private:
  friend class Scene;

  Matrix4 Matrix4At(double time, PropertyScripts* scripts, Constancy& constancy) const;
  bool Flat() const;

  const Layer* layer_;
  CompositionUse* owner_;
  uint64_t number_;
  LayerUse* parent_ = nullptr;
  LayerUse* matte_ = nullptr;
  std::unique_ptr<CompositionUse> content_;
  std::unique_ptr<ShapeTree> shapes_;
  std::unique_ptr<TextSource> text_;
  const LoadedImage* image_ = nullptr;
  std::vector<MaskValue> masks_;
  std::vector<EffectState> effects_;
  std::vector<StyleState> styles_;  ///< from bottom to top
  bool blendsInside_ = false;       ///< something in its composition blends with what is below it
  std::unique_ptr<ShapeOp> solid_;
  bool solidIsMask_ = false;  ///< solid_ has the shape of the only mask, which then does nothing
  std::vector<ShapeOp> strokes_;  ///< of stroke effects, over the rest

  // At the moment.
  Constancy constancy_;  ///< of all below
  bool evaluated_ = false;
  bool contentBusy_ = false;  ///< its shapes or its text are being worked out
  bool visible_ = false;
  Matrix matrix_;
  float opacity_ = 1;
};

/// A movie that can be asked what it shows at a moment.
///
/// Life     outlives no part of it; the movie and the images are borrowed.
/// Thread   one at a time.
class Scene {
 public:
  Scene(const Movie& movie, SceneParts parts);
  ~Scene();

  /// Works out what is drawn at a frame of the movie, on a plane of the given size with the stage
  /// brought onto it by `toPlane`.
  /// Returns  the time around the frame in which the list stays the same.
  Constancy Evaluate(double frame, const Matrix& toPlane, int width, int height, DisplayList& list);

  /// What its lists and outlines hold on to. Looks at all of them.
  size_t Bytes() const { return BytesOf(*root_); }
  const CompositionUse& Root() const { return *root_; }
  /// The box around what a shape or text layer shows at a time of its composition, in its own plane:
  /// left, top, width, height. `cost` grows by the points that were looked at.
  /// Returns  false when it shows nothing, or is being worked out itself.
  bool SourceRect(const LayerUse& layer, double time, double rect[4], double& cost);
  /// True when something blends with what lies below it all.
  bool BlendsWithBackground() const { return blends_; }

 private:
  /// What a layer's pixels have to be put together for before anything is done with their edges.
  struct Cuts {
    bool masked = false;
    bool effects = false;
    bool clips = false;     ///< to its composition's box
    bool isolates = false;  ///< see DrawItem::isolated
    bool Any() const { return masked || effects || clips || isolates; }
  };

  std::unique_ptr<CompositionUse> MakeComposition(const Composition& composition,
                                                  const LayerUse* shownBy, bool& blends);
  void MakeContent(LayerUse& use, bool& blends);
  static size_t BytesOf(const CompositionUse& use);
  void EvaluateComposition(CompositionUse& use, double time, Constancy& constancy);
  void EvaluateLayer(LayerUse& use, double time, Constancy& constancy);
  void EvaluateOwn(LayerUse& use, double time);
  static void CutSolid(LayerUse& use);
  static void EvaluateStrokes(LayerUse& use, const EffectState& effect);
  void EvaluateStyles(LayerUse& use, double time, Constancy& constancy);
  static Rect BoxOf(const LayerUse& use);
  void EvaluateContent(LayerUse& use, double time, Constancy& constancy);
  Moment At(const LayerUse& use, double time, Constancy& constancy) const;

  void EmitComposition(const CompositionUse& use, const Matrix& matrix, uint64_t user);
  void EmitLayer(const LayerUse& use, const Matrix& matrix, uint64_t user, bool asMatte);
  IntRect EmitCut(const LayerUse& use, const Cuts& cuts, const Matrix& toPixels, uint64_t user,
                  size_t begin);
  void EmitContent(const LayerUse& use, const Matrix& matrix, uint64_t user, float opacity);
  void EmitOps(const LayerUse& use, const std::vector<ShapeOp>& ops, size_t count,
               const Matrix& matrix, uint64_t user, float opacity);
  void EmitOp(const LayerUse& use, const ShapeOp& op, uint64_t index, const Matrix& matrix,
              uint64_t user, float opacity);
  void EmitImage(const LayerUse& use, const Matrix& matrix, uint64_t user, float opacity);
  size_t BeginGroup(uint64_t key);
  void EndGroup(size_t begin, const IntRect& limit);

  const Movie& movie_;
  SceneParts parts_;
  std::unique_ptr<CompositionUse> root_;
  uint64_t uses_ = 0;
  bool blends_ = false;
  DisplayList* list_ = nullptr;
  IntRect plane_;
  struct OpenGroup {
    size_t begin;   ///< in the list; SIZE_MAX: it is none there
    float opacity;  ///< that what is in it takes over
  };
  std::vector<OpenGroup> openGroups_;
  std::vector<float> numbers_;  ///< lent to styles
  unsigned depth_ = 0;
};

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_SCENE_SCENE_H_
