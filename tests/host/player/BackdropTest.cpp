#include <gtest/gtest.h>

#include <fstream>

#include "host/player/ContentAddress.h"
#include "host/player/lottie/LottieEngine.h"
#include "host/player/lottie/paint/Backdrop.h"
#include "tests/host/player/PlainHost.h"

namespace plexion_host::movie {
namespace {

constexpr int kWidth = 40, kHeight = 20;
constexpr uint32_t kBlack = 0xFF000000;

/// A gradient in a group over all of the plane, and a square over it that moves.
class BackdropTest : public ::testing::Test {
 protected:
  BackdropTest() {
    wide_.path.AddRect({0, 0, kWidth, kHeight});
    wide_.gradient = true;
    wide_.x2 = kWidth;
    wide_.stops.resize(2);
    wide_.stops[1].offset = 1;
    wide_.stops[1].colour = {1, 0.5f, 0, 0.75f};
    square_.path.AddRect({0, 0, 5, 5});
    square_.colour = {0, 0, 1, 1};
  }

  void SetFrame(int frame, uint64_t bottom) {
    const IntRect plane = {0, 0, kWidth, kHeight};
    list_.assign(4, DrawItem());
    list_[0].kind = DrawItem::Kind::kGroup;
    list_[0].bounds = plane;
    list_[0].end = 2;
    list_[1].op = &wide_;
    list_[1].bounds = plane;
    list_[1].look = bottom;
    list_[1].opacity = 1.0f / static_cast<float>(bottom);
    list_[2].kind = DrawItem::Kind::kEnd;
    list_[3].op = &square_;
    list_[3].matrix.e = frame % 30;
    list_[3].look = static_cast<uint64_t>(frame);
    list_[3].bounds = {frame % 30, 0, frame % 30 + 5, 5};
    for (size_t i = 0; i < list_.size(); ++i) list_[i].key = i + 1;
  }

  /// Draws with the backdrop; the picture must be as without it. Returns  the items it held.
  size_t Draw(Backdrop& backdrop) {
    const auto stopped = [] { return false; };
    std::vector<uint32_t> with(kWidth * kHeight, kBlack), without = with;
    const Surface one = {with.data(), kWidth, kHeight, kWidth * 4};
    const Surface other = {without.data(), kWidth, kHeight, kWidth * 4};
    const size_t held =
        backdrop.Prepare(list_, kWidth, kHeight, kBlack, kWidth * kHeight, painter_, stopped);
    if (held > 0) backdrop.CopyTo(one, one.Bounds());
    painter_.Paint(list_, held, list_.size(), one, one.Bounds(), stopped);
    painter_.Paint(list_, 0, list_.size(), other, other.Bounds(), stopped);
    EXPECT_EQ(without, with);
    return held;
  }

