#ifndef HOST_PLAYER_LOTTIE_RASTER_ROWS_H_
#define HOST_PLAYER_LOTTIE_RASTER_ROWS_H_

#include <stdint.h>

#include "host/base/Pixels.h"

/// Loops over a row of pixels, in the widest vectors that the processor has. `n` may be 0.
/// Products of two bytes are rounded to the nearest of 255.

namespace plexion_host::movie {

/// A pixel of one area unit per cell that is covered wholly, see ResolveCells.
constexpr int kFullCellBits = 17;

/// Bits say which of a row's cells are not 0, each of a group of so many: one line of the cache.
constexpr int kCellsInGroup = 16;

/// A row of differences of which none was looked at yet. Cells are aligned to their groups.
struct CellRow {
  uint32_t* cells;
  uint64_t* touched;
  int words;    ///< of `touched`
  int columns;  ///< pixels; there are as many whole groups of cells as they need, or more
};

/// Draws a colour over `target` as far as the row is covered, and clears its cells and bits.
void PaintCells(const CellRow& row, bool evenOdd, uint32_t colour, uint32_t* target);
/// Turns `n` differences (a multiple of 16) into how much of each pixel is covered, and clears them.
/// Returns  the sum up to here; `sum` is the one up to the first.
uint32_t ResolveCells(uint32_t* cells, int n, uint32_t sum, bool evenOdd, uint8_t* cover);
/// What ResolveCells writes for a pixel with this sum.
uint8_t CoverOf(uint32_t sum, bool evenOdd);

void FillRow(uint32_t* target, uint32_t colour, int n);
/// Source over target.
void BlendColour(uint32_t* target, uint32_t colour, int n);
void BlendColour(uint32_t* target, uint32_t colour, const uint8_t* cover, int n);
void BlendPixels(uint32_t* target, const uint32_t* source, uint8_t cover, int n);
void BlendPixels(uint32_t* target, const uint32_t* source, const uint8_t* cover, int n);
/// How two planes of cover are put together: what either covers, what the first does without the
/// second, what both do, the larger, the smaller, what differs.
enum class CoverSum : uint8_t { kEither, kWithout, kBoth, kLarger, kSmaller, kDifference };
/// `into` with each byte of `cover`, turned round by `flip` (0 or 255) and then times `alpha`.
void CombineCover(uint8_t* into, const uint8_t* cover, int n, CoverSum how, uint8_t flip,
                  uint8_t alpha);
/// The target times the cover.
void ScaleRow(uint32_t* target, const uint8_t* cover, int n);

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_RASTER_ROWS_H_
