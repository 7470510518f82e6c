// The picture of sound that has none.

#ifndef HOST_PLAYER_MEDIA_SOUND_LEVELPICTURE_H_
#define HOST_PLAYER_MEDIA_SOUND_LEVELPICTURE_H_

#include "host/player/Engine.h"
#include "host/player/media/sound/SoundMeter.h"

namespace plexion_host::player {

/// What there is to see while sound alone plays: a row of lamps for each channel, a peak that falls
/// slowly, and a line for the position. Drawn straight into the render plane; thread: the player's.
class LevelPicture {
 public:
  static constexpr qx::plexion::Dims kStage = {640, 360};

  /// Moves on by one picture. `progress` is 0 to 1, below 0 when the length is unknown.
  /// Returns  true when the picture differs from the one before.
  bool Update(const SoundLevel& level, double progress);
  DrawResult Draw(const DrawTarget& target) const;

 private:
  static constexpr unsigned kLamps = 40;
  static constexpr unsigned kProgressSteps = 512;

  struct Channel {
    double fall = 0;  ///< lit lamps, falling slowly
    double peak = 0;
    unsigned lit = 0;
    unsigned peakLamp = 0;
  };

  void DrawChannel(const DrawTarget& target, const qx::plexion::Rect& area,
                   const Channel& channel) const;

  unsigned channels_ = 0;
  Channel channel_[kMostChannels];
  unsigned progress_ = 0;
  bool hasProgress_ = false;
};

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_MEDIA_SOUND_LEVELPICTURE_H_
