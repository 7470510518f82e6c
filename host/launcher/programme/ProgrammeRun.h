// Plays a programme: a director and a stage for each zone, the document watched while it plays.

#ifndef HOST_LAUNCHER_PROGRAMME_PROGRAMMERUN_H_
#define HOST_LAUNCHER_PROGRAMME_PROGRAMMERUN_H_

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/launcher/control/PlayControl.h"
#include "host/launcher/programme/WindowStage.h"
#include "host/launcher/programme/time/Rehearsal.h"
#include "host/launcher/run/RequestQueue.h"

namespace plexion_host {

/// Runs on the service thread, until the end is asked for. The operator's control of it may be
/// called from any other thread meanwhile.
class ProgrammeRun final : public PlayControl {
 public:
  /// `path` is what the programme was read from; it is read again when it changes.
  ProgrammeRun(Session& session, ICalendar& calendar, std::string path,
               std::shared_ptr<const Programme> programme);
  ~ProgrammeRun() override;
  ProgrammeRun(const ProgrammeRun&) = delete;
  ProgrammeRun& operator=(const ProgrammeRun&) = delete;

  void Run();

  bool Next(const std::string& zone, std::string& error) override;
  bool Previous(const std::string& zone, std::string& error) override;
  bool Play(const std::string& what, const std::string& zone, std::string& error) override;
  bool Pause(const std::string& zone, std::string& error) override;
  bool Report(PlayReport& report, std::string& error) override;
  bool Day(const std::string& day, PlannedDay& planned, std::string& error) override;
  bool Load(const std::string& path, std::string& error) override;

 private:
  struct Playing {
    std::string zone;
    std::unique_ptr<WindowStage> stage;
    std::unique_ptr<ZoneDirector> director;
  };

  void MakeZones();
  /// The document's background where no zone is.
  void SetGround();
  /// Tells the zone's stage its place and what it needs to know of the programme.
  void LayOut(const Playing& playing);
  void StartClock();
  void Print(const std::string& zone, const ZoneNews& news) const;
  void LookAtDocument(int64_t nowMs);
  /// Lays the zones out again when the screen has another size.
  void LookAtScreen(int64_t nowMs);
  bool IsLaidOutLocked() const;
  bool TakeDocument(const std::string& path, std::string& error);
  /// Has it done on the thread that plays.
  bool Ask(std::string& error, const std::function<bool()>& work);
  /// The same with a zone of that name; an empty one is the first.
  bool AskZone(const std::string& zone, std::string& error,
               const std::function<bool(Playing&, const ZoneTime&)>& work);
  ZoneTime Now() const;
  qx::platform::OutputPlane* PlaneAbove(const std::string& zone) const;

  Session& session_;
  ICalendar& calendar_;
  std::string path_;
  std::shared_ptr<const Programme> programme_;
  qx::plexion::Dims screen_ = {0, 0};
  unsigned screenChanges_ = 0;  ///< the session's count when `screen_` was asked for
  std::shared_ptr<const Programme> rehearsedProgramme_;
  std::unique_ptr<Schedule> rehearsed_;  ///< for the zone that a rehearsal's clock shows; else null
  mutable ProgrammeClock clock_;
  WindowReaper reaper_;
  std::vector<Playing> zones_;  ///< bottom first; go before the reaper
  RequestQueue requests_;
  int64_t lookAtMs_ = 0;
  std::string documentStamp_;
  std::unique_ptr<OneFrame> layout_;  ///< no frame is presented before the zones are laid out anew
  int64_t layoutUntilMs_ = 0;         ///< or it takes too long
};

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_PROGRAMME_PROGRAMMERUN_H_
