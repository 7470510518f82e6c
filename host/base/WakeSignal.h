#ifndef HOST_BASE_WAKESIGNAL_H_
#define HOST_BASE_WAKESIGNAL_H_

#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>

namespace plexion_host {

/// Ends the waits of a thread that polls: once raised it stays raised.
class WakeSignal {
 public:
  WakeSignal() : fd_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}
  ~WakeSignal() {
    if (fd_ >= 0) close(fd_);
  }
  WakeSignal(const WakeSignal&) = delete;
  WakeSignal& operator=(const WakeSignal&) = delete;

  /// Readable once raised; -1 when the system had none to give.
  int Fd() const { return fd_; }
  bool IsRaised() const { return raised_; }
  void Raise() {
    raised_ = true;
    const uint64_t one = 1;
    const ssize_t written = write(fd_, &one, sizeof(one));
    (void)written;  // a full counter is as readable as any
  }

 private:
  const int fd_;
  std::atomic<bool> raised_{false};
};

}  // namespace plexion_host

#endif  // HOST_BASE_WAKESIGNAL_H_
