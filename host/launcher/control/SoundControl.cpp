// Keeps the levels and hands each window what they come to.
#include "host/launcher/control/SoundControl.h"

#include <algorithm>
#include <cmath>
#include <string_view>
#include <utility>

#include "host/base/Check.h"
#include "qx/plexion/KeyCodes.h"

namespace plexion_host {
namespace {

/// The code of a key that has a name; the contract tells each once.
constexpr uint32_t CodeOf(std::string_view name) {
  for (const qx::plexion::NamedKey& key : qx::plexion::kNamedKeys) {
    if (name == key.name) return key.code;
  }
  return qx::plexion::kKeyNone;
}

constexpr uint32_t kKeyVolumeUp = CodeOf("volumeup");
constexpr uint32_t kKeyVolumeDown = CodeOf("volumedown");
constexpr uint32_t kKeyMute = CodeOf("mute");
static_assert(kKeyVolumeUp != 0 && kKeyVolumeDown != 0 && kKeyMute != 0, "keys with names");

bool IsUsual(const SoundLevel& level) { return level.volume == 1 && !level.muted; }

}  // namespace

void SoundControl::SetPlayer(Player player) {
  PLEXION_CHECK(player != nullptr, "Close takes a player back");
  const MutexLock lock(mutex_);
  player_ = std::move(player);
}

void SoundControl::Close() {
  const MutexLock lock(mutex_);
  player_ = nullptr;
  found_ = nullptr;
}

// Asked when a level is first set, and not before: a player that nobody has yet would be loaded for
// its volume.
bool SoundControl::FindPlayer(std::string& error) {
  if (found_ == nullptr && player_) found_ = player_(error);
  if (found_ == nullptr && error.empty()) error = "there is no player yet";
  return found_ != nullptr;
}

void SoundControl::Apply(const qx::plexion::StageWindow* window, const Window& entry) {
  const SoundLevel level = EffectiveLocked(entry.zone, entry.number);
  if (found_ != nullptr) found_->SetVolume(window, level.muted ? 0 : level.volume);
}

void SoundControl::OnWindow(const HostWindow& window) {
  const MutexLock lock(mutex_);
  PLEXION_CHECK(window.window != nullptr && window.number != 0, "a window has its number");
  const Window entry{window.number, window.zone};
  windows_[window.window] = entry;
  Apply(window.window, entry);
}

void SoundControl::OnWindowGone(const qx::plexion::StageWindow* window) {
  const MutexLock lock(mutex_);
  const auto found = windows_.find(window);
  if (found == windows_.end()) return;
  // Its number is never given again; what was set for it goes.
  numbers_.erase(found->second.number);
  windows_.erase(found);
  if (found_ != nullptr) found_->Forget(window);
}

SoundLevel& SoundControl::LevelOf(const Target& target) {
  if (target.window != 0) return numbers_[target.window];
  return target.zone.empty() ? all_ : zones_[target.zone];
}

// Factors multiply, mutes add up: a zone at half in a display at half is a quarter.
SoundLevel SoundControl::EffectiveLocked(const std::string& zone, unsigned window) const {
  SoundLevel level = all_;
  const auto add = [&](const SoundLevel& other) {
    level.volume *= other.volume;
    level.muted = level.muted || other.muted;
  };
  const auto ofZone = zones_.find(zone);
  if (!zone.empty() && ofZone != zones_.end()) add(ofZone->second);
  const auto ofWindow = numbers_.find(window);
  if (ofWindow != numbers_.end()) add(ofWindow->second);
  return level;
}

bool SoundControl::Set(const Target& target, const Change& change, std::string& error) {
  PLEXION_CHECK(!change.volume || (*change.volume >= 0 && *change.volume <= 1),
                "commands have checked what an operator wrote");
  const MutexLock lock(mutex_);
  if (!FindPlayer(error)) return false;
  SoundLevel& level = LevelOf(target);
  // Whole per cents: steps up and down come back to where they began.
  const double wanted = change.volume.value_or(level.volume) + change.by;
  level.volume = std::round(std::clamp(wanted, 0.0, 1.0) * 100) / 100;
  if (change.volume || change.by != 0) level.muted = false;
  if (change.muted) level.muted = *change.muted;
  if (change.toggle) level.muted = !level.muted;
  // Windows come and go for years.
  if (target.window != 0 && IsUsual(level)) numbers_.erase(target.window);
  // All of them: a level of a zone or of everything reaches each window by EffectiveLocked.
  for (const auto& [window, entry] : windows_) Apply(window, entry);
  return true;
}

SoundLevel SoundControl::Get(const Target& target) {
  const MutexLock lock(mutex_);
  if (target.window != 0) {
    const auto found = numbers_.find(target.window);
    return found != numbers_.end() ? found->second : SoundLevel();
  }
  return LevelOf(target);
}

SoundLevel SoundControl::Effective(const std::string& zone, unsigned window) {
  const MutexLock lock(mutex_);
  return EffectiveLocked(zone, window);
}

bool SoundControl::Seek(const qx::plexion::StageWindow* window, double seconds, bool relative,
                        std::function<void(const std::string& fault)> done, std::string& error) {
  const MutexLock lock(mutex_);
  if (!FindPlayer(error)) return false;
  if (found_->Seek(window, seconds, relative, std::move(done))) return true;
  error = "its player does not play it yet, or no more";
  return false;
}

bool SoundControl::OnKey(uint32_t key) {
  Change change;
  if (key == kKeyVolumeUp) change.by = kStep;
  if (key == kKeyVolumeDown) change.by = -kStep;
  change.toggle = key == kKeyMute;
  if (change.by == 0 && !change.toggle) return false;
  std::string ignored;
  Set({}, change, ignored);
  return true;
}

}  // namespace plexion_host
