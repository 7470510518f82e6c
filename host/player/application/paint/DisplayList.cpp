// Builds the list of what is to be seen.
#include "host/player/application/paint/DisplayList.h"

#include <math.h>
#include <stdlib.h>

#include <algorithm>

#include "host/base/Check.h"
#include "host/player/application/paint/Extents.h"
#include "host/player/application/paint/Figures.h"
#include "host/player/lottie/compositing/Effects.h"

namespace plexion_host::player::application {

namespace {

constexpr size_t kMostLayers = 8;
constexpr size_t kMostKeptGroups = 64;
/// Pixels; more would cost more and look the same.
constexpr double kMostDeviation = 200;
constexpr double kFarthestShadow = 4000;
/// How far beyond the plane a group goes whose picture is moved.
constexpr int kKeptReach = 16384;

class Builder {
 public:
  Builder(Stage& stage, TextLayouts& texts, const StageFit& fit, qx::plexion::Dims dims,
          const KeptGroups& kept)
      : stage_(stage), texts_(texts), fit_(fit), kept_(kept) {
    const size_t plane = std::max<size_t>(size_t{dims.width} * dims.height * sizeof(uint32_t), 1);
    // Each may be as large as the plane, and all of them are open at once.
    mostLayers_ = std::clamp<size_t>(kMostLayerBytes / plane, 2, kMostLayers);
    plane_ = {0, 0, static_cast<int>(dims.width), static_cast<int>(dims.height)};
  }

  DisplayList Build() {
    cairo_matrix_t still;
    cairo_matrix_init(&still, fit_.scaleX, 0, 0, fit_.scaleY, fit_.x, fit_.y);
    const Box whole = {0, 0, static_cast<double>(stage_.width), static_cast<double>(stage_.height)};
    Around around = {still};
    around.clip.box = Intersection(plane_, Extents::Of(whole, still).Pixels());
    list_.stage = Extents::Of(whole, still).Inside();
    AddChildren(stage_.Backdrop(), around);
    AddScenes(around);
    AddChildren(stage_.Overlay(), around);
    return std::move(list_);
  }

 private:
  /// What an element inherits from those it stands in.
  struct Around {
    cairo_matrix_t matrix;
    double opacity = 1;      ///< still to be painted into each element
    double seenOpacity = 1;  ///< with that of the layers, too
    DisplayItem::Clip clip = {};
    // Inside of effects: what is painted reaches further than what is seen of it.
    bool isSpread = false;
    bool isKept = false;            ///< of a picture that is moved: all of it, seen or not
    Rectangle seen = {0, 0, 0, 0};  ///< what the effects leave of the plane
    int spread[4] = {0, 0, 0, 0};   ///< pixels to the left, top, right and bottom
  };

  void AddScenes(const Around& around) {
    Element* leaving = stage_.LeavingScene();
    Around arriving = around;
    arriving.matrix = SceneMatrixOf(stage_, fit_, false);
    if (leaving == nullptr) {
      AddChildren(*stage_.CurrentScene(), arriving);
      return;
    }
    Around gone = around;
    gone.matrix = SceneMatrixOf(stage_, fit_, true);
    if (stage_.CurrentTransition().kind != TransitionKind::kFade) {
      AddChildren(*leaving, gone);
      AddChildren(*stage_.CurrentScene(), arriving);
      return;
    }
    // Both shares are added: painted one over the other, what lies beneath would shine through.
    const double progress = stage_.TransitionProgress();
    gone.seenOpacity = 1 - progress;
    arriving.seenOpacity = progress;
    const size_t both = PushLayer();
    const size_t first = PushLayer();
    AddChildren(*leaving, gone);
    PopLayer(first, 1 - progress);
    const size_t second = PushLayer();
    AddChildren(*stage_.CurrentScene(), arriving);
    PopLayer(second, progress, CAIRO_OPERATOR_ADD);
    PopLayer(both, 1);
  }

