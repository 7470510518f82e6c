// Writes a picture beside its name first, so that the name always has a whole one.

#include "host/graphics/pixels/PngFile.h"

#include <fcntl.h>
#include <png.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csetjmp>
#include <cstdio>
#include <cstring>

#include "host/base/Check.h"

namespace plexion_host {
namespace {

// Pictures are taken while content plays: quick compression keeps the pause short, and flat
// graphics shrink well with it.
constexpr int kCompressionLevel = 3;

struct PngOutput {
  std::FILE* file = nullptr;
  std::string reason;
};

void OnPngError(png_structp png, png_const_charp message) {
  auto* output = static_cast<PngOutput*>(png_get_error_ptr(png));
  if (output->reason.empty()) output->reason = message;
  longjmp(png_jmpbuf(png), 1);
}

void OnPngWarning(png_structp, png_const_charp) {}

void OnPngData(png_structp png, png_bytep data, png_size_t size) {
  auto* output = static_cast<PngOutput*>(png_get_io_ptr(png));
  if (std::fwrite(data, 1, size, output->file) != size) {
    output->reason = std::strerror(errno);
    png_error(png, "write");
  }
}

void OnPngFlush(png_structp) {}

// The library leaves by longjmp: nothing with a destructor lives in this frame.
bool Encode(PngOutput& output, const qx::plexion::Dims& dims, const uint32_t* pixels,
            png_byte* row) {
  png_structp png =
      png_create_write_struct(PNG_LIBPNG_VER_STRING, &output, OnPngError, OnPngWarning);
  if (png == nullptr) return false;
  png_infop info = png_create_info_struct(png);
  if (info == nullptr || setjmp(png_jmpbuf(png)) != 0) {
    png_destroy_write_struct(&png, &info);
    return false;
  }
  png_set_write_fn(png, &output, OnPngData, OnPngFlush);
  png_set_compression_level(png, kCompressionLevel);
  png_set_IHDR(png, info, dims.width, dims.height, 8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  png_write_info(png, info);
  for (uint32_t y = 0; y < dims.height; ++y) {
    const uint32_t* from = pixels + size_t{y} * dims.width;
    for (size_t x = 0; x < dims.width; ++x) {
      row[3 * x] = static_cast<png_byte>(from[x] >> 16);
      row[3 * x + 1] = static_cast<png_byte>(from[x] >> 8);
      row[3 * x + 2] = static_cast<png_byte>(from[x]);
    }
    png_write_row(png, row);
  }
  png_write_end(png, info);
  png_destroy_write_struct(&png, &info);
  return true;
}

std::string TemporaryName(const std::string& path) {
  static std::atomic<unsigned> counter{0};
  return path + ".part-" + std::to_string(getpid()) + "-" + std::to_string(++counter);
}

}  // namespace

bool WritePng(const std::string& path, const qx::plexion::Dims& dims,
              const std::vector<uint32_t>& pixels, std::string& error) {
  PLEXION_CHECK(pixels.size() == size_t{dims.width} * dims.height,
                "there is a pixel for each place");
  const auto fail = [&](const std::string& reason) {
    error = "cannot write '" + path + "': " + reason;
    return false;
  };
  if (path.empty()) return fail("empty file name; expected the name of a PNG file");
  struct stat there;
  // Through a link as well: the file takes the name's place, and a device there would be gone.
  if (stat(path.c_str(), &there) == 0 && !S_ISREG(there.st_mode)) {
    return fail(std::string("it is ") +
                (S_ISDIR(there.st_mode) ? "a directory" : "no regular file") +
                "; expected the name of a file");
  }
  // Whoever fetches the picture by its name gets the old one or the new one, never half of it.
  const std::string temporary = TemporaryName(path);
  const int descriptor = open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  if (descriptor < 0) return fail(std::strerror(errno));
  PngOutput output;
  output.file = fdopen(descriptor, "wb");
  std::vector<png_byte> row(size_t{dims.width} * 3);
  bool good = output.file != nullptr && Encode(output, dims, pixels.data(), row.data());
  // A full disk may show only when the last buffered bytes go out.
  if (output.file == nullptr) {
    output.reason = std::strerror(errno);
    close(descriptor);
  } else if (std::fclose(output.file) != 0 && good) {
    output.reason = std::strerror(errno);
    good = false;
  }
  if (good && std::rename(temporary.c_str(), path.c_str()) != 0) {
    output.reason = std::strerror(errno);
    good = false;
  }
  if (good) return true;
  unlink(temporary.c_str());
  return fail(output.reason.empty() ? "out of memory" : output.reason);
}

}  // namespace plexion_host
