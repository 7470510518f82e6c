// What the service manager that started the launcher hears of it.

#include "host/launcher/process/ServiceManager.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "host/base/Text.h"
#include "host/kernel/OperatorLog.h"

namespace plexion_host {
namespace {

std::string TakeVariable(const char* name) {
  const char* const value = std::getenv(name);
  std::string text = value != nullptr ? value : "";
  unsetenv(name);
  return text;
}

}  // namespace

ServiceManager::ServiceManager() : address_(TakeVariable("NOTIFY_SOCKET")) {
  const auto timeoutUs = ReadWholeNumber(TakeVariable("WATCHDOG_USEC"), 1, INT64_MAX);
  const std::string process = TakeVariable("WATCHDOG_PID");
  const bool path = !address_.empty() && (address_[0] == '/' || address_[0] == '@');
  if (!path || address_.size() >= sizeof(sockaddr_un::sun_path)) return;
  socket_ = Descriptor(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  underCompositor_ = process == std::to_string(getppid());
  const bool meant = process.empty() || process == std::to_string(getpid()) || underCompositor_;
  if (!timeoutUs || !meant) return;
  // Half of the time-out, in milliseconds of microseconds.
  watchdogPeriod_ = std::chrono::milliseconds(*timeoutUs / 2000);
}

void ServiceManager::SayReady() const {
  Say(underCompositor_ ? "READY=1\nMAINPID=" + std::to_string(getpid()) : "READY=1");
}

void ServiceManager::SayStatus(const std::string& text) const {
  if (IsThere()) Say("STATUS=" + PrintableWord(WithoutPasswords(text)));
}

void ServiceManager::Say(const std::string& message) const {
  // Without a manager, which is the usual case.
  if (!socket_) return;
  sockaddr_un to{};
  to.sun_family = AF_UNIX;
  std::memcpy(to.sun_path, address_.data(), address_.size());
  if (to.sun_path[0] == '@') to.sun_path[0] = '\0';  // a name that is no file
  // The length counts: a name that is no file may hold zeros, and ends with its last byte.
  const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + address_.size());
  // A manager that does not listen is not waited for: its watchdog then says the rest.
  (void)sendto(socket_.Get(), message.data(), message.size(), MSG_DONTWAIT | MSG_NOSIGNAL,
               reinterpret_cast<const sockaddr*>(&to), size);
}

}  // namespace plexion_host
