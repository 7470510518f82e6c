// Decides, for one zone, which content is loaded, shown and dropped at which moment. Knows no window
// and no clock: it is told the time and what happened, and commands a stage.

#ifndef HOST_LAUNCHER_PROGRAMME_ZONEDIRECTOR_H_
#define HOST_LAUNCHER_PROGRAMME_ZONEDIRECTOR_H_

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/launcher/programme/Schedule.h"

namespace plexion_host {

/// What a director commands. Contents are known by numbers that are never used twice.
///
/// Thread   the director's. Loading takes its time elsewhere: the outcome comes as OnLoaded or
///          OnEnded of the director.
class ZoneStage {
 public:
  virtual ~ZoneStage() = default;
  /// Opens the content and gets its first picture ready, unseen.
  virtual void Load(uint64_t number, const Item& item) = 0;
  /// It is seen from the next frame on, in the place of `previous` (0: of nothing), and plays.
  virtual void Show(uint64_t number, uint64_t previous, const Transition& transition) = 0;
  /// Shown content stands still, unseen or seen, and goes on with the next Show or Resume.
  virtual void Pause(uint64_t number) = 0;
  virtual void Resume(uint64_t number) = 0;
  /// It is not wanted any more, in whatever state it is.
  virtual void Drop(uint64_t number) = 0;
  /// Nothing can be played: a plain picture with the display's name and this.
  virtual void ShowReason(const std::string& reason) = 0;
};

/// What an operator reads.
struct ZoneNews {
  enum class Kind { kShown, kFailed, kSkipped, kNothing };
  Kind kind;
  std::string content;
  std::string reason;  ///< "schedule", "next", "start", "operator", or what went wrong
  std::string playlist;
  int64_t playedMs = 0;                    ///< of the content before it
  std::string before = {};                 ///< that content; empty: none
  std::optional<int64_t> durationMs = {};  ///< as planned; none: until it ends
};

struct ZoneTime {
  Moment wall = 0;       ///< what the schedule counts by; may step
  int64_t steadyMs = 0;  ///< what durations count by
};

/// What plays, for people and machines.
struct ZoneStatus {
  uint64_t number = 0;  ///< the stage's; 0: nothing, or the plain picture
  std::string content;  ///< empty: the plain picture
  std::string playlist;
  std::string reason;  ///< why the plain picture is on
  size_t item = 0;     ///< its place in the playlist, from 1
  size_t items = 0;
  int64_t shownMs = 0;  ///< how long it has been seen
  bool paused = false;
  std::string next;  ///< the content that comes next, as far as it is known
  std::optional<int64_t> nextInMs;
};

/// Rules:
///   - At each moment the schedule's day part counts. Its content is loaded kLeadMs before its time
///     and shown at it, unless the entry waits for the end of the item.
///   - A part that is entered in its middle begins with the item that would be on by now, where all
///     of its items have durations; else with the first.
///   - What a part of higher priority interrupts with "resume" stands still and goes on when its own
///     part counts again; if that is over by then, it is dropped. Interruptions nest.
///   - A part that waits for the end of the item waits for no item that has none.
///   - A content that fails, or is not ready after kLoadLimitMs, is named, skipped, and asked again
///     after kRetryMs. What is on stays on meanwhile. When a whole round fails, the fallback plays
///     until one of them can be played; when that fails too, the plain picture is shown.
///   - A pass of a playlist that is aligned begins at each multiple of its time since midnight; what
///     is on then ends. A pass that is over sooner begins again.
///   - A clock that steps changes what is on only if another part counts then. Durations do not
///     follow the clock.
///   - A new programme takes effect at the end of the item that is on, or at once if it has none.
///   - The operator's pause holds until it is taken back, whatever part counts meanwhile.
class ZoneDirector {
 public:
  static constexpr int64_t kLeadMs = 15000;
  static constexpr int64_t kLoadLimitMs = 30000;
  static constexpr int64_t kRetryMs = 60000;
  static constexpr int64_t kEmptyRetryMs = 5000;
  /// Nothing is begun that would be on for less.
  static constexpr int64_t kBlinkMs = 1000;
  /// How long the last picture of what is over stays when nothing else can be played.
  static constexpr int64_t kLastPictureMs = 10000;

  /// `news` is called for each change; may be empty.
  ZoneDirector(std::shared_ptr<const Programme> programme, ICalendar& calendar, std::string zone,
               ZoneStage& stage, std::function<void(const ZoneNews&)> news);

  /// Does what is due. Returns  the steady time at which it must be called again, at the latest.
  int64_t Advance(const ZoneTime& now);

  // What happened. Numbers that are not known any more are ignored.
  /// `endless`: it has no end of its own and gets the programme's duration, unless it has one.
  void OnLoaded(uint64_t number, bool endless, const ZoneTime& now);
  /// The content came to its end; a reason says that it failed, before or after it was shown.
  void OnEnded(uint64_t number, const std::string& failure, const ZoneTime& now);

  /// From the end of the item on.
  void SetProgramme(std::shared_ptr<const Programme> programme);

