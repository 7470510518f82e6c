// Composing against a plain loop, pixel by pixel.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <random>
#include <thread>
#include <vector>

#include "host/graphics/GraphicsDriver.h"
#include "host/graphics/Screen.h"
#include "host/graphics/pixels/PixelRows.h"
#include "tests/host/graphics/ReferencePicture.h"

namespace plexion_host {
namespace {

using qx::platform::OutputPlane;
using qx::plexion::Dims;
using qx::plexion::Rect;

/// Random changes to a stack of planes, each shown as the contract asks.
class RandomStack {
 public:
  RandomStack(unsigned seed, const Dims& screen)
      : random_(seed), screen_(std::make_shared<Screen>(screen)), driver_(screen_) {}
  ~RandomStack() {
    for (OutputPlane* plane : planes_) driver_.DestroyOutputPlane(plane);
  }

  void Step() {
    // Whose memory the picture is in makes no difference to it.
    if (Below(8) == 0) SwitchCanvas();
    if (Below(16) == 0) {
      ground_ = Below(2) == 0 ? 0 : static_cast<uint32_t>(random_()) & 0xffffffu;
      screen_->SetGround(ground_);
    }
    const unsigned action = Below(12);
    if (planes_.empty() || (action == 0 && planes_.size() < 6)) return Create();
    OutputPlane*& plane = planes_[Below(static_cast<unsigned>(planes_.size()))];
    switch (action) {
      case 1:
        driver_.DestroyOutputPlane(plane);
        planes_.erase(planes_.begin() + (&plane - planes_.data()));
        break;
      case 2:
        plane->MoveTo(Below(3) == 0 ? qx::plexion::Point{0, 0}
                                    : qx::plexion::Point{Position(), Position()});
        break;
      case 3: {
        const Dims dims{1 + Below(60), 1 + Below(60)};
        EXPECT_TRUE(driver_.ResizeOutputPlane(
            plane, dims, {Position(), Position(), dims.width, dims.height}, nullptr, nullptr, ""));
        break;
      }
      case 4:
        plane->SetAlpha(Below(3) == 0 ? 255 : static_cast<unsigned char>(Below(256)));
        break;
      case 5:
        plane->SetVisible(Below(2) == 0);
        break;
      case 6:
      case 7:
        Restack(plane, action == 6);
        break;
      case 8:
        CopyFromRenderPlane(plane);
        break;
      default:
        Draw(plane);
    }
  }

  std::vector<uint32_t> Shown() { return PictureOf(*screen_); }
  std::vector<uint32_t> Expected() {
    return ReferencePicture(screen_->GetDims(), planes_, 0xff000000u | ground_);
  }

 private:
  unsigned Below(unsigned limit) { return static_cast<unsigned>(random_() % limit); }
  uint32_t Position() { return static_cast<uint32_t>(static_cast<int>(Below(110)) - 30); }

  void SwitchCanvas() {
    std::vector<uint32_t>& next = canvases_[&canvases_[0] == current_ ? 1 : 0];
    const Dims dims = screen_->GetDims();
    next.assign(size_t{dims.width} * dims.height, 0x12345678u);
    const bool own = Below(3) == 0;
    screen_->UseCanvas(own ? nullptr : next.data());
    if (current_ != nullptr) std::fill(current_->begin(), current_->end(), 0x87654321u);
    current_ = own ? nullptr : &next;
  }

  uint32_t Pixel(unsigned kind) {
    const uint32_t colour = static_cast<uint32_t>(random_());
    if (kind == 0) return 0xff000000u | colour;
    if (kind == 1) return 0;
    if (kind == 2) return colour;  // not premultiplied, as careless content has it
    const uint32_t alpha = colour >> 24;
    uint32_t pixel = colour & 0xff000000u;
    for (int shift = 0; shift < 24; shift += 8) {
      pixel |= (((colour >> shift) & 0xff) * alpha / 255) << shift;
    }
    return pixel;
  }

  void Create() {
    const Dims whole = screen_->GetDims();
    // One that is all of the screen may have its pixels in the screen's picture.
    const Rect rect = Below(2) == 0 ? Rect{0, 0, whole.width, whole.height}
                                    : Rect{Position(), Position(), 1 + Below(60), 1 + Below(60)};
    OutputPlane* const plane = driver_.CreateOutputPlane(rect, false, nullptr, nullptr, "plane");
    ASSERT_NE(nullptr, plane);
    planes_.push_back(plane);
    if (Below(3) == 0) screen_->UseCanvas(current_ == nullptr ? nullptr : current_->data());
    Draw(plane);
  }

