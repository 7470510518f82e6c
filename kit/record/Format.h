// The file format of recordings.

#ifndef KIT_RECORD_FORMAT_H_
#define KIT_RECORD_FORMAT_H_

#include <cstdint>

#include "kit/record/Operations.h"

namespace plexion_record {

/// A recording is a file of chunks, all numbers little-endian:
///
///   bytes 0..4095   FileHeader, the rest 0
///   then            chunks of `chunkBytes` each; the first `headChunks` hold
///   the beginning and are
///                   kept, the others are a ring, the oldest of which is
///                   written over
///
/// A chunk is a ChunkHeader and records one after the other; `used` counts the
/// header in and is written last, so that a process that dies leaves whole
/// records. Chunks are put in order by `sequence`; `firstRecord` counts all
/// records before it, which shows what the ring has dropped. Every chunk of the
/// ring begins with a snapshot: notes that name each thread and each live
/// object.
///
/// A record is a RecordHeader and fields, `bytes` in all. Which fields says the
/// operation (Operations.h); each begins with a byte that says what it is:
///
///   b        u8, 0 or 1                     i        signed integer, zigzag
///   LEB128 d        float64                        u        unsigned integer,
///   LEB128 t        length (LEB128) and bytes      0        null: of a text,
///   an object, a pointer o        kind (u8), number (LEB128): an object,
///   counted in order of appearance k        number (LEB128): a pointer that
///   means something to the host alone r s p    rectangle, size, point: 4, 2, 2
///   unsigned LEB128 q        status, zigzag LEB128          e        QXError:
///   code zigzag, length and bytes of its name l        count (LEB128): so many
///   fields follow and belong together h        u64: a hash of pixels n
///   nothing; the next field is no part of the call:
///                                                    it is never compared
///
/// Version 1. A reader refuses other versions.
constexpr char kFileMagic[8] = {'Q', 'X', 'R', 'E', 'C', 'O', 'R', 'D'};
constexpr uint32_t kFormatVersion = 1;
constexpr uint32_t kFileHeaderBytes = 4096;
constexpr uint32_t kChunkMagic = 0x4B484351;  // "QCHK"
constexpr uint32_t kSmallestChunkBytes = 64 * 1024;
constexpr uint32_t kLargestChunkBytes = 16 * 1024 * 1024;
/// A record is never larger, whatever a host hands over; what has no room is
/// left out, and kCut says so.
constexpr uint32_t kLargestRecordBytes = 32 * 1024;
constexpr uint32_t kLongestTextBytes = 8 * 1024;

struct FileHeader {
  char magic[8];
  uint32_t version;
  uint32_t chunkBytes;
  uint32_t headChunks;
  uint32_t chunks;       ///< that the file has room for
  uint32_t pointerBits;  ///< of the machine
  uint32_t operations;   ///< that its writer knew
  uint64_t startedUnixMs;
  uint64_t pixels;  ///< Pixels of Recorder.h: how pixels were hashed
};

struct ChunkHeader {
  uint32_t magic;
  uint32_t used;
  uint64_t sequence;
  uint64_t firstRecord;
  int64_t firstTimeNs;
};

enum class RecordKind : uint8_t {
  kEnter = 0,  ///< a call begins: its arguments
  kLeave = 1,  ///< and ends: its results
  kWhole = 2,  ///< both at once, for what neither waits nor calls back
  kNote = 3,   ///< no call
};

/// Bits of RecordHeader::flags.
enum : uint8_t { kCut = 1 };

struct RecordHeader {
  uint32_t bytes;  ///< this header and the fields
  RecordKind kind;
  uint8_t flags;
  Operation operation;
  uint32_t thread;     ///< counts from 1 in order of appearance
  uint32_t pureCalls;  ///< byte and text operations of this thread since its
                       ///< last record
  int64_t timeNs;      ///< the kernel's time; never less than the record's before
};
static_assert(sizeof(FileHeader) == 48 && sizeof(ChunkHeader) == 32 && sizeof(RecordHeader) == 24,
              "records are as in the file");

/// What an 'o' field names.
enum class ObjectKind : uint8_t {
  kModule = 1,
  kMutex,
  kEvent,
  kThread,
  kFile,
  kRenderPlane,
  kOutputPlane,
  kContext,
  kInstance,
  kObserver,
  kRectProvider,
  kCommand,
  kWindow,
  kNotifier,
  kWatchdog,
  kService,
  kKernel,
  kEnd
};

/// "window"; valid kinds only.
inline const char* ObjectKindName(ObjectKind kind) {
  static constexpr const char* kNames[] = {
      "",         "module",   "mutex",    "event",    "thread", "file",    "renderPlane",
      "output",   "context",  "instance", "observer", "rects",  "command", "window",
      "notifier", "watchdog", "service",  "kernel"};
  return kNames[static_cast<unsigned>(kind)];
}

}  // namespace plexion_record

#endif  // KIT_RECORD_FORMAT_H_
