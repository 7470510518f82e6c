// Words that nobody can guess.

#include "host/base/RandomToken.h"

#include <sys/random.h>

#include "host/base/Text.h"

namespace plexion_host {

std::string RandomToken() {
  char bytes[16] = {};
  // So few come whole or not at all: requests of up to 256 bytes are not interrupted.
  if (getrandom(bytes, sizeof bytes, 0) != static_cast<ssize_t>(sizeof bytes)) return {};
  return HexText({bytes, sizeof bytes});
}

}  // namespace plexion_host
