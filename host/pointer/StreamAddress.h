// Where the pointer stream is served.

#ifndef HOST_POINTER_STREAMADDRESS_H_
#define HOST_POINTER_STREAMADDRESS_H_

#include <sys/socket.h>

#include <string>

namespace plexion_host {

/// Where the pointer stream is served: "ADDRESS:PORT", an IPv6 address in brackets. Port 0 lets the
/// system choose one.
class StreamAddress {
 public:
  /// Returns  false with what is wrong, and what would be right, in `error`.
  bool Parse(const std::string& text, std::string& error);

  /// True when only this machine can reach it.
  bool IsLoopback() const;

  /// Returns  a listening socket that does not block, or -1 with the reason in `error`.
  int Listen(std::string& error) const;

  /// "127.0.0.1:5900" of a listening socket; empty when it is none.
  static std::string Describe(int socket);

 private:
  std::string text_;
  sockaddr_storage address_{};
  socklen_t length_ = 0;
};

}  // namespace plexion_host

#endif  // HOST_POINTER_STREAMADDRESS_H_
