// Growing a plane by distances to its edge: the nearest pixel along each row, then down the columns.

#include "host/player/lottie/compositing/Grow.h"

#include <algorithm>
#include <cmath>

#include "host/base/Check.h"

namespace plexion_host::movie {

namespace {

/// A pixel counts as inside from here on.
constexpr uint8_t kInside = 128;
/// Ways along a row are kept in pixels of a surface, with this added.
constexpr int kNoWay = 1 << 20;
constexpr uint32_t kNobody = UINT32_MAX;
constexpr uint32_t kHere = kNoWay;
constexpr int kColumns = 16;

/// Writes how many pixels to the right each pixel's nearest one inside is, or nobody within `most`.
void NearestInRow(const uint8_t* row, uint32_t* ways, int count, int most) {
  int last = -kNoWay;
  for (int x = 0; x < count; ++x) {
    if (row[x] >= kInside) last = x;
    ways[x] = x - last <= most ? static_cast<uint32_t>(last - x + kNoWay) : kNobody;
  }
  int next = kNoWay * 2;
  for (int x = count - 1; x >= 0; --x) {
    if (row[x] >= kInside) next = x;
    const int before = ways[x] == kNobody ? most + 1 : kNoWay - static_cast<int>(ways[x]);
    if (next - x <= most && next - x < before) {
      ways[x] = static_cast<uint32_t>(next - x + kNoWay);
    }
  }
}

/// How far (x, y) lies from the edge next to pixel (nearX, nearY), of whose middle it is the nearest. A
/// pixel's edge lies as far beyond its middle as more than half of it is covered.
float ToEdge(const Coverage& plane, int x, int y, int nearX, int nearY) {
  float least = 1e9f;
  for (int py = std::max(nearY - 1, 0); py < std::min(nearY + 2, plane.height); ++py) {
    for (int px = std::max(nearX - 1, 0); px < std::min(nearX + 2, plane.width); ++px) {
      const uint8_t covered = plane.Row(py)[px];
      if (covered == 0) continue;
      const auto square = static_cast<float>((px - x) * (px - x) + (py - y) * (py - y));
      least = std::min(least, std::sqrt(square) + 0.5f - static_cast<float>(covered) / 255);
    }
  }
  return least;
}

}  // namespace

/// From the ways of one column along its rows to how much of each pixel is covered in the end.
void Grow::Column(const Coverage& plane, uint32_t* ways, int x, float by) {
  const auto wayAt = [ways](int y) { return static_cast<int>(ways[y]) - kNoWay; };
  // What lies between others that are inside is nearest to nothing but itself. Of a filled shape that is
  // nearly all; edges thinner than a pixel look at how much of each is covered.
  const auto between = [&](int y) {
    return by > 1 && ways[y] == kHere && y > 0 && y + 1 < plane.height && ways[y - 1] == kHere &&
           ways[y + 1] == kHere;
  };
  // Each row's square of a distance is a parabola over the column; the lowest ones are kept.
  int count = 0;
  for (int y = 0; y < plane.height; ++y) {
    if (ways[y] == kNobody || between(y)) continue;
    const auto own = static_cast<float>(wayAt(y) * wayAt(y) + y * y);
    float start = 0;
    while (count > 0) {
      const int last = rows_[static_cast<size_t>(count - 1)];
      const auto other = static_cast<float>(wayAt(last) * wayAt(last) + last * last);
      start = (own - other) / static_cast<float>(2 * (y - last));
      if (start > starts_[static_cast<size_t>(count - 1)]) break;
      --count;
    }
    rows_[static_cast<size_t>(count)] = y;
    starts_[static_cast<size_t>(count)] = count == 0 ? -1 : start;
    ++count;
  }
  int lowest = 0;
  for (int y = 0; y < plane.height; ++y) {
    grown_[static_cast<size_t>(y)] = between(y) ? 255 : 0;
    if (count == 0 || grown_[static_cast<size_t>(y)] != 0) continue;
    while (lowest + 1 < count && starts_[static_cast<size_t>(lowest + 1)] < static_cast<float>(y)) {
      ++lowest;
    }
    const int row = rows_[static_cast<size_t>(lowest)];
    const int dx = -wayAt(row);
    const int dy = y - row;
    const float length = std::sqrt(static_cast<float>(dx * dx + dy * dy));
    if (length < by - 1) {
      grown_[static_cast<size_t>(y)] = 255;
    } else if (length < by + 2) {
      const float distance = ToEdge(plane, x, y, x - dx, row);
      const float cover = std::clamp(by - distance + 0.5f, 0.0f, 1.0f);
      grown_[static_cast<size_t>(y)] = static_cast<uint8_t>(std::lrint(cover * 255));
    }
  }
  std::copy_n(grown_.begin(), plane.height, ways);
}

void Grow::Run(const Coverage& plane, const Surface& spare, float by) {
  PLEXION_CHECK(plane.width == spare.width && plane.height == spare.height,
                "the distances are those of the plane's pixels");
  if (!(by > 0) || plane.width <= 0 || plane.height <= 0) return;
  by = std::min(by, kMost);
  const auto height = static_cast<size_t>(plane.height);
  if (rows_.size() < height) {
    rows_.resize(height);
    starts_.resize(height);
    grown_.resize(height);
    columns_.resize(height * kColumns);
  }
  const int most = static_cast<int>(by) + 2;
  for (int y = 0; y < plane.height; ++y) {
    NearestInRow(plane.Row(y), spare.Row(y), plane.width, most);
  }
  // Some columns at a time are laid along memory: one by one, each step would be another row's cache line.
  for (int left = 0; left < plane.width; left += kColumns) {
    const int columns = std::min(kColumns, plane.width - left);
    for (int y = 0; y < plane.height; ++y) {
      const uint32_t* const row = spare.Row(y) + left;
      for (int i = 0; i < columns; ++i) columns_[static_cast<size_t>(i) * height + y] = row[i];
    }
    for (int i = 0; i < columns; ++i) {
      Column(plane, columns_.data() + static_cast<size_t>(i) * height, left + i, by);
    }
    for (int y = 0; y < plane.height; ++y) {
      uint32_t* const row = spare.Row(y) + left;
      for (int i = 0; i < columns; ++i) row[i] = columns_[static_cast<size_t>(i) * height + y];
    }
  }
  // Only now: until here what was covered before has been asked for.
  for (int y = 0; y < plane.height; ++y) {
    uint8_t* const row = plane.Row(y);
    const uint32_t* const grown = spare.Row(y);
    for (int x = 0; x < plane.width; ++x) {
      row[x] = std::max(row[x], static_cast<uint8_t>(grown[x]));
    }
  }
}

}  // namespace plexion_host::movie
