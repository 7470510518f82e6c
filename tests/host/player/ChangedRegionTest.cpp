#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "host/player/lottie/ChangedRegion.h"

namespace plexion_host::player {
namespace {

class ChangedRegionTest : public ::testing::Test {
 protected:
  bool Compare(uint8_t bgAlpha = 0, bool everything = false) {
    return region_.Compare({pixels_.data(), width_, height_}, bgAlpha, everything, dirty_);
  }
  uint32_t& At(uint32_t x, uint32_t y) { return pixels_[size_t{y} * width_ + x]; }

  uint32_t width_ = 200;
  uint32_t height_ = 10;
  std::vector<uint32_t> pixels_ = std::vector<uint32_t>(2000, 0x80402010);
  ChangedRegion region_{nullptr};
  qx::plexion::Rect dirty_ = {9, 9, 9, 9};
};

TEST_F(ChangedRegionTest, TakesTheFirstPictureAndANewSizeForChanged) {
  EXPECT_TRUE(Compare());
  EXPECT_EQ(200u, dirty_.width);
  EXPECT_EQ(10u, dirty_.height);
  EXPECT_FALSE(Compare());
  EXPECT_EQ(0u, dirty_.width);
  width_ = 100;
  height_ = 20;
  EXPECT_TRUE(Compare());
  EXPECT_EQ(20u, dirty_.height);
  EXPECT_TRUE(Compare(0, true)) << "everything was asked for";
  EXPECT_EQ(100u, dirty_.width);
}

TEST_F(ChangedRegionTest, FindsTheRunsThatHoldAChange) {
  Compare();
  At(70, 3) ^= 1;
  EXPECT_TRUE(Compare());
  EXPECT_EQ(64u, dirty_.x);
  EXPECT_EQ(3u, dirty_.y);
  EXPECT_EQ(64u, dirty_.width);
  EXPECT_EQ(1u, dirty_.height);

  At(0, 2) ^= 1;
  At(199, 8) ^= 1;
  EXPECT_TRUE(Compare());
  EXPECT_EQ(0u, dirty_.x);
  EXPECT_EQ(2u, dirty_.y);
  EXPECT_EQ(200u, dirty_.width) << "the last run of a row is a short one";
  EXPECT_EQ(7u, dirty_.height);
}

TEST_F(ChangedRegionTest, SeesEveryBitOfEveryPixel) {
  Compare();
  for (uint32_t x = 0; x < width_; ++x) {
    for (int bit = 0; bit < 32; ++bit) {
      At(x, 5) ^= 1u << bit;
      ASSERT_TRUE(Compare()) << "pixel " << x << " bit " << bit;
    }
  }
}

TEST_F(ChangedRegionTest, SeesTheSameChangeInTwoPixels) {
  Compare();
  for (uint32_t distance = 1; distance < 40; ++distance) {
    for (int bit = 0; bit < 32; ++bit) {
      At(0, 0) ^= 1u << bit;
      At(distance, 0) ^= 1u << bit;
      ASSERT_TRUE(Compare()) << "distance " << distance << " bit " << bit;
    }
  }
}

TEST_F(ChangedRegionTest, LaysBlackUnderThePicture) {
  std::mt19937 random(1);
  for (const int bgAlpha : {0, 1, 127, 128, 254, 255}) {
    for (uint32_t& pixel : pixels_) pixel = random();
    const std::vector<uint32_t> before = pixels_;
    Compare(static_cast<uint8_t>(bgAlpha), true);
    for (size_t i = 0; i < pixels_.size(); ++i) {
      ASSERT_EQ(before[i] & 0xFFFFFF, pixels_[i] & 0xFFFFFF) << "black adds no colour";
      const double alpha = before[i] >> 24;
      const double expected = alpha + (255 - alpha) * bgAlpha / 255;
      ASSERT_NEAR(expected, pixels_[i] >> 24, 0.51) << bgAlpha << " under " << alpha;
    }
  }
}

}  // namespace
}  // namespace plexion_host::player
