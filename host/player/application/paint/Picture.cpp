// Decodes the pictures of image elements, and shares them.
#include "host/player/application/paint/Picture.h"

#include <errno.h>
#include <setjmp.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <iterator>

// libjpeg's header needs stdio's before it.
#include <jpeglib.h>
#include <png.h>

#include "host/base/Check.h"

namespace plexion_host::player::application {

namespace {

constexpr off_t kLargestFile = 128 * 1024 * 1024;

/// The file's bytes, in the window's memory too.
bool ReadAll(int descriptor, qx::plexion::MemoryWatchdog* watchdog, WatchedBuffer& bytes,
             std::string& error) {
  struct stat status = {};
  if (fstat(descriptor, &status) != 0 || status.st_size > kLargestFile) {
    error = "a picture's file has at most " + std::to_string(kLargestFile) + " bytes";
    return false;
  }
  const auto size = static_cast<size_t>(status.st_size);
  if (size == 0) {
    error = "the file is empty";
    return false;
  }
  if (!bytes.Resize(watchdog, size)) {
    error = "no memory for the file's " + std::to_string(size) + " bytes";
    return false;
  }
  size_t done = 0;
  while (done < size) {
    const ssize_t got =
        pread(descriptor, bytes.As<char>() + done, size - done, static_cast<off_t>(done));
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) {
      error = "the file cannot be read to its end";
      return false;
    }
    done += static_cast<size_t>(got);
  }
  return true;
}

/// Where a picture's pixels go, and how many there may be.
struct PixelRoom {
  uint64_t bytes;
  qx::plexion::MemoryWatchdog* watchdog;
};

bool MakePixels(Picture& picture, uint64_t width, uint64_t height, const PixelRoom& room,
                std::string& error) {
  if (width == 0 || height == 0 || width > kLargestPictureSide || height > kLargestPictureSide ||
      width * height > kMostPicturePixels) {
    error = "the picture has " + std::to_string(width) + "x" + std::to_string(height) +
            " pixels; at most " + std::to_string(kMostPicturePixels) + " are allowed, and " +
            std::to_string(kLargestPictureSide) + " a side";
    return false;
  }
  if (width * height * sizeof(uint32_t) > room.bytes) {
    error = "the pictures of the application would have more than the " +
            std::to_string(kMostPictureBytes / 1048576) + " MB of pixels that are allowed";
    return false;
  }
  picture.width = static_cast<uint32_t>(width);
  picture.height = static_cast<uint32_t>(height);
  if (picture.pixels.Resize(room.watchdog, width * height * sizeof(uint32_t))) return true;
  error = "no memory for the picture's " + std::to_string(width) + "x" + std::to_string(height) +
          " pixels";
  return false;
}

bool DecodePng(WatchedBuffer& bytes, Picture& picture, const PixelRoom& room, std::string& error) {
  png_image image = {};
  image.version = PNG_IMAGE_VERSION;
  if (png_image_begin_read_from_memory(&image, bytes.Data(), bytes.Size()) == 0) {
    error = std::string("damaged PNG: ") + image.message;
    return false;
  }
  image.format = PNG_FORMAT_BGRA;
  if (!MakePixels(picture, image.width, image.height, room, error)) {
    png_image_free(&image);
    return false;
  }
  if (png_image_finish_read(&image, nullptr, picture.pixels.Data(), 0, nullptr) == 0) {
    error = std::string("damaged PNG: ") + image.message;
    png_image_free(&image);
    return false;
  }
  uint32_t* pixel = picture.pixels.As<uint32_t>();
  for (size_t left = size_t{picture.width} * picture.height; left > 0; --left, ++pixel) {
    const uint32_t alpha = *pixel >> 24;
    if (alpha == 255) continue;
    uint32_t multiplied = alpha << 24;
    for (unsigned shift = 0; shift < 24; shift += 8) {
      multiplied |= ((*pixel >> shift & 255) * alpha + 127) / 255 << shift;
    }
    *pixel = multiplied;
  }
  return true;
}

struct JpegFailure {
  jpeg_error_mgr manager;
  jmp_buf out;
  char message[JMSG_LENGTH_MAX];
};

void LeaveJpeg(j_common_ptr decoder) {
  auto* failure = reinterpret_cast<JpegFailure*>(decoder->err);
  decoder->err->format_message(decoder, failure->message);
  longjmp(failure->out, 1);
}

void IgnoreJpegMessage(j_common_ptr) {}

/// What may be jumped out of: no object with a destructor lives in here.
bool DecodeJpegRows(jpeg_decompress_struct& decoder, JpegFailure& failure, WatchedBuffer& bytes,
                    Picture& picture, const PixelRoom& room, std::string& error) {
  if (setjmp(failure.out) != 0) return false;
  jpeg_create_decompress(&decoder);
  jpeg_mem_src(&decoder, bytes.As<unsigned char>(), bytes.Size());
  jpeg_read_header(&decoder, TRUE);
  if (!MakePixels(picture, decoder.image_width, decoder.image_height, room, error)) return false;
  decoder.out_color_space = JCS_EXT_BGRA;
  jpeg_start_decompress(&decoder);
  while (decoder.output_scanline < decoder.output_height) {
    JSAMPROW row = picture.pixels.As<unsigned char>() +
                   size_t{decoder.output_scanline} * picture.width * sizeof(uint32_t);
    jpeg_read_scanlines(&decoder, &row, 1);
  }
  jpeg_finish_decompress(&decoder);
  return true;
}

bool DecodeJpeg(WatchedBuffer& bytes, Picture& picture, const PixelRoom& room, std::string& error) {
  jpeg_decompress_struct decoder = {};
  JpegFailure failure = {};
  decoder.err = jpeg_std_error(&failure.manager);
  failure.manager.error_exit = LeaveJpeg;
  failure.manager.output_message = IgnoreJpegMessage;
  const bool decoded = DecodeJpegRows(decoder, failure, bytes, picture, room, error);
  jpeg_destroy_decompress(&decoder);
  if (!decoded && error.empty()) error = std::string("damaged JPEG: ") + failure.message;
  return decoded;
}

}  // namespace

