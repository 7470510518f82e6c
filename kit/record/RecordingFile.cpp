// Writes recordings into a mapped file.

#include "kit/record/RecordingFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>

#include "qx/core/Check.h"

namespace plexion_record {
namespace {

constexpr uint32_t kFewestChunks = 4;
constexpr uint64_t kMostBytes = 2047ULL << 20;  // a reader, also a small one, has to hold it

std::string Reason(const std::string& path, const char* what) {
  return path + ": " + what + ": " + std::strerror(errno);
}

}  // namespace

bool RecordingFile::Open(const Settings& settings, std::string& error) {
  QX_CHECK(!IsOpen(), "a file is opened once");
  const uint64_t limit = std::min(settings.limitBytes, kMostBytes);
  if (settings.chunkBytes < kSmallestChunkBytes || settings.chunkBytes > kLargestChunkBytes ||
      limit < uint64_t{kFewestChunks} * settings.chunkBytes + kFileHeaderBytes) {
    error = settings.path + ": a recording needs room for four chunks; it has " +
            std::to_string(limit) + " bytes";
    return false;
  }
  // Never through a link, and for nobody else to read: a recording names contents and addresses.
  const int file = open(settings.path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
  if (file < 0) {
    error = Reason(settings.path, "cannot be opened for writing");
    return false;
  }
  const auto fail = [&](const char* what) {
    error = Reason(settings.path, what);
    close(file);
    return false;
  };
  struct stat status;
  if (fstat(file, &status) != 0) return fail("cannot be asked for");
  if (!S_ISREG(status.st_mode)) {
    errno = EINVAL;
    return fail("is no file; expected a name for one");
  }
  // Two launchers that write one file would make neither's recording.
  if (flock(file, LOCK_EX | LOCK_NB) != 0) return fail("is being written by another");
  chunkBytes_ = settings.chunkBytes;
  chunks_ = static_cast<uint32_t>((limit - kFileHeaderBytes) / chunkBytes_);
  size_ = kFileHeaderBytes + size_t{chunks_} * chunkBytes_;
  // Cut only when the lock is ours; opened without O_TRUNC for that.
  if (ftruncate(file, 0) != 0 || fchmod(file, 0600) != 0) return fail("cannot be made anew");
  // All of it now. A mapped file whose disk is full ends the process with SIGBUS in the middle of
  // playing.
  const int full = posix_fallocate(file, 0, static_cast<off_t>(size_));
  if (full != 0) {
    const bool cleared = ftruncate(file, 0) == 0;
    errno = cleared ? full : EIO;
    return fail("has no room");
  }
  void* const memory = mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  if (memory == MAP_FAILED) return fail("cannot be mapped");
  memory_ = static_cast<char*>(memory);
  file_ = file;
  keepNs_ = settings.keepNs;
  // The beginning explains all that follows and is what a replay needs.
  headChunks_ = std::max(1U, chunks_ / 4);
  FileHeader header{};
  std::memcpy(header.magic, kFileMagic, sizeof header.magic);
  header.version = kFormatVersion;
  header.chunkBytes = chunkBytes_;
  header.headChunks = headChunks_;
  header.chunks = chunks_;
  header.pointerBits = 8 * sizeof(void*);
  header.operations = static_cast<uint32_t>(Operation::kCount);
  header.startedUnixMs =
      static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                std::chrono::system_clock::now().time_since_epoch())
                                .count());
  header.pixels = settings.pixels;
  std::memcpy(memory_, &header, sizeof header);
  chunk_ = used_ = 0;
  sequence_ = records_ = 0;
  lastNs_ = INT64_MIN;
  return true;
}

ChunkHeader& RecordingFile::Chunk(uint32_t index) const {
  return *reinterpret_cast<ChunkHeader*>(memory_ + kFileHeaderBytes + size_t{index} * chunkBytes_);
}

bool RecordingFile::IsChunkFull(size_t fieldBytes) const {
  QX_CHECK(IsOpen(), "a file that is open has chunks");
  return sequence_ == 0 || Chunk(chunk_).used + sizeof(RecordHeader) + fieldBytes > chunkBytes_;
}

void RecordingFile::NextChunk(int64_t timeNs) {
  QX_CHECK(IsOpen(), "a chunk is begun in a file that is open");
  uint32_t next = used_;
  // As long as the head is not full, chunks follow each other, and are never written again.
  if (sequence_ > 0 && used_ > headChunks_) {
    // The oldest of the ring: when it is too old, or when there is no free one.
    uint32_t oldest = headChunks_;
    for (uint32_t i = headChunks_; i < used_; ++i) {
      if (Chunk(i).sequence < Chunk(oldest).sequence) oldest = i;
    }
    // It ended when the next one began.
    int64_t endedNs = timeNs;
    for (uint32_t i = headChunks_; i < used_; ++i) {
      if (Chunk(i).sequence == Chunk(oldest).sequence + 1) endedNs = Chunk(i).firstTimeNs;
    }
    // Two chunks at least: the one that is dropped must not be the only one there is.
    const bool old = keepNs_ > 0 && used_ - headChunks_ > 1 && timeNs - endedNs > keepNs_;
    if (old || used_ == chunks_) next = oldest;
  }
  chunk_ = next;
  used_ = std::max(used_, next + 1);
  ChunkHeader& chunk = Chunk(next);
  // The reader that matters is one that comes after a crash of this process: what the compiler does
  // not reorder, the mapping keeps.
  chunk.magic = 0;  // not readable while it is half the old one
  std::atomic_signal_fence(std::memory_order_seq_cst);
  chunk.used = sizeof(ChunkHeader);
  chunk.sequence = ++sequence_;
  chunk.firstRecord = records_;
  chunk.firstTimeNs = std::max(timeNs, lastNs_);
  std::atomic_signal_fence(std::memory_order_seq_cst);
  chunk.magic = kChunkMagic;
}

void RecordingFile::Append(RecordHeader header, const Encoder& fields) {
  QX_CHECK(IsOpen() && !IsChunkFull(fields.Size()), "a chunk that has room for the record");
  ChunkHeader& chunk = Chunk(chunk_);
  header.bytes = static_cast<uint32_t>(sizeof header + fields.Size());
  // Times never go back, whatever the kernel's clock does.
  header.timeNs = lastNs_ = std::max(header.timeNs, lastNs_);
  if (fields.WasCut()) header.flags |= kCut;
  char* const at = reinterpret_cast<char*>(&chunk) + chunk.used;
  std::memcpy(at, &header, sizeof header);
  std::memcpy(at + sizeof header, fields.Data(), fields.Size());
  // Last, for whoever reads the file of a process that died in between.
  std::atomic_signal_fence(std::memory_order_release);
  chunk.used += header.bytes;
  ++records_;
}

void RecordingFile::Close() {
  if (memory_ == nullptr) return;
  munmap(memory_, size_);
  memory_ = nullptr;
  // What is left behind when this fails is zeros, which a reader passes over.
  const off_t end = static_cast<off_t>(kFileHeaderBytes + size_t{used_} * chunkBytes_);
  if (ftruncate(file_, end) != 0) size_ = 0;
  close(file_);
  file_ = -1;
}

}  // namespace plexion_record
