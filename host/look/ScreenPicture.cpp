// Makes a picture of the screen smaller and writes it as JPEG.
#include "host/look/ScreenPicture.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
//
#include <jpeglib.h>

#include "host/base/Check.h"

namespace plexion_host {
namespace {

constexpr int kQuality = 75;

/// One row of the small picture: the mean of a square of pixels for each.
void ShrinkRow(const std::vector<uint32_t>& pixels, uint32_t pitch, uint32_t by, uint32_t row,
               std::vector<uint8_t>& out) {
  const uint32_t count = by * by;
  for (size_t x = 0; x * 3 < out.size(); ++x) {
    uint32_t red = 0;
    uint32_t green = 0;
    uint32_t blue = 0;
    for (uint32_t j = 0; j < by; ++j) {
      const uint32_t* const from = &pixels[(size_t{row} * by + j) * pitch + x * by];
      for (uint32_t i = 0; i < by; ++i) {
        red += from[i] >> 16 & 255;
        green += from[i] >> 8 & 255;
        blue += from[i] & 255;
      }
    }
    out[x * 3] = static_cast<uint8_t>(red / count);
    out[x * 3 + 1] = static_cast<uint8_t>(green / count);
    out[x * 3 + 2] = static_cast<uint8_t>(blue / count);
  }
}

}  // namespace

std::string EncodeScreen(const qx::plexion::Dims& dims, const std::vector<uint32_t>& pixels,
                         uint32_t mostSide) {
  PLEXION_CHECK(pixels.size() == size_t{dims.width} * dims.height, "all pixels are there");
  if (pixels.empty() || mostSide == 0) return {};
  const uint32_t by = (std::max(dims.width, dims.height) + mostSide - 1) / mostSide;
  const uint32_t width = dims.width / by;
  const uint32_t height = dims.height / by;
  if (width == 0 || height == 0) return {};
  jpeg_compress_struct picture{};
  jpeg_error_mgr errors{};
  // Its faults end the process; of pixels in memory there is none but the lack of memory.
  picture.err = jpeg_std_error(&errors);
  jpeg_create_compress(&picture);
  unsigned char* bytes = nullptr;
  unsigned long size = 0;
  jpeg_mem_dest(&picture, &bytes, &size);
  picture.image_width = width;
  picture.image_height = height;
  picture.input_components = 3;
  picture.in_color_space = JCS_RGB;
  jpeg_set_defaults(&picture);
  jpeg_set_quality(&picture, kQuality, TRUE);
  jpeg_start_compress(&picture, TRUE);
  std::vector<uint8_t> line(size_t{width} * 3);
  for (uint32_t row = 0; row < height; ++row) {
    ShrinkRow(pixels, dims.width, by, row, line);
    JSAMPROW rows[1] = {line.data()};
    jpeg_write_scanlines(&picture, rows, 1);
  }
  jpeg_finish_compress(&picture);
  std::string file(reinterpret_cast<const char*>(bytes), size);
  jpeg_destroy_compress(&picture);
  std::free(bytes);
  return file;
}

}  // namespace plexion_host
