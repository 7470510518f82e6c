#ifndef HOST_PLAYER_RENDER_PICTUREFILES_H_
#define HOST_PLAYER_RENDER_PICTUREFILES_H_

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "qx/plexion/Geometry.h"

namespace plexion_host::player {

/// Pixels as they are drawn (0xAARRGGBB, premultiplied alpha) to pixels as files have them: not
/// multiplied; or, with a background, opaque.
void PreparePixels(std::vector<uint32_t>& pixels, bool hasBackground, uint32_t background);

/// Writes pixels that are prepared (0xAARRGGBB, rows without padding) as PNG with 8 bits a channel.
/// The file appears under `path` only when it is whole.
/// Returns  false with the path and the reason in `error`.
bool WritePngFile(const std::string& path, const qx::plexion::Dims& dims,
                  const std::vector<uint32_t>& pixels, std::string& error);

/// An animated WebP file without loss, endless.
///
/// Order    Begin, Add for each frame, Finish; what is not finished leaves no file.
class AnimationFile {
 public:
  AnimationFile();
  AnimationFile(const AnimationFile&) = delete;
  AnimationFile& operator=(const AnimationFile&) = delete;
  ~AnimationFile();

  /// The format holds pictures of up to 16383 pixels either way.
  bool Begin(const qx::plexion::Dims& dims, std::string& error);
  /// `atMs`: when the frame begins; later than the one before.
  bool Add(int atMs, const std::vector<uint32_t>& pixels, std::string& error);
  /// `endMs`: when the last frame ends.
  bool Finish(int endMs, const std::string& path, std::string& error);

 private:
  struct Encoder;
  std::unique_ptr<Encoder> encoder_;
};

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_RENDER_PICTUREFILES_H_
