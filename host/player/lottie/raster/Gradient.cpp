// Rows of gradients: t for each pixel, the piece between two stops that it lies in, its colour.

#include "host/player/lottie/raster/Gradient.h"

#include <algorithm>
#include <cmath>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "host/player/lottie/raster/Gradient.cpp"
#include <hwy/foreach_target.h>
// After foreach_target.h, which includes this file once more for each target.
#include <hwy/highway.h>

#include "host/player/lottie/raster/Rows-inl.h"

HWY_BEFORE_NAMESPACE();
namespace plexion_host::movie::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

using Floats = hn::ScalableTag<float>;
using V = hn::Vec<Floats>;

// A few pieces are chosen one after the other; many are looked up.
constexpr int kFewPieces = 6;

HWY_INLINE V Channel(const Gradient::Piece* pieces, int count, int channel, V t) {
  const Floats d;
  V base = hn::Set(d, pieces[0].base[channel]);
  V slope = hn::Set(d, pieces[0].slope[channel]);
  for (int i = 1; i < count; ++i) {
    const auto beyond = hn::Ge(t, hn::Set(d, pieces[i].offset));
    base = hn::IfThenElse(beyond, hn::Set(d, pieces[i].base[channel]), base);
    slope = hn::IfThenElse(beyond, hn::Set(d, pieces[i].slope[channel]), slope);
  }
  return hn::MulAdd(slope, t, base);
}

/// Channels as pixels. A number below 2^22 plus 2^23 ends in its nearest whole number, which costs a
/// fraction of a conversion that minds what does not fit; shifts push the rest of it out.
template <bool kClamp>
HWY_INLINE hn::Vec<hn::RebindToUnsigned<Floats>> Pack(V blue, V green, V red, V alpha,
                                                      bool opaque) {
  const Floats d;
  const hn::RebindToUnsigned<Floats> du;
  const V full = hn::Set(d, 255.0f);
  const V ones = hn::Set(d, 8388608.0f);
  const auto byte = [&](V v) {
    if (kClamp) v = hn::Min(hn::Max(v, hn::Zero(d)), full);
    return hn::BitCast(du, hn::Add(v, ones));
  };
  const auto low = hn::Set(du, 0xffu);
  if (opaque) {
    return hn::Or(hn::Or(hn::Set(du, 0xff000000u), hn::ShiftLeft<16>(byte(red))),
                  hn::Or(hn::ShiftLeft<8>(byte(green)), hn::And(byte(blue), low)));
  }
  const V factor = hn::Mul(alpha, hn::Set(d, 1.0f / 255));
  return hn::Or(
      hn::Or(hn::ShiftLeft<24>(byte(alpha)), hn::ShiftLeft<16>(byte(hn::Mul(red, factor)))),
      hn::Or(hn::ShiftLeft<8>(byte(hn::Mul(green, factor))),
             hn::And(byte(hn::Mul(blue, factor)), low)));
}

template <bool kRadial>
HWY_INLINE void RowBy(const RowOfT& row, const Gradient::Piece* pieces, int count, bool opaque,
                      int n, uint32_t* pixels) {
  const Floats d;
  const hn::RebindToSigned<Floats> di;
  const hn::RebindToUnsigned<Floats> du;
  const int lanes = static_cast<int>(hn::Lanes(d));
  const V first = hn::Set(d, row.first);
  const V last = hn::Set(d, row.last);
  const V wide = hn::Set(d, static_cast<float>(lanes));
  V column = hn::Iota(d, 0);
  for (int i = 0; i < n; i += lanes, column = hn::Add(column, wide)) {
    const V x = hn::MulAdd(hn::Set(d, row.xStep), column, hn::Set(d, row.x));
    V t = x;
    if (kRadial) {
      const V y = hn::MulAdd(hn::Set(d, row.yStep), column, hn::Set(d, row.y));
      const V along = hn::MulAdd(x, hn::Set(d, row.focusX), hn::Mul(y, hn::Set(d, row.focusY)));
      const V square = hn::MulAdd(x, x, hn::Mul(y, y));
      const V root = hn::Sqrt(hn::MulAdd(along, along, hn::Mul(square, hn::Set(d, row.spread))));
      t = hn::Mul(hn::Sub(root, along), hn::Set(d, 1 / row.spread));
    }
    t = hn::Min(hn::Max(t, first), last);
    V channel[4];
    if (count <= kFewPieces) {
      for (int c = 0; c < 4; ++c) {
        channel[c] = c == 3 && opaque ? first : Channel(pieces, count, c, t);
      }
    } else {
      auto index = hn::Zero(di);
      for (int p = 1; p < count; ++p) {
        index = hn::Sub(
            index, hn::BitCast(di, hn::VecFromMask(d, hn::Ge(t, hn::Set(d, pieces[p].offset)))));
      }
      index = hn::Mul(index, hn::Set(di, sizeof(Gradient::Piece) / sizeof(float)));
      for (int c = 0; c < 4; ++c) {
        channel[c] = hn::MulAdd(hn::GatherIndex(d, pieces->slope + c, index), t,
                                hn::GatherIndex(d, pieces->base + c, index));
      }
    }
    hn::StoreU(Pack<true>(channel[0], channel[1], channel[2], channel[3], opaque), du, pixels + i);
  }
}

