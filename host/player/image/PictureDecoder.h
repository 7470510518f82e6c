// Pictures that the player decodes itself.

#ifndef HOST_PLAYER_IMAGE_PICTUREDECODER_H_
#define HOST_PLAYER_IMAGE_PICTUREDECODER_H_

#include <stddef.h>
#include <stdint.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/player/Engine.h"

/// Pictures that the player decodes itself: a sign that shows one needs no media framework, which takes
/// longer to start than a picture to be decoded. It also shows only the first frame of a GIF, PNG or WebP
/// animation, or nothing, and nothing of a PNG file that was cut off; and an SVG picture of a hundred
/// bytes it gives as many pixels as that asks for.
///
/// Order    PictureFormatOf with the content's first bytes; OpenPicture with all of them; then
///          Decode for any frame, any number of times.

namespace plexion_host::player {

enum class PictureFormat { kNone, kGif, kPng, kAnimatedPng, kWebp, kSvg, kJpeg };

/// Tells the format from the beginning of a file, of which kPictureHead bytes are enough.
PictureFormat PictureFormatOf(const uint8_t* bytes, size_t count);
constexpr size_t kPictureHead = 64 * 1024;

/// The media type, as the framework would name it.
const char* PictureTypeOf(PictureFormat format);

/// Clears what a decoder did not come to: the rows of `dims` from `first` on.
void ClearRows(uint32_t* pixels, size_t pitchBytes, const qx::plexion::Dims& dims, uint32_t first);

/// One frame of an animation: a rectangle that is put on what the frames before it left behind.
struct PictureFrame {
  enum class After {
    kLeave,    ///< stays for the next frame
    kClear,    ///< its rectangle becomes transparent
    kRestore,  ///< its rectangle becomes what it was before this frame
  };

  qx::plexion::Rect area = {0, 0, 0, 0};  ///< may reach past the picture
  uint64_t durationUs = 0;                ///< as the file says it
  After after = After::kLeave;
  bool replaces = false;  ///< its transparent pixels replace what was there
  bool hasAlpha = true;   ///< false: all of its pixels are opaque
};

struct PictureFacts {
  qx::plexion::Dims dims = {0, 0};
  std::vector<PictureFrame> frames;  ///< never empty
  uint64_t plays = 1;                ///< passes that the file asks for; 0: without end
};

/// How much of a frame could be decoded.
enum class Decoded { kAll, kPart, kNothing };

class PictureDecoder {
 public:
  virtual ~PictureDecoder() = default;

  /// Constant after opening.
  const PictureFacts& Facts() const { return facts_; }

  /// Decodes a frame's rectangle into its own pixels, area.width of them a row: 0xAARRGGBB, not
  /// multiplied by alpha. `pixels` are all 0 before; what is missing in the file stays so.
  virtual Decoded Decode(size_t frame, uint32_t* pixels) = 0;

  // Right to where it is shown, for a picture of one opaque frame, each time that it is needed.

  /// Whether DecodeAt can be used. Decodes the first pixels to know that there are some.
  virtual bool DecodesInPlace() { return false; }
  /// A size that DecodeAt has, the nearest that is nowhere smaller than `wanted`; at most the picture's own.
  virtual qx::plexion::Dims ReducedTo(const qx::plexion::Dims& /*wanted*/) const {
    return facts_.dims;
  }
  /// Decodes all of it, reduced to `dims`, into rows that are `pitchBytes` apart, whatever they hold. Rows
  /// that are missing in the file become 0.
  virtual Decoded DecodeAt(const qx::plexion::Dims& /*dims*/, uint32_t* /*pixels*/,
                           size_t /*pitchBytes*/) {
    return Decoded::kNothing;
  }

 protected:
  PictureFacts facts_;
};

/// A whole file in memory, which outlives the decoder.
struct PictureSource {
  const uint8_t* bytes = nullptr;
  size_t size = 0;
  qx::plexion::MemoryWatchdog* watchdog = nullptr;
  /// True once nobody wants the picture any more; asked at least every 50 ms, on the thread of the
  /// call. Empty: it is wanted to the end.
  std::function<bool()> cancelled{};

  bool IsCancelled() const { return cancelled != nullptr && cancelled(); }
};

/// Reads the file's structure, no pixels. Frames that the file does not wholly hold are left out,
/// but the first.
/// Returns  null with `error`: kErrorCorruptMovie when there is no frame in it,
/// kErrorNotEnoughMemory
///          when it is larger than a picture may be.
std::unique_ptr<PictureDecoder> OpenPicture(PictureFormat format, const PictureSource& source,
                                            EngineError& error);

// One for each format; the sizes are checked by OpenPicture.
std::unique_ptr<PictureDecoder> OpenGif(const PictureSource& source, std::string& reason);
std::unique_ptr<PictureDecoder> OpenPng(const PictureSource& source, std::string& reason);
std::unique_ptr<PictureDecoder> OpenWebp(const PictureSource& source, std::string& reason);
std::unique_ptr<PictureDecoder> OpenSvg(const PictureSource& source, std::string& reason);
std::unique_ptr<PictureDecoder> OpenJpeg(const PictureSource& source, std::string& reason);

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_IMAGE_PICTUREDECODER_H_
