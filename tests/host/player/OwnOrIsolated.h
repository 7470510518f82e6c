// Engines of a suite that can run twice: in the test's process, and in processes of their own.

#ifndef TESTS_HOST_PLAYER_OWNORISOLATED_H_
#define TESTS_HOST_PLAYER_OWNORISOLATED_H_

#include <cstdlib>
#include <memory>

#include "host/player/remote/RemoteEngines.h"

namespace plexion_host::player {

/// The path of plexion-content, or null.
inline const char* IsolationProgram() { return getenv("PLEXION_TEST_ISOLATION"); }
inline bool IsIsolated() { return IsolationProgram() != nullptr; }

/// `Own` makes engines here. With PLEXION_TEST_ISOLATION, the path of plexion-content, each content has
/// a process instead, with everything given up that it gives up on a display.
template <typename Own>
class OwnOrIsolated final : public EngineSource {
 public:
  OwnOrIsolated() {
    const char* const program = IsolationProgram();
    if (program != nullptr) {
      engines_ = std::make_unique<remote::RemoteEngines>(program);
    } else {
      engines_ = std::make_unique<Own>();
    }
  }
  std::unique_ptr<Engine> OpenEngine(const ContentAddress& content, EngineHost& host,
                                     EngineError& error) override {
    return engines_->OpenEngine(content, host, error);
  }
  void Prepare(const ContentAddress& content) override { engines_->Prepare(content); }

 private:
  std::unique_ptr<EngineSource> engines_;
};

}  // namespace plexion_host::player

#endif  // TESTS_HOST_PLAYER_OWNORISOLATED_H_
