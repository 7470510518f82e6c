// Finds passwords in texts and writes stars in their place.

#include "kit/record/Secrets.h"

#include <algorithm>
#include <cctype>

#include "host/base/Text.h"

namespace plexion_record {
namespace {

constexpr size_t kMostKnown = 256;

/// Each character as a star with as many bytes.
std::string Stars(std::string_view text) {
  std::string stars;
  for (size_t i = 0; i < text.size();) {
    const auto lead = static_cast<unsigned char>(text[i]);
    const size_t wanted = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC0 ? 2 : 1;
    size_t bytes = 1;
    while (bytes < wanted && i + bytes < text.size() &&
           plexion_host::IsUtf8Continuation(text[i + bytes])) {
      ++bytes;
    }
    constexpr const char* kStars[] = {"*", "\xC3\x97", "\xE2\x98\x85", "\xF0\x9F\x8C\x9F"};
    stars += bytes == wanted ? kStars[bytes - 1] : std::string(bytes, '*');
    i += bytes;
  }
  return stars;
}

bool IsHidden(std::string_view text) { return text == Stars(text); }

bool IsNamePart(char each) {
  return std::isalnum(static_cast<unsigned char>(each)) != 0 || each == '_' || each == '-' ||
         each == '.' || each == '%';
}

/// Whether a name speaks of a secret: "vncPassword", "api_key", "X-Auth-Token",
/// "user_pin".
bool SpeaksOfSecret(std::string_view name) {
  std::string lower;
  for (const char each : name) {
    lower += static_cast<char>(std::tolower(static_cast<unsigned char>(each)));
  }
  for (const char* const word :
       {"passw", "passphrase", "secret", "token", "credential", "apikey", "api_key", "api-key",
        "accesskey", "access_key", "signature", "sessionid", "session_id"}) {
    if (lower.find(word) != std::string::npos) return true;
  }
  // Short ones count as the last word only: "keyboard", "author" and "key-mode"
  // are no secrets.
  const size_t last = lower.find_last_of("_-.%");
  const std::string part = last != std::string::npos ? lower.substr(last + 1) : lower;
  for (const char* const word : {"pass", "pwd", "pw", "auth", "key", "pin", "sig"}) {
    if (part == word) return true;
  }
  return false;
}

std::string Decoded(std::string_view text) {
  std::string decoded;
  for (size_t i = 0; i < text.size(); ++i) {
    const bool whole = text[i] == '%' && i + 2 < text.size();
    const int high = whole ? plexion_host::HexDigit(text[i + 1]) : -1;
    const int low = whole ? plexion_host::HexDigit(text[i + 2]) : -1;
    // Read like the player's own reader, but a torn escape stays as it is: this looks for secrets in
    // whatever it gets, and refuses nothing.
    const bool escape = high >= 0 && low >= 0;
    decoded += escape ? static_cast<char>(16 * high + low) : text[i];
    if (escape) i += 2;
  }
  return decoded;
}

std::string Encoded(std::string_view text) {
  std::string encoded;
  for (const char each : text) {
    if (std::isalnum(static_cast<unsigned char>(each)) != 0 || each == '-' || each == '_' ||
        each == '.' || each == '~') {
      encoded += each;
    } else {
      constexpr char kDigits[] = "0123456789ABCDEF";
      const auto byte = static_cast<unsigned char>(each);
      encoded += {'%', kDigits[byte >> 4], kDigits[byte & 15]};
    }
  }
  return encoded;
}

}  // namespace

void Secrets::Remember(std::string_view secret) {
  if (IsHidden(secret)) return;
  for (const std::string& form : {std::string(secret), Decoded(secret), Encoded(secret)}) {
    if (form.size() < kShortestRemembered || known_.size() >= kMostKnown) continue;
    if (std::find(known_.begin(), known_.end(), form) != known_.end()) continue;
    const auto place = std::find_if(known_.begin(), known_.end(), [&](const std::string& other) {
      return other.size() < form.size();
    });
    known_.insert(place, form);
  }
}

void Secrets::HideAddresses(std::string& text) {
  for (size_t at = text.find("://"); at != std::string::npos; at = text.find("://", at + 3)) {
    const size_t begin = at + 3;
    size_t end = text.find_first_of("/?# \t\n\"'<>", begin);
    if (end == std::string::npos) end = text.size();
    // A password may hold '@' unescaped, against the rules: the last one ends
    // it.
    const size_t sign = text.rfind('@', end - 1);
    if (end == begin || sign == std::string::npos || sign < begin) continue;
    const size_t colon = text.find(':', begin);
    if (colon == std::string::npos || colon > sign) continue;
    const std::string password = text.substr(colon + 1, sign - colon - 1);
    Remember(password);
    text.replace(colon + 1, password.size(), Stars(password));
  }
}

void Secrets::HideValues(std::string& text) {
  for (size_t at = text.find('='); at != std::string::npos; at = text.find('=', at + 1)) {
    size_t name = at;
    while (name > 0 && IsNamePart(text[name - 1])) --name;
    if (!SpeaksOfSecret(std::string_view(text).substr(name, at - name))) continue;
    size_t end = text.find_first_of("&; \t\r\n\"'", at + 1);
    if (end == std::string::npos) end = text.size();
    const std::string value = text.substr(at + 1, end - at - 1);
    Remember(value);
    text.replace(at + 1, value.size(), Stars(value));
  }
}

void Secrets::HideKnown(std::string& text) {
  for (const std::string& secret : known_) {
    for (size_t at = text.find(secret); at != std::string::npos;
         at = text.find(secret, at + secret.size())) {
      text.replace(at, secret.size(), Stars(secret));
    }
  }
}

std::string Secrets::Hide(std::string_view text) {
  std::string hidden(text);
  HideKnown(hidden);
  HideAddresses(hidden);
  HideValues(hidden);
  return hidden;
}

std::string Secrets::HideAll(std::string_view secret) {
  Remember(secret);
  return Stars(secret);
}

std::vector<std::string> Secrets::HideWords(int count, const char* const* words) {
  std::vector<std::string> all;
  int secretIn = 0;  // so many words further on there is one
  for (int i = 0; i < count && words != nullptr; ++i) {
    const std::string_view word = words[i] != nullptr ? words[i] : "";
    if (secretIn > 0 && --secretIn == 0) {
      all.push_back(HideAll(word));
      continue;
    }
    all.push_back(Hide(word));
    if (word.compare(0, 2, "--") != 0 || word.find('=') != std::string_view::npos) continue;
    if (word == "--proxyauthentication") {
      secretIn = 2;  // the user's name comes first
    } else if (SpeaksOfSecret(word.substr(2)) && i + 1 < count && words[i + 1] != nullptr &&
               words[i + 1][0] != '-') {
      secretIn = 1;
    }
  }
  return all;
}

void Secrets::LearnEnvironment(const char* const* variables) {
  for (; variables != nullptr && *variables != nullptr; ++variables) {
    const std::string_view variable = *variables;
    const size_t sign = variable.find('=');
    if (sign == std::string_view::npos) continue;
    const std::string_view value = variable.substr(sign + 1);
    // Only what cannot be a word of another meaning: "1" or a file's path would
    // be found everywhere.
    if (SpeaksOfSecret(variable.substr(0, sign)) && value.find('/') == std::string_view::npos) {
      Remember(value);
    }
    Hide(value);
  }
}

}  // namespace plexion_record
