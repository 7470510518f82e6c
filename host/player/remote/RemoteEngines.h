// Engines in processes of their own.

#ifndef HOST_PLAYER_REMOTE_REMOTEENGINES_H_
#define HOST_PLAYER_REMOTE_REMOTEENGINES_H_

#include <memory>
#include <string>
#include <vector>

#include "host/base/Mutex.h"
#include "host/player/engines/EngineSource.h"
#include "host/player/remote/ContentProcesses.h"

namespace plexion_host::player::remote {

/// Gives each content an engine in a process of its own. What the content is is found out here, by its
/// first bytes alone: it decides what the process may do.
class RemoteEngines final : public EngineSource {
 public:
  /// `program` is the path of plexion-content.
  explicit RemoteEngines(std::string program) : processes_(std::move(program)) {}

  std::unique_ptr<Engine> OpenEngine(const ContentAddress& content, EngineHost& host,
                                     EngineError& error) override;
  /// Has a process started and its libraries opened.
  void Prepare(const ContentAddress& content) override;
  void PrepareEarly(const ContentAddress& content) override;
  std::string Protection() override { return processes_.Protection(); }

 private:
  Mutex mutex_;
  std::vector<ContentOrder> early_
      GUARDED_BY(mutex_);  ///< prepared, and no window has come for it yet
  ContentProcesses processes_;
};

}  // namespace plexion_host::player::remote

#endif  // HOST_PLAYER_REMOTE_REMOTEENGINES_H_
