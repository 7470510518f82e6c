// Text layers: from the document's keys and animators to glyphs.
#include "host/player/lottie/scene/TextLayer.h"

#include <algorithm>
#include <utility>

#include "host/base/Check.h"
#include "host/player/lottie/document/Reader.h"
#include "host/player/lottie/shapes/StyleValues.h"

namespace plexion_host::movie {

namespace {

double NumberOf(const JsonValue& object, const char* name, double otherwise = 0) {
  const JsonValue* value = object.Find(name);
  return value != nullptr ? value->Number(otherwise) : otherwise;
}

std::string TextOf(const JsonValue& object, const char* name) {
  const JsonValue* value = object.Find(name);
  return value != nullptr ? std::string(value->Text()) : std::string();
}

bool ColourOf(const JsonValue* list, TextColour& colour) {
  if (list == nullptr || !list->IsArray() || list->count < 3) return false;
  colour = {list->elements[0].Number(0), list->elements[1].Number(0), list->elements[2].Number(0)};
  return true;
}

// Short names are the format's own. What is missing or of another kind becomes the value that
// editors write when nothing was set.
TextDocument DocumentOf(const JsonValue& value) {
  TextDocument document;
  document.text = TextOf(value, "t");
  document.font = TextOf(value, "f");
  document.size = NumberOf(value, "s");
  document.lineHeight = NumberOf(value, "lh");
  document.baselineShift = NumberOf(value, "ls");
  document.tracking = NumberOf(value, "tr");
  // An enumeration is never made of a number that it does not have.
  document.justify = static_cast<TextJustify>(std::clamp(NumberOf(value, "j"), 0.0, 6.0));
  document.caps = static_cast<uint8_t>(std::clamp(NumberOf(value, "ca"), 0.0, 2.0));
  document.hasFill = ColourOf(value.Find("fc"), document.fill);
  document.hasStroke = ColourOf(value.Find("sc"), document.stroke);
  document.strokeWidth = NumberOf(value, "sw");
  // "Stroke over fill" in the document; the other way round here.
  const JsonValue* over = value.Find("of");
  document.fillOverStroke = over == nullptr || !over->Truthy();
  const JsonValue* size = value.Find("sz");
  if (size != nullptr && size->IsArray() && size->count >= 2) {
    document.boxed = true;
    document.boxWidth = size->elements[0].Number(0);
    document.boxHeight = size->elements[1].Number(0);
    const JsonValue* place = value.Find("ps");
    if (place != nullptr && place->IsArray() && place->count >= 2) {
      document.boxX = place->elements[0].Number(0);
      document.boxY = place->elements[1].Number(0);
    }
  }
  return document;
}

/// A number of an animator and where it goes.
struct AnimatedPart {
  const char* name;
  TextAnimator::Part part;
  uint32_t dims;
};

constexpr AnimatedPart kParts[] = {
    {"a", TextAnimator::kAnchor, 2},       {"p", TextAnimator::kPosition, 2},
    {"s", TextAnimator::kScale, 2},        {"r", TextAnimator::kRotation, 1},
    {"rx", TextAnimator::kRotationX, 1},   {"ry", TextAnimator::kRotationY, 1},
    {"sk", TextAnimator::kSkew, 1},        {"o", TextAnimator::kOpacity, 1},
    {"fc", TextAnimator::kFill, 4},        {"fh", TextAnimator::kHue, 1},
    {"fs", TextAnimator::kSaturation, 1},  {"fb", TextAnimator::kBrightness, 1},
    {"sc", TextAnimator::kStroke, 4},      {"sw", TextAnimator::kStrokeWidth, 1},
    {"t", TextAnimator::kTracking, 1},     {"ls", TextAnimator::kLineSpacing, 2},
    {"fo", TextAnimator::kFillOpacity, 1}, {"so", TextAnimator::kStrokeOpacity, 1},
    {"bl", TextAnimator::kBlur, 2},
};

struct AnimatorModel {
  std::vector<std::pair<TextAnimator::Part, const Property*>> parts;
  const Property* skewAxis = nullptr;
  const Property* start = nullptr;
  const Property* end = nullptr;
  const Property* offset = nullptr;
  const Property* amount = nullptr;
  const Property* easeHigh = nullptr;
  const Property* easeLow = nullptr;
  const Property* smoothness = nullptr;
  TextSelector selector;
};

void SetPart(TextAnimator& to, TextAnimator::Part part, const float* n) {
  to.has |= part;
  switch (part) {
    case TextAnimator::kAnchor:
      to.anchorX = n[0];
      to.anchorY = n[1];
      break;
    case TextAnimator::kPosition:
      to.positionX = n[0];
      to.positionY = n[1];
      break;
    case TextAnimator::kScale:
      to.scaleX = n[0];
      to.scaleY = n[1];
      break;
    case TextAnimator::kRotation:
      to.rotation = n[0];
      break;
    case TextAnimator::kRotationX:
      to.rotationX = n[0];
      break;
    case TextAnimator::kRotationY:
      to.rotationY = n[0];
      break;
    case TextAnimator::kSkew:
      to.skew = n[0];
      break;
    case TextAnimator::kOpacity:
      to.opacity = n[0];
      break;
    case TextAnimator::kFill:
      to.fill = {n[0], n[1], n[2]};
      break;
    case TextAnimator::kHue:
      to.hue = n[0];
      break;
    case TextAnimator::kSaturation:
      to.saturation = n[0];
      break;
    case TextAnimator::kBrightness:
      to.brightness = n[0];
      break;
    case TextAnimator::kStroke:
      to.stroke = {n[0], n[1], n[2]};
      break;
    case TextAnimator::kStrokeWidth:
      to.strokeWidth = n[0];
      break;
    case TextAnimator::kTracking:
      to.tracking = n[0];
      break;
    case TextAnimator::kLineSpacing:
      to.lineSpacingX = n[0];
      to.lineSpacingY = n[1];
      break;
    case TextAnimator::kFillOpacity:
      to.fillOpacity = n[0];
      break;
    case TextAnimator::kStrokeOpacity:
      to.strokeOpacity = n[0];
      break;
    case TextAnimator::kBlur:
      to.blurX = n[0];
      to.blurY = n[1];
      break;
  }
}

// Joined round and with butt ends, as text is stroked everywhere.
const Shape& StrokeOfGlyphs() {
  static const Shape shape = [] {
    Shape made;
    made.kind = ShapeKind::kStroke;
    made.cap = 1;
    made.join = 2;
    return made;
  }();
  return shape;
}

class TextLayerSource final : public TextSource {
 public:
  TextLayerSource(const Layer& layer, std::shared_ptr<TextLayout> layout,
                  qx::plexion::MemoryWatchdog* watchdog)
      : layer_(layer), layout_(std::move(layout)), arena_(watchdog), reader_(arena_, nullptr) {
    ReadDocuments(layer.text->Find("d"));
    // Read once, at load. Expressions and keys are evaluated for each moment, the document is not
    // looked into any more.
    if (const JsonValue* animators = layer.text->Find("a")) {
      for (const JsonValue& value : animators->Elements()) ReadAnimator(value);
    }
    if (const JsonValue* more = layer.text->Find("m")) {
      grouping_ = static_cast<uint8_t>(std::clamp(NumberOf(*more, "g", 1), 1.0, 4.0));
      alignment_ = reader_.Read(more->Find("a"), 2);
    }
    if (const JsonValue* path = layer.text->Find("p")) ReadPath(*path);
  }

