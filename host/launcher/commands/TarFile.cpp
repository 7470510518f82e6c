// Headers and blocks.

#include "host/launcher/commands/TarFile.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "host/base/Check.h"

namespace plexion_host {

namespace {

constexpr size_t kBlock = 512;

struct Header {
  char name[100] = {};
  char mode[8] = "0000600";
  char owner[8] = "0000000";
  char group[8] = "0000000";
  char size[12] = {};
  char time[12] = {};
  char sum[8] = {};
  char kind = '0';
  char link[100] = {};
  char magic[6] = "ustar";
  char version[2] = {'0', '0'};
  char rest[247] = {};
};
static_assert(sizeof(Header) == kBlock, "a header is one block");

}  // namespace

void TarFile::Add(std::string_view name, std::string_view text) {
  Header header;
  PLEXION_CHECK(name.size() <= sizeof header.name, "a name that fits");
  memcpy(header.name, name.data(), std::min(name.size(), sizeof header.name));
  snprintf(header.size, sizeof header.size, "%011llo",
           static_cast<unsigned long long>(text.size()));
  snprintf(header.time, sizeof header.time, "%011llo", static_cast<unsigned long long>(time_));
  // Of the header with blanks in the sum's own place.
  memset(header.sum, ' ', sizeof header.sum);
  unsigned sum = 0;
  const auto* const bytes = reinterpret_cast<const unsigned char*>(&header);
  for (size_t i = 0; i < sizeof header; ++i) sum += bytes[i];
  snprintf(header.sum, sizeof header.sum, "%06o", sum);
  bytes_.append(reinterpret_cast<const char*>(&header), sizeof header);
  bytes_.append(text);
  bytes_.append((kBlock - text.size() % kBlock) % kBlock, '\0');
}

std::string TarFile::Finish() const { return bytes_ + std::string(2 * kBlock, '\0'); }

}  // namespace plexion_host
