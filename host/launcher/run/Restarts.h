// When a content that failed comes back.

#ifndef HOST_LAUNCHER_RUN_RESTARTS_H_
#define HOST_LAUNCHER_RUN_RESTARTS_H_

#include <algorithm>
#include <chrono>
#include <optional>

namespace plexion_host {

/// Counts the restarts of one content: after pauses of 1, 2, 4 s and so on, up to a minute. One that was
/// well for a minute has the whole number of them again. `second` is a second, but for tests.
class Restarts {
 public:
  explicit Restarts(unsigned most = 0, std::chrono::milliseconds second = std::chrono::seconds(1))
      : most_(most), second_(second) {}

  /// The content has failed after it was well for `healthy`.
  /// Returns  the pause before it comes back; none when it does not any more.
  std::optional<std::chrono::milliseconds> Next(std::chrono::nanoseconds healthy) {
    if (healthy >= kMinute * second_) count_ = 0;
    if (count_ >= most_) return std::nullopt;
    const unsigned doublings = std::min(count_++, kMostDoublings);
    return std::min(kMinute, 1 << doublings) * second_;
  }
  /// Since it was well.
  unsigned Count() const { return count_; }
  unsigned Most() const { return most_; }

 private:
  static constexpr int kMinute = 60;
  static constexpr unsigned kMostDoublings = 6;

  unsigned most_;
  std::chrono::milliseconds second_;
  unsigned count_ = 0;
};

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_RUN_RESTARTS_H_
