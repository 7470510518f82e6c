// Reads moments in time zones, with GLib: the C library knows one zone for the whole process.
#include "host/player/application/stage/TimeZones.h"

namespace plexion_host::player::application {

namespace {

constexpr size_t kLongestZone = 64;
/// That are kept open.
constexpr size_t kMostZones = 50;

/// A name of the database and no path: the library would open any file.
bool IsZoneName(const std::string& name) {
  if (name.empty() || name.size() > kLongestZone) return false;
  bool begins = true;
  for (const char c : name) {
    const bool letter = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
    const bool inside = (c >= '0' && c <= '9') || c == '_' || c == '+' || c == '-';
    if (begins ? !letter : !(letter || inside || c == '/')) return false;
    begins = c == '/';
  }
  return !begins;
}

}  // namespace

GTimeZone* TimeZones::Find(const std::string& name) {
  const auto found = zones_.find(name);
  if (found != zones_.end()) return found->second.get();
  if (!IsZoneName(name)) return nullptr;
  GTimeZone* zone = g_time_zone_new_identifier(name.c_str());
  if (zone == nullptr) return nullptr;
  if (zones_.size() >= kMostZones) zones_.clear();
  zones_[name].reset(zone);
  return zone;
}

bool TimeZones::Has(const std::string& name) { return name.empty() || Find(name) != nullptr; }

bool TimeZones::Read(time_t moment, const std::string& name, tm& parts) {
  if (name.empty()) {
    // What a viewer's watch says.
    localtime_r(&moment, &parts);
    return true;
  }
  GTimeZone* zone = Find(name);
  if (zone == nullptr) return false;
  const gint interval = g_time_zone_find_interval(zone, G_TIME_TYPE_UNIVERSAL, moment);
  const time_t there = moment + g_time_zone_get_offset(zone, interval);
  gmtime_r(&there, &parts);
  parts.tm_isdst = g_time_zone_is_dst(zone, interval) != FALSE ? 1 : 0;
  parts.tm_gmtoff = g_time_zone_get_offset(zone, interval);
  parts.tm_zone = g_time_zone_get_abbreviation(zone, interval);
  return true;
}

}  // namespace plexion_host::player::application
