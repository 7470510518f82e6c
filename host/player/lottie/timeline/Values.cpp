// Between two keys.
#include "host/player/lottie/timeline/Values.h"

#include <math.h>
#include <string.h>

#include <algorithm>

#include "host/base/Check.h"
#include "host/player/lottie/timeline/Angles.h"

namespace plexion_host::movie {

namespace {

// A Bezier curve from 0 to 1: its ends are given, its handles' coordinates are what is passed.
double Cubic(double first, double second, double t) {
  const double u = 1 - t;
  return 3 * u * u * t * first + 3 * u * t * t * second + t * t * t;
}

/// The first that ends after `time`; null behind the last.
template <typename AnySegment>
const AnySegment* SegmentAt(const Span<AnySegment>& segments, double time) {
  const AnySegment* found =
      std::upper_bound(segments.begin(), segments.end(), time,
                       [](double at, const AnySegment& segment) { return at < segment.to; });
  return found == segments.end() ? nullptr : found;
}

struct Quaternion {
  double x, y, z, w;
};

// Rotations about z, y and x in this order, as orientations are written; half of each angle, as
// quaternions want.
Quaternion FromAngles(const float* degrees) {
  const double c1 = cos(degrees[0] * kDegrees / 2), s1 = sin(degrees[0] * kDegrees / 2);
  const double c2 = cos(degrees[1] * kDegrees / 2), s2 = sin(degrees[1] * kDegrees / 2);
  const double c3 = cos(degrees[2] * kDegrees / 2), s3 = sin(degrees[2] * kDegrees / 2);
  return {s1 * s2 * c3 + c1 * c2 * s3, s1 * c2 * c3 + c1 * s2 * s3, c1 * s2 * c3 - s1 * c2 * s3,
          c1 * c2 * c3 - s1 * s2 * s3};
}

void ToAngles(const Quaternion& q, float* degrees) {
  degrees[0] = static_cast<float>(
      atan2(2 * q.y * q.w - 2 * q.x * q.z, 1 - 2 * q.y * q.y - 2 * q.z * q.z) / kDegrees);
  degrees[1] =
      // Rounding can take a sine beyond 1, and its angle would be no number.
      static_cast<float>(asin(std::clamp(2 * q.x * q.y + 2 * q.z * q.w, -1.0, 1.0)) / kDegrees);
  degrees[2] = static_cast<float>(
      atan2(2 * q.x * q.w - 2 * q.y * q.z, 1 - 2 * q.x * q.x - 2 * q.z * q.z) / kDegrees);
}

/// The short way round from one orientation to another.
void Turn(const float* from, const float* to, double t, float* degrees) {
  const Quaternion a = FromAngles(from);
  Quaternion b = FromAngles(to);
  // The same orientation has two quaternions of opposite signs: the nearer one is the short way.
  double cosine = a.x * b.x + a.y * b.y + a.z * b.z + a.w * b.w;
  if (cosine < 0) {
    cosine = -cosine;
    b = {-b.x, -b.y, -b.z, -b.w};
  }
  double first = 1 - t;
  double second = t;
  // Nearly the same: the sines would be divided by nothing, and the straight way is as good.
  if (1 - cosine > 0.000001) {
    const double angle = acos(cosine);
    first = sin((1 - t) * angle) / sin(angle);
    second = sin(t * angle) / sin(angle);
  }
  ToAngles({first * a.x + second * b.x, first * a.y + second * b.y, first * a.z + second * b.z,
            first * a.w + second * b.w},
           degrees);
}

/// Where on the curve one is after a share of its length.
void AlongCurve(const Segment& segment, double share, float* values, uint32_t dims) {
  const SpatialCurve& curve = *segment.curve;
  const double total = double{curve.lengths[kCurvePoints - 1]};
  const double distance = total * share;
  double index = 0;
  // An easing that overshoots may ask for a place before the start. There is none, and the end is
  // shown, as authors see it in their players.
  if (distance < 0 || distance >= total) {
    index = kCurvePoints - 1;
  } else if (distance > 0) {
    const float* next =
        std::upper_bound(curve.lengths, curve.lengths + kCurvePoints, static_cast<float>(distance));
    // One of the sampled points, and a share of the step to the next.
    const auto last = static_cast<uint32_t>(std::max<ptrdiff_t>(next - curve.lengths, 1) - 1);
    index = last;
    if (last + 1 < kCurvePoints) {
      const double step = double{curve.lengths[last + 1]} - curve.lengths[last];
      if (step > 0) index += (distance - curve.lengths[last]) / step;
    }
  }
  // Straight between two of the points, as the lengths are.
  const double before = floor(index);
  const double part = index - before;
  for (uint32_t dim = 0; dim < dims; ++dim) {
    const double start = segment.start[dim];
    const double end = segment.end[dim];
    // A third direction without handles goes straight.
    if (dim >= curve.dims) {
      values[dim] = static_cast<float>(start + (end - start) * share);
      continue;
    }
    auto at = [&](double point) {
      const double t = point / (kCurvePoints - 1);
      const double u = 1 - t;
      return u * u * u * start + 3 * u * u * t * (start + curve.out[dim]) +
             3 * u * t * t * (end + curve.in[dim]) + t * t * t * end;
    };
    const double here = at(before);
    values[dim] = static_cast<float>(part > 0 ? here + (at(before + 1) - here) * part : here);
  }
}

}  // namespace

double Eased(const Easing& easing, double progress) {
  if (progress <= 0) return 0;
  if (progress >= 1) return 1;
  // A curve on the diagonal: linear, whatever its handles.
  if (easing.outX == easing.outY && easing.inX == easing.inY) return progress;
  double low = 0;
  double high = 1;
  double t = progress;
  // 32 halvings are enough for a float by themselves.
  for (int i = 0; i < 32; ++i) {
    const double error = Cubic(easing.outX, easing.inX, t) - progress;
    if (fabs(error) < 1e-7) break;
    (error > 0 ? high : low) = t;
    const double u = 1 - t;
    const double slope = 3 * u * u * easing.outX + 6 * u * t * (double{easing.inX} - easing.outX) +
                         3 * t * t * (1 - double{easing.inX});
    // Newton where the curve is steep enough, else half of what is left: it always comes to an end.
    const double next = slope > 1e-6 ? t - error / slope : -1;
    t = next > low && next < high ? next : (low + high) / 2;
  }
  return Cubic(easing.outY, easing.inY, t);
}

void ValueAt(const Property& property, double time, float* values, Constancy& constancy) {
  const size_t bytes = property.dims * sizeof(float);
  if (property.segments.empty()) {
    memcpy(values, property.value, bytes);
    return;
  }
  const Segment* segment = SegmentAt(property.segments, time);
  // Behind the last key, for ever.
  if (segment == nullptr) {
    constancy.Meet(property.segments[property.segments.count - 1].to,
                   std::numeric_limits<double>::infinity());
    memcpy(values, property.value, bytes);
    return;
  }
  if (time < segment->from) {
    constancy.Meet(-std::numeric_limits<double>::infinity(), segment->from);
    memcpy(values, segment->start, bytes);
    return;
  }
  const bool still = segment->curve == nullptr && memcmp(segment->start, segment->end, bytes) == 0;
  if (segment->hold || still) {
    constancy.Meet(segment->from, segment->to);
    memcpy(values, segment->start, bytes);
    return;
  }
  // It moves, so it holds for this moment only.
  constancy.Meet(time, time);
  const double progress = (time - segment->from) / (segment->to - segment->from);
  // Orientations turn evenly; easings are for numbers.
  if (property.turns && property.dims >= 3) {
    Turn(segment->start, segment->end, progress, values);
    return;
  }
  double share = progress;
  if (segment->easing.count > 0) share = Eased(segment->easing[0], progress);
  if (segment->curve != nullptr) {
    AlongCurve(*segment, share, values, property.dims);
    return;
  }
  for (uint32_t dim = 0; dim < property.dims; ++dim) {
    if (dim > 0 && segment->easing.count > 1) share = Eased(segment->easing[dim], progress);
    values[dim] = static_cast<float>(segment->start[dim] +
                                     (double{segment->end[dim]} - segment->start[dim]) * share);
  }
}

void PathAt(const PathProperty& property, double time, Outline& outline, Constancy& constancy) {
  // A vertex is the six numbers of the document, in their order.
  static_assert(sizeof(Vertex) == 6 * sizeof(float), "copied as they are");
  auto copy = [&outline](const PathData& path) {
    outline.vertices.resize(path.count);
    outline.closed = path.closed;
    if (path.count > 0)
      memcpy(static_cast<void*>(outline.vertices.data()), path.points, path.count * sizeof(Vertex));
  };
  if (property.segments.empty()) return copy(property.value);
  const PathSegment* segment = SegmentAt(property.segments, time);
  if (segment == nullptr) {
    constancy.Meet(property.segments[property.segments.count - 1].to,
                   std::numeric_limits<double>::infinity());
    return copy(property.value);
  }
  if (time < segment->from) {
    constancy.Meet(-std::numeric_limits<double>::infinity(), segment->from);
    return copy(segment->start);
  }
  if (segment->hold) {
    constancy.Meet(segment->from, segment->to);
    return copy(segment->start);
  }
  // Paths with another number of vertices have no way in between but for those that both have.
  const uint32_t count = std::min(segment->start.count, segment->end.count);
  const float* from = segment->start.points;
  const float* to = segment->end.points;
  outline.vertices.resize(count);
  outline.closed = segment->start.closed;
  if (count == 0 || memcmp(from, to, count * sizeof(Vertex)) == 0) {
    constancy.Meet(segment->from, segment->to);
    if (count > 0)
      memcpy(static_cast<void*>(outline.vertices.data()), from, count * sizeof(Vertex));
    return;
  }
  constancy.Meet(time, time);
  double share = (time - segment->from) / (segment->to - segment->from);
  if (!segment->linear) share = Eased(segment->easing, share);
  auto* numbers = reinterpret_cast<float*>(outline.vertices.data());
  for (uint32_t i = 0; i < count * 6; ++i) {
    numbers[i] = static_cast<float>(from[i] + (double{to[i]} - from[i]) * share);
  }
}

double Moment::Number(const Property* property, double otherwise) const {
  if (property == nullptr) return otherwise;
  float value = static_cast<float>(otherwise);
  Numbers(property, &value, 1);
  return value;
}

void Moment::Numbers(const Property* property, float* values, uint32_t count) const {
  if (property == nullptr) return;
  PLEXION_CHECK(constancy != nullptr, "a moment has somewhere to say how long it holds");
  constexpr uint32_t kFew = 16;
  float some[kFew];
  std::vector<float> many;
  float* all = some;
  // A gradient's numbers: hardly any property has so many, and few of them move.
  if (property->dims > kFew) {
    many.resize(property->dims);
    all = many.data();
  }
  ValueAt(*property, time, all, *constancy);
  if (!property->expression.empty() && scripts != nullptr) {
    scripts->Run(*property, owner, time, all, *constancy);
  }
  for (uint32_t i = 0; i < std::min(count, property->dims); ++i) {
    // An expression may divide by nothing; a place that is no number would take the layer with it.
    values[i] = std::isfinite(all[i]) ? all[i] : 0;
  }
}

void Moment::All(const Property& property, std::vector<float>& values) const {
  PLEXION_CHECK(constancy != nullptr, "a moment has somewhere to say how long it holds");
  values.resize(property.dims);
  ValueAt(property, time, values.data(), *constancy);
  if (!property.expression.empty() && scripts != nullptr) {
    scripts->Run(property, owner, time, values.data(), *constancy);
  }
}

void Moment::Path(const PathProperty& property, Outline& outline) const {
  PLEXION_CHECK(constancy != nullptr, "a moment has somewhere to say how long it holds");
  PathAt(property, time, outline, *constancy);
  if (!property.expression.empty() && scripts != nullptr) {
    scripts->RunPath(property, owner, time, outline, *constancy);
  }
}

}  // namespace plexion_host::movie