  void AddChildren(const Element& group, const Around& around) {
    const std::vector<Element*> ordered = InOrder(group);
    // Several that overlap fade as one picture, not one through the other.
    if (around.opacity < 1 && ordered.size() > 1) {
      if (layers_ < mostLayers_) {
        Around inside = around;
        inside.opacity = 1;
        const size_t layer = PushLayer();
        for (Element* child : ordered) Add(*child, inside);
        PopLayer(layer, around.opacity);
        return;
      }
      list_.refused.emplace_back(&group, "more than " + std::to_string(mostLayers_) +
                                             " half transparent groups inside of each other; its "
                                             "elements are transparent one by one");
    }
    for (Element* child : ordered) Add(*child, around);
  }

  void Add(Element& element, Around around) {
    // With all that is in it.
    if (!element.visible || element.opacity <= 0 || element.scale <= 0) return;
    around.matrix = PlacementOf(element, around.matrix);
    around.opacity *= element.opacity;
    around.seenOpacity *= element.opacity;
    if (element.blur > 0 || !element.shadow.none) {
      AddEffect(element, around);
    } else {
      AddPlain(element, around);
    }
  }

  void AddPlain(Element& element, const Around& around) {
    if (element.kind != ElementKind::kGroup) {
      AddElement(element, around);
    } else if (!around.isKept && kept_.IsKept(element) && keptGroups_ < kMostKeptGroups) {
      AddKept(element, around);
    } else if (element.clip) {
      AddClipped(element, around);
    } else {
      AddChildren(element, around);
    }
  }

  /// Everything that is painted of it is painted for the effect, too.
  void AddEffect(Element& element, Around around) {
    if (effects_ >= kMostEffects || effectsAround_ >= kMostLayers) {
      list_.refused.emplace_back(&element, "more than " + std::to_string(kMostEffects) +
                                               " elements with a shadow or blur, or " +
                                               std::to_string(kMostLayers) +
                                               " inside of each other; it has none");
      AddPlain(element, around);
      return;
    }
    ++effects_;
    const size_t begin = Push(DisplayItem::Kind::kPushEffect);
    const Effect effect = EffectOf(element, around.matrix);
    {
      DisplayItem& push = list_.items[begin];
      push.element = &element;
      push.handle = element.handle;
      push.matrix = around.matrix;
      push.effect = effect;
    }
    if (!around.isSpread) around.seen = around.clip.box;
    around.isSpread = true;
    const int reach[2] = {movie::Blur::Reach(effect.blurX), movie::Blur::Reach(effect.blurY)};
    const int far[2] = {movie::Blur::Reach(effect.shadowBlurX) + reach[0],
                        movie::Blur::Reach(effect.shadowBlurY) + reach[1]};
    const int moved[2] = {static_cast<int>(lround(effect.shadowX)),
                          static_cast<int>(lround(effect.shadowY))};
    int most = 0;
    for (int side = 0; side < 4; ++side) {
      const int axis = side % 2;
      const int shadow = effect.hasShadow ? far[axis] + (side < 2 ? -moved[axis] : moved[axis]) : 0;
      around.spread[side] += std::max(reach[axis], shadow);
      most = std::max({most, reach[axis], abs(shadow), far[axis]});
    }
    // What lies beside the plane may throw its shadow onto it.
    around.clip.box = Grown(around.clip.box, most);
    around.clip.rounding = around.clip.rounding * 31 + HashOf(effect);
    ++effectsAround_;
    AddPlain(element, around);
    --effectsAround_;
    PopEffect(begin, std::max(far[0], far[1]));
  }

