// Reads recordings, which anybody may have written.

#ifndef KIT_RECORD_RECORDINGREADER_H_
#define KIT_RECORD_RECORDINGREADER_H_

#include <map>
#include <string>
#include <vector>

#include "kit/record/Fields.h"

namespace plexion_record {

/// One record; its fields lie in the recording's bytes.
struct Record {
  RecordHeader header{};
  uint64_t number = 0;  ///< counts all records ever written, from 1
  const uint8_t* fields = nullptr;
  size_t fieldBytes = 0;

  Decoder Fields() const { return Decoder(fields, fieldBytes); }
};

/// A recording in memory, in order. Every record has a known operation, a kind
/// that goes with it and fields that can be read to the end; whatever has not,
/// ends its chunk, and Faults says so.
///
/// Move only the whole; records point into it. Thread: one at a time; any, once
/// it is read.
class Recording {
 public:
  static constexpr size_t kMostBytes = size_t{1} << 31;

  /// Returns  false with the reason in `error` when the file is no recording at
  /// all.
  bool ReadFile(const std::string& path, std::string& error);
  /// `bytes` as of a file; kept.
  bool Read(std::vector<uint8_t> bytes, std::string& error);

  const FileHeader& Header() const { return header_; }
  const std::vector<Record>& Records() const { return records_; }
  /// Places in Records before which the ring has dropped some.
  const std::vector<size_t>& Gaps() const { return gaps_; }
  /// What could not be read, and where.
  const std::vector<std::string>& Faults() const { return faults_; }
  /// "PlexionPlayer", or "thread 3".
  std::string ThreadName(uint32_t thread) const;
  /// Nanoseconds since the first record.
  uint64_t ElapsedNs(const Record& record) const {
    // Times never go back, so the difference has no sign, and what overflows on
    // the way comes out right.
    return static_cast<uint64_t>(record.header.timeNs) -
           static_cast<uint64_t>(records_.front().header.timeNs);
  }

 private:
  struct Chunk {
    uint64_t sequence;
    uint64_t firstRecord;
    size_t offset;  // of its first record
    size_t end;
    uint32_t index;
  };
  bool ReadHeader(std::string& error);
  bool ReadChunks(std::string& error);
  void ReadRecords(const Chunk& chunk);
  std::string CheckRecord(const RecordHeader& header, size_t room, const uint8_t* fields) const;

  std::vector<uint8_t> bytes_;
  FileHeader header_{};
  std::vector<Record> records_;
  std::vector<size_t> gaps_;
  std::vector<std::string> faults_;
  std::map<uint32_t, std::string> threadNames_;
};

}  // namespace plexion_record

#endif  // KIT_RECORD_RECORDINGREADER_H_
