// Measures sound on its way to the sound card.

#include "host/player/media/sound/SoundMeter.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "host/base/Check.h"

namespace plexion_host::player {

namespace {

constexpr GstClockTime kSpan = 40 * GST_MSECOND;
// Ten seconds: more than any sound card or queue holds.
constexpr size_t kMostSpans = 250;

double Decibels(double meanSquare) {
  // The logarithm of nothing is no number; below sixty decibels no lamp is lit.
  if (meanSquare <= 1e-6) return SoundMeter::kSilence;
  return std::max(SoundMeter::kSilence, 10 * std::log10(meanSquare));
}

/// Mean power of `frames` frames. `samples` are in the format that its description unpacks to.
SoundLevel LevelOf(const GstAudioFormatInfo& unpacked, const void* samples, size_t frames,
                   unsigned allChannels) {
  PLEXION_CHECK(allChannels > 0, "sound has a channel");
  SoundLevel level;
  level.channels = std::min(allChannels, kMostChannels);
  const bool floating = GST_AUDIO_FORMAT_INFO_IS_FLOAT(&unpacked);
  for (unsigned channel = 0; channel < level.channels; ++channel) {
    double sum = 0;
    for (size_t frame = 0; frame < frames; ++frame) {
      const size_t index = frame * allChannels + channel;
      const double value = floating ? static_cast<const double*>(samples)[index]
                                    : static_cast<const int32_t*>(samples)[index] / 2147483648.0;
      sum += value * value;
    }
    level.decibels[channel] = Decibels(frames == 0 ? 0 : sum / static_cast<double>(frames));
  }
  return level;
}

}  // namespace

void SoundMeter::Measure(GstBuffer* buffer, const GstCaps* caps, const GstSegment& segment) {
  GstAudioInfo info;
  if (caps == nullptr || !GST_BUFFER_PTS_IS_VALID(buffer) || segment.format != GST_FORMAT_TIME ||
      !gst_audio_info_from_caps(&info, caps) || GST_AUDIO_INFO_RATE(&info) <= 0 ||
      GST_AUDIO_INFO_LAYOUT(&info) != GST_AUDIO_LAYOUT_INTERLEAVED) {
    return;
  }
  const GstAudioFormatInfo* format = info.finfo;
  // Sound that is still packed goes by unmeasured: it has no frames.
  if (format->unpack_func == nullptr || GST_AUDIO_INFO_BPF(&info) <= 0) return;
  const GstAudioFormatInfo* unpacked = gst_audio_format_get_info(format->unpack_format);
  const unsigned channels = static_cast<unsigned>(GST_AUDIO_INFO_CHANNELS(&info));
  GstMapInfo map;
  if (!gst_buffer_map(buffer, &map, GST_MAP_READ)) return;

  const size_t rate = static_cast<size_t>(GST_AUDIO_INFO_RATE(&info));
  const size_t frameBytes = static_cast<size_t>(GST_AUDIO_INFO_BPF(&info));
  const size_t frames = map.size / frameBytes;
  const size_t atOnce = std::max<size_t>(1, rate * kSpan / GST_SECOND);
  // Eight bytes a sample hold every format that sound is unpacked to.
  std::vector<double> samples(std::min(atOnce, frames) * channels);
  for (size_t done = 0; done < frames; done += atOnce) {
    const size_t count = std::min(atOnce, frames - done);
    format->unpack_func(format, GST_AUDIO_PACK_FLAG_NONE, samples.data(),
                        map.data + done * frameBytes, static_cast<gint>(count * channels));
    Span span;
    span.begin = gst_segment_to_running_time(&segment, GST_FORMAT_TIME,
                                             GST_BUFFER_PTS(buffer) + done * GST_SECOND / rate);
    span.level = LevelOf(*unpacked, samples.data(), count, channels);
    if (GST_CLOCK_TIME_IS_VALID(span.begin)) Add(span);
  }
  gst_buffer_unmap(buffer, &map);
}

void SoundMeter::Add(const Span& span) {
  const MutexLock lock(mutex_);
  spans_.push_back(span);
  // A pipeline that stands still with sound in its queues asks for nothing.
  if (spans_.size() > kMostSpans) spans_.pop_front();
}

void SoundMeter::Forget() {
  const MutexLock lock(mutex_);
  spans_.clear();
}

bool SoundMeter::At(GstClockTime runningTime, SoundLevel& level) {
  const MutexLock lock(mutex_);
  while (spans_.size() > 1 && spans_[1].begin <= runningTime) spans_.pop_front();
  if (spans_.empty() || spans_.front().begin > runningTime) return false;
  level = spans_.front().level;
  return true;
}

}  // namespace plexion_host::player
