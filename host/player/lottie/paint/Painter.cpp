// Draws a display list: shapes and pictures at once, groups by way of surfaces of their own.
#include "host/player/lottie/paint/Painter.h"

#include <math.h>

#include <algorithm>
#include <utility>

#include "host/player/lottie/compositing/Composite.h"
#include "host/player/lottie/paint/Images.h"
#include "host/player/lottie/paint/LayerEffects.h"

namespace plexion_host::movie {

namespace {

constexpr size_t kItemsBetweenQuestions = 64;

Matrix Moved(const Matrix& matrix, int left, int top) {
  Matrix moved = matrix;
  moved.e -= left;
  moved.f -= top;
  return moved;
}

IntRect Moved(const IntRect& rect, int left, int top) {
  return {rect.left - left, rect.top - top, rect.right - left, rect.bottom - top};
}

Paint PaintOf(const DrawItem& item, const Matrix& matrix) {
  const ShapeOp& op = *item.op;
  Paint paint;
  paint.opacity = item.opacity;
  if (!op.gradient) {
    paint.colour = op.colour;
    return paint;
  }
  const bool radial = op.style != nullptr && op.style->radial;
  paint.kind = radial ? Paint::kRadial : Paint::kLinear;
  paint.start = {op.x1, op.y1};
  paint.end = {op.x2, op.y2};
  paint.focus = {op.focalX, op.focalY};
  paint.radius = hypotf(op.x2 - op.x1, op.y2 - op.y1);
  paint.stops = op.stops.data();
  paint.stopCount = static_cast<int>(op.stops.size());
  paint.matrix = matrix;
  return paint;
}

MaskMode ModeOf(Mask::Mode mode) {
  switch (mode) {
    case Mask::Mode::kSubtract:
      return MaskMode::kSubtract;
    case Mask::Mode::kIntersect:
      return MaskMode::kIntersect;
    case Mask::Mode::kLighten:
      return MaskMode::kLighten;
    case Mask::Mode::kDarken:
      return MaskMode::kDarken;
    case Mask::Mode::kDifference:
      return MaskMode::kDifference;
    default:
      return MaskMode::kAdd;
  }
}

}  // namespace

bool Painter::Paint(const DisplayList& list, size_t from, size_t to, const Surface& target,
                    const IntRect& clip, const std::function<bool()>& stopped) {
  stopped_ = &stopped;
  stop_ = false;
  PaintItems(list, from, to, {target, 0, 0}, clip.Cut(target.Bounds()));
  stopped_ = nullptr;
  return !stop_;
}

void Painter::PaintItems(const DisplayList& list, size_t from, size_t to, const Canvas& canvas,
                         const IntRect& clip) {
  for (size_t i = from; i < to && !stop_; ++i) {
    const DrawItem& item = list[i];
    const IntRect here = item.bounds.Cut(clip);
    const bool group = item.kind == DrawItem::Kind::kGroup;
    if (!here.IsEmpty()) {
      if (++painted_ % kItemsBetweenQuestions == 0) stop_ = (*stopped_)();
      if (item.kind == DrawItem::Kind::kShape) {
        PaintShape(item, canvas, here);
      } else if (item.kind == DrawItem::Kind::kImage) {
        const IntRect inside = Moved(here, canvas.left, canvas.top);
        raster_.Draw(canvas.surface, item.image->image, Moved(item.matrix, canvas.left, canvas.top),
                     item.opacity, &inside);
      } else if (group) {
        PaintGroup(list, item, i, canvas, here);
      }
    }
    if (group) i = item.end;
  }
}

void Painter::PaintShape(const DrawItem& item, const Canvas& canvas, const IntRect& clip) {
  const Matrix matrix = Moved(item.matrix, canvas.left, canvas.top);
  const IntRect inside = Moved(clip, canvas.left, canvas.top);
  const movie::Paint paint = PaintOf(item, matrix);
  if (const KeptCover* cover = CoverOfResting(item, clip)) {
    raster_.Fill(canvas.surface, *cover, -canvas.left, -canvas.top, paint, inside);
    return;
  }
  FillRule rule;
  const Path& outline = OutlineOf(item, rule);
  raster_.Fill(canvas.surface, outline, matrix, rule, paint, &inside);
}

/// Null when nothing is kept of the shape: it moves, or is too simple to be worth it.
const KeptCover* Painter::CoverOfResting(const DrawItem& item, const IntRect& clip) {
  constexpr size_t kSimple = 8;
  const ShapeOp& op = *item.op;
  if (op.outline == 0) return nullptr;
  if (op.kind == ShapeOp::Kind::kFill && op.path.points.size() <= kSimple) return nullptr;
  LookSum look;
  look.Add(op.outline);
  look.Add(item.matrix);
  look.Add(item.bounds);
  bool rests = false;
  const KeptCover* cover = covers_.Find(item.key, look.Value(), rests);
  // Where little of it is to be drawn, finding all of it would cost more than it saves.
  if (cover != nullptr || !rests || AreaOf(clip) * 2 < AreaOf(item.bounds)) return cover;
  FillRule rule;
  const Path& outline = OutlineOf(item, rule);
  recorder_.Begin(CoverCache::kMostForShape);
  raster_.Record(outline, item.matrix, rule, item.bounds, recorder_);
  return covers_.Keep(item.key, recorder_);
}

/// The path that is filled, which for a stroke is the line around it.
const Path& Painter::OutlineOf(const DrawItem& item, FillRule& rule) {
  const ShapeOp& op = *item.op;
  rule = FillRule::kNonZero;
  if (op.kind != ShapeOp::Kind::kStroke) {
    if (op.style != nullptr && op.style->evenOdd) rule = FillRule::kEvenOdd;
    return op.path;
  }
  StrokeStyle style;
  style.width = op.width;
  const uint8_t cap = op.style != nullptr ? op.style->cap : 2;
  const uint8_t join = op.style != nullptr ? op.style->join : 2;
  style.cap = cap == 1 ? LineCap::kButt : cap == 3 ? LineCap::kSquare : LineCap::kRound;
  style.join = join == 1 ? LineJoin::kMiter : join == 3 ? LineJoin::kBevel : LineJoin::kRound;
  if (op.style != nullptr) style.miterLimit = op.style->miterLimit;
  style.dashes = op.dashes.data();
  style.dashCount = static_cast<int>(op.dashes.size());
  style.dashOffset = op.dashOffset;
  stroker_.Stroke(op.path, style, item.matrix.MaxScale(), outline_);
  return outline_;
}

void Painter::PaintGroup(const DisplayList& list, const DrawItem& group, size_t at,
                         const Canvas& canvas, const IntRect& clip) {
  const size_t contentEnd = group.matteAt != 0 ? group.matteAt : group.end;
  // Only a box with straight edges to cut by: no pixels of its own are needed.
  const bool aligned =
      (group.matrix.b == 0 && group.matrix.c == 0) || (group.matrix.a == 0 && group.matrix.d == 0);
  if (group.opacity >= 1 && group.blend == 0 && group.matteAt == 0 && !group.isolated &&
      group.masks == nullptr && group.effects == nullptr && group.styles == nullptr &&
      (!group.clips || aligned)) {
    PaintItems(list, at + 1, contentEnd, canvas, clip);
    return;
  }
  if (group.styles != nullptr) return PaintStyled(list, at, canvas, clip);
  // Pixels nearby count for what a blur makes of those that are wanted.
  const int reach = group.effects != nullptr ? ReachOf(*group.effects, group.matrix) : 0;
  IntRect needed = clip;
  if (reach > 0) needed = Grown(clip, reach).Cut(Grown(group.bounds, reach));
  const SurfacePool::Lease lease = pool_.TakeSurface(needed.Width(), needed.Height());
  const Canvas own = {lease.surface, needed.left, needed.top};
  PaintItems(list, at + 1, contentEnd, own, needed);
  const IntRect all = own.surface.Bounds();
  if (group.effects != nullptr) {
    RunEffects(*group.effects, group.matrix, blur_, pool_, own.surface, all);
  }
  if (group.clips && !aligned) ClipBox(group, own, all);
  if (group.masks != nullptr) CoverMasks(group, own, all);
  if (group.matteAt != 0) {
    const SurfacePool::Lease matte = pool_.TakeSurface(needed.Width(), needed.Height());
    PaintItems(list, group.matteAt + 1, group.end, {matte.surface, needed.left, needed.top},
               needed);
    ApplyMatte(own.surface, matte.surface, all, static_cast<MatteMode>(group.matte - 1));
  }
  const IntRect inside = Moved(clip, canvas.left, canvas.top);
  Composite(canvas.surface, own.surface, needed.left - canvas.left, needed.top - canvas.top, inside,
            group.opacity, static_cast<BlendMode>(group.blend));
}

/// A layer with styles. What lies below it meets the picture on its own: each part of it blends with
/// what is there already.
void Painter::PaintStyled(const DisplayList& list, size_t at, const Canvas& canvas,
                          const IntRect& clip) {
  const DrawItem& group = list[at];
  bool rests = false;
  const StyledGroup* styled = styled_.Find(list, at, rests);
  StyledGroup made;
  if (styled == nullptr) {
    if (!made_.empty()) {
      made = std::move(made_.back());
      made_.pop_back();
    }
    // Each part has pixels of the whole group then.
    const size_t bytes = static_cast<size_t>(AreaOf(group.bounds)) * 4 * (group.styles->size() + 1);
    const bool keeps = rests && styled_.HasRoom(bytes);
    MakeStyled(list, at, keeps ? group.bounds : clip, made);
    styled = keeps && !stop_ ? styled_.Keep(group.key, made) : &made;
  }
  const IntRect inside = Moved(clip, canvas.left, canvas.top);
  for (const StyledGroup::Part& part : styled->parts) {
    Composite(canvas.surface, part.pixels.surface, styled->left - canvas.left,
              styled->top - canvas.top, inside, group.opacity, part.blend);
  }
  made.parts.clear();
  if (made.parts.capacity() > 0) made_.push_back(std::move(made));
}

/// `area`: which pixels of the plane are wanted.
void Painter::MakeStyled(const DisplayList& list, size_t at, const IntRect& area,
                         StyledGroup& made) {
  const DrawItem& group = list[at];
  const size_t contentEnd = group.matteAt != 0 ? group.matteAt : group.end;
  IntRect content;
  for (size_t i = at + 1; i < contentEnd; ++i) {
    content = content.Join(list[i].bounds);
    if (list[i].kind == DrawItem::Kind::kGroup) i = list[i].end;
  }
  const int reach = ReachOf(*group.styles, group.matrix);
  const IntRect needed = Grown(area, reach).Cut(Grown(content, reach));
  if (needed.IsEmpty()) return;
  made.left = needed.left;
  made.top = needed.top;
  const int width = needed.Width();
  const int height = needed.Height();
  SurfacePool::Lease own = pool_.TakeSurface(width, height);
  PaintItems(list, at + 1, contentEnd, {own.surface, needed.left, needed.top}, needed);
  SurfacePool::Lease matte;
  const IntRect all = own.surface.Bounds();
  const auto add = [&](SurfacePool::Lease pixels, BlendMode blend) {
    if (matte.surface.pixels != nullptr) {
      ApplyMatte(pixels.surface, matte.surface, all, static_cast<MatteMode>(group.matte - 1));
    }
    made.parts.push_back({std::move(pixels), blend});
  };
  if (group.matteAt != 0) {
    matte = pool_.TakeSurface(width, height);
    PaintItems(list, group.matteAt + 1, group.end, {matte.surface, needed.left, needed.top},
               needed);
  }
  const SurfacePool::Lease shape = pool_.TakeCoverage(width, height);
  OpacityOf(own.surface, shape.coverage);
  SurfacePool::Lease inside;
  bool opaque = false;
  for (const StyleState& state : *group.styles) {
    // Each takes as long as many items do.
    stop_ = stop_ || (*stopped_)();
    if (stop_) break;
    if (IsBelow(state.style->kind)) {
      SurfacePool::Lease pixels = pool_.TakeSurface(width, height);
      if (inside.coverage.values == nullptr) {
        inside = pool_.TakeCoverage(width, height);
        InsideOf(inside.coverage, shape.coverage);
      }
      stylePixels_.Below(state, group.matrix, shape.coverage, inside.coverage, group.blend != 0,
                         pixels.surface);
      add(std::move(pixels), state.blend);
    } else {
      if (!opaque) MakeOpaque(own.surface);
      opaque = true;
      stylePixels_.On(state, group.matrix, shape.coverage, needed.left, needed.top, own.surface);
    }
  }
  if (opaque) ApplyMask(own.surface, shape.coverage, all);
  add(std::move(own), static_cast<BlendMode>(group.blend));
}

void Painter::ClipBox(const DrawItem& group, const Canvas& canvas, const IntRect& rect) {
  scratch_.Clear();
  scratch_.AddRect({0, 0, group.width, group.height});
  const SurfacePool::Lease cover = pool_.TakeCoverage(canvas.surface.width, canvas.surface.height);
  raster_.Cover(cover.coverage, scratch_, Moved(group.matrix, canvas.left, canvas.top),
                FillRule::kNonZero, &rect);
  ApplyMask(canvas.surface, cover.coverage, rect);
}

void Painter::CoverMasks(const DrawItem& group, const Canvas& canvas, const IntRect& rect) {
  const Matrix matrix = Moved(group.matrix, canvas.left, canvas.top);
  const int width = canvas.surface.width;
  const int height = canvas.surface.height;
  const SurfacePool::Lease sum = pool_.TakeCoverage(width, height);
  SurfacePool::Lease one;
  bool first = true;
  for (const MaskValue& value : *group.masks) {
    if (value.mask->mode == Mask::Mode::kNone) continue;
    const MaskMode mode = ModeOf(value.mask->mode);
    // The first one, whole and as it is, needs nothing to be put together with.
    const bool alone =
        first && mode != MaskMode::kSubtract && value.opacity >= 1 && !value.mask->inverted;
    if (!alone && one.coverage.width == 0) one = pool_.TakeCoverage(width, height);
    const Coverage& covered = alone ? sum.coverage : one.coverage;
    if (first && !alone) sum.coverage.Clear(rect, MaskStart(mode));
    first = false;
    if (value.expansion != 0) {
      const SurfacePool::Lease spare = pool_.TakeCoverage(width, height);
      CoverExpanded(raster_, stroker_, scratch_, covered, spare.coverage, value.path, matrix,
                    FillRule::kNonZero, value.expansion, &rect);
    } else {
      raster_.Cover(covered, value.path, matrix, FillRule::kNonZero, &rect);
    }
    if (value.featherX > 0 || value.featherY > 0) {
      // The soft edge is as wide as the feather: some two deviations to either side.
      constexpr float kSigma = 0.25f;
      const auto scaleX = static_cast<float>(hypot(matrix.a, matrix.b));
      const auto scaleY = static_cast<float>(hypot(matrix.c, matrix.d));
      blur_.Run(covered, rect, value.featherX * scaleX * kSigma, value.featherY * scaleY * kSigma,
                Blur::Edge::kRepeat);
    }
    if (!alone) {
      AddMask(sum.coverage, one.coverage, rect, mode, value.opacity, value.mask->inverted);
    }
  }
  if (!first) ApplyMask(canvas.surface, sum.coverage, rect);
}

}  // namespace plexion_host::movie
