// Descriptors by which one thread ends another's poll.

#ifndef HOST_BASE_WAKESIGNAL_H_
#define HOST_BASE_WAKESIGNAL_H_

#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>

namespace plexion_host {

/// A descriptor that is readable from Set to Clear. Any thread may set it, one polls and clears it.
class WakeEvent {
 public:
  WakeEvent() : fd_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}
  ~WakeEvent() {
    if (fd_ >= 0) close(fd_);
  }
  WakeEvent(const WakeEvent&) = delete;
  WakeEvent& operator=(const WakeEvent&) = delete;

  /// -1 when the system had none to give.
  int Fd() const { return fd_; }
  void Set() {
    const uint64_t one = 1;
    const ssize_t written = write(fd_, &one, sizeof(one));
    (void)written;  // a full counter is as readable as any
  }
  void Clear() {
    uint64_t count = 0;
    const ssize_t drained = read(fd_, &count, sizeof(count));
    (void)drained;  // one that was not set is as clear as any
  }

 private:
  const int fd_;
};

/// Ends the waits of a thread that polls: once raised it stays raised.
class WakeSignal {
 public:
  /// Readable once raised; -1 when the system had none to give.
  int Fd() const { return event_.Fd(); }
  bool IsRaised() const { return raised_; }
  void Raise() {
    raised_ = true;
    event_.Set();
  }

 private:
  WakeEvent event_;
  std::atomic<bool> raised_{false};
};

}  // namespace plexion_host

#endif  // HOST_BASE_WAKESIGNAL_H_
