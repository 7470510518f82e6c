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

/// The sum of each lane and all before it, and `carry`, which becomes the last one in every lane. Shifts
/// stay within blocks of four lanes, so the blocks' own sums are handed on: to the neighbour, then to the
/// other half. (Looking lanes up takes tables, whose checks need a library of their own.)
template <class D, class V = hn::Vec<D>>
HWY_INLINE V RunningSum(D d, V v, V& carry) {
  const size_t lanes = hn::Lanes(d);
  v = hn::Add(v, hn::ShiftLeftLanes<1>(d, v));
  v = hn::Add(v, hn::ShiftLeftLanes<2>(d, v));
  V last = hn::Broadcast<3>(v);
  if (lanes > 4) {
    v = hn::Add(v, hn::OddEvenBlocks(hn::SwapAdjacentBlocks(last), hn::Zero(d)));
    last = hn::Broadcast<3>(v);
    last = hn::OddEvenBlocks(last, hn::SwapAdjacentBlocks(last));
  }
  if (lanes > 8) {
    v = hn::Add(v, hn::ConcatLowerLower(d, last, hn::Zero(d)));
    last = hn::Broadcast<3>(v);
    last = hn::OddEvenBlocks(last, hn::SwapAdjacentBlocks(last));
    last = hn::ConcatUpperUpper(d, last, last);
  }
  v = hn::Add(v, carry);
  carry = hn::Add(last, carry);
  return v;
}

/// How much of pixels is covered, 0 to 255, from their sums.
template <bool kEvenOdd, class D, class V = hn::Vec<D>>
HWY_INLINE V Covered(D d, V sum) {
  const hn::RebindToSigned<D> signedD;
  const auto full = hn::Set(signedD, 1 << kFullCellBits);
  auto part = hn::BitCast(signedD, sum);
  if (kEvenOdd) {
    // Up to one and down again to two.
    part = hn::And(part, hn::Set(signedD, (2 << kFullCellBits) - 1));
    part = hn::Sub(full, hn::Abs(hn::Sub(part, full)));
  } else {
    part = hn::Min(hn::Abs(part), full);
  }
  const V wide = hn::BitCast(d, part);
  // Times 255, to the nearest.
  return hn::ShiftRight<kFullCellBits>(
      hn::Add(hn::Sub(hn::ShiftLeft<8>(wide), wide), hn::Set(d, 1u << (kFullCellBits - 1))));
}

// Sums run over blocks of four, which every target has.
template <bool kEvenOdd>
HWY_INLINE uint32_t ResolveBy(uint32_t* cells, int n, uint32_t sum, uint8_t* cover) {
  const hn::FixedTag<uint32_t, 4> d;
  const hn::FixedTag<uint8_t, 4> bytes;
  auto carry = hn::Set(d, sum);
  for (int i = 0; i < n; i += 4) {
    auto v = hn::Load(d, cells + i);
    hn::Store(hn::Zero(d), d, cells + i);
    v = hn::Add(v, hn::ShiftLeftLanes<1>(d, v));
    v = hn::Add(v, hn::ShiftLeftLanes<2>(d, v));
    v = hn::Add(v, carry);
    carry = hn::Broadcast<3>(v);
    hn::StoreU(hn::TruncateTo(bytes, Covered<kEvenOdd>(d, v)), bytes, cover + i);
  }
  return hn::GetLane(carry);
}

uint32_t Resolve(uint32_t* cells, int n, uint32_t sum, bool evenOdd, uint8_t* cover) {
  return evenOdd ? ResolveBy<true>(cells, n, sum, cover) : ResolveBy<false>(cells, n, sum, cover);
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

/// Sums, covers and colour in one go: between them nothing goes by way of memory, which would have
/// to wait for what was stored in smaller pieces.
template <bool kEvenOdd>
HWY_INLINE void PaintRow(const CellRow& row, uint32_t colour, uint32_t* target) {
  const hn::CappedTag<uint32_t, kCellsInGroup> d;
  const int lanes = static_cast<int>(hn::Lanes(d));
  const auto paint = hn::Set(d, colour);
  auto carry = hn::Zero(d);
  int done = 0;  // columns
  const auto flat = [&](int end) {
    const uint8_t cover = CoverOf(hn::GetLane(carry), kEvenOdd);
    const int n = std::min(end, row.columns) - done;
    if (cover == 0 || n <= 0) return;
    const uint32_t all = cover == 255 ? colour : PixelTimes(colour, cover);
    // Most of most pictures: nothing below is read.
    if (all >> 24 == 255) {
      Fill(target + done, all, n);
    } else {
      Colour(target + done, all, n);
    }
  };
  for (int word = 0; word < row.words; ++word) {
    uint64_t bits = row.touched[word];
    row.touched[word] = 0;
    for (; bits != 0; bits &= bits - 1) {
      const int first = (word * 64 + __builtin_ctzll(bits)) * kCellsInGroup;
      if (first > done) flat(first);
      done = first + kCellsInGroup;
      for (int i = first; i < done; i += lanes) {
        const auto sum = RunningSum(d, hn::Load(d, row.cells + i), carry);
        hn::Store(hn::Zero(d), d, row.cells + i);
        const auto cover = Covered<kEvenOdd>(d, sum);
        if (i + lanes <= row.columns) {
          hn::StoreU(Over(d, Times(d, paint, cover), hn::LoadU(d, target + i)), d, target + i);
          continue;
        }
        // The row ends within these.
        HWY_ALIGN uint32_t covers[kCellsInGroup];
        hn::Store(cover, d, covers);
        ForFew(row.columns - i, [&](auto few, int k) {
          const auto source = Times(few, hn::Set(few, colour), hn::LoadU(few, covers + k));
          hn::StoreU(Over(few, source, hn::LoadU(few, target + i + k)), few, target + i + k);
        });
      }
    }
  }
  flat(row.columns);
}

void PaintRowOfCells(const CellRow& row, bool evenOdd, uint32_t colour, uint32_t* target) {
  if (evenOdd) {
    PaintRow<true>(row, colour, target);
  } else {
    PaintRow<false>(row, colour, target);
  }
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
HWY_EXPORT(PaintRowOfCells);
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

void PaintCells(const CellRow& row, bool evenOdd, uint32_t colour, uint32_t* target) {
  HWY_DYNAMIC_DISPATCH(PaintRowOfCells)(row, evenOdd, colour, target);
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