  ShapeOp wide_, square_;
  DisplayList list_;
  Painter painter_;
};

TEST_F(BackdropTest, HoldsWhatLastsAndLetsGoOfItWhenItChanges) {
  Backdrop backdrop(nullptr);
  for (uint64_t bottom = 1; bottom <= 2; ++bottom) {
    for (int frame = 0; frame < 30; ++frame) {
      SetFrame(frame, bottom);
      const size_t held = Draw(backdrop);
      EXPECT_TRUE(frame > 0 || held == 0) << "it has just changed";
      EXPECT_TRUE(frame <= 12 || held == 3) << "the whole group, and no more; it is " << held;
    }
  }
}

TEST_F(BackdropTest, GivesUpOnWhatNeverLasts) {
  Backdrop backdrop(nullptr);
  int held = 0;
  for (int frame = 0; frame < 600; ++frame) {
    SetFrame(frame, 1 + static_cast<uint64_t>(frame) / 10);
    held += Draw(backdrop) > 0 ? 1 : 0;
  }
  EXPECT_LT(held, 30);
}

TEST_F(BackdropTest, HoldsNothingFromWhenMemoryIsToBeSaved) {
  player::LimitedMemory memory(1u << 20);
  Backdrop backdrop(&memory);
  for (int frame = 0; frame < 60; ++frame) {
    SetFrame(frame, 1);
    if (frame == 30) {
      EXPECT_EQ(3u, Draw(backdrop));
      EXPECT_GT(memory.GetBytesUsed(), 0u);
      backdrop.SaveMemory();
      EXPECT_EQ(0u, memory.GetBytesUsed());
    }
    const size_t held = Draw(backdrop);
    EXPECT_TRUE(frame < 30 || held == 0) << frame;
  }
}

TEST_F(BackdropTest, LeavesScarceMemoryToOthers) {
  constexpr unsigned long kPlane = kWidth * kHeight * 4;
  player::LimitedMemory memory(kPlane * 6);
  Backdrop backdrop(&memory);
  void* others = memory.Alloc(kPlane * 3, nullptr, 0);
  for (int frame = 0; frame < 30; ++frame) {
    SetFrame(frame, 1);
    EXPECT_EQ(0u, Draw(backdrop));
  }
  memory.Free(others, nullptr, 0);
  for (int frame = 0; frame < 20; ++frame) {
    SetFrame(frame, 1);
    const size_t held = Draw(backdrop);
    EXPECT_TRUE(frame <= 12 || held == 3) << held;
  }
  others = memory.Alloc(kPlane * 9 / 2, nullptr, 0);
  ASSERT_NE(nullptr, others);
  EXPECT_EQ(0u, Draw(backdrop));
  memory.Free(others, nullptr, 0);
}

TEST(SurfacePoolTest, PixelsOfGroupsAreChargedToTheWindow) {
  player::LimitedMemory memory(300 * 1024);
  SurfacePool pool(&memory);
  {
    const SurfacePool::Lease lease = pool.TakeSurface(200, 200);
    EXPECT_GE(memory.GetBytesUsed(), 200u * 200 * 4);
    EXPECT_THROW((void)pool.TakeSurface(200, 200), std::bad_alloc);
  }
  const SurfacePool::Lease again = pool.TakeSurface(200, 190);
  EXPECT_EQ(again.surface.Row(5)[5], 0u);
  EXPECT_EQ(memory.Peak(), memory.GetBytesUsed()) << "the same pixels";
}

/// Draws one frame of a movie with 200 copies of a star of 300 points. Returns  why not.
std::string DrawCopies(player::LimitedMemory& memory) {
  const std::string file = ::testing::TempDir() + "copies.json";
  std::ofstream(file)
      << R"({"v":"5","fr":10,"ip":0,"op":5,"w":40,"h":20,"layers":[{"ty":4,"ip":0,"op":5,
  "ks":{},"shapes":[{"ty":"sr","sy":1,"p":{"k":[20,10]},"pt":{"k":300},"r":{"k":0},"or":{"k":8},
  "ir":{"k":4},"os":{"k":30},"is":{"k":30}},{"ty":"fl","c":{"k":[1,0,0]},"o":{"k":100}},
  {"ty":"rp","c":{"k":200},"o":{"k":0},"tr":{"p":{"k":[0.01,0]},"so":{"k":100},"eo":{"k":100}}}]}]})";
  player::PlainHost host;
  host.memory = &memory;
  const auto engine = player::MakeLottieEngine(host);
  player::ContentAddress address;
  player::ContentFacts facts;
  player::EngineError error;
  std::string reason;
  if (!player::ResolveContentAddress(file, "", address, reason)) return reason;
  if (!engine->Load(address, facts, error)) return error.message;
  std::vector<uint32_t> pixels(kWidth * kHeight);
  player::DrawTarget target;
  target.pixels = pixels.data();
  target.pitchBytes = kWidth * 4;
  target.dims = {kWidth, kHeight};
  target.everything = true;
  return engine->Draw(target).failure;
}

TEST(MovieMemoryTest, ListsAndOutlinesAreChargedToTheWindow) {
  player::LimitedMemory plenty(256u << 20);
  EXPECT_EQ("", DrawCopies(plenty));
  // 600 corners of three points in each copy.
  constexpr unsigned long kOutlines = 200ul * 600 * 3 * sizeof(Point);
  EXPECT_GE(plenty.Peak(), kOutlines);
  player::LimitedMemory scarce(kOutlines / 2);
  EXPECT_EQ("no memory to work the frame out", DrawCopies(scarce));
}

}  // namespace
}  // namespace plexion_host::movie
