// Fills and copies records.

#include "host/player/remote/Record.h"

#include <string.h>

#include <algorithm>

#include "host/base/Text.h"

namespace plexion_host::player::remote {

namespace {

constexpr size_t kHead = offsetof(Record, text);

}  // namespace

Record MakeRecord(Kind kind) {
  Record record;
  record.kind = static_cast<uint32_t>(kind);
  return record;
}

// Messages are for people: a cut one with its first 4 KB says more than none.
void PutText(Record& record, std::string_view text) {
  constexpr std::string_view kCut = "...";
  size_t bytes = text.size();
  if (bytes > kMostText) bytes = Utf8Prefix(text, kMostText - kCut.size()).size();
  memcpy(record.text, text.data(), bytes);
  if (bytes < text.size()) {
    memcpy(record.text + bytes, kCut.data(), kCut.size());
    bytes += kCut.size();
  }
  record.textBytes = static_cast<uint32_t>(bytes);
}

std::string_view TextOf(const Record& record) {
  return {record.text, std::min<size_t>(record.textBytes, kMostText)};
}

bool Refuse(std::string& fault, const char* what) {
  fault = what;
  return false;
}

bool IsOf(const Record& record, Kind kind, std::string& fault) {
  if (record.kind != static_cast<uint32_t>(kind)) {
    fault = "record " + std::to_string(record.kind) + " instead of " +
            std::to_string(static_cast<uint32_t>(kind));
    return false;
  }
  if (record.textBytes > kMostText) return Refuse(fault, "a text longer than its record");
  return true;
}

void CopyRecord(const Record& from, Record& to) {
  // The head first and only once: a writer on the other side may change `textBytes` between a check
  // and a use of it.
  memcpy(static_cast<void*>(&to), &from, kHead);
  // What was copied decides how much more is, not what stands there now.
  memcpy(to.text, from.text, std::min<size_t>(to.textBytes, kMostText));
}

uint64_t BitsOf(double number) {
  uint64_t bits = 0;
  memcpy(&bits, &number, sizeof bits);
  return bits;
}

double NumberOf(uint64_t bits) {
  double number = 0;
  memcpy(&number, &bits, sizeof number);
  return number;
}

}  // namespace plexion_host::player::remote
