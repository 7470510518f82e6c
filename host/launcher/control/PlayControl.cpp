// What every control of a run answers alike.
#include "host/launcher/control/PlayControl.h"

#include <algorithm>

#include "host/base/Text.h"

namespace plexion_host {

bool PlayControl::Day(const std::string&, PlannedDay&, std::string& error) {
  error = "there is no programme; expected a run of --programme FILE";
  return false;
}

bool PlayControl::Load(const std::string&, std::string& error) {
  error = "there is no programme; expected a run of --programme FILE";
  return false;
}

std::optional<size_t> PlayControl::FindZone(const std::vector<std::string>& names,
                                            const std::string& zone, std::string& error) {
  if (zone.empty() && !names.empty()) return 0;
  const auto found = std::find(names.begin(), names.end(), zone);
  if (found != names.end()) return static_cast<size_t>(found - names.begin());
  error = "there is no zone '" + PrintableWord(zone) + "'; expected " +
          (names.empty() ? "one that plays" : PrintableWord(Join(names)));
  return std::nullopt;
}

}  // namespace plexion_host
