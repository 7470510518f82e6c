// Looks for sound devices and servers without asking them.

#include "host/player/media/sound/SoundOutput.h"

#include <unistd.h>

#include <cstdlib>

#include "host/base/Check.h"
#include "host/contracts/IHostSound.h"

namespace plexion_host::player {

namespace {

/// Each names a server or device that may be anywhere.
constexpr const char* kVariables[] = {
    "PULSE_SERVER",        "PULSE_RUNTIME_PATH", "PIPEWIRE_REMOTE", "PIPEWIRE_RUNTIME_DIR",
    "JACK_DEFAULT_SERVER", "AUDIODEV",           "ALSA_CONFIG_PATH"};

/// Servers of the whole system, and what an administrator wrote.
constexpr const char* kPaths[] = {"/dev/dsp", "/run/pulse/native", "/run/pipewire/pipewire-0",
                                  "/etc/asound.conf"};
constexpr int kMostCards = 32;  // the kernel's limit

constexpr const char* kInRuntimeFolder[] = {"/pulse/native", "/pipewire-0"};
constexpr const char* kInHome[] = {"/.asoundrc", "/.config/alsa/asoundrc", "/.pulse/client.conf",
                                   "/.config/pulse/client.conf"};

}  // namespace

SoundSurroundings RealSoundSurroundings() {
  return {[](const char* name) -> std::string {
            const char* value = getenv(name);
            return value == nullptr ? "" : value;
          },
          [](const std::string& path) { return access(path.c_str(), F_OK) == 0; }};
}

bool SoundMayBeHeard(const SoundSurroundings& surroundings) {
  PLEXION_CHECK(surroundings.variable != nullptr && surroundings.exists != nullptr,
                "there is somebody to ask");
  // Somebody has chosen: then that is asked, or nothing is.
  const std::string chosen = surroundings.variable(kSoundOutputVariable);
  if (!chosen.empty() && chosen != "auto") return chosen != "none";
  for (const char* name : kVariables) {
    if (!surroundings.variable(name).empty()) return true;
  }
  for (const char* path : kPaths) {
    if (surroundings.exists(path)) return true;
  }
  // "timer" and "seq" are there without any card.
  for (int card = 0; card < kMostCards; ++card) {
    if (surroundings.exists("/dev/snd/controlC" + std::to_string(card))) return true;
  }
  std::string runtime = surroundings.variable("XDG_RUNTIME_DIR");
  if (runtime.empty()) runtime = "/run/user/" + std::to_string(getuid());
  for (const char* path : kInRuntimeFolder) {
    if (surroundings.exists(runtime + path)) return true;
  }
  const std::string home = surroundings.variable("HOME");
  for (const char* path : kInHome) {
    if (!home.empty() && surroundings.exists(home + path)) return true;
  }
  return false;
}

}  // namespace plexion_host::player
