// Finds the instance of a window and hands it what the host's commands ask.
#include "host/player/instance/PlayerBoard.h"

#include <utility>

namespace plexion_host::player {

PlayerBoard& PlayerBoard::Get() {
  static PlayerBoard board;
  return board;
}

void PlayerBoard::SetEngines(EngineSource* engines) {
  const MutexLock lock(mutex_);
  engines_ = engines;
}

void PlayerBoard::Prepare(const qx::plexion::StageWindowParameters& parameters) {
  const auto text = [](const char* value) { return std::string(value == nullptr ? "" : value); };
  // The same base as the load will take, or what is made ready early is not what is asked for.
  const std::string zorBase = text(parameters.zorBase);
  ContentAddress content;
  std::string ignored;
  const std::string base = zorBase.empty() ? text(parameters.base) : zorBase;
  if (!ResolveContentAddress(text(parameters.contentPath), base, content, ignored)) return;
  const MutexLock lock(mutex_);
  if (engines_ != nullptr) engines_->PrepareEarly(content);
}

std::string PlayerBoard::Protection() {
  const MutexLock lock(mutex_);
  return engines_ == nullptr ? std::string() : engines_->Protection();
}

void PlayerBoard::Add(const qx::plexion::StageWindow* window, PlayerInstance* instance) {
  if (window == nullptr || instance == nullptr) return;
  const MutexLock lock(mutex_);
  Entry& entry = entries_[window];
  entry.instance = instance;
  // Set before the instance was there: the volume is the window's, not its player's.
  if (entry.volume != 1) instance->SetVolume(entry.volume);
}

void PlayerBoard::Remove(const PlayerInstance* instance) {
  const MutexLock lock(mutex_);
  for (auto entry = entries_.begin(); entry != entries_.end(); ++entry) {
    if (entry->second.instance != instance) continue;
    entry->second.instance = nullptr;
    // A volume that was set is Forget's to take away.
    if (entry->second.volume == 1) entries_.erase(entry);
    return;
  }
}

void PlayerBoard::SetVolume(const qx::plexion::StageWindow* window, double factor) {
  const MutexLock lock(mutex_);
  Entry& entry = entries_[window];
  entry.volume = factor;
  if (entry.instance != nullptr) entry.instance->SetVolume(factor);
}

void PlayerBoard::Forget(const qx::plexion::StageWindow* window) {
  const MutexLock lock(mutex_);
  const auto found = entries_.find(window);
  if (found == entries_.end()) return;
  found->second.volume = 1;
  if (found->second.instance == nullptr) entries_.erase(found);
}

bool PlayerBoard::Seek(const qx::plexion::StageWindow* window, double seconds, bool relative,
                       std::function<void(const std::string& fault)> done) {
  const MutexLock lock(mutex_);
  const auto found = entries_.find(window);
  if (found == entries_.end() || found->second.instance == nullptr) return false;
  // Under the lock, so that the instance cannot go meanwhile; it only posts.
  return found->second.instance->Seek(seconds, relative, std::move(done));
}

}  // namespace plexion_host::player
