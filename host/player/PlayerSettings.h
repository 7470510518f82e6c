#ifndef HOST_PLAYER_PLAYERSETTINGS_H_
#define HOST_PLAYER_PLAYERSETTINGS_H_

#include <stdint.h>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qx::core::morvellib {
struct MorvelInstanceParameters;
}  // namespace qx::core::morvellib

namespace plexion_host::player {

/// The window's parameters that mean something to the player, in texts of its own.
struct PlayerSettings {
  std::string contentUrl;
  std::string base;
  std::string zorBase;
  std::string zorCmdLine;
  std::string keymap;
  std::string morvelVars;
  std::string qlrArgs;
  std::string sslClientCertTable;
  std::string sslCertsDir;
  std::string fontDirs;
  std::string extensionsDir;
  std::string proxy;
  std::string proxyUser;
  std::string proxyPassword;
  std::string locale;  ///< empty: nobody named one
  unsigned proxyPort = 0;
  unsigned contentWidth = 0;
  unsigned contentHeight = 0;
  uint8_t bgAlpha = 255;
  int profile = 0;
  unsigned traceFlags = 0;
  unsigned traceFpsMs = 0;
  unsigned gcHeapLimitMegabytes = 0;
  unsigned graphicsMemThresholdMegabytes = 0;
  unsigned extraWord = 0;
  bool extraFlag = false;
  int gl = 0;
  bool dcts = false;
  bool noSpeedLimit = false;
  bool debugMode = false;
  bool spdump = false;
  bool instrument = false;

  // From morvelVars, once ReadMorvelVars has been through it.
  uint64_t loops = 1;       ///< passes to play; 0: without end
  bool loopsGiven = false;  ///< somebody asked for that many; otherwise content may know better
  double speed = 1;         ///< 2 is twice as fast
  /// All variables, decoded, in order, those above included; engines may know more of them. The
  /// window's profile is the last, as "profile", unless a variable of that name was given.
  std::vector<std::pair<std::string, std::string>> variables;
};

PlayerSettings CopySettings(const qx::core::morvellib::MorvelInstanceParameters& parameters);

/// Takes "loop=3&speed=0.5&title=50%25" apart into `settings`. `loop` is a count, 0 or "forever";
/// `speed` is a factor from 0.01 to 100, `fit` one of Fit's names; every other name is the content's
/// own.
/// Returns  false with `error` saying which variable is wrong and what was expected.
bool ReadMorvelVars(PlayerSettings& settings, std::string& error);

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_PLAYERSETTINGS_H_
