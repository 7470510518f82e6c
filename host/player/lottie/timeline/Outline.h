#ifndef HOST_PLAYER_LOTTIE_TIMELINE_OUTLINE_H_
#define HOST_PLAYER_LOTTIE_TIMELINE_OUTLINE_H_

#include <stddef.h>

#include <vector>

namespace plexion_host::movie {

/// A corner of a path with its handles, all of them absolute. Laid out as PathData has it.
struct Vertex {
  float x = 0, y = 0;
  float inX = 0, inY = 0;
  float outX = 0, outY = 0;
};

/// One contour of cubic curves.
struct Outline {
  std::vector<Vertex> vertices;
  bool closed = false;

  void Add(double x, double y) {
    const auto fx = static_cast<float>(x), fy = static_cast<float>(y);
    vertices.push_back({fx, fy, fx, fy, fx, fy});
  }
  void Add(double x, double y, double inX, double inY, double outX, double outY) {
    vertices.push_back({static_cast<float>(x), static_cast<float>(y), static_cast<float>(inX),
                        static_cast<float>(inY), static_cast<float>(outX),
                        static_cast<float>(outY)});
  }
};

/// Contours whose memory is used again after Clear.
class OutlineList {
 public:
  Outline& Add() {
    if (count_ == outlines_.size()) outlines_.emplace_back();
    Outline& outline = outlines_[count_++];
    outline.vertices.clear();
    outline.closed = false;
    return outline;
  }
  void Clear() { count_ = 0; }
  size_t Count() const { return count_; }
  Outline& operator[](size_t index) { return outlines_[index]; }
  const Outline& operator[](size_t index) const { return outlines_[index]; }
  Outline& Last() { return outlines_[count_ - 1]; }
  /// What it holds on to.
  size_t Bytes() const {
    size_t bytes = outlines_.capacity() * sizeof(Outline);
    for (const Outline& outline : outlines_) bytes += outline.vertices.capacity() * sizeof(Vertex);
    return bytes;
  }
  void Swap(OutlineList& other) {
    outlines_.swap(other.outlines_);
    std::swap(count_, other.count_);
  }

 private:
  std::vector<Outline> outlines_;
  size_t count_ = 0;
};

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_TIMELINE_OUTLINE_H_