  void Evaluate(const Moment& moment) override {
    // The same layout as long as no key, selector or expression moves.
    if (!evaluated_ || !constancy_.Holds(moment.time)) {
      constancy_ = Constancy();
      Moment inside = moment;
      inside.constancy = &constancy_;
      Lay(inside);
      evaluated_ = true;
    }
    moment.constancy->Meet(constancy_.from, constancy_.to);
  }

  const std::vector<ShapeOp>& Ops() const override { return ops_; }
  size_t OpCount() const override { return count_; }
  size_t Bytes() const override {
    size_t bytes = ops_.capacity() * sizeof(ShapeOp) + glyphs_.capacity() * sizeof(PlacedGlyph);
    for (const ShapeOp& op : ops_) bytes += op.Bytes();
    return bytes;
  }

 private:
  /// What expression selectors say while the text is laid out.
  class SelectorScripts final : public ITextSelectorScript {
   public:
    SelectorScripts(const std::vector<std::string_view>& sources, const Moment& moment)
        : sources_(sources), moment_(moment) {
      // What an expression selects may depend on anything: it holds for this moment only.
      if (!sources.empty()) moment.constancy->Meet(moment.time, moment.time);
    }
    void Select(int script, int index, int total, double percent[3]) override {
      if (moment_.scripts == nullptr) return;
      moment_.scripts->RunSelector(sources_[static_cast<size_t>(script)], moment_.owner,
                                   moment_.time, index, total, percent, *moment_.constancy);
    }

