// Planes as the service uses them.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <memory>
#include <thread>
#include <vector>

#include "host/graphics/GraphicsDriver.h"
#include "host/graphics/Screen.h"
#include "host/graphics/pixels/SharedMemory.h"
#include "tests/host/FakeStageWindow.h"

namespace plexion_host {
namespace {

using qx::platform::OutputPlane;
using qx::platform::Plane;
using qx::platform::RenderPlane;
using qx::plexion::Dims;
using qx::plexion::Rect;

class PlanesTest : public ::testing::Test {
 protected:
  void Fill(Plane* plane, uint32_t pixel) {
    const Dims dims = plane->GetDims();
    auto* const pixels = static_cast<uint32_t*>(plane->LockPixels(false));
    std::fill_n(pixels, size_t{dims.width} * dims.height, pixel);
    plane->UnlockPixels();
  }
  uint32_t PixelAt(Plane* plane, uint32_t x, uint32_t y) {
    const auto* const pixels = static_cast<const uint32_t*>(plane->LockPixels(true));
    const uint32_t pixel = pixels[size_t{y} * plane->GetPitch() / 4 + x];
    plane->UnlockPixels();
    return pixel;
  }

  std::shared_ptr<Screen> screen_ = std::make_shared<Screen>(Dims{640, 480});
  GraphicsDriver driver_{screen_};
};

TEST_F(PlanesTest, RenderPlanesAreSealedMemoryThatAnotherProcessCanDrawInto) {
  constexpr size_t kBytes = size_t{320} * 200 * 4;
  RenderPlane* plane = driver_.CreateRenderPlane({320, 200}, 1, nullptr);
  SharedPixels shared;
  const void* const first = plane->LockPixels(false);
  ASSERT_TRUE(FindSharedMemory(first, shared));
  EXPECT_EQ(kBytes, shared.bytes);
  EXPECT_EQ(F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL, fcntl(shared.descriptor, F_GET_SEALS));
  // What would end the launcher by a signal at its next copy.
  EXPECT_NE(0, ftruncate(shared.descriptor, 0));
  EXPECT_NE(0, ftruncate(shared.descriptor, kBytes + 1));
  struct stat status = {};
  ASSERT_EQ(0, fstat(shared.descriptor, &status));
  EXPECT_GE(static_cast<size_t>(status.st_blocks) * 512, kBytes) << "its pages are there";
  void* const others =
      mmap(nullptr, kBytes, PROT_READ | PROT_WRITE, MAP_SHARED, shared.descriptor, 0);
  ASSERT_NE(MAP_FAILED, others);
  static_cast<uint32_t*>(others)[320 * 7 + 5] = 0xff123456;
  munmap(others, kBytes);
  plane->UnlockPixels();
  EXPECT_EQ(0xff123456u, PixelAt(plane, 5, 7));

  ASSERT_TRUE(driver_.ResizeRenderPlane(plane, {64, 48}, nullptr));
  SharedPixels resized;
  ASSERT_TRUE(FindSharedMemory(plane->LockPixels(false), resized));
  plane->UnlockPixels();
  EXPECT_NE(shared.id, resized.id) << "though it may lie at the same address";
  EXPECT_EQ(size_t{64} * 48 * 4, resized.bytes);

  // What is on the screen is nobody else's.
  OutputPlane* output = driver_.CreateOutputPlane({0, 0, 64, 48}, false, plane, nullptr, "seen");
  EXPECT_FALSE(FindSharedMemory(output->LockPixels(true), shared));
  output->UnlockPixels();
  const void* const last = plane->LockPixels(true);
  plane->UnlockPixels();
  driver_.DestroyOutputPlane(output);
  driver_.DestroyRenderPlane(plane);
  EXPECT_FALSE(FindSharedMemory(last, shared));
  EXPECT_NE(0, fcntl(resized.descriptor, F_GETFD)) << "the descriptor is closed";
}

TEST_F(PlanesTest, RefusesSizesThatNoPlaneCanHave) {
  const Dims refused[] = {{0, 10},    {10, 0},          {16385, 1},
                          {1, 16385}, {0x80000000u, 2}, {65536, 65536}};
  RenderPlane* render = driver_.CreateRenderPlane({4, 4}, 1, nullptr);
  OutputPlane* output = driver_.CreateOutputPlane({5, 6, 4, 4}, false, render, nullptr, "kept");
  for (const Dims& dims : refused) {
    const Rect rect{1, 2, dims.width, dims.height};
    EXPECT_EQ(nullptr, driver_.CreateRenderPlane(dims, 1, nullptr));
    EXPECT_EQ(nullptr, driver_.CreateOutputPlane(rect, false, nullptr, nullptr, ""));
    EXPECT_FALSE(driver_.ResizeRenderPlane(render, dims, nullptr));
    EXPECT_FALSE(driver_.ResizeOutputPlane(output, dims, rect, render, nullptr, ""));
  }
  EXPECT_EQ(4u, render->GetDims().width);
  EXPECT_EQ(5u, output->GetRect().x) << "a refused resize leaves the plane where it was";
  EXPECT_EQ(nullptr, driver_.CreateRenderPlane({4, 4}, 7, nullptr)) << "an unknown pixel format";
  driver_.DestroyRenderPlane(render);
  driver_.DestroyOutputPlane(output);
  driver_.DestroyRenderPlane(nullptr);
  driver_.DestroyOutputPlane(nullptr);
}

TEST_F(PlanesTest, RowsHaveNoPaddingAndStartTransparent) {
  for (uint32_t width : {1u, 3u, 17u, 1279u}) {
    RenderPlane* plane = driver_.CreateRenderPlane({width, 3}, 0, nullptr);
    EXPECT_EQ(width * 4, plane->GetPitch());
    EXPECT_EQ(0u, PixelAt(plane, width - 1, 2));
    void* const pixels = plane->LockPixels(true);
    EXPECT_EQ(0u, reinterpret_cast<uintptr_t>(pixels) % 64);
    plane->UnlockPixels();
    driver_.DestroyRenderPlane(plane);
  }
}

TEST_F(PlanesTest, ANewOutputPlaneIsVisibleOpaqueAndOnTop) {
  OutputPlane* first = driver_.CreateOutputPlane({1, 2, 3, 4}, false, nullptr, nullptr, "first");
  OutputPlane* second = driver_.CreateOutputPlane({0, 0, 3, 4}, true, nullptr, nullptr, nullptr);
  EXPECT_TRUE(first->IsVisible());
  EXPECT_EQ(255, first->GetAlpha());
  EXPECT_EQ(0u, first->GetStackingIndex());
  EXPECT_EQ(1u, second->GetStackingIndex());
  EXPECT_STREQ("first", first->GetName());
  EXPECT_STREQ("", second->GetName());
  EXPECT_EQ(2u, first->GetRect().y);
  driver_.DestroyOutputPlane(first);
  EXPECT_EQ(0u, second->GetStackingIndex());
  driver_.DestroyOutputPlane(second);
}

TEST_F(PlanesTest, StacksOnlyAmongItsOwnPlanes) {
  Screen elsewhere({10, 10});
  GraphicsDriver otherDriver(std::shared_ptr<Screen>(&elsewhere, [](Screen*) {}));
  OutputPlane* stranger = otherDriver.CreateOutputPlane({0, 0, 2, 2}, false, nullptr, nullptr, "");
  OutputPlane* low = driver_.CreateOutputPlane({0, 0, 2, 2}, false, nullptr, nullptr, "low");
  OutputPlane* high = driver_.CreateOutputPlane({0, 0, 2, 2}, false, nullptr, nullptr, "high");
  EXPECT_FALSE(low->SetAbove(stranger));
  EXPECT_FALSE(low->SetBelow(stranger));
  EXPECT_TRUE(low->SetAbove(low));
  EXPECT_EQ(0u, low->GetStackingIndex());
  EXPECT_TRUE(low->SetAbove(high));
  EXPECT_EQ(1u, low->GetStackingIndex());
  EXPECT_TRUE(low->SetBelow(nullptr));
  EXPECT_EQ(0u, low->GetStackingIndex());
  EXPECT_FALSE(driver_.ResizeOutputPlane(stranger, {3, 3}, {0, 0, 3, 3}, nullptr, nullptr, ""));
  driver_.DestroyOutputPlane(stranger);
  EXPECT_EQ(0u, stranger->GetStackingIndex()) << "still its own driver's";
  otherDriver.DestroyOutputPlane(stranger);
  driver_.DestroyOutputPlane(low);
  driver_.DestroyOutputPlane(high);
}

TEST_F(PlanesTest, CopiesOnlyWhatLiesInBothPlanes) {
  struct Case {
    Rect from, to;
    uint32_t hitX, hitY;  ///< drawn
  };
  const uint32_t minus3 = static_cast<uint32_t>(-3);
  const Case cases[] = {
      {{0, 0, 10, 10}, {0, 0, 10, 10}, 9, 9},
      {{0, 0, 10, 10}, {15, 15, 10, 10}, 19, 19},
      {{minus3, minus3, 10, 10}, {0, 0, 10, 10}, 3, 3},
      {{5, 5, 0x7fffffff, 0x7fffffff}, {0, 0, 0x7fffffff, 0x7fffffff}, 4, 4},
      {{0, 0, 10, 10}, {minus3, 0, 10, 10}, 6, 9},
  };
  RenderPlane* source = driver_.CreateRenderPlane({10, 10}, 1, nullptr);
  Fill(source, 0xff112233u);
  for (const Case& c : cases) {
    OutputPlane* plane = driver_.CreateOutputPlane({0, 0, 20, 20}, false, nullptr, nullptr, "");
    EXPECT_TRUE(plane->GetDrawingContext()->StretchCopy(source, c.from, c.to));
    EXPECT_EQ(0xff112233u, PixelAt(plane, c.hitX, c.hitY)) << c.from.x << " to " << c.to.x;
    driver_.DestroyOutputPlane(plane);
  }
  OutputPlane* plane = driver_.CreateOutputPlane({0, 0, 20, 20}, false, nullptr, nullptr, "");
  EXPECT_TRUE(
      plane->GetDrawingContext()->StretchCopy(source, {400, 300, 20, 20}, {400, 300, 20, 20}));
  EXPECT_EQ(0u, PixelAt(plane, 0, 0)) << "a rectangle beside the plane draws nothing";
  EXPECT_FALSE(plane->GetDrawingContext()->StretchCopy(source, {5, 5, 6, 6}, {0, 0, 20, 20}))
      << "stretching what is not there is left to the caller";
  EXPECT_FALSE(plane->GetDrawingContext()->StretchCopy(nullptr, {0, 0, 1, 1}, {0, 0, 1, 1}));
  driver_.DestroyOutputPlane(plane);
  driver_.DestroyRenderPlane(source);
}

/// A plane of another maker: its rows begin wherever the last one ended, and a byte more.
class OddPlane final : public RenderPlane {
 public:
  explicit OddPlane(uint32_t pixel) {
    for (uint32_t i = 0; i < kSide * kSide; ++i) {
      std::memcpy(bytes_ + 1 + i / kSide * kPitch + i % kSide * 4, &pixel, 4);
    }
  }
  Dims GetDims() override { return {kSide, kSide}; }
  uint32_t GetPixelFormat() override { return qx::platform::kPixelFormat32; }
  uint32_t GetPitch() override { return kPitch; }
  void* LockPixels(bool) override { return bytes_ + 1; }
  void UnlockPixels() override {}
  qx::platform::DrawingContext* GetDrawingContext() override { return nullptr; }