/// The same for what most gradients are: tame, of few pieces, without a focus of its own.
/// kOneHue: only alpha differs from stop to stop, as in every light that fades out.
template <bool kRadial, bool kOpaque, bool kOneHue, int kCount>
HWY_INLINE void PlainRow(const RowOfT& row, const Gradient::Piece* pieces, int n,
                         uint32_t* pixels) {
  const Floats d;
  const hn::RebindToUnsigned<Floats> du;
  constexpr int kFirst = kOneHue ? 3 : 0;
  constexpr int kEnd = kOpaque ? 3 : 4;
  const int lanes = static_cast<int>(hn::Lanes(d));
  const V first = hn::Set(d, row.first);
  const V last = hn::Set(d, row.last);
  // In registers: a store to the pixels could be one to the row, as far as the compiler knows.
  const V x0 = hn::Set(d, row.x);
  const V y0 = hn::Set(d, row.y);
  const V xStep = hn::Set(d, row.xStep);
  const V yStep = hn::Set(d, row.yStep);
  V base[kCount][4];
  V slope[kCount][4];
  V offset[kCount];
  for (int p = 0; p < kCount; ++p) {
    offset[p] = hn::Set(d, pieces[p].offset);
    for (int c = kFirst; c < kEnd; ++c) {
      base[p][c] = hn::Set(d, pieces[p].base[c]);
      slope[p][c] = hn::Set(d, pieces[p].slope[c]);
    }
  }
  V channel[4];
  for (int c = 0; c < 4; ++c) channel[c] = hn::Set(d, pieces[0].base[c]);
  // Numbered once: a row of numbers goes by way of memory.
  const V wide = hn::Set(d, static_cast<float>(lanes));
  V column = hn::Iota(d, 0);
  for (int i = 0; i < n; i += lanes, column = hn::Add(column, wide)) {
    V t = hn::MulAdd(xStep, column, x0);
    if (kRadial) {
      const V y = hn::MulAdd(yStep, column, y0);
      t = hn::Sqrt(hn::MulAdd(t, t, hn::Mul(y, y)));
    }
    t = hn::Min(hn::Max(t, first), last);
    for (int c = kFirst; c < kEnd; ++c) {
      V from = base[0][c];
      V times = slope[0][c];
      for (int p = 1; p < kCount; ++p) {
        const auto beyond = hn::Ge(t, offset[p]);
        from = hn::IfThenElse(beyond, base[p][c], from);
        times = hn::IfThenElse(beyond, slope[p][c], times);
      }
      channel[c] = hn::MulAdd(times, t, from);
    }
    hn::StoreU(Pack<false>(channel[0], channel[1], channel[2], channel[3], kOpaque), du,
               pixels + i);
  }
}

template <bool kRadial, bool kOpaque, bool kOneHue>
void PlainRowOf(const RowOfT& row, const Gradient::Piece* pieces, int count, int n,
                uint32_t* pixels) {
  switch (count) {
    case 1:
      return PlainRow<kRadial, kOpaque, kOneHue, 1>(row, pieces, n, pixels);
    case 2:
      return PlainRow<kRadial, kOpaque, kOneHue, 2>(row, pieces, n, pixels);
    default:
      return PlainRow<kRadial, kOpaque, kOneHue, 3>(row, pieces, n, pixels);
  }
}

