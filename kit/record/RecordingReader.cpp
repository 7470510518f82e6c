// Reads recordings, which anybody may have written.

#include "kit/record/RecordingReader.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

namespace plexion_record {
namespace {

/// More is no recording that anybody looks at, and costs memory for each.
constexpr size_t kMostRecords = 64 * 1024 * 1024;
constexpr size_t kMostFaults = 100;

}  // namespace

bool Recording::ReadFile(const std::string& path, std::string& error) {
  const std::unique_ptr<FILE, int (*)(FILE*)> file(std::fopen(path.c_str(), "rb"), &std::fclose);
  if (file == nullptr) {
    error = path + ": cannot be opened: " + std::strerror(errno);
    return false;
  }
  std::vector<uint8_t> bytes;
  uint8_t part[64 * 1024];
  for (;;) {
    const size_t count = std::fread(part, 1, sizeof part, file.get());
    bytes.insert(bytes.end(), part, part + count);
    if (count < sizeof part) break;
    if (bytes.size() > kMostBytes) {
      error = path + ": it is larger than any recording";
      return false;
    }
  }
  if (std::ferror(file.get()) != 0) {
    error = path + ": cannot be read: " + std::strerror(errno);
    return false;
  }
  if (Read(std::move(bytes), error)) return true;
  error = path + ": " + error;
  return false;
}

bool Recording::Read(std::vector<uint8_t> bytes, std::string& error) {
  bytes_ = std::move(bytes);
  records_.clear();
  gaps_.clear();
  faults_.clear();
  threadNames_.clear();
  return ReadHeader(error) && ReadChunks(error);
}

bool Recording::ReadHeader(std::string& error) {
  if (bytes_.size() < sizeof header_ ||
      std::memcmp(bytes_.data(), kFileMagic, sizeof kFileMagic) != 0) {
    error = "no recording; expected a file that begins with \"QXRECORD\"";
    return false;
  }
  std::memcpy(&header_, bytes_.data(), sizeof header_);
  // Operations are numbered: one more or less shifts the meaning of all behind it.
  if (header_.version != kFormatVersion ||
      header_.operations != static_cast<uint32_t>(Operation::kCount)) {
    error = "a recording of version " + std::to_string(header_.version) + " with " +
            std::to_string(header_.operations) + " operations; expected version " +
            std::to_string(kFormatVersion) + " with " +
            std::to_string(static_cast<uint32_t>(Operation::kCount));
    return false;
  }
  // Checked here once, so that what is worked out from them below cannot wrap.
  if (header_.chunkBytes < kSmallestChunkBytes || header_.chunkBytes > kLargestChunkBytes ||
      header_.chunks == 0 || header_.headChunks > header_.chunks) {
    error = "chunks of " + std::to_string(header_.chunkBytes) + " bytes; expected " +
            std::to_string(kSmallestChunkBytes) + " to " + std::to_string(kLargestChunkBytes);
    return false;
  }
  return true;
}

bool Recording::ReadChunks(std::string& error) {
  std::vector<Chunk> chunks;
  uint32_t index = 0;
  for (size_t at = kFileHeaderBytes; at < bytes_.size() && index < header_.chunks;
       at += header_.chunkBytes, ++index) {
    // A recording of a process that died may end in the middle of a chunk: what is there counts.
    const size_t room = std::min<size_t>(header_.chunkBytes, bytes_.size() - at);
    ChunkHeader header;
    if (room < sizeof header) break;
    std::memcpy(&header, bytes_.data() + at, sizeof header);
    if (header.magic != kChunkMagic) continue;  // not used yet, or being begun
    if (header.used < sizeof header || header.used > header_.chunkBytes) {
      faults_.push_back("chunk " + std::to_string(index) + ": " + std::to_string(header.used) +
                        " bytes are used of " + std::to_string(header_.chunkBytes));
      continue;
    }
    chunks.push_back({header.sequence, header.firstRecord, at + sizeof header,
                      at + std::min<size_t>(header.used, room), index});
  }
  // The ring's chunks lie in the file in any order; their sequence is the order in which they were
  // begun.
  std::sort(chunks.begin(), chunks.end(),
            [](const Chunk& left, const Chunk& right) { return left.sequence < right.sequence; });
  uint64_t expected = 0;
  uint64_t last = 0;
  for (const Chunk& chunk : chunks) {
    // Twice the same, backwards, or a number that would wrap further on: no writer makes these.
    if (chunk.sequence == last || chunk.firstRecord < expected ||
        chunk.firstRecord > UINT64_MAX / 2) {
      faults_.push_back("chunk " + std::to_string(chunk.index) + " does not follow the one before");
      continue;
    }
    last = chunk.sequence;
    // The ring has dropped what lay between.
    if (chunk.firstRecord != expected) gaps_.push_back(records_.size());
    const size_t before = records_.size();
    expected = chunk.firstRecord;
    ReadRecords(chunk);
    // Numbers count over gaps: two recordings of one run name the same record alike.
    for (size_t i = before; i < records_.size(); ++i) records_[i].number = ++expected;
    if (records_.size() >= kMostRecords) break;
  }
  if (records_.empty()) {
    error = faults_.empty() ? "a recording without records" : faults_.front();
    return false;
  }
  return true;
}

std::string Recording::CheckRecord(const RecordHeader& header, size_t room,
                                   const uint8_t* fields) const {
  if (header.bytes < sizeof header || header.bytes > room || header.bytes > kLargestRecordBytes) {
    return "it has " + std::to_string(header.bytes) + " bytes; " + std::to_string(room) +
           " are left";
  }
  // A recording may be anybody's: each number is looked at before anything is chosen by it.
  if (header.operation >= Operation::kCount) return "an operation that there is not";
  if (header.kind > RecordKind::kNote ||
      (header.kind == RecordKind::kNote) != IsNote(header.operation) ||
      (IsInward(header.operation) && header.kind == RecordKind::kWhole)) {
    return std::string("a kind that ") + OperationName(header.operation) + " has not";
  }
  if (!records_.empty() && header.timeNs < records_.back().header.timeNs) {
    return "its time is before the record's before it";
  }
  if (header.thread == 0 && header.kind != RecordKind::kNote) return "it has no thread";
  Decoder decoder(fields, header.bytes - sizeof header);
  Field field;
  // Each field once, for its length alone: from here on whoever takes a record's fields needs no
  // check of theirs.
  while (decoder.Next(field)) {
  }
  return decoder.Failed() ? decoder.Reason() : std::string();
}

// Up to the first that cannot be read: with its length unknown nobody knows where the next one
// begins.
void Recording::ReadRecords(const Chunk& chunk) {
  size_t at = chunk.offset;
  while (chunk.end - at >= sizeof(RecordHeader) && records_.size() < kMostRecords) {
    Record record;
    std::memcpy(&record.header, bytes_.data() + at, sizeof record.header);
    record.fields = bytes_.data() + at + sizeof record.header;
    const std::string fault = CheckRecord(record.header, chunk.end - at, record.fields);
    if (!fault.empty()) {
      if (faults_.size() < kMostFaults) {
        faults_.push_back("chunk " + std::to_string(chunk.index) + ", byte " + std::to_string(at) +
                          ": a record cannot be read: " + fault);
      }
      return;
    }
    record.fieldBytes = record.header.bytes - sizeof record.header;
    if (record.header.operation == Operation::kNoteThread) {
      Decoder fields = record.Fields();
      Field number;
      Field name;
      if (fields.Take('u', number) && fields.Take('t', name)) {
        std::string quoted = Describe(name);
        threadNames_[static_cast<uint32_t>(number.numbers[0])] =
            quoted.substr(1, quoted.size() - 2);
      }
    }
    records_.push_back(record);
    at += record.header.bytes;
  }
}

std::string Recording::ThreadName(uint32_t thread) const {
  const auto found = threadNames_.find(thread);
  // Several players have one name.
  return found != threadNames_.end() ? found->second + "/" + std::to_string(thread)
                                     : "thread " + std::to_string(thread);
}

}  // namespace plexion_record
