#include <gtest/gtest.h>

#include <random>

#include "host/graphics/pixels/Turn.h"

namespace plexion_host {
namespace {

using qx::plexion::Dims;

TEST(TurnTest, PixelsBoxesAndPointsAgree) {
  std::mt19937 random(3);
  for (const Dims dims : {Dims{1, 1}, Dims{7, 3}, Dims{33, 65}, Dims{100, 40}}) {
    PixelStore picture = PixelStore::Make(dims);
    for (size_t i = 0; i < size_t{dims.width} * dims.height; ++i) {
      picture.Pixels()[i] = static_cast<uint32_t>(i + 1);
    }
    for (unsigned quarters = 0; quarters < 4; ++quarters) {
      SCOPED_TRACE(quarters);
      const Dims turned = TurnedDims(dims, quarters);
      PixelStore other = PixelStore::Make(turned);
      const auto below = [&](uint32_t limit) { return static_cast<int32_t>(random() % limit); };
      Box box{below(dims.width), below(dims.height), 0, 0};
      box.x2 = box.x1 + 1 + below(dims.width - static_cast<uint32_t>(box.x1));
      box.y2 = box.y1 + 1 + below(dims.height - static_cast<uint32_t>(box.y1));
      TurnPixels(picture, box, quarters, other);
      const Box place = TurnedBox(box, dims, quarters);
      EXPECT_EQ((box.x2 - box.x1) * (box.y2 - box.y1),
                (place.x2 - place.x1) * (place.y2 - place.y1));
      for (int32_t y = 0; y < static_cast<int32_t>(turned.height); ++y) {
        for (int32_t x = 0; x < static_cast<int32_t>(turned.width); ++x) {
          int32_t ownX = x;
          int32_t ownY = y;
          UnturnPoint(dims, quarters, ownX, ownY);
          const bool inside = x >= place.x1 && x < place.x2 && y >= place.y1 && y < place.y2;
          const uint32_t expected = inside ? picture.Row(static_cast<size_t>(ownY))[ownX] : 0;
          ASSERT_EQ(expected, other.Row(static_cast<size_t>(y))[x]) << x << "," << y;
        }
      }
    }
  }
}

TEST(TurnTest, NinetyDegreesAreClockwise) {
  // What is at the top left is at the top right, then at the bottom right.
  for (const auto& [quarters, x, y] :
       {std::tuple<unsigned, int, int>{1, 2, 0}, {2, 3, 2}, {3, 0, 3}}) {
    const Box corner = TurnedBox({0, 0, 1, 1}, {4, 3}, quarters);
    EXPECT_EQ(x, corner.x1) << quarters;
    EXPECT_EQ(y, corner.y1) << quarters;
  }
}

}  // namespace
}  // namespace plexion_host
