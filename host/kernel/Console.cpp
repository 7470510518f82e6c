#include "host/kernel/Console.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <memory>
#include <utility>
#include <vector>

namespace plexion_host {
namespace {

// Null while the thread does not capture. One for all consoles: a thread prints for one at a time.
thread_local std::unique_ptr<std::string> captured;

}  // namespace

void Console::Print(const std::string& text) {
  if (captured != nullptr) {
    captured->append(text);
    return;
  }
  Write(outputFd_, text.data(), text.size());
}

void Console::PrintFormat(const char* format, va_list arguments) {
  char small[1024];
  va_list again;
  va_copy(again, arguments);
  const int length = std::vsnprintf(small, sizeof(small), format, arguments);
  if (length >= 0 && static_cast<size_t>(length) < sizeof(small)) {
    Print(std::string(small, static_cast<size_t>(length)));
  } else if (length >= 0) {
    std::vector<char> large(static_cast<size_t>(length) + 1);
    std::vsnprintf(large.data(), large.size(), format, again);
    Print(std::string(large.data(), static_cast<size_t>(length)));
  }
  va_end(again);
}

void Console::PrintError(const std::string& text) { Write(errorFd_, text.data(), text.size()); }

void Console::BeginCapture() { captured = std::make_unique<std::string>(); }

std::string Console::EndCapture() {
  const std::unique_ptr<std::string> text = std::move(captured);
  return text != nullptr ? *text : std::string();
}

void Console::SetTerminalHooks(void (*before)(void*), void (*after)(void*), void* context) {
  const std::lock_guard<std::recursive_mutex> lock(mutex_);
  before_ = before;
  after_ = after;
  context_ = context;
}

bool Console::IsLineOpen() {
  const std::lock_guard<std::recursive_mutex> lock(mutex_);
  return lineOpen_;
}

void Console::Write(int fd, const char* text, size_t size) {
  if (size == 0) return;
  const std::lock_guard<std::recursive_mutex> lock(mutex_);
  const bool hooked = !insideHook_;
  if (hooked && before_ != nullptr) {
    insideHook_ = true;
    before_(context_);
    insideHook_ = false;
  }
  lineOpen_ = text[size - 1] != '\n';
  while (size > 0) {
    const ssize_t written = write(fd, text, size);
    if (written > 0) {
      text += written;
      size -= static_cast<size_t>(written);
    } else if (written < 0 && errno == EAGAIN) {
      // Somebody made the terminal non-blocking; output is still not to be lost.
      pollfd ready{fd, POLLOUT, 0};
      poll(&ready, 1, 1000);
    } else if (written == 0 || errno != EINTR) {
      break;  // nobody reads any more, and there is nobody to tell
    }
  }
  if (hooked && after_ != nullptr) {
    insideHook_ = true;
    after_(context_);
    insideHook_ = false;
  }
}

}  // namespace plexion_host