   private:
    const std::vector<std::string_view>& sources_;
    const Moment& moment_;
  };

  struct TimedDocument {
    double time;
    TextDocument document;
  };

  void ReadDocuments(const JsonValue* value) {
    if (value == nullptr) return;
    const JsonValue* keys = value->Find("k");
    // Without keys it is one document for all times.
    if (keys == nullptr) keys = value;
    if (!keys->IsArray()) {
      documents_.push_back({0, DocumentOf(*keys)});
      return;
    }
    for (const JsonValue& key : keys->Elements()) {
      const JsonValue* document = key.Find("s");
      if (document != nullptr && document->IsObject()) {
        documents_.push_back({NumberOf(key, "t"), DocumentOf(*document)});
      }
    }
  }

  void ReadAnimator(const JsonValue& value) {
    AnimatorModel model;
    const JsonValue* parts = value.Find("a");
    if (parts != nullptr) {
      for (const AnimatedPart& part : kParts) {
        const JsonValue* number = parts->Find(part.name);
        if (number != nullptr) model.parts.emplace_back(part.part, reader_.Read(number, part.dims));
      }
      model.skewAxis = reader_.Read(parts->Find("sa"), 1);
    }
    TextSelector& selector = model.selector;
    if (const JsonValue* from = value.Find("s")) {
      const JsonValue* script = from->Find("x");
      if (NumberOf(*from, "t") == 1 && script != nullptr && !script->Text().empty()) {
        selector.scripted = true;
        selector.script = static_cast<int>(selectorScripts_.size());
        selectorScripts_.push_back(script->Text());
      }
      model.start = reader_.Read(from->Find("s"), 1);
      model.end = reader_.Read(from->Find("e"), 1);
      model.offset = reader_.Read(from->Find("o"), 1);
      model.amount = reader_.Read(from->Find("a"), 1);
      model.easeHigh = reader_.Read(from->Find("xe"), 1);
      model.easeLow = reader_.Read(from->Find("ne"), 1);
      model.smoothness = reader_.Read(from->Find("sm"), 1);
      selector.inUnits = NumberOf(*from, "r", 1) == 2;
      selector.hasEnd = from->Find("e") != nullptr;
      selector.basis =
          static_cast<TextSelector::Basis>(std::clamp(NumberOf(*from, "b", 1), 1.0, 4.0));
      selector.shape =
          static_cast<TextSelector::Shape>(std::clamp(NumberOf(*from, "sh", 1), 1.0, 6.0));
      selector.shuffled = NumberOf(*from, "rn") == 1;
      // Shuffles of two animators differ, and are the same at every start.
      selector.seed = static_cast<uint32_t>(models_.size() + 1);
    }
    models_.push_back(std::move(model));
  }

