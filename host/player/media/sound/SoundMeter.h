// How loud the sound is that is heard now.

#ifndef HOST_PLAYER_MEDIA_SOUND_SOUNDMETER_H_
#define HOST_PLAYER_MEDIA_SOUND_SOUNDMETER_H_

#include <gst/audio/audio.h>
#include <gst/gst.h>
#include <stdint.h>

#include <array>
#include <deque>

#include "host/base/Mutex.h"

namespace plexion_host::player {

constexpr unsigned kMostChannels = 8;

/// How loud each channel is: the mean power of a short while, in decibels below full scale.
struct SoundLevel {
  unsigned channels = 0;
  std::array<double, kMostChannels> decibels = {};
};

/// Measures the sound on its way to the sound card. Sound is delivered ahead of the moment at which
/// it is heard, so levels are kept with the running time that they belong to.
///
/// Thread   Measure and Forget: the framework's; At: the player's.
class SoundMeter {
 public:
  static constexpr double kSilence = -60;

  /// Takes one buffer of raw sound.
  void Measure(GstBuffer* buffer, const GstCaps* caps, const GstSegment& segment);
  /// The position has jumped: what was measured is not heard any more.
  void Forget();

  /// The level that is heard at `runningTime`; false while nothing is known about it.
  bool At(GstClockTime runningTime, SoundLevel& level);

 private:
  struct Span {
    GstClockTime begin = 0;
    SoundLevel level;
  };

  void Add(const Span& span);

  Mutex mutex_;
  std::deque<Span> spans_ GUARDED_BY(mutex_);
};

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_MEDIA_SOUND_SOUNDMETER_H_
