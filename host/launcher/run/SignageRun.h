// A playlist: contents one after the other without a gap.

#ifndef HOST_LAUNCHER_RUN_SIGNAGERUN_H_
#define HOST_LAUNCHER_RUN_SIGNAGERUN_H_

#include <deque>
#include <list>
#include <memory>
#include <optional>
#include <vector>

#include "host/launcher/control/PlayControl.h"
#include "host/launcher/run/LateWindows.h"
#include "host/launcher/run/PlaneTransition.h"
#include "host/launcher/run/Restarts.h"
#include "host/launcher/run/WindowOpener.h"

namespace plexion_host {

/// Plays contents one after the other without a gap. Runs on the service thread.
///
/// While one plays, a second thread opens the next, loads it, and has its first picture drawn on a
/// plane below the current one, fully transparent. The switch is one frame, unless there is a
/// transition: the next becomes opaque and the old one is hidden. The old window is destroyed afterwards, so the time that takes
/// is not seen; until a next one is ready, the last picture of the old one stays.
///
/// A content that fails is left out, too. In a loop its turn comes again; when all have failed one after the
/// other, the last picture stays for a pause, as often as --restart-failed allows.
///
/// A content that is not ready after --load-timeout is named and left out, and asked for again: in
/// the next round of a loop, else once more behind the last one of the list.
///
/// The operator's control of it may be called from any other thread. What is jumped to is loaded when
/// the content that is on has been ended; its last picture stays until then.
class SignageRun final : public PlayControl {
 public:
  /// `lines` must outlive the windows.
  SignageRun(Session& session, const std::vector<WindowLine>& lines);

  /// Returns  false when the run ended because no content can be played. Each that failed has been
  /// reported.
  bool Run();

  bool Next(const std::string& zone, std::string& error) override;
  bool Previous(const std::string& zone, std::string& error) override;
  bool Play(const std::string& what, const std::string& zone, std::string& error) override;
  bool Pause(const std::string& zone, std::string& error) override;
  bool Report(PlayReport& report, std::string& error) override;

  /// A player runtime module could not be had. After Run only.
  bool IsRuntimeMissing() const { return opener_.IsRuntimeMissing(); }

 private:
  enum class Outcome { kReady, kFailed, kLate };

  bool RunList();
  /// Ends what is on; `jump` comes next, or what would come anyway.
  bool GoOn(const WindowLine* jump, const std::string& zone, std::string& error)
      REQUIRES(controlMutex_);
  bool IsOn(const std::string& zone, std::string& error) REQUIRES(controlMutex_);
  size_t IndexOf(const WindowLine* line) const;

  /// Opens and loads the next content that can be played, below `current` (may be null).
  /// Returns  none when the list is at its end, the end was asked for, or a whole round failed.
  std::optional<OpenWindow> PrepareNext(const OpenWindow* current);
  /// The next content to ask for; null at the end of the list.
  const WindowLine* NextLine();
  /// Nothing can be played right now. Returns  true after the pause, when all may be asked for again.
  bool PauseBeforeNextRound();
  /// Anything but kReady has been reported.
  Outcome Prepare(const OpenWindow& next, const OpenWindow* current);
  Outcome LoadNext(const OpenWindow& next);
  void SkipLate(const OpenWindow& next);
  /// In one frame, or the first of a transition, which Blend then goes through.
  void Switch(const OpenWindow& next, const OpenWindow* previous);
  void Blend(const OpenWindow& previous);
  /// Plays to the end. Notes whether the content could be seen.
  void PlayToEnd(const OpenWindow& current);

  Session& session_;
  const std::vector<WindowLine>& lines_;

  Mutex controlMutex_;  // comes before the board's
  std::optional<OpenWindow> on_ GUARDED_BY(controlMutex_);
  StatusBoard::Clock::time_point onSince_ GUARDED_BY(controlMutex_){};
  bool paused_ GUARDED_BY(controlMutex_) = false;
  std::string next_ GUARDED_BY(controlMutex_);  ///< that has been prepared; empty: none yet
  const WindowLine* jump_ GUARDED_BY(controlMutex_) = nullptr;
  std::list<WindowLine> others_ GUARDED_BY(controlMutex_);  ///< not of the list

  // Of the thread that plays.
  std::string before_;  // the content that was on last
  StatusBoard::Clock::time_point shownAt_{};
  bool anySeen_ = false;
  size_t unseenInRow_ = 0;  // contents that ended before a picture of theirs was seen

  // Made by the one that plays, before the other is there, and gone through by that.
  std::unique_ptr<PlaneTransition> motion_;

  // Of the one that prepares; read by the other when that one has ended.
  Restarts rounds_;
  std::optional<StatusBoard::Clock::time_point> readyAt_;  // a content was, last
  WindowOpener opener_;
  LateWindows late_;
  size_t nextLine_ = 0;
  std::deque<const WindowLine*> askAgain_;
  const WindowLine* askFirst_ = nullptr;
  bool roundFailed_ = false;  // one content after the other, as many as there are
};

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_RUN_SIGNAGERUN_H_
