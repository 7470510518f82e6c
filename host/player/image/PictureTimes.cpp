// Turns the times of frames into ticks of one length.

#include "host/player/image/PictureTimes.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "host/base/Check.h"

namespace plexion_host::player {

namespace {

constexpr uint64_t kShortestUs = 10000;
constexpr uint64_t kInsteadUs = 100000;
constexpr uint64_t kFinestTickUs = 1000;

uint64_t ShownUs(const PictureFrame& frame) {
  // As browsers do: files with such times were made for viewers that could not keep them.
  return frame.durationUs <= kShortestUs ? kInsteadUs : frame.durationUs;
}

}  // namespace

PictureTimes::PictureTimes(const std::vector<PictureFrame>& frames) {
  PLEXION_CHECK(!frames.empty(), "a picture has a frame");
  uint64_t common = 0;
  for (const PictureFrame& frame : frames) common = std::gcd(common, ShownUs(frame));
  // Odd durations have no long tick in common; a millisecond is fine enough for an eye.
  tickUs_ = std::max(common, kFinestTickUs);
  uint64_t endUs = 0;
  for (const PictureFrame& frame : frames) {
    endUs += ShownUs(frame);
    // Rounded from the beginning: what is lost for one frame is not lost again for the next.
    ends_.push_back((endUs + tickUs_ / 2) / tickUs_);
  }
}

double PictureTimes::TicksPerSecond() const { return 1e6 / static_cast<double>(tickUs_); }

size_t PictureTimes::FrameAt(uint64_t tick) const {
  const auto after = std::upper_bound(ends_.begin(), ends_.end(), tick);
  const auto index = static_cast<size_t>(after - ends_.begin());
  PLEXION_CHECK(!ends_.empty(), "there are times to look in");
  return std::min(index, ends_.size() - 1);
}

uint64_t PictureTimes::PassesFor(double seconds) const {
  const double pass = static_cast<double>(TicksOfPass()) / TicksPerSecond();
  // The margin keeps a rounding error from adding a pass.
  return static_cast<uint64_t>(std::max(1.0, std::ceil(seconds / pass - 1e-6)));
}

}  // namespace plexion_host::player
