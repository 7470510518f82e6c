// What a run's settings are, for whoever asks.

#ifndef HOST_PLAYER_INSTANCE_SETTINGSREPORT_H_
#define HOST_PLAYER_INSTANCE_SETTINGSREPORT_H_

#include <string>

#include "host/player/PlayerSettings.h"

namespace plexion_host::player {

/// Prints, for the content called `name`, a line for each setting that can have no effect here, so
/// that nobody waits for one; and with --spdump all settings, a line each.
void ReportSettings(const std::string& name, const PlayerSettings& settings);

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_INSTANCE_SETTINGSREPORT_H_
