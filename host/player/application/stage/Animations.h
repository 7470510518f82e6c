// Properties on their way from one value to another.
#ifndef HOST_PLAYER_APPLICATION_STAGE_ANIMATIONS_H_
#define HOST_PLAYER_APPLICATION_STAGE_ANIMATIONS_H_

#include <stdint.h>

#include <vector>

#include "host/player/application/stage/Easing.h"
#include "host/player/application/stage/Stage.h"

namespace plexion_host::player::application {

/// Where one property is to go.
struct AnimationTarget {
  const Property* property = nullptr;
  double number = 0;
  Colour colour;
};

struct AnimationTiming {
  double delay = 0;
  double duration = 0.3;
  int easing = kEaseInOut;
};

constexpr size_t kMostAnimations = 10000;

/// Movements under way. Time is what the caller says it is.
class Animations {
 public:
  explicit Animations(Stage& stage) : stage_(stage) {}

  /// Moves properties of an element from where they are when the delay is over. A newer movement
  /// of the same property takes the place of an older one. `token` is the caller's; it comes back
  /// from Advance when all of it is over, or from Drop.
  /// Returns  false when too many are under way.
  bool Start(uint32_t element, const std::vector<AnimationTarget>& targets,
             const AnimationTiming& timing, int token, double now);
  /// Ends all movements of an element where they are.
  void Stop(uint32_t element);
  void StopAll();
  /// Sets all properties to what they are at `now`. Returns the tokens of what has come to its end,
  /// in the order of their ends.
  std::vector<int> Advance(double now);
  /// Tokens of movements that were stopped, replaced, or whose element is gone: never to be over.
  std::vector<int> TakeDropped();

  /// The moment at which something moves next; infinity when nothing is under way.
  double NextMoment(double now) const;

 private:
  struct Track {
    AnimationTarget target;
    double fromNumber = 0;
    Colour fromColour;
  };
  struct Animation {
    uint32_t element;
    std::vector<Track> tracks;
    AnimationTiming timing;
    double begins;
    int token;
    bool started;
  };

  void SetProgress(Element& element, const Animation& animation, double fraction);

  Stage& stage_;
  std::vector<Animation> animations_;
  std::vector<int> dropped_;
};

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_STAGE_ANIMATIONS_H_