  // The operator's.
  void Next(const ZoneTime& now);
  void Previous(const ZoneTime& now);
  void SetPaused(bool paused, const ZoneTime& now);
  /// The playlist goes on with its item of that content, whole or its file's name alone.
  /// Returns  false when there is none.
  bool PlayItem(const std::string& name, const ZoneTime& now);
  /// One content once, then the programme goes on.
  void PlayOnce(const Item& item, const ZoneTime& now);

  ZoneStatus Status(const ZoneTime& now) const;

 private:
  struct Slot {
    uint64_t number = 0;  ///< 0: empty
    Item item;
    size_t index = 0;  ///< in its playlist
    std::string playlist;
    bool ready = false;
    bool ended = false;
    bool stays = false;  ///< alone in its playlist, and without an end
    int64_t loadBeganMs = 0;
    int64_t shownAtMs = 0;
    std::optional<int64_t> endAtMs;
    int64_t expectedMs = 0;      ///< how long it will be on by itself; 0: nobody knows
    int64_t endedAtMs = 0;       ///< when it came to an end of its own
    int64_t durationLeftMs = 0;  ///< not 0: entered in its middle, or interrupted
    bool once = false;           ///< the operator's, or an item no more
    Moment passEnd = kNever;     ///< when the next pass of an aligned playlist begins
  };
  /// What was on when a part of higher priority began.
  struct Interrupted {
    Slot slot;
    const Entry* entry;
    std::string playlist;
  };

  const Zone& ZoneOf() const { return *programme_->FindZone(zone_); }
  void UsePart(const DayPart& part, const ZoneTime& now);
  void TakePart(const DayPart& part);
  bool ComeBack(const DayPart& part, const ZoneTime& now);
  void Interrupt(const ZoneTime& now);
  void DropInterrupted();
  void LetGo(Interrupted& interrupted);
  void DropWaiting();
  void ReadItems();
  void FindCurrentAgain();
  /// Loads the item of `part` that would be on at `moment`.
  void EnterPart(const DayPart& part, Moment moment, const ZoneTime& now, Slot& slot);
  int64_t SinceBegin(const DayPart& part, Moment moment) const;
  /// The next item that may be tried, or the one before; none when all have failed of late.
  std::optional<size_t> Following(const std::vector<Item>& items, size_t index,
                                  const ZoneTime& now) const;
  std::optional<size_t> Preceding(size_t index, const ZoneTime& now) const;
  void NoteFailure(const Item& item, const ZoneTime& now);
  bool MayBeTried(const Item& item, const ZoneTime& now) const;
  void Load(Slot& slot, const std::string& playlist, const Item& item, size_t index,
            const ZoneTime& now);
  void Drop(Slot& slot);
  void Show(Slot& slot, const char* reason, const ZoneTime& now);
  void Fail(Slot& slot, const std::string& why, const ZoneTime& now);
  void CheckDeadline(Slot& slot, const ZoneTime& now);
  void ShowWhatIsDue(const ZoneTime& now);
  void PrepareNext(const ZoneTime& now);
  bool PrepareAsked(const ZoneTime& now);
  bool PrepareOwnAgain(const ZoneTime& now);
  void PrepareBoundary(const ZoneTime& now);
  void PreparePass(const ZoneTime& now);
  void SetPassEnd(const ZoneTime& now);
  void FallBack(const ZoneTime& now);
  bool CurrentIsOver(const ZoneTime& now) const;
  void TakePending(const ZoneTime& now);
  int64_t NextCall(const ZoneTime& now) const;
  std::string KeyOf(const Item& item) const { return item.content; }

  ICalendar& calendar_;
  std::shared_ptr<const Programme> programme_;
  std::shared_ptr<const Programme> pending_;
  std::unique_ptr<Schedule> schedule_;
  const std::string zone_;
  ZoneStage& stage_;
  const std::function<void(const ZoneNews&)> news_;

  DayPart part_;
  Moment lookedAt_ = kNever;  ///< when the schedule was asked last
  bool started_ = false;
  bool fellBack_ = false;  ///< the part's own playlist cannot be played: the fallback is on
  std::string playing_;    ///< the playlist that items are taken from
  std::vector<Item> items_;
  Slot current_;
  Slot next_;      ///< of the playlist
  Slot boundary_;  ///< of the next day part
  DayPart boundaryPart_;
  Slot pass_;                             ///< the first of an aligned playlist's next pass
  std::vector<Interrupted> interrupted_;  ///< each by a part of higher priority than its own
  std::optional<Moment> waitsUntil_;      ///< a part waits for the end of the item until then
  std::map<std::string, int64_t> failedUntilMs_;
  uint64_t lastNumber_ = 0;
  bool paused_ = false;
  int64_t pausedAtMs_ = 0;
  bool reasonShown_ = false;
  std::string reason_;  ///< of the plain picture
  int64_t retryAtMs_ = 0;
  std::optional<Item> once_;    ///< asked for by the operator
  std::optional<size_t> jump_;  ///< likewise, in items_
  bool operatorActed_ = false;  ///< what is shown next is shown for the operator
};

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_PROGRAMME_ZONEDIRECTOR_H_