  /// `reach` is how far the effect goes beyond what it is made of.
  void PopEffect(size_t begin, int reach) {
    Rectangle source = {0, 0, 0, 0};
    bool isCut = false;
    for (size_t i = begin + 1; i < list_.items.size(); ++i) {
      const DisplayItem& item = list_.items[i];
      if (item.kind != DisplayItem::Kind::kElement) continue;
      source = Union(source, item.source);
      isCut = isCut || item.isCut;
    }
    if (!Pop(begin, DisplayItem::Kind::kPopEffect)) return;
    DisplayItem& push = list_.items[begin];
    push.isCut = isCut;
    push.source = Grown(source, reach);
  }

  /// The whole of it is listed, also what is not seen at the moment: its picture is moved.
  void AddKept(Element& group, Around around) {
    ++keptGroups_;
    const size_t begin = Push(DisplayItem::Kind::kPushEffect);
    DisplayItem& push = list_.items[begin];
    push.element = &group;
    push.handle = group.handle;
    push.matrix = around.matrix;
    push.effect.isKept = true;
    if (!around.isSpread) around.seen = around.clip.box;
    around.isSpread = true;
    around.isKept = true;
    around.clip.box = Grown(around.clip.box, kKeptReach);
    AddPlain(group, around);
    PopEffect(begin, 0);
  }

  static Rectangle Grown(const Rectangle& box, int by) {
    if (box.width == 0) return box;
    return {box.x - by, box.y - by, box.width + 2 * by, box.height + 2 * by};
  }

  static Effect EffectOf(const Element& element, const cairo_matrix_t& matrix) {
    const double across = hypot(matrix.xx, matrix.yx);
    const double down = hypot(matrix.xy, matrix.yy);
    // Half of it to each side: a blur of 10 makes an edge some 10 units wide.
    const auto deviation = [](double blur, double scale) {
      return static_cast<float>(std::min(blur / 2 * scale, kMostDeviation));
    };
    Effect effect;
    effect.blurX = deviation(element.blur, across);
    effect.blurY = deviation(element.blur, down);
    effect.hasShadow = !element.shadow.none;
    if (!effect.hasShadow) return effect;
    effect.shadow = element.shadow;
    effect.shadowBlurX = deviation(element.shadowBlur, across);
    effect.shadowBlurY = deviation(element.shadowBlur, down);
    double x = element.shadowX;
    double y = element.shadowY;
    cairo_matrix_transform_distance(&matrix, &x, &y);
    effect.shadowX = static_cast<float>(std::clamp(x, -kFarthestShadow, kFarthestShadow));
    effect.shadowY = static_cast<float>(std::clamp(y, -kFarthestShadow, kFarthestShadow));
    return effect;
  }

  /// Not a measure: it is compared and never drawn, as roundings are.
  static double HashOf(const Effect& effect) {
    double hash = 1;
    for (const float value : {effect.blurX, effect.blurY, effect.shadowBlurX, effect.shadowBlurY,
                              effect.shadowX, effect.shadowY}) {
      hash = hash * 31 + value;
    }
    for (const uint8_t part :
         {effect.shadow.red, effect.shadow.green, effect.shadow.blue, effect.shadow.alpha}) {
      hash = hash * 257 + part;
    }
    return hash;
  }

  void AddClipped(Element& group, Around around) {
    const Extents extents = Extents::Of({0, 0, group.width, group.height}, around.matrix);
    around.clip.box = Intersection(around.clip.box, extents.Covered());
    // Not a measure, only different for different corners: it is compared and never drawn.
    around.clip.rounding = around.clip.rounding * 31 + group.radius;
    // Nothing of the group is on the plane.
    if (around.clip.box.width == 0 || IsTooLarge(group, extents)) return;
    const size_t begin = Push(DisplayItem::Kind::kPushClip);
    DisplayItem& clip = list_.items[begin];
    clip.element = &group;
    clip.matrix = around.matrix;
    AddChildren(group, around);
    Pop(begin, DisplayItem::Kind::kPopClip);
  }

