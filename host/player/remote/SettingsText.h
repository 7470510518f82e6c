// Settings and addresses as one text, for the way to a content's process.

#ifndef HOST_PLAYER_REMOTE_SETTINGSTEXT_H_
#define HOST_PLAYER_REMOTE_SETTINGSTEXT_H_

#include <string>
#include <string_view>

#include "host/player/ContentAddress.h"
#include "host/player/Engine.h"
#include "host/player/PlayerSettings.h"

namespace plexion_host::player::remote {

/// Longer ones are refused by who reads, and not sent by who writes.
constexpr size_t kMostSettingsText = size_t{1} << 20;

/// Each value is "LENGTH:BYTES", one behind the other, in a fixed order. A reader returns false for
/// anything that its writer cannot have written; the value is then as it was made.
std::string WriteSettings(const PlayerSettings& settings);
bool ReadSettings(std::string_view text, PlayerSettings& settings);

std::string WriteAddress(const ContentAddress& address);
bool ReadAddress(std::string_view text, ContentAddress& address);

std::string WriteProxy(const ProxySettings& proxy);
bool ReadProxy(std::string_view text, ProxySettings& proxy);

}  // namespace plexion_host::player::remote

#endif  // HOST_PLAYER_REMOTE_SETTINGSTEXT_H_
