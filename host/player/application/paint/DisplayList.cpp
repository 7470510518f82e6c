// Builds the list of what is to be seen, and finds where two such lists differ.
#include "host/player/application/paint/DisplayList.h"

#include <math.h>
#include <stdlib.h>

#include <algorithm>
#include <unordered_map>
#include <unordered_set>

#include "host/base/Check.h"
#include "host/player/application/paint/Figures.h"
#include "host/player/lottie/compositing/Effects.h"

namespace plexion_host::player::application {

namespace {

/// Edges are smoothed over the pixels beside them.
constexpr double kMargin = 1.5;
constexpr size_t kMostLayers = 8;
constexpr size_t kMostKeptGroups = 64;
/// Pixels; more would cost more and look the same.
constexpr double kMostDeviation = 200;
constexpr double kFarthestShadow = 4000;
/// How far beyond the plane a group goes whose picture is moved.
constexpr int kKeptReach = 16384;

using Rectangle = cairo_rectangle_int_t;

Rectangle Intersection(const Rectangle& a, const Rectangle& b) {
  const int left = std::max(a.x, b.x);
  const int top = std::max(a.y, b.y);
  const int right = std::min(a.x + a.width, b.x + b.width);
  const int bottom = std::min(a.y + a.height, b.y + b.height);
  if (right <= left || bottom <= top) return {0, 0, 0, 0};
  return {left, top, right - left, bottom - top};
}

Rectangle Union(const Rectangle& a, const Rectangle& b) {
  if (a.width == 0) return b;
  if (b.width == 0) return a;
  const int left = std::min(a.x, b.x);
  const int top = std::min(a.y, b.y);
  return {left, top, std::max(a.x + a.width, b.x + b.width) - left,
          std::max(a.y + a.height, b.y + b.height) - top};
}

/// A box on the plane, before it is cut to whole pixels of the plane.
struct Extents {
  double left = HUGE_VAL;
  double top = HUGE_VAL;
  double right = -HUGE_VAL;
  double bottom = -HUGE_VAL;

  static Extents Of(const Box& box, const cairo_matrix_t& matrix) {
    Extents extents;
    for (int corner = 0; corner < 4; ++corner) {
      double x = box.x + ((corner & 1) != 0 ? box.width : 0);
      double y = box.y + ((corner & 2) != 0 ? box.height : 0);
      cairo_matrix_transform_point(&matrix, &x, &y);
      extents.left = std::min(extents.left, x);
      extents.right = std::max(extents.right, x);
      extents.top = std::min(extents.top, y);
      extents.bottom = std::max(extents.bottom, y);
    }
    return extents;
  }

  double Side() const { return std::max(right - left, bottom - top); }

  Rectangle Pixels() const { return Grown(kMargin); }
  /// Of a clip, which has no stroke: no pixel beyond these. What a matrix adds by rounding is none.
  Rectangle Covered() const { return Grown(-kRounding); }

  /// Those that lie wholly in it.
  Rectangle Inside() const {
    const int x = Pixel(ceil(left - kRounding));
    const int y = Pixel(ceil(top - kRounding));
    const int width = Pixel(floor(right + kRounding)) - x;
    const int height = Pixel(floor(bottom + kRounding)) - y;
    if (width <= 0 || height <= 0) return {0, 0, 0, 0};
    return {x, y, width, height};
  }

 private:
  static constexpr double kRounding = 1e-6;