  void AddElement(Element& element, const Around& around) {
    const Extents extents = Extents::Of(ContentBox(element), around.matrix);
    const Rectangle whole = extents.Pixels();
    const Rectangle painted = Intersection(around.clip.box, whole);
    if (painted.width == 0 || IsTooLarge(element, extents)) return;
    Rectangle bounds = painted;
    if (around.isSpread) {
      bounds = {painted.x - around.spread[0], painted.y - around.spread[1],
                painted.width + around.spread[0] + around.spread[2],
                painted.height + around.spread[1] + around.spread[3]};
      bounds = Intersection(around.seen, bounds);
      if (bounds.width == 0 && !around.isKept) return;
    }
    DisplayItem item;
    item.element = &element;
    item.matrix = around.matrix;
    item.opacity = around.opacity;
    item.bounds = bounds;
    item.source = painted;
    item.isCut = !SameRectangle(painted, whole);
    item.handle = element.handle;
    item.revision = element.revision;
    item.seenOpacity = around.seenOpacity;
    item.clip = around.clip;
    list_.items.push_back(item);
  }

  Box ContentBox(const Element& element) {
    if (element.kind == ElementKind::kText) return texts_.LayOut(element).ink;
    if (IsFigure(element.kind)) return FigureBox(element);
    return {0, 0, element.width, element.height};
  }

  bool IsTooLarge(const Element& element, const Extents& extents) {
    // Written so that what is no number at all is too large as well.
    if (extents.Side() <= kLargestSeen) return false;
    list_.refused.emplace_back(&element, "it would be more than " + ShowNumber(kLargestSeen) +
                                             " pixels wide or high; expected less, see scale");
    return true;
  }

  size_t Push(DisplayItem::Kind kind) {
    DisplayItem item;
    item.kind = kind;
    list_.items.push_back(item);
    return list_.items.size() - 1;
  }

  /// Takes the push away again when nothing has come after it.
  bool Pop(size_t begin, DisplayItem::Kind kind) {
    PLEXION_CHECK(begin < list_.items.size() && list_.items[begin].end == 0,
                  "what is popped was pushed, once");
    if (begin + 1 == list_.items.size()) {
      list_.items.pop_back();
      return false;
    }
    Rectangle bounds = {0, 0, 0, 0};
    for (size_t i = begin + 1; i < list_.items.size(); ++i) {
      const DisplayItem& item = list_.items[i];
      bounds = Union(bounds, item.bounds);
      // What is pushed inside knows its bounds already.
      if (item.end != 0) i = item.end;
    }
    list_.items[begin].bounds = bounds;
    list_.items[begin].end = list_.items.size();
    DisplayItem item;
    item.kind = kind;
    list_.items.push_back(item);
    return true;
  }

  size_t PushLayer() {
    ++layers_;
    return Push(DisplayItem::Kind::kPushLayer);
  }

  void PopLayer(size_t begin, double opacity, cairo_operator_t merge = CAIRO_OPERATOR_OVER) {
    PLEXION_CHECK(layers_ > 0, "as many layers are popped as were pushed");
    --layers_;
    if (!Pop(begin, DisplayItem::Kind::kPopLayer)) return;
    list_.items.back().opacity = opacity;
    list_.items.back().merge = merge;
  }

  Stage& stage_;
  TextLayouts& texts_;
  const StageFit& fit_;
  const KeptGroups& kept_;
  Rectangle plane_;
  size_t mostLayers_;
  size_t layers_ = 0;
  size_t effects_ = 0;
  size_t effectsAround_ = 0;
  /// Of its own: an element keeps its shadow, whatever moves.
  size_t keptGroups_ = 0;
  DisplayList list_;
};

}  // namespace

DisplayList BuildDisplayList(Stage& stage, TextLayouts& texts, const StageFit& fit,
                             qx::plexion::Dims dims, const KeptGroups& kept) {
  return Builder(stage, texts, fit, dims, kept).Build();
}

}  // namespace plexion_host::player::application