  // Text along a mask of the same layer.
  void ReadPath(const JsonValue& value) {
    const JsonValue* mask = value.Find("m");
    if (mask == nullptr || !mask->IsNumber()) return;
    const auto index = static_cast<int>(mask->number);
    if (index < 0 || index >= static_cast<int>(layer_.masks.count)) return;
    pathMask_ = &layer_.masks[static_cast<size_t>(index)];
    firstMargin_ = reader_.Read(value.Find("f"), 1);
    lastMargin_ = reader_.Read(value.Find("l"), 1);
    perpendicular_ = reader_.Read(value.Find("p"), 1);
    forceAlign_ = reader_.Read(value.Find("a"), 1);
    reversed_ = reader_.Read(value.Find("r"), 1);
  }

  const TextDocument* DocumentAt(const Moment& moment) const {
    // The first key counts from the beginning of time; a document holds until the next key, without
    // a way in between.
    const TextDocument* found = documents_.empty() ? nullptr : &documents_[0].document;
    for (size_t i = 1; i < documents_.size(); ++i) {
      if (moment.time < documents_[i].time) {
        moment.constancy->Meet(-kForever, documents_[i].time);
        break;
      }
      moment.constancy->Meet(documents_[i].time, kForever);
      found = &documents_[i].document;
    }
    return found;
  }

  void Lay(const Moment& moment) {
    count_ = 0;
    TextRequest request;
    request.document = DocumentAt(moment);
    if (request.document == nullptr) return;
    // The expression stands beside the keys in the document's own object.
    const JsonValue* source = layer_.text->Find("d");
    if (moment.scripts != nullptr && source->Find("x") != nullptr) {
      scripted_ = *request.document;
      moment.scripts->RunText(*source, moment.owner, moment.time, scripted_.text,
                              *moment.constancy);
      request.document = &scripted_;
    }
    SelectorScripts selectors(selectorScripts_, moment);
    request.script = &selectors;
    animators_.clear();
    for (const AnimatorModel& model : models_) animators_.push_back(AnimatorAt(model, moment));
    request.animators = animators_.data();
    request.animatorCount = static_cast<uint32_t>(animators_.size());
    request.grouping = grouping_;
    float alignment[2] = {0, 0};
    moment.Numbers(alignment_, alignment, 2);
    request.alignmentX = alignment[0];
    request.alignmentY = alignment[1];
    TextPath path;
    if (pathMask_ != nullptr && pathMask_->path != nullptr) {
      moment.Path(*pathMask_->path, outline_);
      for (const Vertex& v : outline_.vertices) {
        // As layouts take it: the point, then its two absolute handles.
        path.points.insert(path.points.end(), {v.x, v.y, v.inX, v.inY, v.outX, v.outY});
      }
      path.closed = outline_.closed;
      path.reversed = moment.Number(reversed_, 0) != 0;
      path.perpendicular = moment.Number(perpendicular_, 1) != 0;
      path.forceAlign = moment.Number(forceAlign_, 0) != 0;
      path.firstMargin = moment.Number(firstMargin_, 0);
      path.lastMargin = moment.Number(lastMargin_, 0);
      request.path = &path;
    }
    layout_->Lay(request, glyphs_);
    for (const PlacedGlyph& glyph : glyphs_) Add(glyph);
  }

  static TextAnimator AnimatorAt(const AnimatorModel& model, const Moment& moment) {
    TextAnimator animator;
    for (const auto& [part, property] : model.parts) {
      float numbers[4] = {0, 0, 0, 0};
      moment.Numbers(property, numbers, 4);
      SetPart(animator, part, numbers);
    }
    animator.skewAxis = moment.Number(model.skewAxis, 0);
    animator.selector = model.selector;
    TextSelector& selector = animator.selector;
    selector.start = moment.Number(model.start, 0);
    selector.end = moment.Number(model.end, 100);
    selector.offset = moment.Number(model.offset, 0);
    selector.amount = moment.Number(model.amount, 100);
    selector.easeHigh = moment.Number(model.easeHigh, 0);
    selector.easeLow = moment.Number(model.easeLow, 0);
    selector.smoothness = moment.Number(model.smoothness, 100);
    return animator;
  }

