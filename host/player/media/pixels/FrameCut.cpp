// Finds the part of a frame that is seen, one side at a time.
#include "host/player/media/pixels/FrameCut.h"

#include <algorithm>
#include <cmath>

#include "host/base/Check.h"

namespace plexion_host::player {

namespace {

/// How far a filter looks beyond the pixel that it makes, at the least.
constexpr int64_t kMargin = 2;

struct Side {
  int64_t from = 0;    ///< in the frame
  int64_t length = 0;  ///< likewise
  int64_t scaled = 0;
  int64_t skip = 0;
};

Side CutSide(int64_t frame, int64_t place, int64_t hidden, int64_t seen) {
  if (hidden == 0 && seen == place) return {0, frame, place, 0};
  const double step = static_cast<double>(frame) / static_cast<double>(place);
  const auto at = [step](int64_t pixel) { return static_cast<double>(pixel) * step; };
  int64_t from = static_cast<int64_t>(std::floor(at(hidden))) - kMargin;
  int64_t to = static_cast<int64_t>(std::ceil(at(hidden + seen))) + kMargin;
  from = std::clamp<int64_t>(from, 0, frame - 1) / 2 * 2;
  to = std::min((to + 1) / 2 * 2, frame);
  int64_t first = std::llround(static_cast<double>(from) / step);
  // An even number is skipped: of two pixels that share their chroma neither goes alone.
  first -= (hidden - first) & 1;
  const int64_t end =
      std::max<int64_t>(std::llround(static_cast<double>(to) / step), hidden + seen);
  return {from, to - from, end - first, hidden - first};
}

}  // namespace

FrameCut FrameCut::Of(const qx::plexion::Dims& frame, const StageFit& place,
                      const qx::plexion::Rect& visible) {
  PLEXION_CHECK(visible.width > 0 && visible.height > 0, "some of the frame is seen");
  const Side across =
      CutSide(frame.width, place.width, int64_t{visible.x} - place.x, visible.width);
  const Side down =
      CutSide(frame.height, place.height, int64_t{visible.y} - place.y, visible.height);
  const auto pixels = [](int64_t value) { return static_cast<uint32_t>(value); };
  return {{pixels(across.from), pixels(down.from), pixels(across.length), pixels(down.length)},
          {pixels(across.scaled), pixels(down.scaled)},
          {pixels(across.skip), pixels(down.skip)},
          {visible.width, visible.height}};
}

}  // namespace plexion_host::player
