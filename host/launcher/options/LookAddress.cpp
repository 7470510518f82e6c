// Reads where the page is to be served, and keeps its token.
#include "host/launcher/options/LookAddress.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <sys/random.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "host/base/RandomToken.h"
#include "host/base/ReadFile.h"
#include "host/base/Text.h"

namespace plexion_host {
namespace {

constexpr size_t kFewestCharacters = 16;
constexpr size_t kMostCharacters = 128;

bool IsTokenCharacter(char character) {
  return (character >= '0' && character <= '9') || (character >= 'a' && character <= 'z') ||
         (character >= 'A' && character <= 'Z') || character == '-' || character == '_';
}

/// Only its owner may read it, from the first moment on. Returns  false with errno.
bool WriteToken(const std::string& path, const std::string& token) {
  const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600);
  if (fd < 0) return false;
  const std::string line = token + "\n";
  const bool written = write(fd, line.data(), line.size()) == static_cast<ssize_t>(line.size());
  return close(fd) == 0 && written;
}

}  // namespace

std::string ReadLookAddress(const std::string& text, std::optional<LookAddress>& address) {
  const char* const expected =
      "ADDRESS:PORT with an address in numbers, for example 127.0.0.1:8080 or [::1]:8080";
  const size_t colon = text.rfind(':');
  if (colon == std::string::npos) return expected;
  LookAddress read;
  read.address = text.substr(0, colon);
  const bool bracketed =
      read.address.size() > 2 && read.address.front() == '[' && read.address.back() == ']';
  if (bracketed) read.address = read.address.substr(1, read.address.size() - 2);
  in_addr four{};
  in6_addr six{};
  const bool good = bracketed ? inet_pton(AF_INET6, read.address.c_str(), &six) == 1
                              : inet_pton(AF_INET, read.address.c_str(), &four) == 1;
  const auto port = ReadWholeNumber(text.substr(colon + 1), 0, 65535);
  if (!good || !port) return expected;
  read.port = static_cast<uint16_t>(*port);
  // As browsers write it, whose Host is compared with it.
  char shortest[INET6_ADDRSTRLEN] = "";
  if (bracketed && inet_ntop(AF_INET6, &six, shortest, sizeof shortest) != nullptr) {
    read.address = shortest;
  }
  address = read;
  return {};
}

std::string LookUrl(const LookAddress& address, uint16_t port) {
  const bool six = address.address.find(':') != std::string::npos;
  return "http://" + (six ? "[" + address.address + "]" : address.address) + ":" +
         std::to_string(port) + "/";
}

bool LoadLookToken(const std::string& path, std::string& token, std::string& error) {
  if (access(path.c_str(), F_OK) != 0 && errno == ENOENT) {
    token = RandomToken();
    // Made once and kept: bookmarks of the page go on leading to it after a restart.
    if (!token.empty() && WriteToken(path, token)) return true;
    error = path + " cannot be written: " + std::strerror(errno);
    return false;
  }
  if (!ReadFile(path, 4096, token, error)) {
    error = path + ": " + error;
    return false;
  }
  while (!token.empty() && (token.back() == '\n' || token.back() == '\r')) token.pop_back();
  if (token.size() >= kFewestCharacters && token.size() <= kMostCharacters &&
      std::all_of(token.begin(), token.end(), IsTokenCharacter)) {
    return true;
  }
  error = path + ": it holds no token; expected one line of 16 to 128 letters, digits, - and _";
  return false;
}

}  // namespace plexion_host
