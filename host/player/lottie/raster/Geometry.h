#ifndef HOST_PLAYER_LOTTIE_RASTER_GEOMETRY_H_
#define HOST_PLAYER_LOTTIE_RASTER_GEOMETRY_H_

#include <algorithm>
#include <cmath>

/// Points, rectangles and matrices of the raster. x grows to the right, y downwards; a pixel is the
/// square from its whole coordinates to the next ones. Any number may be huge or not finite: what is
/// drawn with such numbers is cut to the target or left out.

namespace plexion_host::movie {

struct Point {
  float x = 0;
  float y = 0;
};

/// Empty unless left < right and top < bottom.
struct Rect {
  float left = 0;
  float top = 0;
  float right = 0;
  float bottom = 0;
  bool IsEmpty() const { return !(left < right && top < bottom); }
};

/// Whole pixels; right and bottom are not part of it.
struct IntRect {
  int left = 0;
  int top = 0;
  int right = 0;
  int bottom = 0;
  int Width() const { return right - left; }
  int Height() const { return bottom - top; }
  bool IsEmpty() const { return left >= right || top >= bottom; }
  IntRect Cut(const IntRect& other) const {
    return {std::max(left, other.left), std::max(top, other.top), std::min(right, other.right),
            std::min(bottom, other.bottom)};
  }
  /// The smallest that has both; an empty one adds nothing.
  IntRect Join(const IntRect& other) const {
    if (other.IsEmpty()) return *this;
    if (IsEmpty()) return other;
    return {std::min(left, other.left), std::min(top, other.top), std::max(right, other.right),
            std::max(bottom, other.bottom)};
  }
};

/// The pixels that `rect` touches. What lies beyond 2^24 is cut off, and an empty rectangle, or one
/// with a number that is none, gives an empty one.
inline IntRect PixelsOf(const Rect& rect) {
  if (rect.IsEmpty()) return {};
  const auto whole = [](float value) {
    return static_cast<int>(std::clamp(value, -16777216.0f, 16777216.0f));
  };
  return {whole(std::floor(rect.left)), whole(std::floor(rect.top)), whole(std::ceil(rect.right)),
          whole(std::ceil(rect.bottom))};
}

/// x' = a x + c y + e, y' = b x + d y + f.
struct Matrix {
  double a = 1;
  double b = 0;
  double c = 0;
  double d = 1;
  double e = 0;
  double f = 0;

  Point Map(Point p) const {
    return {static_cast<float>(a * p.x + c * p.y + e), static_cast<float>(b * p.x + d * p.y + f)};
  }
  double Determinant() const { return a * d - b * c; }
  bool IsFinite() const { return std::isfinite(a + b + c + d + e + f); }
  bool IsIdentity() const { return a == 1 && b == 0 && c == 0 && d == 1 && e == 0 && f == 0; }

  /// By how much lengths grow at most.
  double MaxScale() const {
    const double p = a * a + b * b + c * c + d * d;
    const double q = Determinant();
    return std::sqrt((p + std::sqrt(std::max(p * p - 4 * q * q, 0.0))) / 2);
  }

  /// Returns  false, with `inverse` untouched, when there is none.
  bool Invert(Matrix& inverse) const {
    const double scale = 1 / Determinant();
    const Matrix result{d * scale,
                        -b * scale,
                        -c * scale,
                        a * scale,
                        (c * f - d * e) * scale,
                        (b * e - a * f) * scale};
    if (!std::isfinite(scale) || !result.IsFinite()) return false;
    inverse = result;
    return true;
  }

  /// The box around the image of `rect`.
  Rect Map(const Rect& rect) const {
    const Point p[4] = {Map(Point{rect.left, rect.top}), Map(Point{rect.right, rect.top}),
                        Map(Point{rect.left, rect.bottom}), Map(Point{rect.right, rect.bottom})};
    Rect box{p[0].x, p[0].y, p[0].x, p[0].y};
    for (const Point& corner : p) {
      box.left = std::min(box.left, corner.x);
      box.top = std::min(box.top, corner.y);
      box.right = std::max(box.right, corner.x);
      box.bottom = std::max(box.bottom, corner.y);
    }
    return box;
  }
};

/// What maps by `inner` first and by `outer` then.
inline Matrix operator*(const Matrix& outer, const Matrix& inner) {
  return {outer.a * inner.a + outer.c * inner.b,
          outer.b * inner.a + outer.d * inner.b,
          outer.a * inner.c + outer.c * inner.d,
          outer.b * inner.c + outer.d * inner.d,
          outer.a * inner.e + outer.c * inner.f + outer.e,
          outer.b * inner.e + outer.d * inner.f + outer.f};
}

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_RASTER_GEOMETRY_H_