template <bool kRadial>
void AnyRow(const RowOfT& row, const Gradient::Piece* pieces, int count, bool opaque, int n,
            uint32_t* pixels) {
  const bool focused = kRadial && row.spread != 1;
  if (!row.tame || focused || count > 3) {
    RowBy<kRadial>(row, pieces, count, opaque, n, pixels);
  } else if (opaque) {
    PlainRowOf<kRadial, true, false>(row, pieces, count, n, pixels);
  } else if (row.oneHue) {
    PlainRowOf<kRadial, false, true>(row, pieces, count, n, pixels);
  } else {
    PlainRowOf<kRadial, false, false>(row, pieces, count, n, pixels);
  }
}

void LinearRow(const RowOfT& row, const Gradient::Piece* pieces, int count, bool opaque, int n,
               uint32_t* pixels) {
  AnyRow<false>(row, pieces, count, opaque, n, pixels);
}

void RadialRow(const RowOfT& row, const Gradient::Piece* pieces, int count, bool opaque, int n,
               uint32_t* pixels) {
  AnyRow<true>(row, pieces, count, opaque, n, pixels);
}

}  // namespace plexion_host::movie::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace plexion_host::movie {
namespace {

float Unit(float v) { return v > 0 ? std::min(v, 1.0f) : 0; }

/// Blue, green, red, alpha, 0 to 255.
void Channels(const Colour& colour, float opacity, float channels[4]) {
  channels[0] = Unit(colour.blue) * 255;
  channels[1] = Unit(colour.green) * 255;
  channels[2] = Unit(colour.red) * 255;
  channels[3] = Unit(colour.alpha) * Unit(opacity) * 255;
}

Gradient::Piece Constant(float offset, const float colour[4]) {
  return {offset, {colour[0], colour[1], colour[2], colour[3]}, {0, 0, 0, 0}};
}

Gradient::Piece Between(float from, const float a[4], float to, const float b[4]) {
  Gradient::Piece piece{from, {}, {}};
  for (int c = 0; c < 4; ++c) {
    piece.slope[c] = (b[c] - a[c]) / (to - from);
    piece.base[c] = a[c] - piece.slope[c] * from;
  }
  return piece;
}

}  // namespace

HWY_EXPORT(LinearRow);
HWY_EXPORT(RadialRow);

uint32_t PixelOf(const Colour& colour, float opacity) {
  float channels[4];
  Channels(colour, opacity, channels);
  const auto byte = [](float v) { return static_cast<uint32_t>(std::lrint(v)); };
  const float factor = channels[3] / 255;
  return byte(channels[3]) << 24 | byte(channels[2] * factor) << 16 |
         byte(channels[1] * factor) << 8 | byte(channels[0] * factor);
}

