// A content's file or folder, opened without waiting for it.

#ifndef HOST_PLAYER_CONTENT_CONTENTFILE_H_
#define HOST_PLAYER_CONTENT_CONTENTFILE_H_

#include <stddef.h>
#include <stdint.h>

#include <string>

#include "host/base/Descriptor.h"
#include "host/player/Engine.h"

namespace plexion_host::player {

/// A local file or folder, opened for reading. Pipes, sockets and devices are refused without
/// waiting for anybody at their other end.
class ContentFile {
 public:
  ContentFile() = default;
  ContentFile(const ContentFile&) = delete;
  ContentFile& operator=(const ContentFile&) = delete;

  /// Returns  false with kErrorInvalidURL and the reason.
  bool Open(const std::string& path, EngineError& error);

  bool IsDirectory() const { return directory_; }
  uint64_t SizeBytes() const { return sizeBytes_; }
  /// Reads on from the last position. Returns  the bytes read, fewer only at the end of the file;
  /// -1 with `error` when reading fails.
  long Read(void* buffer, size_t bytes, EngineError& error);

 private:
  Descriptor descriptor_;
  bool directory_ = false;
  uint64_t sizeBytes_ = 0;
};

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_CONTENT_CONTENTFILE_H_
