// Zip archives and gzip streams, by zlib.
#include "host/player/lottie/document/Archive.h"

#include <string.h>
#include <zlib.h>

#include <algorithm>

namespace plexion_host::movie {

namespace {

constexpr size_t kMostFiles = 10000;
constexpr size_t kStep = 1 << 20;

uint32_t Number(std::string_view bytes, size_t at, int count) {
  uint32_t number = 0;
  for (int i = count - 1; i >= 0; --i) {
    number = number << 8 | static_cast<uint8_t>(bytes[at + static_cast<size_t>(i)]);
  }
  return number;
}

/// Inflates step by step into a buffer that grows no further than what really comes.
bool Inflate(std::string_view packed, int windowBits, uint64_t mostBytes,
             qx::plexion::MemoryWatchdog* watchdog, const std::function<bool()>& cancelled,
             Unpacked& unpacked, std::string& error) {
  z_stream stream = {};
  if (inflateInit2(&stream, windowBits) != Z_OK) {
    error = "no memory to unpack it";
    return false;
  }
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(packed.data()));
  stream.avail_in = static_cast<uInt>(packed.size());
  std::unique_ptr<player::WatchedBuffer>& held = unpacked.bytes;
  size_t& count = unpacked.count;
  size_t room = 0;
  count = 0;
  int result = Z_OK;
  while (result == Z_OK) {
    if (count == room) {
      const size_t larger = std::min<uint64_t>(std::max(room * 2, kStep), mostBytes + 1);
      auto grown = std::make_unique<player::WatchedBuffer>();
      if (larger == room || cancelled() || !grown->Resize(watchdog, larger)) break;
      if (count > 0) memcpy(grown->Data(), held->Data(), count);
      std::swap(held, grown);
      room = larger;
    }
    stream.next_out = held->As<Bytef>() + count;
    stream.avail_out = static_cast<uInt>(room - count);
    result = inflate(&stream, Z_NO_FLUSH);
    count = room - stream.avail_out;
    if (stream.avail_in == 0 && result == Z_OK && stream.avail_out > 0) break;
  }
  inflateEnd(&stream);
  if (result != Z_STREAM_END || count > mostBytes) {
    error = cancelled()         ? "loading was stopped"
            : count > mostBytes ? "it unpacks to more than " + std::to_string(mostBytes) + " bytes"
            : result == Z_OK    ? "it ends before its time, or there is no memory"
                                : "it is damaged";
    return false;
  }
  return true;
}

}  // namespace

bool Gunzip(std::string_view packed, uint64_t mostBytes, qx::plexion::MemoryWatchdog* watchdog,
            const std::function<bool()>& cancelled, Unpacked& unpacked, std::string& error) {
  constexpr int kGzip = 16 + MAX_WBITS;
  return Inflate(packed, kGzip, mostBytes, watchdog, cancelled, unpacked, error);
}

bool Archive::Open(std::string_view bytes, std::string& error) {
  bytes_ = bytes;
  constexpr size_t kEndRecord = 22;
  constexpr size_t kFileRecord = 46;
  const size_t end = bytes.rfind("PK\x05\x06");
  if (end == std::string_view::npos || end + kEndRecord > bytes.size()) {
    error = "the archive has no list of its files";
    return false;
  }
  const uint32_t count = Number(bytes, end + 10, 2);
  size_t at = Number(bytes, end + 16, 4);
  for (uint32_t i = 0; i < count; ++i) {
    if (at > bytes.size() || bytes.size() - at < kFileRecord || files_.size() >= kMostFiles ||
        bytes.compare(at, 4, "PK\x01\x02") != 0) {
      error = "the archive's list of files is damaged at byte " + std::to_string(at);
      return false;
    }
    const size_t name = Number(bytes, at + 28, 2);
    const size_t more = Number(bytes, at + 30, 2) + size_t{Number(bytes, at + 32, 2)};
    if (bytes.size() - at - kFileRecord < name) {
      error = "the archive's list of files ends before its time";
      return false;
    }
    files_.push_back({bytes.substr(at + kFileRecord, name), Number(bytes, at + 10, 2),
                      Number(bytes, at + 20, 4), Number(bytes, at + 24, 4),
                      Number(bytes, at + 42, 4)});
    at += kFileRecord + name + more;
  }
  return true;
}

const Archive::File* Archive::Find(std::string_view name) const {
  for (const File& file : files_) {
    if (file.name == name) return &file;
  }
  return nullptr;
}

bool Archive::Read(std::string_view name, uint64_t mostBytes, qx::plexion::MemoryWatchdog* watchdog,
                   const std::function<bool()>& cancelled, Unpacked& unpacked,
                   std::string& error) const {
  constexpr size_t kHeader = 30;
  const File* file = Find(name);
  if (file == nullptr) {
    error = "the archive has no file \"" + std::string(name) + "\"";
    return false;
  }
  size_t start = file->offset;
  if (start > bytes_.size() || bytes_.size() - start < kHeader) {
    error = "its place in the archive is wrong";
    return false;
  }
  start += kHeader + Number(bytes_, start + 26, 2) + Number(bytes_, start + 28, 2);
  if (start > bytes_.size() || bytes_.size() - start < file->packedBytes) {
    error = "its place in the archive is wrong";
    return false;
  }
  const std::string_view packed = bytes_.substr(start, file->packedBytes);
  if (file->method == 0) {
    unpacked.bytes = std::make_unique<player::WatchedBuffer>();
    unpacked.count = packed.size();
    if (packed.size() > mostBytes || !unpacked.bytes->Resize(watchdog, packed.size())) {
      error = "it has " + std::to_string(packed.size()) + " bytes; at most " +
              std::to_string(mostBytes) + " are read";
      return false;
    }
    if (!packed.empty()) memcpy(unpacked.bytes->Data(), packed.data(), packed.size());
    return true;
  }
  if (file->method != 8) {
    error = "it is packed in a way that is not known (" + std::to_string(file->method) + ")";
    return false;
  }
  return Inflate(packed, -MAX_WBITS, mostBytes, watchdog, cancelled, unpacked, error);
}

}  // namespace plexion_host::movie