  void Add(const PlacedGlyph& glyph) {
    if (glyph.outline == nullptr || glyph.outline->verbs.empty()) return;
    // In the order of painting: what comes later lies above.
    if (glyph.fillOverStroke) {
      AddStroke(glyph);
      AddFill(glyph);
    } else {
      AddFill(glyph);
      AddStroke(glyph);
    }
  }

  ShapeOp& NewOp(const PlacedGlyph& glyph, const Matrix& toPath, ShapeOp::Kind kind) {
    if (count_ == ops_.size()) ops_.emplace_back();
    ShapeOp& op = ops_[count_++];
    op.kind = kind;
    op.path.Clear();
    const double* p = glyph.outline->points.data();
    auto at = [&toPath](double x, double y) {
      return toPath.Map(Point{static_cast<float>(x), static_cast<float>(y)});
    };
    for (const GlyphOutline::Verb verb : glyph.outline->verbs) {
      if (verb == GlyphOutline::kClose) {
        op.path.Close();
      } else if (verb == GlyphOutline::kCubic) {
        const Point a = at(p[0], p[1]), b = at(p[2], p[3]), c = at(p[4], p[5]);
        op.path.Cubic(a.x, a.y, b.x, b.y, c.x, c.y);
        p += 6;
      } else {
        const Point a = at(p[0], p[1]);
        if (verb == GlyphOutline::kMove) op.path.Move(a.x, a.y);
        if (verb == GlyphOutline::kLine) op.path.Line(a.x, a.y);
        p += 2;
      }
    }
    const Rect box = op.path.Bounds();
    op.left = box.left;
    op.top = box.top;
    op.right = box.right;
    op.bottom = box.bottom;
    return op;
  }

  static void Finish(ShapeOp& op, const TextColour& colour, double opacity) {
    const float rgb[3] = {static_cast<float>(colour.r), static_cast<float>(colour.g),
                          static_cast<float>(colour.b)};
    op.colour = movie::ColourOf(rgb);
    op.opacity = static_cast<float>(std::clamp(opacity, 0.0, 1.0));
    LookSum look;
    look.Add(op.width);
    for (const Point& point : op.path.points) look.Add(point);
    op.outline = look.Value();
    look.Add(op.colour);
    op.version = look.Value();
  }

  void AddFill(const PlacedGlyph& glyph) {
    if (!glyph.filled) return;
    ShapeOp& op = NewOp(glyph, Matrix(), ShapeOp::Kind::kFill);
    const double* m = glyph.matrix;
    op.matrix = {m[0], m[1], m[2], m[3], m[4], m[5]};
    op.style = nullptr;
    op.width = 0;
    Finish(op, glyph.fill, glyph.opacity * glyph.fillOpacity);
  }

  /// The stroke's width is that before the glyph's own transform, but not before its size.
  void AddStroke(const PlacedGlyph& glyph) {
    if (!glyph.stroked || glyph.strokeWidth <= 0) return;
    const double* m = glyph.matrix;
    const double* s = glyph.strokeMatrix;
    const Matrix outer = {s[0], s[1], s[2], s[3], 0, 0};
    Matrix inverse;
    if (!outer.Invert(inverse)) return;
    ShapeOp& op =
        NewOp(glyph, Then({m[0], m[1], m[2], m[3], m[4], m[5]}, inverse), ShapeOp::Kind::kStroke);
    op.matrix = outer;
    op.style = &StrokeOfGlyphs();
    op.width = static_cast<float>(glyph.strokeWidth);
    Finish(op, glyph.stroke, glyph.opacity * glyph.strokeOpacity);
  }

