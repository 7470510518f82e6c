// Loops over rows of pixels, compiled for each kind of vector and chosen at run time.

#include "host/player/lottie/raster/Rows.h"

#include <string.h>

#include <algorithm>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "host/player/lottie/raster/Rows.cpp"
#include <hwy/foreach_target.h>
// After foreach_target.h, which includes this file once more for each target.
#include <hwy/highway.h>

#include "host/player/lottie/raster/Rows-inl.h"

HWY_BEFORE_NAMESPACE();
namespace plexion_host::movie::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// Sums run over blocks of four, which every target has.
uint32_t Resolve(uint32_t* cells, int n, uint32_t sum, bool evenOdd, uint8_t* cover) {
  const hn::FixedTag<uint32_t, 4> d;
  const hn::FixedTag<int32_t, 4> signedD;
  const hn::FixedTag<uint8_t, 4> bytes;
  const auto full = hn::Set(signedD, 1 << kFullCellBits);
  const auto twice = hn::Set(d, (2u << kFullCellBits) - 1);
  const auto half = hn::Set(d, 1u << (kFullCellBits - 1));
  auto carry = hn::Set(d, sum);
  for (int i = 0; i < n; i += 4) {
    auto v = hn::Load(d, cells + i);
    hn::Store(hn::Zero(d), d, cells + i);
    v = hn::Add(v, hn::ShiftLeftLanes<1>(d, v));
    v = hn::Add(v, hn::ShiftLeftLanes<2>(d, v));
    v = hn::Add(v, carry);
    carry = hn::Broadcast<3>(v);
    hn::Vec<decltype(signedD)> part;
    if (evenOdd) {
      // Up to one and down again to two.
      part = hn::BitCast(signedD, hn::And(v, twice));
      part = hn::Sub(full, hn::Abs(hn::Sub(part, full)));
    } else {
      part = hn::Min(hn::Abs(hn::BitCast(signedD, v)), full);
    }
    const auto wide = hn::BitCast(d, part);
    // Times 255, to the nearest.
    const auto value =
        hn::ShiftRight<kFullCellBits>(hn::Add(hn::Sub(hn::ShiftLeft<8>(wide), wide), half));
    hn::StoreU(hn::TruncateTo(bytes, value), bytes, cover + i);
  }
  return hn::GetLane(carry);
}

void Fill(uint32_t* target, uint32_t colour, int n) {
  ForRow(n, [=](auto d, int i) { hn::StoreU(hn::Set(d, colour), d, target + i); });
}

void Colour(uint32_t* target, uint32_t colour, int n) {
  ForRow(n, [=](auto d, int i) {
    hn::StoreU(Over(d, hn::Set(d, colour), hn::LoadU(d, target + i)), d, target + i);
  });
}

void ColourCovered(uint32_t* target, uint32_t colour, const uint8_t* cover, int n) {
  ForRow(n, [=](auto d, int i) {
    const auto source = Times(d, hn::Set(d, colour), LoadBytes(d, cover + i));
    hn::StoreU(Over(d, source, hn::LoadU(d, target + i)), d, target + i);
  });
}

void Pixels(uint32_t* target, const uint32_t* pixels, uint8_t cover, int n) {
  if (cover == 255) {
    ForRow(n, [=](auto d, int i) {
      const auto source = hn::LoadU(d, pixels + i);
      hn::StoreU(Over(d, source, hn::LoadU(d, target + i)), d, target + i);
    });
    return;
  }
  ForRow(n, [=](auto d, int i) {
    const auto source = Times(d, hn::LoadU(d, pixels + i), hn::Set(d, cover));
    hn::StoreU(Over(d, source, hn::LoadU(d, target + i)), d, target + i);
  });
}

void PixelsCovered(uint32_t* target, const uint32_t* pixels, const uint8_t* cover, int n) {
  ForRow(n, [=](auto d, int i) {
    const auto source = Times(d, hn::LoadU(d, pixels + i), LoadBytes(d, cover + i));
    hn::StoreU(Over(d, source, hn::LoadU(d, target + i)), d, target + i);
  });
}

void Scale(uint32_t* target, const uint8_t* cover, int n) {
  ForRow(n, [=](auto d, int i) {
    hn::StoreU(Times(d, hn::LoadU(d, target + i), LoadBytes(d, cover + i)), d, target + i);
  });
}

