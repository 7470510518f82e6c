// Plays a programme: a director and a stage for each zone, the document watched while it plays.

#ifndef HOST_LAUNCHER_PROGRAMME_PROGRAMMERUN_H_
#define HOST_LAUNCHER_PROGRAMME_PROGRAMMERUN_H_

#include <memory>
#include <string>
#include <vector>

#include "host/launcher/programme/WindowStage.h"
#include "host/launcher/programme/time/Rehearsal.h"

namespace plexion_host {

/// Runs on the service thread, until the end is asked for.
class ProgrammeRun {
 public:
  /// `path` is what the programme was read from; it is read again when it changes.
  ProgrammeRun(Session& session, ICalendar& calendar, std::string path,
               std::shared_ptr<const Programme> programme);
  ~ProgrammeRun();
  ProgrammeRun(const ProgrammeRun&) = delete;
  ProgrammeRun& operator=(const ProgrammeRun&) = delete;

  void Run();

 private:
  struct Playing {
    std::string zone;
    std::unique_ptr<WindowStage> stage;
    std::unique_ptr<ZoneDirector> director;
  };

  void MakeZones();
  void StartClock();
  void Print(const std::string& zone, const ZoneNews& news) const;
  void LookAtDocument(int64_t nowMs);
  qx::platform::OutputPlane* PlaneAbove(const std::string& zone) const;

  Session& session_;
  ICalendar& calendar_;
  const std::string path_;
  std::shared_ptr<const Programme> programme_;
  qx::plexion::Dims screen_ = {0, 0};
  std::shared_ptr<const Programme> rehearsedProgramme_;
  std::unique_ptr<Schedule> rehearsed_;  ///< for the zone that a rehearsal's clock shows; else null
  mutable ProgrammeClock clock_;
  WindowReaper reaper_;
  std::vector<Playing> zones_;  ///< bottom first; go before the reaper
  int64_t lookAtMs_ = 0;
  std::string documentStamp_;
};

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_PROGRAMME_PROGRAMMERUN_H_
