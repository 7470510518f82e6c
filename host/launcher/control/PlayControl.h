// What an operator does with a run while it plays, and what they are told of it.

#ifndef HOST_LAUNCHER_CONTROL_PLAYCONTROL_H_
#define HOST_LAUNCHER_CONTROL_PLAYCONTROL_H_

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/base/Mutex.h"

namespace plexion_host {

/// Whether a content is alive, as far as it can be seen from outside.
struct ZoneHealth {
  uint64_t frames = 0;                     ///< presented frames in which it was drawn anew
  std::optional<int64_t> lastChangeAgeMs;  ///< since the last of them; none: there was none
  uint64_t memoryBytes = 0;
};

/// What plays in one zone of a programme, in a list, or in one window of a line.
struct PlayedZone {
  std::string zone;  ///< its name; of a window its number
  std::string content;
  std::string reason;  ///< why nothing plays, where nothing does
  std::string playlist;
  size_t item = 0;  ///< its place among `items`, from 1; 0: none of them
  size_t items = 0;
  bool paused = false;
  int64_t shownMs = 0;
  std::string next;  ///< empty: not known
  std::optional<int64_t> nextInMs;
  double volume = 1;
  bool muted = false;
  unsigned window = 0;  ///< as the operator calls it; 0: none
  ZoneHealth health;    ///< filled in by AddHealth
};

struct PlayReport {
  std::string kind;  ///< "programme", "signage" or "windows"
  std::string name;
  std::string file;  ///< that the programme was read from
  std::vector<PlayedZone> zones;
};

/// A part of a day in one zone.
struct PlannedPart {
  std::string zone;
  std::string from;  ///< "07:00:00"
  std::string to;
  std::string playlist;
  std::string why;
  bool now = false;
};

struct PlannedDay {
  std::string name;
  std::string file;
  std::string day;  ///< "2026-11-23"
  std::vector<PlannedPart> parts;
  std::string svg;  ///< a picture of it
};

/// Implemented by whatever plays; the operator's commands and the page call it.
///
/// Zones    by name; an empty one is the first, or all of them where it says so.
/// Errors   false, with what was wrong and what was expected in `error`.
/// Thread   any but the one that plays, one at a time (PlayControls). A call waits until the thread
///          that plays has done it, two seconds at most.
class PlayControl {
 public:
  virtual ~PlayControl() = default;
  virtual bool Next(const std::string& zone, std::string& error) = 0;
  virtual bool Previous(const std::string& zone, std::string& error) = 0;
  /// An item of what plays, by its content or that's file name, goes on from there; any other content
  /// plays once. Nothing: what is paused goes on, everywhere if no zone is named.
  virtual bool Play(const std::string& what, const std::string& zone, std::string& error) = 0;
  /// An empty zone: all.
  virtual bool Pause(const std::string& zone, std::string& error) = 0;
  virtual bool Report(PlayReport& report, std::string& error) = 0;

  /// What plays on a day, "YYYY-MM-DD"; empty: today.
  virtual bool Day(const std::string& day, PlannedDay& planned, std::string& error);
  /// Reads the programme anew, or another one: it counts from the end of what is on.
  virtual bool Load(const std::string& path, std::string& error);

 protected:
  /// The index of the zone named; with the names that there are in `error`.
  static std::optional<size_t> FindZone(const std::vector<std::string>& names,
                                        const std::string& zone, std::string& error);
};

/// What plays now, for those who may ask at any time.
class PlayControls {
 public:
  /// Null takes it back, and waits for a call under way.
  void Set(PlayControl* control) {
    const MutexLock lock(mutex_);
    control_ = control;
  }
  /// `call` gets the control. Returns  what it answers; false with a reason when nothing plays.
  template <typename Call>
  bool With(std::string& error, const Call& call) {
    const MutexLock lock(mutex_);
    if (control_ == nullptr) {
      error = "nothing plays now; expected a run that has begun and not ended";
      return false;
    }
    return call(*control_);
  }

 private:
  Mutex mutex_;  // comes before every lock of the launcher
  PlayControl* control_ GUARDED_BY(mutex_) = nullptr;
};

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_CONTROL_PLAYCONTROL_H_
