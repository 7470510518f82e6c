// What is kept of shapes at rest: the same pictures, little memory, nothing for long.
#include <gtest/gtest.h>

#include "host/player/lottie/paint/Painter.h"
#include "tests/host/player/PlainHost.h"

namespace plexion_host::movie {
namespace {

constexpr int kWidth = 90, kHeight = 70;

bool Never() { return false; }

/// A dashed curve, a star with a hole, and a curve in a group of its own, under lights that change.
class CoverCacheTest : public ::testing::Test {
 protected:
  CoverCacheTest() {
    for (ShapeOp* op : {&curve_, &star_, &inner_}) {
      op->gradient = true;
      op->x2 = kWidth;
      op->stops.resize(2);
      op->stops[1].offset = 1;
    }
    for (ShapeOp* op : {&curve_, &inner_}) {
      op->kind = ShapeOp::Kind::kStroke;
      op->width = 5;
      op->path.Move(8, 60);
      op->path.Cubic(30, -40, 50, 120, 80, 10);
    }
    curve_.dashes = {9, 4};
    for (int i = 0; i < 11; ++i) {
      const double angle = i * 4 * 6.2831853 / 11;
      const auto x = static_cast<float>(45 + 33 * sin(angle));
      const auto y = static_cast<float>(35 - 33 * cos(angle));
      i == 0 ? star_.path.Move(x, y) : star_.path.Line(x, y);
    }
    star_.path.Close();
    curve_.outline = 1;
    star_.outline = 2;
    inner_.outline = 3;
  }

  /// The lights of a frame, and what is seen through the plane's hole of `bounds`.
  DisplayList Frame(int frame, const IntRect& bounds = {0, 0, kWidth, kHeight}) {
    for (ShapeOp* op : {&curve_, &star_, &inner_}) {
      op->stops[0].colour = {1, static_cast<float>(frame % 7) / 7, 0, 0.75f};
      op->stops[1].colour = {0, 0.5f, static_cast<float>(frame % 5) / 5, 1};
    }
    DisplayList list(5);
    list[0].op = &star_;
    list[1].op = &curve_;
    list[2].kind = DrawItem::Kind::kGroup;
    list[2].end = 4;
    list[2].opacity = 0.5f;
    list[3].op = &inner_;
    list[3].matrix = {0.5, 0, 0, 0.5, 20, 18};
    list[4].kind = DrawItem::Kind::kEnd;
    for (size_t i = 0; i < list.size(); ++i) {
      list[i].bounds = bounds;
      list[i].key = i + 1;
    }
    return list;
  }

  static std::vector<uint32_t> Draw(Painter& painter, const DisplayList& list,
                                    const IntRect& clip = {0, 0, kWidth, kHeight}) {
    std::vector<uint32_t> pixels(kWidth * kHeight, 0xFF204060);
    painter.BeginFrame();
    painter.Paint(list, 0, list.size(), {pixels.data(), kWidth, kHeight, kWidth * 4}, clip, Never);
    return pixels;
  }

  /// What one draws who has kept nothing.
  static std::vector<uint32_t> Fresh(const DisplayList& list,
                                     const IntRect& clip = {0, 0, kWidth, kHeight}) {
    Painter painter;
    return Draw(painter, list, clip);
  }

