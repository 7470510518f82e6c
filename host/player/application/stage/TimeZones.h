// The time on walls elsewhere.
#ifndef HOST_PLAYER_APPLICATION_STAGE_TIMEZONES_H_
#define HOST_PLAYER_APPLICATION_STAGE_TIMEZONES_H_

#include <glib.h>
#include <time.h>

#include <map>
#include <memory>
#include <string>

namespace plexion_host::player::application {

/// Zones of the system's database by their names, "Europe/Rome"; an empty name is the device's own.
///
/// Thread   one at a time.
class TimeZones {
 public:
  /// False when there is no zone of that name.
  bool Has(const std::string& name);
  /// A moment as a clock there shows it. The zone's abbreviation in it lives as long as this object.
  /// Returns  false when there is no zone of that name.
  bool Read(time_t moment, const std::string& name, tm& parts);

 private:
  struct Release {
    void operator()(GTimeZone* zone) const { g_time_zone_unref(zone); }
  };

  GTimeZone* Find(const std::string& name);

  std::map<std::string, std::unique_ptr<GTimeZone, Release>> zones_;
};

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_STAGE_TIMEZONES_H_
