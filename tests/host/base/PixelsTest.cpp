// Arithmetic of pixels, against the same in whole numbers and over all bytes.
#include <cmath>

#include "host/base/Pixels.h"

namespace plexion_host {
namespace {

TEST(PixelsTest, ProductsAreRoundedToTheNearest) {
  for (uint32_t a = 0; a < 256; ++a) {
    for (uint32_t b = 0; b < 256; ++b) {
      ASSERT_EQ(TimesByte(a, b), static_cast<uint32_t>(std::lround(a * b / 255.0)))
          << a << " " << b;
    }
  }
}

TEST(PixelsTest, MultiplyingAndBackLosesNoMoreThanTheAlphaCannotHold) {
  for (uint32_t alpha = 1; alpha < 256; ++alpha) {
    for (uint32_t value = 0; value < 256; ++value) {
      const uint32_t straight = alpha << 24 | value << 16 | (255 - value) << 8 | value;
      const uint32_t pixel = Premultiplied(straight);
      ASSERT_EQ(pixel >> 24, alpha);
      ASSERT_LE(pixel >> 16 & 255, alpha);
      // Back and forth again it is the same pixel: pictures may pass through files many times.
      ASSERT_EQ(Premultiplied(Unpremultiplied(pixel)), pixel) << alpha << " " << value;
    }
  }
  EXPECT_EQ(Premultiplied(0x00FF8040u), 0u);
  EXPECT_EQ(Unpremultiplied(0x00000000u), 0u);
  EXPECT_EQ(Unpremultiplied(0x40FF2000u), 0x40FF8000u) << "more colour than alpha stays in range";
}

TEST(PixelsTest, WhatLiesBelowShowsThrough) {
  EXPECT_EQ(OverOpaque(0x80402010u, 0x00FF0000u), 0xFFBF2010u);
  EXPECT_EQ(OverOpaque(0, 0x00123456u), 0xFF123456u);
  EXPECT_EQ(OverOpaque(0x80FF0000u, 0x00FF0000u), 0xFFFF0000u) << "too bright, not another hue";

  uint32_t row[] = {0x00000000u, 0x80402010u, 0xFF112233u};
  LayBlackBelow(row, 3, 0);
  EXPECT_EQ(row[0], 0u);
  LayBlackBelow(row, 3, 255);
  EXPECT_EQ(row[0], kOpaqueBlack);
  EXPECT_EQ(row[1], 0xFF402010u);
  EXPECT_EQ(row[2], 0xFF112233u);
}

}  // namespace
}  // namespace plexion_host