  Rect PartOf(const Dims& dims) {
    if (Below(3) == 0) return {0, 0, dims.width, dims.height};
    const uint32_t x = Below(dims.width);
    const uint32_t y = Below(dims.height);
    return {x, y, 1 + Below(dims.width - x), 1 + Below(dims.height - y)};
  }

  void Fill(qx::platform::Plane* plane, const Rect& part) {
    const unsigned kind = Below(5);  // 4: a mixture
    auto* const pixels = static_cast<uint32_t*>(plane->LockPixels(false));
    for (uint32_t y = part.y; y < part.y + part.height; ++y) {
      for (uint32_t x = part.x; x < part.x + part.width; ++x) {
        pixels[size_t{y} * plane->GetDims().width + x] = Pixel(kind == 4 ? Below(4) : kind);
      }
    }
    plane->UnlockPixels();
  }

  void Draw(OutputPlane* plane) {
    const Rect part = PartOf(plane->GetDims());
    Fill(plane, part);
    plane->ShowRegion(part);
  }

  void CopyFromRenderPlane(OutputPlane* plane) {
    const Dims to = plane->GetDims();
    const Dims from = Below(2) == 0 ? to : Dims{1 + Below(80), 1 + Below(80)};
    qx::platform::RenderPlane* const source = driver_.CreateRenderPlane(from, 1, nullptr);
    Fill(source, {0, 0, from.width, from.height});
    const Rect shown = Below(2) == 0 ? Rect{0, 0, to.width, to.height} : PartOf(to);
    if (from.width == to.width && from.height == to.height) {
      EXPECT_TRUE(plane->GetDrawingContext()->StretchCopy(source, shown, shown));
      plane->ShowRegion(shown);
    } else {
      EXPECT_TRUE(plane->GetDrawingContext()->StretchCopy(source, {0, 0, from.width, from.height},
                                                          {0, 0, to.width, to.height}));
      plane->ShowRegion({0, 0, to.width, to.height});
    }
    driver_.DestroyRenderPlane(source);
  }

  void Restack(OutputPlane* plane, bool above) {
    OutputPlane* other = nullptr;
    if (Below(3) > 0) other = planes_[Below(static_cast<unsigned>(planes_.size()))];
    EXPECT_TRUE(above ? plane->SetAbove(other) : plane->SetBelow(other));
    if (other == plane) return;
    planes_.erase(std::find(planes_.begin(), planes_.end(), plane));
    auto place = above ? planes_.end() : planes_.begin();
    if (other != nullptr) {
      place = std::find(planes_.begin(), planes_.end(), other) + (above ? 1 : 0);
    }
    planes_.insert(place, plane);
    for (size_t i = 0; i < planes_.size(); ++i) EXPECT_EQ(i, planes_[i]->GetStackingIndex());
  }

  std::mt19937 random_;
  uint32_t ground_ = 0;
  std::vector<uint32_t> canvases_[2];
  std::vector<uint32_t>* current_ = nullptr;
  std::shared_ptr<Screen> screen_;
  GraphicsDriver driver_;
  std::vector<OutputPlane*> planes_;  ///< bottom to top, as the stack should be
};

TEST(ComposingTest, ShowsWhatTheReferenceShowsAfterEveryChange) {
  for (unsigned seed = 1; seed <= 60; ++seed) {
    RandomStack stack(seed, {83, 61});
    for (int step = 0; step < 60; ++step) {
      stack.Step();
      // Sometimes several changes meet in one composition.
      if ((seed + static_cast<unsigned>(step)) % 3 == 0) continue;
      ASSERT_EQ(stack.Expected(), stack.Shown()) << "seed " << seed << ", step " << step;
    }
  }
}

/// A screen with a canvas of somebody else's, and a plane that is all of it.
class LendingTest : public ::testing::Test {
 protected:
  static constexpr Dims kDims{64, 48};
  static constexpr Rect kWhole{0, 0, kDims.width, kDims.height};

  void SetUp() override {
    canvas_.assign(size_t{kDims.width} * kDims.height, 0x12345678u);
    screen_->UseCanvas(canvas_.data());
    render_ = driver_.CreateRenderPlane(kDims, 1, nullptr);
    plane_ = driver_.CreateOutputPlane(kWhole, false, render_, nullptr, "");
  }
  void TearDown() override {
    if (plane_ != nullptr) driver_.DestroyOutputPlane(plane_);
    driver_.DestroyRenderPlane(render_);
  }
  /// As a window does with a frame.
  void Draw(uint32_t pixel, const Rect& part = kWhole) {
    std::fill_n(static_cast<uint32_t*>(render_->LockPixels(false)), canvas_.size(), pixel);
    render_->UnlockPixels();
    EXPECT_TRUE(plane_->GetDrawingContext()->StretchCopy(render_, part, part));
    plane_->ShowRegion(part);
  }
  bool IsLent() {
    const bool lent = plane_->LockPixels(true) == canvas_.data();
    plane_->UnlockPixels();
    return lent;
  }
  uint32_t Presented() {
    uint32_t pixel = 0;
    screen_->Present([&](const PixelStore& picture, const Region&) { pixel = *picture.Row(0); });
    return pixel;
  }

