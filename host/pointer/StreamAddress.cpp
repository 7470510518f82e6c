// Reads, judges and opens the address of the pointer stream.

#include "host/pointer/StreamAddress.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "host/base/Check.h"
#include "host/base/Text.h"

namespace plexion_host {
namespace {

constexpr const char* kExpected =
    " (expected ADDRESS:PORT, for example 127.0.0.1:5900 or [::1]:5900)";

bool IsPort(const std::string& text) {
  // 0 is a port that the system chooses, which tests use.
  return ReadWholeNumber(text, 0, 65535).has_value();
}

}  // namespace

bool StreamAddress::Parse(const std::string& text, std::string& error) {
  text_ = text;
  // The last one: an IPv6 address has others before it.
  const size_t colon = text.rfind(':');
  if (colon == std::string::npos || colon == 0) {
    error = "'" + text + "' is no address" + kExpected;
    return false;
  }
  std::string host = text.substr(0, colon);
  const std::string port = text.substr(colon + 1);
  if (!IsPort(port)) {
    error = "'" + port + "' is no port" + kExpected;
    return false;
  }
  if (host.front() == '[' && host.back() == ']') {
    host = host.substr(1, host.size() - 2);
  } else if (host.find(':') != std::string::npos) {
    error = "the IPv6 address in '" + text + "' needs brackets" + kExpected;
    return false;
  }
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
  addrinfo* found = nullptr;
  const int code = getaddrinfo(host.c_str(), port.c_str(), &hints, &found);
  if (code != 0 || found == nullptr) {
    error = "the address '" + host + "' is not known: " + gai_strerror(code);
    return false;
  }
  length_ = found->ai_addrlen;
  PLEXION_CHECK(length_ <= sizeof(address_), "every family of addresses fits");
  std::memcpy(&address_, found->ai_addr, length_);
  freeaddrinfo(found);
  return true;
}

bool StreamAddress::IsLoopback() const {
  if (address_.ss_family == AF_INET) {
    sockaddr_in v4{};
    std::memcpy(&v4, &address_, sizeof(v4));
    return (ntohl(v4.sin_addr.s_addr) >> 24) == 127;
  }
  if (address_.ss_family != AF_INET6) return false;
  sockaddr_in6 v6{};
  std::memcpy(&v6, &address_, sizeof(v6));
  // An IPv4 address in IPv6 form is the same machine, too.
  return IN6_IS_ADDR_LOOPBACK(&v6.sin6_addr) ||
         (IN6_IS_ADDR_V4MAPPED(&v6.sin6_addr) && v6.sin6_addr.s6_addr[12] == 127);
}

int StreamAddress::Listen(std::string& error) const {
  const int fd = socket(address_.ss_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  const int yes = 1;
  // Else a display that is started again could not serve for a minute.
  if (fd >= 0) setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof(yes));
  if (fd < 0 || bind(fd, reinterpret_cast<const sockaddr*>(&address_), length_) != 0 ||
      listen(fd, SOMAXCONN) != 0) {
    error = "nothing can be served at " + text_ + ": " + std::strerror(errno);
    if (fd >= 0) close(fd);
    return -1;
  }
  return fd;
}

std::string StreamAddress::Describe(int socket) {
  sockaddr_storage address{};
  socklen_t length = sizeof(address);
  char host[NI_MAXHOST] = "";
  char port[NI_MAXSERV] = "";
  auto* const generic = reinterpret_cast<sockaddr*>(&address);
  if (getsockname(socket, generic, &length) != 0 ||
      getnameinfo(generic, length, host, sizeof(host), port, sizeof(port),
                  NI_NUMERICHOST | NI_NUMERICSERV) != 0) {
    return std::string();
  }
  const std::string name = host;
  return (address.ss_family == AF_INET6 ? "[" + name + "]" : name) + ":" + port;
}

}  // namespace plexion_host
