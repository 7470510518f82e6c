// The player, as an engine in a content's process sees it.

#ifndef HOST_CONTENT_CONTENTHOST_H_
#define HOST_CONTENT_CONTENTHOST_H_

#include <atomic>
#include <chrono>
#include <string>

#include "host/base/Mutex.h"
#include "host/content/ContentMemory.h"
#include "host/player/Engine.h"
#include "host/player/remote/Link.h"

namespace plexion_host::content {

/// Sends what an engine says to the launcher as events. Content that says more than it may have to say
/// is cut short here, with a word about it, so that it is not taken for an attack there.
///
/// Thread   as EngineHost.
class ContentHost final : public player::EngineHost {
 public:
  /// `socket` and `page` outlive this.
  ContentHost(int socket, player::remote::CallPage& page);

  qx::plexion::MemoryWatchdog* Memory() override { return &memory_; }
  const player::PlayerSettings& Settings() override { return settings_; }
  bool Cancelled() override;
  void ReportProgress(unsigned percent) override;
  void RequestFrame() override;
  void Complete() override;
  void Fail(const player::EngineError& error) override;
  void Notify(qx::plexion::StageWindowStatus event, const std::string& message) override;

  /// Thread   of the engine.
  player::PlayerSettings& ChangeSettings() { return settings_; }
  ContentMemory& GetMemory() { return memory_; }
  /// The frame that was asked for is being worked out: the next request is a new one.
  void BeginFrame() { frameWanted_ = false; }
  void Send(const player::remote::Record& event);
  /// Events so far.
  uint32_t Sent() const { return sent_; }

 private:
  bool MayNotify() REQUIRES(mutex_);

  const int socket_;
  player::remote::CallPage& page_;
  player::PlayerSettings settings_;
  ContentMemory memory_;
  std::atomic<uint32_t> sent_{0};
  std::atomic<bool> frameWanted_{false};
  std::atomic<bool> memoryRefused_{false};

  Mutex mutex_;
  double notices_ GUARDED_BY(mutex_) = 0;  ///< that may still be sent
  uint64_t leftOut_ GUARDED_BY(mutex_) = 0;
  std::chrono::steady_clock::time_point counted_ GUARDED_BY(mutex_);
};

}  // namespace plexion_host::content

#endif  // HOST_CONTENT_CONTENTHOST_H_