  std::vector<uint32_t> canvas_;
  const std::shared_ptr<Screen> screen_ = std::make_shared<Screen>(kDims);
  GraphicsDriver driver_{screen_};
  qx::platform::RenderPlane* render_ = nullptr;
  OutputPlane* plane_ = nullptr;
};

TEST_F(LendingTest, DrawsAnOpaqueScreenfulRightIntoTheCanvas) {
  Draw(0xff102030u);
  EXPECT_FALSE(IsLent()) << "the first frame came before anybody looked for a place";
  EXPECT_EQ(0xff102030u, Presented());
  EXPECT_TRUE(IsLent());
  Draw(0xff405060u);
  EXPECT_EQ(0xff405060u, canvas_.back()) << "without being composed";
  EXPECT_EQ(0xff405060u, Presented());

  // Nothing of it gets lost with the canvas.
  screen_->UseCanvas(nullptr);
  canvas_.assign(canvas_.size(), 0x87654321u);
  EXPECT_FALSE(IsLent());
  EXPECT_EQ(ReferencePicture(kDims, {plane_}), PictureOf(*screen_));
}

TEST_F(LendingTest, LendsToAWindowBeforeItsFirstFrame) {
  screen_->UseCanvas(canvas_.data());
  EXPECT_TRUE(IsLent());
  EXPECT_EQ(ReferencePicture(kDims, {}), PictureOf(*screen_)) << "black until then, and opaque";
  screen_->UseCanvas(canvas_.data());
  Draw(0x80100000u, {0, 0, 5, 5});
  EXPECT_EQ(ReferencePicture(kDims, {plane_}), PictureOf(*screen_));
  EXPECT_FALSE(IsLent());
}

TEST_F(LendingTest, WhatIsDrawnWhileACanvasComesWaitsForIt) {
  screen_->UseCanvas(nullptr);
  screen_->ExpectCanvas(true);
  std::atomic<bool> begun{false};
  std::thread content([&] {
    begun = true;
    Draw(0xff102030u);
  });
  while (!begun) std::this_thread::yield();
  // Time enough to draw a picture as small as that, if it did not wait.
  for (int i = 0; i < 2000; ++i) std::this_thread::yield();
  screen_->UseCanvas(canvas_.data());
  screen_->ExpectCanvas(false);
  content.join();
  EXPECT_TRUE(IsLent());
  EXPECT_EQ(0xff102030u, canvas_.back()) << "drawn there and nowhere else";
  EXPECT_EQ(0xff102030u, Presented());
}

TEST_F(LendingTest, ComposesWhatIsTransparentOrBelowAnother) {
  Draw(0xff102030u);
  Presented();
  ASSERT_TRUE(IsLent());
  Draw(0x80402010u);
  EXPECT_EQ(ReferencePicture(kDims, {plane_})[0], Presented());
  EXPECT_FALSE(IsLent());
  for (int frame = 0; frame < 100 && !IsLent(); ++frame) {
    Draw(0xff102030u);
    Presented();
  }
  ASSERT_TRUE(IsLent()) << "opaque again, and for long enough";

  OutputPlane* const above = driver_.CreateOutputPlane({3, 4, 5, 6}, false, nullptr, nullptr, "");
  above->LockPixels(false);
  above->UnlockPixels();
  above->ShowRegion({0, 0, 5, 6});
  Presented();
  EXPECT_FALSE(IsLent());
  EXPECT_EQ(ReferencePicture(kDims, {plane_, above}), PictureOf(*screen_));
  driver_.DestroyOutputPlane(above);
}

TEST_F(LendingTest, LetsNothingOfAnUpdateIntoPicturesOfBefore) {
  Draw(0xff102030u);
  Presented();
  ASSERT_TRUE(IsLent());
  screen_->BeginUpdate();
  Draw(0xff405060u);
  EXPECT_EQ(0xff102030u, PictureOf(*screen_)[0]);
  screen_->EndUpdate();
  EXPECT_EQ(0xff405060u, PictureOf(*screen_)[0]);
}

TEST_F(LendingTest, LetsNobodyDrawWhileItIsShown) {
  Draw(0xff102030u);
  Presented();
  Draw(0xff102030u);
  std::thread player;
  screen_->Present([&](const PixelStore& picture, const Region&) {
    player = std::thread([this] { Draw(0xff405060u); });
    for (int look = 0; look < 50; ++look) {
      ASSERT_EQ(0xff102030u, picture.Row(kDims.height - 1)[kDims.width - 1]);
      std::this_thread::yield();
    }
  });
  player.join();
  EXPECT_EQ(0xff405060u, Presented());
}

TEST(ComposingTest, BlendsByTheRuleForEveryAlphaAndChannelValue) {
  // 256 source alphas x 256 plane alphas, and both ways of computing it, at lengths that leave a
  // rest behind groups of eight.
  std::vector<uint32_t> source(259);
  std::vector<uint32_t> destination(source.size());
  for (uint32_t planeAlpha = 0; planeAlpha < 256; ++planeAlpha) {
    for (uint32_t i = 0; i < source.size(); ++i) {
      source[i] = (i % 256) << 24 | (i * 7 % 256) << 16 | (255 - i % 256) << 8 | (i % 256);
      destination[i] = 0xff000000u | (i * 131 + planeAlpha * 977) * 2654435761u >> 8;
    }
    std::vector<uint32_t> expected = destination;
    for (size_t i = 0; i < expected.size(); ++i) {
      expected[i] = ReferenceBlend(expected[i], source[i], planeAlpha);
    }
    std::vector<uint32_t> blended = destination;
    BlendRow(blended.data(), source.data(), blended.size(), static_cast<uint8_t>(planeAlpha));
    ASSERT_EQ(expected, blended) << "plane alpha " << planeAlpha;
    blended = destination;
    BlendRowPortable(blended.data(), source.data(), blended.size(),
                     static_cast<uint8_t>(planeAlpha));
    ASSERT_EQ(expected, blended) << "portable, plane alpha " << planeAlpha;
  }
}

TEST(ComposingTest, TellsOpaqueRowsWhileItCopiesThem) {
  for (const size_t count : {size_t{0}, size_t{1}, size_t{7}, size_t{64}, size_t{1283}}) {
    std::vector<uint32_t> source(count, 0xff102030u);
    std::vector<uint32_t> copy(count);
    EXPECT_TRUE(CopyRowIsOpaque(copy.data(), source.data(), count));
    EXPECT_EQ(source, copy);
    for (const size_t hole : {size_t{0}, count / 2, count - 1}) {
      if (count == 0) break;
      source.assign(count, 0xff102030u);
      source[hole] = 0xfe102030u;
      EXPECT_FALSE(CopyRowIsOpaque(copy.data(), source.data(), count)) << hole << " of " << count;
      EXPECT_EQ(source, copy);
    }
  }
}

TEST(PixelStoreTest, BeginsBlackAlignedAndOfItsOwnForEverySize) {
  for (const Dims dims : {Dims{1, 1}, Dims{37, 11}, Dims{1024, 512}, Dims{1280, 720},
                          Dims{1921, 1081}, Dims{3001, 700}}) {
    PixelStore first = PixelStore::Make(dims);
    PixelStore second = PixelStore::Make(dims);
    ASSERT_TRUE(first && second);
    const size_t count = size_t{dims.width} * dims.height;
    EXPECT_EQ(0u, reinterpret_cast<uintptr_t>(first.Pixels()) % 64);
    EXPECT_TRUE(
        std::all_of(first.Pixels(), first.Pixels() + count, [](uint32_t p) { return p == 0; }));
    FillRow(first.Pixels(), 0xffffffffu, count);
    EXPECT_TRUE(
        std::all_of(second.Pixels(), second.Pixels() + count, [](uint32_t p) { return p == 0; }));
    first = std::move(second);
    EXPECT_EQ(0u, first.Pixels()[count - 1]);
  }
  EXPECT_FALSE(PixelStore::Make({0, 10}));
  EXPECT_FALSE(PixelStore::Make({16385, 10}));
}

std::vector<Rect> PresentedDamage(Screen& screen) {
  std::vector<Rect> rects;
  screen.Present([&](const PixelStore&, const Region& damage) { rects = damage.ToRects(); });
  return rects;
}

uint64_t Area(const std::vector<Rect>& rects) {
  uint64_t area = 0;
  for (const Rect& rect : rects) area += uint64_t{rect.width} * rect.height;
  return area;
}

TEST(ComposingTest, PresentsNoMoreThanWhatChanged) {
  const auto screen = std::make_shared<Screen>(Dims{1000, 1000});
  GraphicsDriver driver(screen);
  OutputPlane* plane = driver.CreateOutputPlane({100, 100, 200, 200}, false, nullptr, nullptr, "");
  EXPECT_FALSE(screen->HasWork()) << "a new plane is transparent";
  plane->ShowRegion({10, 20, 30, 40});
  EXPECT_EQ(1200u, Area(PresentedDamage(*screen)));
  plane->ShowRegion({190, 190, 500, 500});
  EXPECT_EQ(100u, Area(PresentedDamage(*screen))) << "cut to the plane";
  plane->ShowRegion({0xffffffffu, 0xffffffffu, 3, 3});
  EXPECT_EQ(4u, Area(PresentedDamage(*screen))) << "a position of -1";
  plane->ShowRegion({500, 500, 10, 10});
  EXPECT_FALSE(screen->HasWork());
  plane->MoveTo({150, 100});
  EXPECT_EQ(250u * 200u, Area(PresentedDamage(*screen))) << "the old place and the new one";
  plane->MoveTo({150, 100});
  EXPECT_FALSE(screen->HasWork());
  EXPECT_TRUE(plane->SetAbove(nullptr));
  EXPECT_FALSE(screen->HasWork()) << "it was on top already";
  plane->SetActive(true);
  EXPECT_FALSE(screen->HasWork());
  plane->SetVisible(false);
  EXPECT_EQ(40000u, Area(PresentedDamage(*screen)));
  plane->ShowRegion({0, 0, 10, 10});
  plane->SetAlpha(3);
  plane->MoveTo({0, 0});
  EXPECT_FALSE(screen->HasWork()) << "nobody sees a hidden plane change";
  driver.DestroyOutputPlane(plane);
  EXPECT_FALSE(screen->HasWork());
}

TEST(ComposingTest, AScreenOfAnotherSizeHasTheGroundEverywhere) {
  Screen screen({8, 4});
  screen.SetGround(0x204060);
  for (const Dims& dims : {Dims{8, 4}, Dims{5, 9}, Dims{20, 10}}) {
    ASSERT_TRUE(screen.SetDims(dims));
    EXPECT_EQ(ReferencePicture(dims, {}, 0xff204060u), PictureOf(screen));
    EXPECT_TRUE(screen.HasWork()) << "so that it is presented, too";
  }
}

TEST(ComposingTest, KeepsHundredsOfSmallChangesInAFewRectangles) {
  const auto screen = std::make_shared<Screen>(Dims{1000, 1000});
  GraphicsDriver driver(screen);
  OutputPlane* plane = driver.CreateOutputPlane({0, 0, 1000, 1000}, false, nullptr, nullptr, "");
  for (uint32_t i = 0; i < 300; ++i) plane->ShowRegion({i * 3, (i * 37) % 990, 2, 2});
  EXPECT_LE(PresentedDamage(*screen).size(), 24u);
  driver.DestroyOutputPlane(plane);
}

TEST(ComposingTest, AStretchedPlanesShownRegionReachesAsFarAsItsPixelsDo) {
  // The service names the shown region by the exact ratio, rounded down; smoothing draws beyond it.
  const auto screen = std::make_shared<Screen>(Dims{300, 300});
  GraphicsDriver driver(screen);
  for (const Dims& size : {Dims{250, 170}, Dims{64, 31}, Dims{30, 20}}) {
    qx::platform::RenderPlane* render = driver.CreateRenderPlane({100, 90}, 0, nullptr);
    OutputPlane* plane =
        driver.CreateOutputPlane({7, 9, size.width, size.height}, false, render, nullptr, "");
    for (uint32_t x = 3; x < 95; x += 7) {
      static_cast<uint32_t*>(render->LockPixels(false))[x * 80 + x] = 0xffff8040u;
      render->UnlockPixels();
      ASSERT_TRUE(plane->GetDrawingContext()->StretchCopy(render, {0, 0, 100, 90},
                                                          {0, 0, size.width, size.height}));
      const uint32_t index = x * 80 + x;
      plane->ShowRegion({index % 100 * size.width / 100, index / 100 * size.height / 90,
                         size.width / 100, size.height / 90});
      ASSERT_EQ(ReferencePicture({300, 300}, {plane}), PictureOf(*screen))
          << size.width << "x" << size.height << ", pixel " << index;
    }
    driver.DestroyOutputPlane(plane);
    driver.DestroyRenderPlane(render);
  }
}

}  // namespace
}  // namespace plexion_host
