// Trim paths: keeps a part of each line.
#include <math.h>

#include <algorithm>

#include "host/base/Check.h"
#include "host/player/lottie/shapes/Curve.h"
#include "host/player/lottie/shapes/Modifiers.h"

namespace plexion_host::movie {

namespace {

size_t CurvesOf(const Outline& outline) {
  const size_t count = outline.vertices.size();
  return outline.closed || count == 0 ? count : count - 1;
}

Curve CurveOf(const Outline& outline, size_t index) {
  return Curve::Of(outline.vertices[index],
                   outline.vertices[(index + 1) % outline.vertices.size()]);
}

/// Adds a curve to the end of a contour; its start is added only where that is new.
void Append(const Curve& curve, bool fresh, Outline& outline) {
  const auto x = [&curve](int i) { return static_cast<float>(curve.points[i].x); };
  const auto y = [&curve](int i) { return static_cast<float>(curve.points[i].y); };
  if (fresh || outline.vertices.empty()) {
    outline.Add(curve.points[0].x, curve.points[0].y);
  }
  outline.vertices.back().outX = x(1);
  outline.vertices.back().outY = y(1);
  outline.vertices.push_back({x(3), y(3), x(2), y(2), x(3), y(3)});
}

/// Keeps what lies between two lengths along all contours; `goOn` continues the last one of `to`.
void Keep(const OutlineList& from, const OutlineLengths& lengths, double start, double end,
          bool goOn, OutlineList& to) {
  PLEXION_CHECK(!goOn || to.Count() > 0, "there is a contour to go on from");
  Outline* piece = goOn ? &to.Last() : &to.Add();
  double done = 0;
  size_t index = 0;
  for (size_t i = 0; i < from.Count() && done <= end; ++i) {
    if (i > 0) piece = &to.Add();
    const Outline& outline = from[i];
    const size_t curves = CurvesOf(outline);
    bool fresh = true;
    bool whole = outline.closed;
    for (size_t j = 0; j < curves; ++j, ++index) {
      PLEXION_CHECK(index < lengths.curves.size(), "the lengths are those of these contours");
      const double length = lengths.curves[index];
      if (done + length < start || done > end) {
        whole = false;
      } else {
        const Curve curve = CurveOf(outline, j);
        if (start <= done && end >= done + length) {
          Append(curve, fresh, *piece);
        } else if (length > 0) {
          const double first = curve.ParameterAt((start - done) / length);
          const double last = curve.ParameterAt((end - done) / length);
          Append(curve.Part(first, last), fresh, *piece);
          whole = false;
        }
        fresh = false;
      }
      done += length;
    }
    piece->closed = whole && !goOn;
    if (!piece->vertices.empty()) {
      Vertex& last = piece->vertices.back();
      last.outX = last.x;
      last.outY = last.y;
    }
  }
}

// Ranges that meet must meet in the same number, whichever way they were reckoned.
double Rounded(double share) { return round(share * 10000) * 0.0001; }

}  // namespace

void Measure(const OutlineList& list, OutlineLengths& lengths) {
  lengths.curves.clear();
  lengths.total = 0;
  for (size_t i = 0; i < list.Count(); ++i) {
    const size_t curves = CurvesOf(list[i]);
    for (size_t j = 0; j < curves; ++j) {
      lengths.curves.push_back(static_cast<float>(CurveOf(list[i], j).Length()));
      lengths.total += lengths.curves.back();
    }
  }
}

TrimRange MakeTrimRange(double startPercent, double endPercent, double offsetDegrees) {
  double turn = fmod(offsetDegrees, 360) / 360;
  if (turn < 0) turn += 1;
  double start = std::clamp(startPercent / 100, 0.0, 1.0) + turn;
  double end = std::clamp(endPercent / 100, 0.0, 1.0) + turn;
  if (start > end) std::swap(start, end);
  return {Rounded(start), Rounded(end)};
}

void Trim(const OutlineList& from, const OutlineLengths& lengths, const TrimRange& range,
          OutlineList& to) {
  if (range.Nothing() || from.Count() == 0) return;
  const double total = lengths.total;
  if (range.end <= 1) return Keep(from, lengths, total * range.start, total * range.end, false, to);
  if (range.start >= 1) {
    return Keep(from, lengths, total * (range.start - 1), total * (range.end - 1), false, to);
  }
  Keep(from, lengths, total * range.start, total, false, to);
  // Round a closed contour the line goes on without an end in it.
  const bool goOn = from[from.Count() - 1].closed;
  Keep(from, lengths, 0, total * (range.end - 1), goOn, to);
}

TrimParts TrimPiece(const TrimRange& range, double pieceStart, double pieceLength,
                    double lineLength) {
  TrimRange parts[2] = {range, {}};
  int count = 1;
  if (range.end > 1 && range.start >= 1) {
    parts[0] = {range.start - 1, range.end - 1};
  } else if (range.end > 1) {
    parts[0] = {range.start, 1};
    parts[1] = {0, range.end - 1};
    count = 2;
  }
  TrimParts result;
  const double pieceEnd = pieceStart + pieceLength;
  for (int i = 0; i < count; ++i) {
    const double start = parts[i].start * lineLength;
    const double end = parts[i].end * lineLength;
    if (end < pieceStart || start > pieceEnd || pieceLength <= 0) continue;
    TrimRange& part = result.parts[result.count++];
    part.start = start <= pieceStart ? 0 : (start - pieceStart) / pieceLength;
    part.end = end >= pieceEnd ? 1 : (end - pieceStart) / pieceLength;
  }
  return result;
}

}  // namespace plexion_host::movie