 private:
  static constexpr uint32_t kSide = 10;
  static constexpr uint32_t kPitch = kSide * 4 + 1;
  alignas(4) uint8_t bytes_[1 + kSide * kPitch] = {};
};

TEST_F(PlanesTest, CopiesAndStretchesRowsThatBeginAnywhere) {
  OddPlane source(0xff336699u);
  OutputPlane* plane = driver_.CreateOutputPlane({0, 0, 20, 20}, false, nullptr, nullptr, "");
  for (const uint32_t side : {10u, 20u}) {
    EXPECT_TRUE(
        plane->GetDrawingContext()->StretchCopy(&source, {0, 0, 10, 10}, {0, 0, side, side}));
    EXPECT_EQ(0xff336699u, PixelAt(plane, side - 1, side - 1));
  }
  driver_.DestroyOutputPlane(plane);
}

TEST_F(PlanesTest, StretchesSmoothlyAndKeepsFlatColourFlat) {
  RenderPlane* source = driver_.CreateRenderPlane({40, 30}, 1, nullptr);
  Fill(source, 0xff406080u);
  for (const Dims& size : {Dims{80, 60}, Dims{61, 17}, Dims{7, 5}, Dims{400, 1}}) {
    OutputPlane* plane =
        driver_.CreateOutputPlane({0, 0, size.width, size.height}, false, nullptr, nullptr, "");
    ASSERT_TRUE(plane->GetDrawingContext()->StretchCopy(source, {0, 0, 40, 30},
                                                        {0, 0, size.width, size.height}));
    for (uint32_t y = 0; y < size.height; ++y) {
      for (uint32_t x = 0; x < size.width; ++x) ASSERT_EQ(0xff406080u, PixelAt(plane, x, y));
    }
    driver_.DestroyOutputPlane(plane);
  }
  // A step from black to white becomes a slope, and shrinking leaves no source pixel out.
  RenderPlane* step = driver_.CreateRenderPlane({2, 1}, 1, nullptr);
  static_cast<uint32_t*>(step->LockPixels(false))[0] = 0xff000000u;
  static_cast<uint32_t*>(step->LockPixels(false))[1] = 0xffffffffu;
  step->UnlockPixels();
  step->UnlockPixels();
  OutputPlane* wide = driver_.CreateOutputPlane({0, 0, 8, 1}, false, nullptr, nullptr, "");
  ASSERT_TRUE(wide->GetDrawingContext()->StretchCopy(step, {0, 0, 2, 1}, {0, 0, 8, 1}));
  for (uint32_t x = 1; x < 8; ++x) EXPECT_GE(PixelAt(wide, x, 0), PixelAt(wide, x - 1, 0));
  EXPECT_GT(PixelAt(wide, 4, 0), 0xff202020u);
  EXPECT_LT(PixelAt(wide, 3, 0), 0xffe0e0e0u);
  RenderPlane* dots = driver_.CreateRenderPlane({64, 64}, 1, nullptr);
  Fill(dots, 0xff000000u);
  static_cast<uint32_t*>(dots->LockPixels(false))[33 * 64 + 35] = 0xffffffffu;
  dots->UnlockPixels();
  OutputPlane* small = driver_.CreateOutputPlane({0, 0, 8, 8}, false, nullptr, nullptr, "");
  ASSERT_TRUE(small->GetDrawingContext()->StretchCopy(dots, {0, 0, 64, 64}, {0, 0, 8, 8}));
  EXPECT_GT(PixelAt(small, 4, 4), 0xff000000u) << "a single pixel leaves a trace";
  for (OutputPlane* plane : {wide, small}) driver_.DestroyOutputPlane(plane);
  for (RenderPlane* plane : {source, step, dots}) driver_.DestroyRenderPlane(plane);
}

TEST_F(PlanesTest, ResizingKeepsTheObjectItsStateAndThePicture) {
  OutputPlane* plane = driver_.CreateOutputPlane({10, 10, 20, 20}, false, nullptr, nullptr, "kept");
  OutputPlane* top = driver_.CreateOutputPlane({0, 0, 1, 1}, false, nullptr, nullptr, "top");
  Fill(plane, 0xff336699u);
  plane->SetAlpha(200);
  OutputPlane* resized = plane;
  ASSERT_TRUE(
      driver_.ResizeOutputPlane(resized, {50, 8}, {3, 4, 50, 8}, nullptr, nullptr, "other"));
  EXPECT_EQ(plane, resized);
  EXPECT_EQ(50u, plane->GetRect().width);
  EXPECT_EQ(3u, plane->GetRect().x);
  EXPECT_EQ(200u, plane->GetPitch());
  EXPECT_EQ(200, plane->GetAlpha());
  EXPECT_EQ(0u, plane->GetStackingIndex());
  EXPECT_STREQ("kept", plane->GetName());
  EXPECT_EQ(0xff336699u, PixelAt(plane, 49, 7)) << "no black gap until the content draws anew";
  driver_.DestroyOutputPlane(plane);
  driver_.DestroyOutputPlane(top);
}

TEST_F(PlanesTest, AWindowsAccountHoldsWhatItsPlanesTake) {
  FakeStageWindow window;
  RenderPlane* render = driver_.CreateRenderPlane({100, 10}, 1, &window);
  OutputPlane* output = driver_.CreateOutputPlane({0, 0, 50, 10}, false, render, &window, "");
  EXPECT_EQ(6000u, window.graphicsBytes);
  ASSERT_TRUE(driver_.ResizeRenderPlane(render, {10, 10}, &window));
  ASSERT_TRUE(driver_.ResizeOutputPlane(output, {70, 10}, {0, 0, 70, 10}, render, &window, ""));
  EXPECT_EQ(3200u, window.graphicsBytes);
  EXPECT_FALSE(driver_.ResizeRenderPlane(render, {0, 10}, &window));
  EXPECT_EQ(nullptr, driver_.CreateRenderPlane({0, 10}, 1, &window));
  EXPECT_EQ(3200u, window.graphicsBytes);
  driver_.DestroyOutputPlane(output);
  EXPECT_EQ(400u, window.graphicsBytes);
  driver_.DestroyRenderPlane(render);
  EXPECT_EQ(0u, window.graphicsBytes);
}

TEST_F(PlanesTest, ASizeMayChangeWhileThePlayerDraws) {
  RenderPlane* render = driver_.CreateRenderPlane({200, 150}, 1, nullptr);
  OutputPlane* output = driver_.CreateOutputPlane({0, 0, 200, 150}, false, render, nullptr, "");
  std::atomic<bool> drawing{true};
  std::atomic<int> frames{0};
  std::thread player([&] {
    for (uint32_t frame = 1; drawing; ++frame) {
      auto* const pixels = static_cast<uint32_t*>(render->LockPixels(false));
      const Dims dims = render->GetDims();
      std::fill_n(pixels, size_t{dims.width} * dims.height, 0xff000000u | frame);
      render->UnlockPixels();
      const Dims outputDims = output->GetDims();
      output->GetDrawingContext()->StretchCopy(render, {0, 0, dims.width, dims.height},
                                               {0, 0, outputDims.width, outputDims.height});
      output->ShowRegion({0, 0, outputDims.width, outputDims.height});
      ++frames;
    }
  });
  std::thread display([&] {
    while (drawing) screen_->Present([](const PixelStore&, const Region&) {});
  });
  while (frames == 0) std::this_thread::yield();
  for (uint32_t i = 0; i < 300; ++i) {
    const Dims dims{1 + i * 7 % 400, 1 + i * 13 % 300};
    ASSERT_TRUE(driver_.ResizeOutputPlane(output, dims, {i % 50, i % 40, dims.width, dims.height},
                                          render, nullptr, ""));
    ASSERT_TRUE(driver_.ResizeRenderPlane(render, {1 + i * 5 % 300, 1 + i * 3 % 200}, nullptr));
  }
  drawing = false;
  player.join();
  display.join();
  driver_.DestroyOutputPlane(output);
  driver_.DestroyRenderPlane(render);
}

TEST_F(PlanesTest, APlaneMayGoWhileItIsBeingShown) {
  std::atomic<bool> showing{true};
  std::thread display([&] {
    while (showing) screen_->Present([](const PixelStore&, const Region&) {});
  });
  for (int i = 0; i < 300; ++i) {
    OutputPlane* plane = driver_.CreateOutputPlane({0, 0, 90, 90}, false, nullptr, nullptr, "");
    Fill(plane, 0x80808080u);
    plane->ShowRegion({0, 0, 90, 90});
    driver_.DestroyOutputPlane(plane);
  }
  showing = false;
  display.join();
}

}  // namespace
}  // namespace plexion_host
