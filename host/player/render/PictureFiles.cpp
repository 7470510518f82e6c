// Drawn frames as files: PNG one by one, WebP for an animation.
#include "host/player/render/PictureFiles.h"

#include <errno.h>
#include <png.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>
#include <webp/encode.h>
#include <webp/mux.h>

#include <algorithm>

#include "host/base/Check.h"
#include "host/base/Pixels.h"

namespace plexion_host::player {

namespace {

std::string Reason(const std::string& path) {
  return "cannot write '" + path + "': " + strerror(errno);
}

/// A file under another name until it is whole.
class WholeFile {
 public:
  // "x": an old part that another render is just writing is not written into.
  explicit WholeFile(const std::string& path)
      : path_(path), temporary_(path + ".part"), file_(fopen(temporary_.c_str(), "wbx")) {}
  WholeFile(const WholeFile&) = delete;
  WholeFile& operator=(const WholeFile&) = delete;
  ~WholeFile() {
    if (file_ == nullptr) return;
    fclose(file_);
    unlink(temporary_.c_str());
  }

  FILE* Get() const { return file_; }

  bool Finish() {
    PLEXION_CHECK(file_ != nullptr, "a file that could be opened is finished");
    FILE* const file = file_;
    file_ = nullptr;
    const bool written = ferror(file) == 0 && fflush(file) == 0;
    const bool closed = fclose(file) == 0;
    // Whoever takes pictures from the folder sees whole ones only.
    if (written && closed && rename(temporary_.c_str(), path_.c_str()) == 0) return true;
    const int cause = errno;
    unlink(temporary_.c_str());
    errno = cause;
    return false;
  }

 private:
  const std::string path_;
  const std::string temporary_;
  FILE* file_;
};

}  // namespace

void PreparePixels(std::vector<uint32_t>& pixels, bool hasBackground, uint32_t background) {
  for (uint32_t& pixel : pixels) {
    pixel = hasBackground ? OverOpaque(pixel, background) : Unpremultiplied(pixel);
  }
}

bool WritePngFile(const std::string& path, const qx::plexion::Dims& dims,
                  const std::vector<uint32_t>& pixels, std::string& error) {
  WholeFile file(path);
  PLEXION_CHECK(pixels.size() == size_t{dims.width} * dims.height,
                "there is a pixel for each place");
  png_image image = {};
  image.version = PNG_IMAGE_VERSION;
  image.width = dims.width;
  image.height = dims.height;
  image.format = PNG_FORMAT_BGRA;
  if (file.Get() == nullptr) {
    error = Reason(path);
    return false;
  }
  // The simplified interface: one call, which picks filters and compression that are good enough.
  if (png_image_write_to_stdio(&image, file.Get(), 0, pixels.data(),
                               static_cast<png_int_32>(dims.width * 4), nullptr) == 0) {
    error = "cannot write '" + path + "': " + image.message;
    return false;
  }
  if (file.Finish()) return true;
  error = Reason(path);
  return false;
}

struct AnimationFile::Encoder {
  WebPAnimEncoder* webp = nullptr;
  WebPConfig config = {};
  qx::plexion::Dims dims = {0, 0};
  ~Encoder() { WebPAnimEncoderDelete(webp); }
};

AnimationFile::AnimationFile() = default;
AnimationFile::~AnimationFile() = default;

bool AnimationFile::Begin(const qx::plexion::Dims& dims, std::string& error) {
  if (std::max(dims.width, dims.height) > WEBP_MAX_DIMENSION) {
    error = "an animated picture has at most " + std::to_string(WEBP_MAX_DIMENSION) +
            " pixels either way; expected a smaller --size";
    return false;
  }
  encoder_ = std::make_unique<Encoder>();
  encoder_->dims = dims;
  WebPAnimEncoderOptions options;
  WebPAnimEncoderOptionsInit(&options);
  WebPConfigInit(&encoder_->config);
  encoder_->config.lossless = 1;
  encoder_->config.method = 2;  // a tenth larger than the best, several times as fast
  encoder_->config.quality = 40;
  // Transparent pixels keep their colours, or frames that should be alike would differ.
  encoder_->config.exact = 1;
  encoder_->webp =
      WebPAnimEncoderNew(static_cast<int>(dims.width), static_cast<int>(dims.height), &options);
  if (encoder_->webp != nullptr) return true;
  error = "no memory for an animated picture";
  return false;
}

bool AnimationFile::Add(int atMs, const std::vector<uint32_t>& pixels, std::string& error) {
  PLEXION_CHECK(
      encoder_ != nullptr && pixels.size() == size_t{encoder_->dims.width} * encoder_->dims.height,
      "a frame comes after the beginning, as large as was said");
  WebPPicture picture;
  WebPPictureInit(&picture);
  picture.use_argb = 1;
  picture.width = static_cast<int>(encoder_->dims.width);
  picture.height = static_cast<int>(encoder_->dims.height);
  const bool added =
      WebPPictureImportBGRA(&picture, reinterpret_cast<const uint8_t*>(pixels.data()),
                            picture.width * 4) != 0 &&
      WebPAnimEncoderAdd(encoder_->webp, &picture, atMs, &encoder_->config) != 0;
  WebPPictureFree(&picture);
  if (!added)
    error = std::string("a frame cannot be encoded: ") + WebPAnimEncoderGetError(encoder_->webp);
  return added;
}

bool AnimationFile::Finish(int endMs, const std::string& path, std::string& error) {
  WebPData data;
  WebPDataInit(&data);
  if (WebPAnimEncoderAdd(encoder_->webp, nullptr, endMs, nullptr) == 0 ||
      WebPAnimEncoderAssemble(encoder_->webp, &data) == 0) {
    error = std::string("the animation cannot be put together: ") +
            WebPAnimEncoderGetError(encoder_->webp);
    return false;
  }
  WholeFile file(path);
  const bool written = file.Get() != nullptr &&
                       fwrite(data.bytes, 1, data.size, file.Get()) == data.size && file.Finish();
  if (!written) error = Reason(path);
  WebPDataClear(&data);
  return written;
}

}  // namespace plexion_host::player
