#ifndef HOST_PLAYER_LOTTIE_PAINT_DISPLAYLIST_H_
#define HOST_PLAYER_LOTTIE_PAINT_DISPLAYLIST_H_

#include <stdint.h>
#include <string.h>

#include <vector>

#include "host/player/lottie/document/Model.h"
#include "host/player/lottie/paint/PixelRect.h"
#include "host/player/lottie/shapes/ShapeTree.h"

namespace plexion_host::movie {

struct LoadedImage;

/// A number for what something looks like: equal numbers, equal looks.
class LookSum {
 public:
  template <typename T>
  void Add(const T& value) {
    static_assert(std::is_trivially_copyable_v<T>);
    const auto* bytes = reinterpret_cast<const unsigned char*>(&value);
    size_t i = 0;
    for (; i + 8 <= sizeof value; i += 8) {
      uint64_t word;
      memcpy(&word, bytes + i, 8);
      Mix(word);
    }
    uint64_t rest = 0;
    if (i < sizeof value) {
      memcpy(&rest, bytes + i, sizeof value - i);
      Mix(rest);
    }
  }
  uint64_t Value() const { return value_; }

 private:
  void Mix(uint64_t word) {
    value_ = (value_ ^ word) * 0x9E3779B97F4A7C15u;
    value_ = value_ << 29 | value_ >> 35;
  }
  uint64_t value_ = 0x1234567;
};

/// A mask at a moment, in its layer's plane.
struct MaskValue {
  const Mask* mask = nullptr;
  Path path;
  float opacity = 1;
  float expansion = 0;
  float featherX = 0, featherY = 0;
  Outline outline;  ///< what the path was made from
};

/// An effect at a moment: the numbers of each of its values.
struct EffectState {
  struct Numbers {
    float n[4] = {0, 0, 0, 0};
  };
  const Effect* effect = nullptr;
  std::vector<Numbers> values;

  float At(size_t value, float otherwise = 0) const {
    return value < values.size() ? values[value].n[0] : otherwise;
  }
};

struct StyleState;

/// What is drawn at a moment, from bottom to top. A group reaches from its kGroup to its kEnd; when
/// it has a matte, the matte's own content stands between kMatte and kEnd.
///
/// What it points to belongs to the scene and lives until that is evaluated again.
struct DrawItem {
  enum class Kind : uint8_t { kShape, kImage, kGroup, kMatte, kEnd };

  Kind kind = Kind::kShape;
  uint8_t blend = 0;
  uint8_t matte = 0;      ///< as in Layer::matteMode
  bool clips = false;     ///< group: to the box 0, 0, width, height through the matrix
  bool isolated = false;  ///< group: what blends inside of it does not see what is below
  bool spreads = false;   ///< group: a change inside may be seen anywhere in its bounds
  float opacity = 1;
  float width = 0, height = 0;
  uint64_t key = 0;      ///< the same thing from moment to moment
  uint64_t look = 0;     ///< the same when it looks the same, but for what is inside of it
  Matrix matrix;         ///< to pixels
  IntRect bounds;        ///< pixels that it may touch, within the plane
  uint32_t end = 0;      ///< group: where its kEnd is; kMatte as well
  uint32_t matteAt = 0;  ///< group: where its kMatte is; 0: none
  const ShapeOp* op = nullptr;
  const LoadedImage* image = nullptr;
  const std::vector<MaskValue>* masks = nullptr;
  const std::vector<EffectState>* effects = nullptr;
  const std::vector<StyleState>* styles = nullptr;  ///< in the plane that `matrix` maps from
};

using DisplayList = std::vector<DrawItem>;

/// The same for items that look the same and lie in the same place, but for what is inside of them.
uint64_t LookOf(const DrawItem& item);

/// Parts of a plane that have to be drawn again.
class Damage {
 public:
  static constexpr int kMostRects = 6;

  void Clear() { count_ = 0; }
  void Add(const IntRect& rect);
  int Count() const { return count_; }
  const IntRect& operator[](int index) const { return rects_[index]; }
  IntRect All() const;

 private:
  IntRect rects_[kMostRects + 1];
  int count_ = 0;
};

/// Finds what differs between two lists. Keeps its memory.
class ListComparison {
 public:
  void Compare(const DisplayList& before, const DisplayList& after, Damage& damage);
  /// What it holds on to.
  size_t Bytes() const { return table_.capacity() * sizeof(Entry); }

 private:
  struct Entry {
    uint64_t key;
    uint64_t look;
    IntRect bounds;
    bool used;
  };
  void Index(const DisplayList& list);
  const Entry* Find(uint64_t key) const;
  void AddMissing(const DisplayList& list, Damage& damage);

  std::vector<Entry> table_;
  std::vector<uint32_t> groups_;
};

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_PAINT_DISPLAYLIST_H_
