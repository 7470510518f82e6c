// The screen as a JPEG: its size and its colours.

#include <gtest/gtest.h>

#include <cstdio>
//
#include <jpeglib.h>

#include "host/look/ScreenPicture.h"

namespace plexion_host {
namespace {

struct Decoded {
  unsigned width = 0;
  unsigned height = 0;
  std::vector<uint8_t> bytes;
};

Decoded Decode(const std::string& file) {
  jpeg_decompress_struct picture{};
  jpeg_error_mgr errors{};
  picture.err = jpeg_std_error(&errors);
  jpeg_create_decompress(&picture);
  jpeg_mem_src(&picture, reinterpret_cast<const unsigned char*>(file.data()), file.size());
  jpeg_read_header(&picture, TRUE);
  jpeg_start_decompress(&picture);
  Decoded decoded{picture.output_width, picture.output_height, {}};
  decoded.bytes.resize(size_t{decoded.width} * decoded.height * 3);
  while (picture.output_scanline < decoded.height) {
    JSAMPROW row = &decoded.bytes[size_t{picture.output_scanline} * decoded.width * 3];
    jpeg_read_scanlines(&picture, &row, 1);
  }
  jpeg_finish_decompress(&picture);
  jpeg_destroy_decompress(&picture);
  return decoded;
}

TEST(ScreenPictureTest, IsSmallerByAWholeNumberAndHasTheScreensColours) {
  const struct {
    uint32_t width, height, most, toWidth, toHeight;
  } cases[] = {{640, 360, 960, 640, 360},
               {1920, 1080, 960, 960, 540},
               {1080, 1920, 960, 540, 960},
               {1921, 1081, 960, 640, 360},
               {64, 48, 64, 64, 48}};
  for (const auto& each : cases) {
    // Left red, right blue.
    std::vector<uint32_t> pixels(size_t{each.width} * each.height);
    for (size_t i = 0; i < pixels.size(); ++i) {
      pixels[i] = i % each.width < each.width / 2 ? 0xffff0000 : 0xff0000ff;
    }
    const Decoded decoded = Decode(EncodeScreen({each.width, each.height}, pixels, each.most));
    EXPECT_EQ(each.toWidth, decoded.width);
    ASSERT_EQ(each.toHeight, decoded.height);
    const size_t middle = size_t{each.toHeight / 2} * each.toWidth;
    const uint8_t* const left = &decoded.bytes[(middle + each.toWidth / 4) * 3];
    const uint8_t* const right = &decoded.bytes[(middle + each.toWidth * 3 / 4) * 3];
    EXPECT_TRUE(left[0] > 240 && left[2] < 16);
    EXPECT_TRUE(right[0] < 16 && right[2] > 240);
  }
  EXPECT_EQ("", EncodeScreen({0, 0}, {}, 960));
}

}  // namespace
}  // namespace plexion_host
