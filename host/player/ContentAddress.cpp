// Takes the names of contents apart: paths and addresses.

#include "host/player/ContentAddress.h"

#include <ctype.h>

#include "host/base/Text.h"

namespace plexion_host::player {

namespace {

constexpr std::string_view kFileScheme = "file://";

bool IsSchemeCharacter(char c) {
  return isalnum(static_cast<unsigned char>(c)) != 0 || c == '+' || c == '-' || c == '.';
}

/// True for "word://...".
bool HasScheme(std::string_view text) {
  const size_t colon = text.find("://");
  if (colon == std::string_view::npos || colon == 0) return false;
  for (size_t i = 0; i < colon; ++i) {
    if (!IsSchemeCharacter(text[i])) return false;
  }
  return isalpha(static_cast<unsigned char>(text[0])) != 0;
}

std::string LastPart(std::string_view text) {
  while (text.size() > 1 && text.back() == '/') text.remove_suffix(1);
  const size_t slash = text.rfind('/');
  if (slash != std::string_view::npos && text.size() > 1) text.remove_prefix(slash + 1);
  return std::string(text);
}

std::string Joined(std::string_view base, std::string_view relative) {
  std::string joined(base);
  if (joined.back() != '/') joined += '/';
  joined += relative;
  return joined;
}

bool PathOfFileUrl(std::string_view url, std::string& path, std::string& error) {
  std::string_view rest = url.substr(kFileScheme.size());
  constexpr std::string_view kLocalhost = "localhost/";
  if (rest.substr(0, kLocalhost.size()) == kLocalhost) rest.remove_prefix(kLocalhost.size() - 1);
  if (rest.empty() || rest[0] != '/') {
    error = "\"" + std::string(url) + "\" names a file on another machine; expected file:///path";
    return false;
  }
  if (!DecodePercent(rest, path)) {
    error = "\"" + std::string(url) + "\" has a % without two hexadecimal digits after it";
    return false;
  }
  return true;
}

}  // namespace

bool ResolveContentAddress(std::string_view text, std::string_view base, ContentAddress& address,
                           std::string& error) {
  address = ContentAddress();
  if (text.empty()) {
    error = "no content is named";
    return false;
  }
  std::string whole(text);
  if (!HasScheme(text) && text[0] != '/' && !base.empty()) whole = Joined(base, text);

  if (whole.compare(0, kFileScheme.size(), kFileScheme) == 0) {
    if (!PathOfFileUrl(whole, address.path, error)) return false;
  } else if (HasScheme(whole)) {
    address.url = whole;
  } else {
    address.path = whole;
  }
  if (address.path.find('\0') != std::string::npos) {
    error = "the content's address holds a zero byte";
    return false;
  }
  address.name = LastPart(address.url.empty() ? address.path : address.url);
  return true;
}

}  // namespace plexion_host::player