std::shared_ptr<Picture> DecodePicture(int descriptor, uint64_t room,
                                       qx::plexion::MemoryWatchdog* watchdog, std::string& error) {
  WatchedBuffer bytes;
  error.clear();
  if (!ReadAll(descriptor, watchdog, bytes, error)) return nullptr;
  auto picture = std::make_shared<Picture>();
  const char* head = bytes.As<char>();
  bool decoded = false;
  if (bytes.Size() >= 8 && memcmp(head, "\x89PNG\r\n\x1a\n", 8) == 0) {
    decoded = DecodePng(bytes, *picture, {room, watchdog}, error);
  } else if (bytes.Size() >= 3 && memcmp(head, "\xff\xd8\xff", 3) == 0) {
    decoded = DecodeJpeg(bytes, *picture, {room, watchdog}, error);
  } else {
    error = "it is neither PNG nor JPEG";
  }
  return decoded ? picture : nullptr;
}

std::shared_ptr<Picture> PictureCache::Open(const OpenFile& file, std::string& error) {
  PLEXION_CHECK(file.IsOpen(), "the picture's file is open");
  struct stat status = {};
  if (fstat(file.Descriptor(), &status) != 0) {
    error = "the file cannot be read";
    return nullptr;
  }
  uint64_t used = 0;
  for (auto at = pictures_.begin(); at != pictures_.end();) {
    const std::shared_ptr<Picture> picture = at->second.lock();
    if (picture != nullptr) used += picture->pixels.Size();
    at = picture != nullptr ? std::next(at) : pictures_.erase(at);
  }
  const Key key = {status.st_dev, status.st_ino, status.st_size, status.st_mtim.tv_sec,
                   status.st_mtim.tv_nsec};
  std::weak_ptr<Picture>& known = pictures_[key];
  if (std::shared_ptr<Picture> picture = known.lock()) return picture;
  std::shared_ptr<Picture> picture = DecodePicture(
      file.Descriptor(), kMostPictureBytes - std::min(used, kMostPictureBytes), watchdog_, error);
  known = picture;
  return picture;
}

}  // namespace plexion_host::player::application