  /// What is far outside of any plane must not leave the range of whole numbers.
  static int Pixel(double value) {
    return static_cast<int>(std::clamp(value, -kLargestSeen, kLargestSeen));
  }
  Rectangle Grown(double by) const {
    const int x = Pixel(floor(left - by));
    const int y = Pixel(floor(top - by));
    return {x, y, Pixel(ceil(right + by)) - x, Pixel(ceil(bottom + by)) - y};
  }
};

bool SameMatrix(const cairo_matrix_t& a, const cairo_matrix_t& b) {
  return a.xx == b.xx && a.yx == b.yx && a.xy == b.xy && a.yy == b.yy && a.x0 == b.x0 &&
         a.y0 == b.y0;
}

bool SameRectangle(const Rectangle& a, const Rectangle& b) {
  return a.x == b.x && a.y == b.y && a.width == b.width && a.height == b.height;
}

bool LooksTheSame(const DisplayItem& a, const DisplayItem& b) {
  return a.revision == b.revision && a.seenOpacity == b.seenOpacity &&
         SameRectangle(a.clip.box, b.clip.box) && a.clip.rounding == b.clip.rounding &&
         SameMatrix(a.matrix, b.matrix);
}

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

namespace {

bool IsOpaque(const Colour& colour) { return !colour.none && colour.alpha == 255; }

/// All of the pixels inside of it are its own colour.
bool Covers(const DisplayItem& item, const Rectangle& part) {
  const Element& element = *item.element;
  if (element.kind != ElementKind::kRectangle || element.radius > 0 || item.opacity < 1 ||
      item.seenOpacity < 1 || !IsOpaque(element.fill) ||
      (!element.fillEnd.none && !IsOpaque(element.fillEnd)) || item.matrix.xy != 0 ||
      item.matrix.yx != 0) {
    return false;
  }
  const Rectangle inside = Extents::Of({0, 0, element.width, element.height}, item.matrix).Inside();
  return SameRectangle(Intersection(inside, part), part) &&
         SameRectangle(Intersection(item.bounds, part), part);
}

}  // namespace

std::optional<size_t> FirstSeen(const DisplayList& list, const cairo_rectangle_int_t& part) {
  std::optional<size_t> first;
  // Beside the stage nothing covers the ground, however far it reaches.
  if (!SameRectangle(Intersection(list.stage, part), part)) return first;
  for (size_t i = 0; i < list.items.size(); ++i) {
    const DisplayItem& item = list.items[i];
    // What is clipped, merged or blurred covers less than it says.
    if (item.end != 0) {
      i = item.end;
    } else if (item.kind == DisplayItem::Kind::kElement && Covers(item, part)) {
      first = i;
    }
  }
  return first;
}

void AddDifference(const DisplayList& before, const DisplayList& after, cairo_region_t* region) {
  std::unordered_map<uint32_t, size_t> places;
  for (size_t i = 0; i < before.items.size(); ++i) {
    if (before.items[i].kind == DisplayItem::Kind::kElement) places[before.items[i].handle] = i;
  }
  size_t farthest = 0;
  for (const DisplayItem& now : after.items) {
    if (now.kind != DisplayItem::Kind::kElement) continue;
    const auto found = places.find(now.handle);
    if (found == places.end()) {
      cairo_region_union_rectangle(region, &now.bounds);
      continue;
    }
    const DisplayItem& then = before.items[found->second];
    // Whatever now stands behind an element that it stood before.
    const bool overtaken = found->second < farthest;
    farthest = std::max(farthest, found->second);
    places.erase(found);
    if (!overtaken && LooksTheSame(now, then)) continue;
    cairo_region_union_rectangle(region, &then.bounds);
    cairo_region_union_rectangle(region, &now.bounds);
  }
  // The picture of a group that moved is laid on whole pixels; what stands is painted where it is.
  std::unordered_set<uint32_t> kept;
  for (const DisplayItem& now : after.items) {
    if (now.effect.isKept) kept.insert(now.handle);
  }
  for (const DisplayItem& then : before.items) {
    if (!then.effect.isKept || kept.count(then.handle) != 0) continue;
    cairo_region_union_rectangle(region, &then.bounds);
  }
  for (const auto& gone : places) {
    cairo_region_union_rectangle(region, &before.items[gone.second].bounds);
  }
}

}  // namespace plexion_host::player::application
