// Which requests are answered: those of who knows the token, from no page but our own.

#ifndef HOST_LOOK_REQUESTRULES_H_
#define HOST_LOOK_REQUESTRULES_H_

#include <cstdint>
#include <string>

namespace plexion_host {

/// What of a request the rules look at; a header that was not sent is empty.
struct LookRequest {
  std::string method;
  std::string path;
  std::string host;
  std::string origin;
  std::string fetchSite;  ///< Sec-Fetch-Site
  std::string mark;       ///< X-Plexion
};

/// Rules:
///   - The Host must be the address that is served, as a number or, on a loopback address, "localhost".
///     A name that somebody has made point here (DNS rebinding) is refused.
///   - The path begins with the token. It is compared in a time that tells nothing of it.
///   - What changes something is a POST with the header X-Plexion, which another origin's page cannot
///     send, and not from an origin but our own.
class RequestRules {
 public:
  RequestRules(std::string address, uint16_t port, std::string token);

  /// Returns  0 with the path behind the token in `rest` ("" for the token without its slash), or the
  ///          HTTP status of the refusal.
  unsigned Check(const LookRequest& request, std::string& rest) const;

 private:
  bool IsOurHost(const std::string& host) const;
  bool IsToken(const std::string& text) const;

  const std::string address_;
  const uint16_t port_;
  const std::string token_;
};

}  // namespace plexion_host

#endif  // HOST_LOOK_REQUESTRULES_H_
