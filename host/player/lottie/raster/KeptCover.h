#ifndef HOST_PLAYER_LOTTIE_RASTER_KEPTCOVER_H_
#define HOST_PLAYER_LOTTIE_RASTER_KEPTCOVER_H_

#include <stddef.h>
#include <stdint.h>

#include <vector>

#include "host/player/lottie/raster/Cells.h"
#include "host/player/lottie/raster/Geometry.h"

namespace plexion_host::movie {

/// Pixels of a row that a path covers: all alike, or each as one of the bytes says.
struct KeptSpan {
  int x, y, n;
  uint32_t at;  ///< of the first byte; with kAlike: how much all are covered, 1 to 255
  static constexpr uint32_t kAlike = 1u << 31;
};

/// What of a plane a path covers, found once by a CoverRecorder. Borrows spans and bytes, which stand
/// row by row from the top.
///
/// Thread   any, as long as nobody writes what it borrows.
struct KeptCover {
  const KeptSpan* spans = nullptr;
  size_t spanCount = 0;
  const uint8_t* bytes = nullptr;

  /// Gives `spans` to a taker as a sweep does, moved by (dx, dy) and cut to `clip`.
  void Replay(int dx, int dy, const IntRect& clip, ISpans& taker) const;
};

/// Writes a sweep's spans down.
///
/// Life     keeps its memory from sweep to sweep. Errors: throws std::bad_alloc. Thread: one.
class CoverRecorder final : public ISpans {
 public:
  /// Forgets everything, and from now on takes at most `mostBytes`.
  void Begin(size_t mostBytes);
  void Flat(int x, int y, int n, uint8_t cover) override;
  void Mixed(int x, int y, int n, const uint8_t* cover) override;

  /// False when it was more than it may take: what was recorded says nothing then.
  bool Whole() const { return whole_; }
  /// Bytes that CopyTo writes.
  size_t Bytes() const { return spans_.size() * sizeof(KeptSpan) + bytes_.size(); }
  /// Copies all into `memory`, which is aligned for KeptSpan, and describes what lies there.
  KeptCover CopyTo(void* memory) const;

 private:
  bool Takes(size_t bytes);

  std::vector<KeptSpan> spans_;
  std::vector<uint8_t> bytes_;
  size_t mostBytes_ = 0;
  bool whole_ = true;
};

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_RASTER_KEPTCOVER_H_
