// How one content follows another: what operators and documents say about it.

#ifndef HOST_LAUNCHER_OPTIONS_TRANSITION_H_
#define HOST_LAUNCHER_OPTIONS_TRANSITION_H_

#include <cstdint>
#include <string>

namespace plexion_host {

struct Transition {
  enum class Kind {
    kUnsaid,  ///< as whoever stands above says; in the end a cut
    kCut,
    kFade,  ///< the next one appears over the last one
    kPush,  ///< the next one moves in and the last one out
    kWipe   ///< the next one is uncovered over the last one
  };
  /// Where a push moves to, and the edge of a wipe.
  enum class Direction { kLeft, kRight, kUp, kDown };

  static constexpr int64_t kUsualMs = 500;
  static constexpr int64_t kLongestMs = 60000;

  Kind kind = Kind::kUnsaid;
  int64_t durationMs = 0;
  Direction direction = Direction::kLeft;

  bool IsGradual() const { return kind > Kind::kCut && durationMs > 0; }
};

/// In the order of Kind, from kCut on, and of Direction.
inline constexpr const char* kTransitionNames[] = {"cut", "fade", "push", "wipe"};
inline constexpr const char* kDirectionNames[] = {"left", "right", "up", "down"};

/// Reads KIND[,MS[,DIRECTION]], for example "push,700,up".
/// Returns  an empty text, or what was expected.
std::string ReadTransition(const std::string& text, Transition& transition);

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_OPTIONS_TRANSITION_H_
