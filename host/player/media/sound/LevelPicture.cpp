// Draws how loud each channel is.

#include "host/player/media/sound/LevelPicture.h"

#include <algorithm>
#include <cmath>

#include "host/base/Pixels.h"

namespace plexion_host::player {

using qx::plexion::Rect;

namespace {

constexpr uint32_t kBackground = 0x0E1420;
constexpr uint32_t kDark = 0x1C2636;
constexpr uint32_t kGreen = 0x3CC878;
constexpr uint32_t kAmber = 0xF0B43C;
constexpr uint32_t kRed = 0xE85048;
constexpr uint32_t kLine = 0x5AA0F0;

// Lamps a picture, at 25 pictures a second.
constexpr double kFall = 1.2;
constexpr double kPeakFall = 0.35;

void Fill(const DrawTarget& target, const Rect& area, uint32_t colour) {
  const uint32_t right = std::min(area.x + area.width, target.dims.width);
  const uint32_t bottom = std::min(area.y + area.height, target.dims.height);
  for (uint32_t y = area.y; y < bottom; ++y) {
    uint32_t* row = RowAt(target.pixels, target.pitchBytes, y);
    if (area.x < right) std::fill(row + area.x, row + right, kOpaqueBlack | colour);
  }
}

}  // namespace

bool LevelPicture::Update(const SoundLevel& level, double progress) {
  bool changed = channels_ != std::max(1u, level.channels);
  channels_ = std::max(1u, level.channels);
  for (unsigned i = 0; i < channels_; ++i) {
    Channel& channel = channel_[i];
    const double decibels = i < level.channels ? level.decibels[i] : SoundMeter::kSilence;
    const double lamps = (1 - decibels / SoundMeter::kSilence) * kLamps;
    channel.fall = std::max(lamps, channel.fall - kFall);
    channel.peak = std::max(channel.fall, channel.peak - kPeakFall);
    const unsigned lit = static_cast<unsigned>(std::lround(std::max(0.0, channel.fall)));
    const unsigned peakLamp = static_cast<unsigned>(std::lround(std::max(0.0, channel.peak)));
    changed = changed || lit != channel.lit || peakLamp != channel.peakLamp;
    channel.lit = lit;
    channel.peakLamp = peakLamp;
  }
  const bool known = progress >= 0;
  const unsigned step = known ? static_cast<unsigned>(std::min(progress, 1.0) * kProgressSteps) : 0;
  changed = changed || known != hasProgress_ || step != progress_;
  hasProgress_ = known;
  progress_ = step;
  return changed;
}

void LevelPicture::DrawChannel(const DrawTarget& target, const Rect& area,
                               const Channel& channel) const {
  for (unsigned lamp = 0; lamp < kLamps; ++lamp) {
    const uint32_t left = area.x + area.width * lamp / kLamps;
    const uint32_t next = area.x + area.width * (lamp + 1) / kLamps;
    const uint32_t gap = std::max(1u, (next - left) / 5);
    const bool on = lamp < channel.lit || lamp + 1 == channel.peakLamp;
    const uint32_t bright = lamp >= kLamps * 9 / 10  ? kRed
                            : lamp >= kLamps * 3 / 4 ? kAmber
                                                     : kGreen;
    const uint32_t width = next - left > gap ? next - left - gap : 1;
    Fill(target, {left, area.y, width, area.height}, on ? bright : kDark);
  }
}

DrawResult LevelPicture::Draw(const DrawTarget& target) const {
  const uint32_t width = target.dims.width;
  const uint32_t height = target.dims.height;
  DrawResult result;
  result.drawn = true;
  result.dirty = {0, 0, width, height};
  if (target.everything) Fill(target, result.dirty, kBackground);

  const uint32_t margin = width / 16;
  const uint32_t top = height / 4;
  const uint32_t each = height / 2 / std::max(1u, channels_);
  for (unsigned i = 0; i < channels_; ++i) {
    const uint32_t gap = each / 6;
    DrawChannel(target,
                {margin, top + i * each + gap, width - 2 * margin, std::max(1u, each - 2 * gap)},
                channel_[i]);
  }
  const Rect line = {margin, height * 7 / 8, width - 2 * margin, std::max(1u, height / 90)};
  if (hasProgress_) {
    Fill(target, line, kDark);
    Fill(target, {line.x, line.y, line.width * progress_ / kProgressSteps, line.height}, kLine);
  }
  if (!target.everything) result.dirty = {margin, top, line.width, line.y + line.height - top};
  return result;
}

}  // namespace plexion_host::player
