// Looks at a request's first lines.
#include "host/look/RequestRules.h"

#include <arpa/inet.h>

#include <utility>

namespace plexion_host {
namespace {

bool IsNumber(const std::string& address) {
  in_addr four{};
  in6_addr six{};
  return inet_pton(AF_INET, address.c_str(), &four) == 1 ||
         inet_pton(AF_INET6, address.c_str(), &six) == 1;
}

bool IsLoopback(const std::string& address) {
  return address.compare(0, 4, "127.") == 0 || address == "::1";
}

}  // namespace

RequestRules::RequestRules(std::string address, uint16_t port, std::string token)
    : address_(std::move(address)), port_(port), token_(std::move(token)) {}

bool RequestRules::IsOurHost(const std::string& host) const {
  std::string name = host;
  const std::string port = ":" + std::to_string(port_);
  if (name.size() > port.size() &&
      name.compare(name.size() - port.size(), port.size(), port) == 0) {
    name.erase(name.size() - port.size());
  } else if (port_ != 80) {
    return false;
  }
  if (name.size() > 2 && name.front() == '[' && name.back() == ']') {
    name = name.substr(1, name.size() - 2);
  }
  // A name that leads here by somebody else's name server (DNS rebinding) is none of ours: served at all
  // addresses, only numbers and localhost are.
  const bool all = address_ == "0.0.0.0" || address_ == "::";
  if (all) return IsNumber(name) || name == "localhost";
  return name == address_ || (name == "localhost" && IsLoopback(address_));
}

bool RequestRules::IsToken(const std::string& text) const {
  // Every character is looked at, whatever came before: the time of the answer tells nothing of the token.
  unsigned different = text.size() == token_.size() ? 0 : 1;
  for (size_t i = 0; i < token_.size(); ++i) {
    const char other = i < text.size() ? text[i] : '\0';
    different |= static_cast<unsigned char>(token_[i] ^ other);
  }
  return different == 0;
}

unsigned RequestRules::Check(const LookRequest& request, std::string& rest) const {
  constexpr unsigned kForbidden = 403;
  constexpr unsigned kNotAllowed = 405;
  if (!IsOurHost(request.host)) return kForbidden;
  if (request.path.empty() || request.path[0] != '/') return kForbidden;
  const size_t slash = request.path.find('/', 1);
  if (!IsToken(request.path.substr(1, slash == std::string::npos ? slash : slash - 1))) {
    return kForbidden;
  }
  rest = slash == std::string::npos ? std::string() : request.path.substr(slash);
  const bool action = rest.compare(0, 4, "/do/") == 0;
  if (request.method == "GET" || request.method == "HEAD") return action ? kNotAllowed : 0;
  if (request.method != "POST" || !action) return kNotAllowed;
  // A page of another site can send a form, with the address if it knows it, but neither a header of its own
  // nor our Origin. Browsers that send none of these are old, or no browsers.
  const bool ours = request.origin.empty() || request.origin == "http://" + request.host;
  const bool site = request.fetchSite.empty() || request.fetchSite == "same-origin";
  return ours && site && !request.mark.empty() ? 0 : kForbidden;
}

}  // namespace plexion_host
