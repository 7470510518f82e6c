// Writes recordings: a file in memory, of a fixed size, the oldest part of
// which is written over.

#ifndef KIT_RECORD_RECORDINGFILE_H_
#define KIT_RECORD_RECORDINGFILE_H_

#include <cstddef>
#include <cstdint>
#include <string>

#include "kit/record/Fields.h"
#include "kit/record/Format.h"

namespace plexion_record {

/// A recording that is being written. The file's pages are this process's
/// memory: a record costs a copy and no call of the system, and what was
/// written stays when the process dies.
///
/// The file takes all of its room when it is opened, so that a full disk is
/// found then and not while content plays. Whoever truncates it while it is
/// written ends the process: it belongs to its user alone (mode 0600).
///
/// Thread   one at a time.
class RecordingFile {
 public:
  struct Settings {
    std::string path;
    uint64_t limitBytes = 64 * 1024 * 1024;
    uint32_t chunkBytes = 256 * 1024;
    /// Chunks of the ring that ended longer ago are written over before the
    /// file grows; 0: never.
    int64_t keepNs = 0;
    uint64_t pixels = 0;
  };

  RecordingFile() = default;
  ~RecordingFile() { Close(); }
  RecordingFile(const RecordingFile&) = delete;
  RecordingFile& operator=(const RecordingFile&) = delete;

  /// Makes the file anew. Returns  false with the reason in `error`.
  bool Open(const Settings& settings, std::string& error);
  bool IsOpen() const { return memory_ != nullptr; }
  /// Whether the next record of so many field bytes begins a chunk of the ring,
  /// which opens with a snapshot.
  bool IsChunkFull(size_t fieldBytes) const;
  /// Begins the next chunk: the following free one, or the oldest of the ring.
  void NextChunk(int64_t timeNs);
  /// `header.bytes` and the order of times are this function's.
  void Append(RecordHeader header, const Encoder& fields);
  /// Gives back the room that was not used.
  void Close();
  /// Whether the ring has begun: the recording is no longer whole from its
  /// beginning on.
  bool IsInRing() const { return chunk_ >= headChunks_; }

 private:
  ChunkHeader& Chunk(uint32_t index) const;

  char* memory_ = nullptr;
  size_t size_ = 0;
  int file_ = -1;
  uint32_t chunkBytes_ = 0;
  uint32_t headChunks_ = 0;
  uint32_t chunks_ = 0;
  int64_t keepNs_ = 0;
  uint32_t chunk_ = 0;  // that is being written
  uint32_t used_ = 0;   // chunks that were ever written
  uint64_t sequence_ = 0;
  uint64_t records_ = 0;
  int64_t lastNs_ = INT64_MIN;
};

}  // namespace plexion_record

#endif  // KIT_RECORD_RECORDINGFILE_H_
