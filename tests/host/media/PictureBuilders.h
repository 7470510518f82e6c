// Pictures of letters, as files.

#ifndef TESTS_HOST_MEDIA_PICTUREBUILDERS_H_
#define TESTS_HOST_MEDIA_PICTUREBUILDERS_H_

#include <string>
#include <vector>

#include "host/player/image/PictureDecoder.h"

namespace plexion_host::player {

/// Pixels as letters: r, g, b, w, k are opaque colours, h is red at half its alpha, '.' is
/// transparent; any other pixel reads as '?'.
using PictureRows = std::vector<std::string>;

/// One frame as a file is to have it. Rows are of one length.
struct BuiltFrame {
  unsigned x = 0;
  unsigned y = 0;
  PictureRows rows;
  unsigned durationMs = 100;
  PictureFrame::After after = PictureFrame::After::kLeave;
  bool replaces = false;
};

constexpr int kNoLoops = -1;

/// A GIF file, byte by byte. Frames with '.' name it as their transparent colour. `loops` is the
/// number in the file, which has none with kNoLoops.
std::string BuildGif(qx::plexion::Dims screen, const std::vector<BuiltFrame>& frames,
                     int loops = kNoLoops, bool interlaced = false);
/// A GIF file of one frame of palette indices, which must be below `colours`, a power of two.
std::string BuildIndexedGif(qx::plexion::Dims dims, const std::vector<uint8_t>& indices,
                            unsigned colours);
/// A PNG file with an animation; `plays` 0 is without end. With `poster` the picture for viewers
/// without animations is none of the frames.
std::string BuildApng(qx::plexion::Dims dims, const std::vector<BuiltFrame>& frames,
                      unsigned plays = 0, bool poster = false);
/// A lossless WebP file. Positions are even, as the format has it; kRestore is not to be had.
std::string BuildWebp(qx::plexion::Dims dims, const std::vector<BuiltFrame>& frames,
                      unsigned plays = 0);

uint32_t PixelOf(char letter);
PictureRows LettersOf(const uint32_t* pixels, qx::plexion::Dims dims);

}  // namespace plexion_host::player

#endif  // TESTS_HOST_MEDIA_PICTUREBUILDERS_H_
