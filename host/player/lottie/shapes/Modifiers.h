#ifndef HOST_PLAYER_LOTTIE_SHAPES_MODIFIERS_H_
#define HOST_PLAYER_LOTTIE_SHAPES_MODIFIERS_H_

#include <vector>

#include "host/player/lottie/timeline/Outline.h"

/// What changes contours before they are filled or stroked. Each operation reads `from` and appends
/// to `to`, another list; where the document is silent they do what the players of the format do.

namespace plexion_host::movie {

/// The length of each curve of each contour, one after the other, closing ones included.
struct OutlineLengths {
  std::vector<float> curves;
  double total = 0;
};
void Measure(const OutlineList& list, OutlineLengths& lengths);

/// The part of a trim path that stays: both ends as shares of the whole, the second not before the
/// first; a part beyond 1 goes on at the beginning.
struct TrimRange {
  double start = 0;
  double end = 1;
  bool All() const { return (start == 0 && end == 1); }
  bool Nothing() const { return start == end; }
};
/// From what a document says: percents and degrees.
TrimRange MakeTrimRange(double startPercent, double endPercent, double offsetDegrees);

/// Keeps a range of all contours of a list, which count as one line.
void Trim(const OutlineList& from, const OutlineLengths& lengths, const TrimRange& range,
          OutlineList& to);
/// What a range of a line means for a piece of it, as shares of the piece; up to two parts.
struct TrimParts {
  TrimRange parts[2];
  int count = 0;
};
TrimParts TrimPiece(const TrimRange& range, double pieceStart, double pieceLength,
                    double lineLength);

void RoundCorners(const OutlineList& from, double radius, OutlineList& to);
void Pucker(const OutlineList& from, double percent, OutlineList& to);
void ZigZag(const OutlineList& from, double size, double ridges, bool smooth, OutlineList& to);
void Twist(const OutlineList& from, double degrees, double centreX, double centreY,
           OutlineList& to);

struct OffsetPath {
  double amount = 0;
  int join = 1;  ///< 1 miter, 2 round, 3 bevel
  double miterLimit = 4;
};
void Offset(const OutlineList& from, const OffsetPath& offset, OutlineList& to);

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_SHAPES_MODIFIERS_H_
