// All bytes of a picture, from a file or a server.

#ifndef HOST_PLAYER_PICTURE_PICTUREBYTES_H_
#define HOST_PLAYER_PICTURE_PICTUREBYTES_H_

#include <stddef.h>
#include <stdint.h>

#include <string>

#include "host/player/Engine.h"

namespace plexion_host::player {

/// All bytes of a picture, in watched memory. A file is read and not mapped: one that is replaced
/// or cut while it is shown must not end the process.
///
/// Errors   every operation returns false with `error` when there are too many bytes, or no memory.
/// Thread   the player's.
class PictureBytes {
 public:
  explicit PictureBytes(EngineHost& host) : host_(host) {}
  PictureBytes(const PictureBytes&) = delete;
  PictureBytes& operator=(const PictureBytes&) = delete;
  ~PictureBytes();

  /// Takes as long as it takes, and gives up when the host cancels.
  bool ReadFile(const std::string& path, EngineError& error);
  /// Makes room for `bytes` in all, which come piece by piece.
  bool Reserve(uint64_t bytes, EngineError& error);
  bool Append(const void* bytes, size_t count, EngineError& error);

  const uint8_t* Data() const { return data_; }
  size_t Size() const { return size_; }

 private:
  EngineHost& host_;
  uint8_t* data_ = nullptr;
  size_t size_ = 0;
  size_t capacity_ = 0;
};

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_PICTURE_PICTUREBYTES_H_
