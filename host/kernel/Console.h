#ifndef HOST_KERNEL_CONSOLE_H_
#define HOST_KERNEL_CONSOLE_H_

#include <cstdarg>
#include <mutex>
#include <string>

#include "host/contracts/IHostConsole.h"

namespace plexion_host {

/// Where the kernel's Printf and the host's own messages go.
///
/// A call is one piece of output: it is formatted first and then written as a whole, so lines of
/// two threads are not mixed. What a capturing thread prints to standard output is kept for it;
/// messages to standard error are never captured.
class Console final : public IHostConsole {
 public:
  /// `outputFd` and `errorFd` stay the caller's.
  explicit Console(int outputFd = 1, int errorFd = 2) : outputFd_(outputFd), errorFd_(errorFd) {}

  void Print(const std::string& text);
  void PrintFormat(const char* format, va_list arguments);
  void PrintError(const std::string& text);

  void BeginCapture() override;
  std::string EndCapture() override;
  /// Hooks run under the console's lock, which a thread may take again: a hook may print.
  void SetTerminalHooks(void (*before)(void*), void (*after)(void*), void* context) override;
  bool IsLineOpen() override;

 private:
  void Write(int fd, const char* text, size_t size);

  const int outputFd_;
  const int errorFd_;
  std::recursive_mutex mutex_;  // guards what follows, and the order of output
  void (*before_)(void*) = nullptr;
  void (*after_)(void*) = nullptr;
  void* context_ = nullptr;
  bool insideHook_ = false;
  bool lineOpen_ = false;
};

}  // namespace plexion_host

#endif  // HOST_KERNEL_CONSOLE_H_
