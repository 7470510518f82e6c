// A zone's contents as windows of the service: loading unseen, shown in one frame, faded, destroyed
// where nobody waits for it.

#ifndef HOST_LAUNCHER_PROGRAMME_WINDOWSTAGE_H_
#define HOST_LAUNCHER_PROGRAMME_WINDOWSTAGE_H_

#include <deque>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/base/Mutex.h"
#include "host/base/NamedThread.h"
#include "host/launcher/programme/ZoneDirector.h"
#include "host/launcher/run/PlaneTransition.h"
#include "host/launcher/run/Session.h"

namespace plexion_host {

/// Destroys windows on a thread of its own: that waits for a player's thread, which may be deep in
/// a decoder.
class WindowReaper {
 public:
  explicit WindowReaper(WindowList& windows);
  /// Waits until all are destroyed.
  ~WindowReaper();
  WindowReaper(const WindowReaper&) = delete;
  WindowReaper& operator=(const WindowReaper&) = delete;

  /// `keep` lives until the window is gone: texts that it borrows.
  void Destroy(qx::plexion::StageWindow* window, std::shared_ptr<void> keep);

 private:
  struct Task {
    qx::plexion::StageWindow* window;
    std::shared_ptr<void> keep;
  };
  void Run();

  WindowList& windows_;
  Mutex mutex_;
  Condition changed_;
  std::deque<Task> tasks_ GUARDED_BY(mutex_);
  bool ending_ GUARDED_BY(mutex_) = false;
  NamedThread thread_;
};

/// The stage of one zone.
///
/// Order    SetZone before anything is loaded; Poll as often as the board says that something
///          changed, and when its time has come; the destructor gives all windows to the reaper.
/// Thread   the programme's.
class WindowStage final : public ZoneStage {
 public:
  /// Which plane lies above this zone; null: none.
  using PlaneAbove = std::function<qx::platform::OutputPlane*()>;

  WindowStage(Session& session, WindowReaper& reaper, PlaneAbove above);
  ~WindowStage() override;
  WindowStage(const WindowStage&) = delete;
  WindowStage& operator=(const WindowStage&) = delete;

  /// Where the zone is, in pixels of the screen, and how contents fill it. What has its planes
  /// already is moved and resized there with the next Poll.
  void SetZone(const Zone& zone, const qx::plexion::Dims& screen, const Programme& programme);
  /// Asks for that at once. Contents are resized between two of their frames, on threads of their own.
  void Relocate();
  /// Whether all that can be seen has drawn at the size that it was asked to have. Under the board's lock.
  bool IsLaidOutLocked() const;

  /// Tells the director what happened to its contents, and moves transitions on.
  /// Returns  the steady time at which it wants to be called again, at the latest.
  int64_t Poll(ZoneDirector& director, const ZoneTime& now);
  /// Whether there is something for Poll to do. Under the board's lock.
  bool HasNewsLocked() const;
  /// The window of a content; null: it is not known, or has none.
  const qx::plexion::StageWindow* WindowOf(uint64_t number) const;
  /// The plane that is on, or that comes next; null: none.
  qx::platform::OutputPlane* LowestPlane() const;

  void Load(uint64_t number, const Item& item) override;
  void Show(uint64_t number, uint64_t previous, const Transition& transition) override;
  void Pause(uint64_t number) override;
  void Resume(uint64_t number) override;
  void Drop(uint64_t number) override;
  void ShowReason(const std::string& reason) override;

 private:
  enum class Phase { kFailed, kLoading, kDrawing, kReady, kShown, kOver };
  /// Texts that the window borrows.
  struct Texts {
    WindowLine line;
    std::string variables;
    std::string locale;
    std::string folder;  ///< of the plain picture; removed at the end
    ~Texts();
  };
  struct Content {
    uint64_t number = 0;
    std::shared_ptr<Texts> texts;
    qx::plexion::StageWindow* window = nullptr;
    WindowObserver* observer = nullptr;
    Phase phase = Phase::kFailed;
    bool endless = false;
    bool visible = false;
    qx::plexion::Rect place = {0, 0, 0, 0};  ///< as it was asked for last
    int64_t phaseBeganMs = 0;
    std::string failure;
  };
  /// One content on its way over another.
  struct Change {
    uint64_t next = 0;
    uint64_t previous = 0;  ///< 0: nothing, or gone already
    Transition transition;
    std::optional<int64_t> beganMs;
    std::unique_ptr<PlaneTransition> motion;  ///< none for a cut
  };

  Content* Find(uint64_t number);
  void Open(Content& content);
  void Prepare(Content& content, int64_t nowMs);
  void Step(ZoneDirector& director, Content& content, const ZoneTime& now);
  void EndChange();
  /// Where the zone has another place than the content was given: there.
  void Relocate(Content& content);
  void Destroy(Content& content);
  std::string VariablesOf(const Item& item) const;

  Session& session_;
  WindowReaper& reaper_;
  const PlaneAbove above_;
  Zone zone_;
  qx::plexion::Rect rect_ = {0, 0, 0, 0};
  int64_t defaultDurationMs_ = 10000;
  std::string displayName_;
  bool showReason_ = true;
  std::optional<uint32_t> ground_;  ///< below contents and beside them; none: black
  std::list<Content> contents_;
  std::vector<uint64_t> dropLater_;  ///< when the change that they are part of is over
  Change change_;
  uint64_t reasonNumber_ = 0;
  uint64_t shown_ = 0;
};

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_PROGRAMME_WINDOWSTAGE_H_