/// Bytes are worked on in pairs of them, so that products fit.
template <class Step>
HWY_INLINE void CombineRow(uint8_t* into, const uint8_t* cover, int n, uint8_t flip, uint8_t alpha,
                           const Step& step) {
  const auto run = [=](auto d, int i) {
    const hn::Rebind<uint8_t, decltype(d)> bytes;
    const auto turned = hn::Xor(hn::PromoteTo(d, hn::LoadU(bytes, cover + i)), hn::Set(d, flip));
    const auto mask = DivideBy255(hn::Mul(turned, hn::Set(d, alpha)));
    const auto sum = step(d, hn::PromoteTo(d, hn::LoadU(bytes, into + i)), mask);
    hn::StoreU(hn::DemoteTo(bytes, hn::BitCast(hn::RebindToSigned<decltype(d)>(), sum)), bytes,
               into + i);
  };
  const hn::ScalableTag<uint16_t> wide;
  const int lanes = static_cast<int>(hn::Lanes(wide));
  int i = 0;
  for (; i + lanes <= n; i += lanes) run(wide, i);
  const hn::CappedTag<uint16_t, 1> one;
  for (; i < n; ++i) run(one, i);
}

void Combine(uint8_t* into, const uint8_t* cover, int n, CoverSum how, uint8_t flip,
             uint8_t alpha) {
  const auto run = [=](const auto& step) { CombineRow(into, cover, n, flip, alpha, step); };
  switch (how) {
    case CoverSum::kEither:
      return run(
          [](auto, auto a, auto m) { return hn::Sub(hn::Add(a, m), DivideBy255(hn::Mul(a, m))); });
    case CoverSum::kWithout:
      return run([](auto d, auto a, auto m) {
        return DivideBy255(hn::Mul(a, hn::Sub(hn::Set(d, 255), m)));
      });
    case CoverSum::kBoth:
      return run([](auto, auto a, auto m) { return DivideBy255(hn::Mul(a, m)); });
    case CoverSum::kLarger:
      return run([](auto, auto a, auto m) { return hn::Max(a, m); });
    case CoverSum::kSmaller:
      return run([](auto, auto a, auto m) { return hn::Min(a, m); });
    case CoverSum::kDifference:
      return run([](auto, auto a, auto m) { return hn::Sub(hn::Max(a, m), hn::Min(a, m)); });
  }
}

}  // namespace plexion_host::movie::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace plexion_host::movie {

HWY_EXPORT(Resolve);
HWY_EXPORT(Fill);
HWY_EXPORT(Colour);
HWY_EXPORT(ColourCovered);
HWY_EXPORT(Pixels);
HWY_EXPORT(PixelsCovered);
HWY_EXPORT(Scale);
HWY_EXPORT(Combine);

uint32_t ResolveCells(uint32_t* cells, int n, uint32_t sum, bool evenOdd, uint8_t* cover) {
  return HWY_DYNAMIC_DISPATCH(Resolve)(cells, n, sum, evenOdd, cover);
}

uint8_t CoverOf(uint32_t sum, bool evenOdd) {
  constexpr int32_t kFull = 1 << kFullCellBits;
  int32_t part = static_cast<int32_t>(sum);
  if (evenOdd) {
    part = static_cast<int32_t>(sum & (2u * kFull - 1));
    part = kFull - std::abs(part - kFull);
  } else {
    // The most negative sum has no positive twin.
    part = part == INT32_MIN ? kFull : std::min(std::abs(part), kFull);
  }
  return static_cast<uint8_t>((static_cast<uint32_t>(part) * 255 + kFull / 2) >> kFullCellBits);
}

void FillRow(uint32_t* target, uint32_t colour, int n) {
  HWY_DYNAMIC_DISPATCH(Fill)(target, colour, n);
}

void BlendColour(uint32_t* target, uint32_t colour, int n) {
  HWY_DYNAMIC_DISPATCH(Colour)(target, colour, n);
}

void BlendColour(uint32_t* target, uint32_t colour, const uint8_t* cover, int n) {
  HWY_DYNAMIC_DISPATCH(ColourCovered)(target, colour, cover, n);
}

void BlendPixels(uint32_t* target, const uint32_t* source, uint8_t cover, int n) {
  HWY_DYNAMIC_DISPATCH(Pixels)(target, source, cover, n);
}

void BlendPixels(uint32_t* target, const uint32_t* source, const uint8_t* cover, int n) {
  HWY_DYNAMIC_DISPATCH(PixelsCovered)(target, source, cover, n);
}

void CombineCover(uint8_t* into, const uint8_t* cover, int n, CoverSum how, uint8_t flip,
                  uint8_t alpha) {
  HWY_DYNAMIC_DISPATCH(Combine)(into, cover, n, how, flip, alpha);
}

void ScaleRow(uint32_t* target, const uint8_t* cover, int n) {
  HWY_DYNAMIC_DISPATCH(Scale)(target, cover, n);
}

}  // namespace plexion_host::movie
#endif  // HWY_ONCE
