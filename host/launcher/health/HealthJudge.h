// Whether what is presented says that the display lives.

#ifndef HOST_LAUNCHER_HEALTH_HEALTHJUDGE_H_
#define HOST_LAUNCHER_HEALTH_HEALTHJUDGE_H_

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace plexion_host {

/// What was seen of one window at a moment.
struct WindowHealth {
  unsigned number = 0;  ///< what the operator calls it
  std::string content;
  bool plays = false;  ///< as it says itself
  bool visible = false;
  uint64_t frames = 0;   ///< presented frames in which it was drawn anew
  int64_t ageMs = -1;    ///< since the last of them; negative: none yet
  uint64_t picture = 0;  ///< a hash of its picture; 0: not taken
  uint64_t memoryBytes = 0;
  bool frozen = false;  ///< it says that it plays, and its picture has stood still for too long
};

/// Whether a content of this name moves as long as it plays: "video" from its first frame on, "movie"
/// once it has begun to. Pictures, sound and applications may stand still.
enum class Motion { kNone, kMovie, kVideo };
Motion MotionOf(const std::string& content);

/// Judges by what was presented. Knows no window and no clock: it is told.
class HealthJudge {
 public:
  /// A loop that does not come round, and a display that presents nothing, for so long are dead.
  static constexpr int64_t kSilenceMs = 20000;

  struct Sample {
    int64_t nowMs = 0;
    uint64_t presented = 0;  ///< frames of the display so far
    int64_t turnAtMs = -1;  ///< when the loop of the run came round last; negative: it is not known
    std::vector<WindowHealth> windows;
  };
  struct Verdict {
    bool alive = true;
    std::string reason;       ///< why not
    bool wantsFrame = false;  ///< nothing was presented of late: ask the display for a frame
    struct Change {
      unsigned number = 0;
      std::string content;
      bool frozen = false;
      bool drawn = false;  ///< frames still come, all alike
      int64_t stillMs = 0;
    };
    std::vector<Change> changes;
    std::vector<WindowHealth> windows;  ///< the sample's, with `frozen`
  };

  /// `frozenAfterMs`: 0: nothing is ever called frozen.
  explicit HealthJudge(int64_t frozenAfterMs) : frozenAfterMs_(frozenAfterMs) {}

  Verdict Judge(const Sample& sample);

 private:
  struct Seen {
    std::string content;
    uint64_t picture = 0;
    int64_t changedMs = 0;
    uint64_t frames = 0;
    int64_t drawnMs = 0;
    bool told = false;
  };

  void Look(WindowHealth& window, int64_t nowMs, Verdict& verdict);
  bool AllVideosStand(const Sample& sample) const;

  int64_t frozenAfterMs_;
  std::map<unsigned, Seen> seen_;
  uint64_t presented_ = 0;
  int64_t presentedMs_ = -1;
};

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_HEALTH_HEALTHJUDGE_H_