  const Layer& layer_;
  std::shared_ptr<TextLayout> layout_;
  Arena arena_;
  PropertyReader reader_;
  std::vector<TimedDocument> documents_;
  std::vector<AnimatorModel> models_;
  std::vector<std::string_view> selectorScripts_;
  TextDocument scripted_;
  uint8_t grouping_ = 1;
  const Property* alignment_ = nullptr;
  const Mask* pathMask_ = nullptr;
  const Property* firstMargin_ = nullptr;
  const Property* lastMargin_ = nullptr;
  const Property* perpendicular_ = nullptr;
  const Property* forceAlign_ = nullptr;
  const Property* reversed_ = nullptr;

  Constancy constancy_;
  bool evaluated_ = false;
  std::vector<TextAnimator> animators_;
  std::vector<PlacedGlyph> glyphs_;
  Outline outline_;
  std::vector<ShapeOp> ops_;
  size_t count_ = 0;
};

void AddContour(const PathData& path, GlyphOutline& glyph) {
  if (path.count == 0) return;
  const float* p = path.points;
  glyph.verbs.push_back(GlyphOutline::kMove);
  glyph.points.insert(glyph.points.end(), {p[0], p[1]});
  // The last curve closes the contour; an open one is closed by a straight line, as glyphs always
  // are.
  for (uint32_t i = 1; i <= path.count; ++i) {
    const float* from = p + size_t{6} * (i - 1);
    const float* to = p + size_t{6} * (i % path.count);
    if (i == path.count && !path.closed) break;
    glyph.verbs.push_back(GlyphOutline::kCubic);
    glyph.points.insert(glyph.points.end(), {from[4], from[5], to[2], to[3], to[0], to[1]});
  }
  glyph.verbs.push_back(GlyphOutline::kClose);
}

void AddShapes(Span<Shape> shapes, GlyphOutline& glyph) {
  for (const Shape& shape : shapes) {
    if (shape.kind == ShapeKind::kPath && shape.path != nullptr) {
      AddContour(shape.path->value, glyph);
      // Groups nest; the order does not matter for an outline that is filled as one.
    }
    AddShapes(shape.items, glyph);
  }
}

}  // namespace

std::shared_ptr<TextLayout> MakeTextLayout(const Movie& movie) {
  std::vector<TextFont> fonts;
  // A movie that brings its own glyphs needs no font of the system for them.
  const JsonValue* list = movie.fonts != nullptr ? movie.fonts->Find("list") : nullptr;
  if (list != nullptr) {
    for (const JsonValue& value : list->Elements()) {
      fonts.push_back({TextOf(value, "fName"), TextOf(value, "fFamily"), TextOf(value, "fStyle"),
                       TextOf(value, "fWeight"), NumberOf(value, "ascent")});
    }
  }
  std::vector<TextCharacter> characters;
  if (movie.glyphs != nullptr) {
    for (const JsonValue& value : movie.glyphs->Elements()) {
      TextCharacter character;
      character.text = TextOf(value, "ch");
      character.family = TextOf(value, "fFamily");
      character.style = TextOf(value, "style");
      character.width = NumberOf(value, "w");
      const JsonValue* data = value.Find("data");
      const JsonValue* shapes = data != nullptr ? data->Find("shapes") : nullptr;
      if (shapes != nullptr) {
        // Only until the outline has been copied out of it.
        Arena arena(nullptr);
        Span<Shape> items;
        std::string ignored;
        if (ReadShapes(*shapes, arena, items, ignored)) AddShapes(items, character.outline);
      }
      characters.push_back(std::move(character));
    }
  }
  return std::make_shared<TextLayout>(std::move(fonts), std::move(characters));
}

std::unique_ptr<TextSource> MakeTextSource(const Layer& layer, std::shared_ptr<TextLayout> layout,
                                           qx::plexion::MemoryWatchdog* watchdog) {
  PLEXION_CHECK(layer.text != nullptr && layout != nullptr, "it is a text layer, with a layout");
  return std::make_unique<TextLayerSource>(layer, std::move(layout), watchdog);
}

}  // namespace plexion_host::movie