  ShapeOp curve_, star_, inner_;
};

int MostApart(const std::vector<uint32_t>& one, const std::vector<uint32_t>& other) {
  int most = 0;
  for (size_t i = 0; i < one.size(); ++i) {
    for (int shift = 0; shift < 32; shift += 8) {
      most = std::max(most, std::abs(static_cast<int>(one[i] >> shift & 255) -
                                     static_cast<int>(other[i] >> shift & 255)));
    }
  }
  return most;
}

TEST_F(CoverCacheTest, DrawsShapesAtRestAsIfTheyWereNew) {
  Painter painter;
  for (int frame = 0; frame < 12; ++frame) {
    if (frame == 6) {  // everything goes somewhere else, and another way
      star_.outline = 20;
      star_.path.points[3].x += 9;
      curve_.outline = 10;
      curve_.dashes = {3, 6};
    }
    const IntRect hole = frame % 3 == 2 ? IntRect{13, 9, 61, 40} : IntRect{0, 0, kWidth, kHeight};
    const DisplayList list = Frame(frame);
    // Colours are counted from where a row begins, so the last digit may differ.
    EXPECT_LE(MostApart(Fresh(list, hole), Draw(painter, list, hole)), 1) << frame;
    EXPECT_EQ(painter.KeptBytes() > 0, frame > 0) << frame;
  }
}

TEST_F(CoverCacheTest, KeepsNothingOfWhatMovesOrIsPaintedTwiceInAFrame) {
  Painter painter;
  for (int frame = 0; frame < 10; ++frame) {
    DisplayList list = Frame(frame);
    for (DrawItem& item : list) item.matrix.e += frame;
    Draw(painter, list);
    std::vector<uint32_t> pixels(kWidth * kHeight);
    painter.Paint(list, 0, list.size(), {pixels.data(), kWidth, kHeight, kWidth * 4},
                  {0, 0, kWidth, kHeight}, Never);
    EXPECT_EQ(0u, painter.KeptBytes()) << frame;
  }
}

TEST_F(CoverCacheTest, ForgetsWhatIsNotSeenAnyMore) {
  player::LimitedMemory memory(64u << 20);
  {
    Painter painter(&memory);
    for (int frame = 0; frame < 3; ++frame) Draw(painter, Frame(frame));
    EXPECT_GT(painter.KeptBytes(), 0u);
    EXPECT_GE(memory.GetBytesUsed(), painter.KeptBytes()) << "it is the window's memory";
    const DisplayList nothing;
    for (uint32_t i = 0; i < 3 * CoverCache::kForgottenAfter; ++i) Draw(painter, nothing);
    EXPECT_EQ(0u, painter.KeptBytes());
  }
}

TEST_F(CoverCacheTest, GivesBackWhatItKeepsWhenMemoryIsToBeSaved) {
  player::LimitedMemory memory(64u << 20);
  Painter painter(&memory);
  for (int frame = 0; frame < 3; ++frame) Draw(painter, Frame(frame));
  EXPECT_GT(painter.KeptBytes() + painter.PoolBytes(), 0u);
  painter.SaveMemory();
  EXPECT_EQ(0u, painter.KeptBytes() + painter.PoolBytes());
  EXPECT_EQ(0u, memory.GetBytesUsed());
  // What it keeps from now on is right, and group's pixels do not outlive the frame after their last.
  for (int frame = 3; frame < 6; ++frame) {
    EXPECT_LE(MostApart(Fresh(Frame(frame)), Draw(painter, Frame(frame))), 1) << frame;
  }
  EXPECT_GT(painter.KeptBytes(), 0u) << "a little is kept all the same";
  for (int frame = 0; frame < 3; ++frame) Draw(painter, DisplayList());
  EXPECT_EQ(0u, painter.PoolBytes());
}

TEST_F(CoverCacheTest, TakesNoScarceMemoryAndNeverMoreThanItsShare) {
  player::LimitedMemory memory(2u << 20);
  Painter painter(&memory);
  for (int frame = 0; frame < 3; ++frame) {
    const DisplayList list = Frame(frame);
    EXPECT_EQ(Fresh(list), Draw(painter, list));
    EXPECT_EQ(0u, painter.KeptBytes());
  }
  CoverCache cache(nullptr);
  CoverRecorder recorder;
  recorder.Begin(CoverCache::kMostForShape);
  const std::vector<uint8_t> row(1000, 100);
  for (int y = 0; y < 400; ++y) recorder.Mixed(0, y, 1000, row.data());
  ASSERT_TRUE(recorder.Whole());
  bool rests = false;
  for (int frame = 0; frame < 3; ++frame) {
    cache.BeginFrame();
    for (uint64_t key = 1; key <= 40; ++key) {
      if (cache.Find(key, 1, rests) == nullptr && rests) (void)cache.Keep(key, recorder);
    }
  }
  EXPECT_GT(cache.Bytes(), CoverCache::kMostBytes / 2);
  EXPECT_LE(cache.Bytes(), CoverCache::kMostBytes);
  for (int y = 400; y < 600; ++y) recorder.Mixed(0, y, 1000, row.data());
  EXPECT_FALSE(recorder.Whole()) << "one shape does not take it all";
}

}  // namespace
}  // namespace plexion_host::movie