Gradient::Result Gradient::Prepare(const Paint& paint) {
  if (paint.kind == Paint::kSolid) {
    oneColour_ = PixelOf(paint.colour, paint.opacity);
    return oneColour_ == 0 ? Result::kNothing : Result::kOneColour;
  }
  Matrix inverse;
  if (paint.stopCount <= 0 || paint.stops == nullptr || !paint.matrix.Invert(inverse)) {
    return Result::kNothing;
  }
  const int count = std::min(paint.stopCount, kMostPieces);
  const Colour& lastColour = paint.stops[count - 1].colour;
  oneColour_ = PixelOf(lastColour, paint.opacity);

  radial_ = paint.kind == Paint::kRadial;
  const double width = double{paint.end.x} - paint.start.x;
  const double height = double{paint.end.y} - paint.start.y;
  const double square = width * width + height * height;
  const double origin[2] = {radial_ ? paint.focus.x : paint.start.x,
                            radial_ ? paint.focus.y : paint.start.y};
  // The rows of a matrix into the unit plane: one along the line, or both by the radius.
  const double reach = radial_ ? paint.radius : square;
  if (count == 1 || !(reach > 0)) {
    return oneColour_ == 0 ? Result::kNothing : Result::kOneColour;
  }
  const double u[2] = {(radial_ ? 1 : width) / reach, radial_ ? 0 : height / reach};
  const double v = 1 / reach;
  xx_ = inverse.a * u[0] + inverse.b * u[1];
  xy_ = inverse.c * u[0] + inverse.d * u[1];
  x0_ = (inverse.e - origin[0]) * u[0] + (inverse.f - origin[1]) * u[1];
  yx_ = inverse.b * v;
  yy_ = inverse.d * v;
  y0_ = (inverse.f - origin[1]) * v;
  if (!std::isfinite(xx_ + xy_ + x0_ + yx_ + yy_ + y0_)) return Result::kNothing;
  if (radial_) {
    // A point lies on the circle of t around the point that far from the focus to the centre:
    // |p - t c| = t, which is spread t^2 + 2 (p c) t - p^2 = 0 with spread = 1 - c^2.
    double x = (double{paint.start.x} - paint.focus.x) / reach;
    double y = (double{paint.start.y} - paint.focus.y) / reach;
    const double distance = std::hypot(x, y);
    if (!std::isfinite(distance)) return Result::kNothing;
    constexpr double kMost = 0.999;
    if (distance > kMost) {
      // The focus moves towards the centre, and what is measured from it with it.
      const double factor = kMost / distance;
      x0_ -= x * (1 - factor);
      y0_ -= y * (1 - factor);
      x *= factor;
      y *= factor;
    }
    focusX_ = static_cast<float>(x);
    focusY_ = static_cast<float>(y);
    spread_ = static_cast<float>(1 - x * x - y * y);
  }

  pieces_.clear();
  opaque_ = true;
  float before[4];
  float previous = 0;
  for (int i = 0; i < count; ++i) {
    float colour[4];
    Channels(paint.stops[i].colour, paint.opacity, colour);
    opaque_ = opaque_ && colour[3] == 255;
    float offset = Unit(paint.stops[i].offset);
    if (i == 0) {
      previous = first_ = offset;
    } else {
      offset = std::max(offset, previous);
      if (offset > previous) {
        pieces_.push_back(Between(previous, before, offset, colour));
      } else if (pieces_.empty()) {
        // A hard edge at the beginning: before it all is of the first colour.
        first_ = -1;
        pieces_.push_back(Constant(-1, before));
      }
      previous = offset;
    }
    std::copy(colour, colour + 4, before);
  }
  last_ = previous;
  // What ends on a slope ends on the last colour. A hard edge at the end has it from there on.
  const float* const slope = pieces_.back().slope;
  const bool endsHard = std::abs(pieces_.back().base[0] + slope[0] * last_ - before[0]) > 0.25f ||
                        std::abs(pieces_.back().base[1] + slope[1] * last_ - before[1]) > 0.25f ||
                        std::abs(pieces_.back().base[2] + slope[2] * last_ - before[2]) > 0.25f ||
                        std::abs(pieces_.back().base[3] + slope[3] * last_ - before[3]) > 0.25f;
  if (endsHard) pieces_.push_back(Constant(last_, before));
  constexpr float kSteep = 1e5f;
  tame_ = std::all_of(pieces_.begin(), pieces_.end(), [](const Piece& piece) {
    return std::all_of(piece.slope, piece.slope + 4, [](float s) { return std::abs(s) < kSteep; });
  });
  const float* const hue = pieces_.front().base;
  oneHue_ = std::all_of(pieces_.begin(), pieces_.end(), [hue](const Piece& piece) {
    return std::equal(hue, hue + 3, piece.base) && piece.slope[0] == 0 && piece.slope[1] == 0 &&
           piece.slope[2] == 0;
  });
  return Result::kRows;
}

void Gradient::Row(int x, int y, int n, uint32_t* pixels) const {
  const double px = x + 0.5;
  const double py = y + 0.5;
  RowOfT row{};
  row.x = static_cast<float>(xx_ * px + xy_ * py + x0_);
  row.xStep = static_cast<float>(xx_);
  row.y = static_cast<float>(yx_ * px + yy_ * py + y0_);
  row.yStep = static_cast<float>(yx_);
  row.focusX = focusX_;
  row.focusY = focusY_;
  row.spread = spread_;
  row.first = first_;
  row.last = last_;
  row.tame = tame_;
  row.oneHue = oneHue_;
  const int count = static_cast<int>(pieces_.size());
  if (radial_) {
    HWY_DYNAMIC_DISPATCH(RadialRow)(row, pieces_.data(), count, opaque_, n, pixels);
  } else if (xx_ == 0) {
    HWY_DYNAMIC_DISPATCH(LinearRow)(row, pieces_.data(), count, opaque_, 1, pixels);
    std::fill(pixels + 1, pixels + n, pixels[0]);
  } else {
    HWY_DYNAMIC_DISPATCH(LinearRow)(row, pieces_.data(), count, opaque_, n, pixels);
  }
}

}  // namespace plexion_host::movie
#endif  // HWY_ONCE
