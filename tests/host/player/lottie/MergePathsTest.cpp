// Areas that paths leave when they cut each other: compared with what each point of the plane should say.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "host/player/lottie/shapes/Figures.h"
#include "host/player/lottie/shapes/MergePaths.h"

namespace plexion_host::movie {
namespace {

/// How often closed contours of straight lines go round a point.
int Winding(const OutlineList& outlines, double x, double y) {
  int winding = 0;
  for (size_t i = 0; i < outlines.Count(); ++i) {
    const std::vector<Vertex>& v = outlines[i].vertices;
    for (size_t j = 0; j < v.size(); ++j) {
      const Vertex& a = v[j];
      const Vertex& b = v[(j + 1) % v.size()];
      if ((a.y <= y) == (b.y <= y)) continue;
      if (a.x + (y - a.y) / (double{b.y} - a.y) * (double{b.x} - a.x) > x)
        winding += a.y <= y ? 1 : -1;
    }
  }
  return winding;
}

OutlineList Tangle(std::mt19937& random, int corners) {
  std::uniform_real_distribution<float> place(-50, 50);
  OutlineList list;
  Outline& outline = list.Add();
  outline.closed = random() % 2 == 0;  // what is open counts as closed
  for (int i = 0; i < corners; ++i) outline.Add(place(random), place(random));
  return list;
}

bool Expected(MergeMode mode, const std::vector<bool>& inside) {
  const auto count = std::count(inside.begin(), inside.end(), true);
  switch (mode) {
    case MergeMode::kUnion:
      return count > 0;
    case MergeMode::kSubtract:
      return inside[0] && count == 1;
    case MergeMode::kIntersect:
      return count == static_cast<ptrdiff_t>(inside.size());
    case MergeMode::kExclude:
      return count % 2 == 1;
  }
  return false;
}

TEST(MergePathsTest, LeavesTheAreaThatItsModeSays) {
  std::mt19937 random(7);
  for (const MergeMode mode :
       {MergeMode::kUnion, MergeMode::kSubtract, MergeMode::kIntersect, MergeMode::kExclude}) {
    for (size_t count : {1u, 2u, 3u, 5u}) {
      std::vector<OutlineList> lists;
      for (size_t i = 0; i < count; ++i)
        lists.push_back(Tangle(random, 3 + static_cast<int>(random() % 9)));
      std::vector<MergeOperand> operands;
      for (const OutlineList& list : lists) operands.push_back({&list, Matrix()});
      OutlineList merged;
      MergePaths(operands, mode, merged);
      int wrong = 0;
      for (int y = -49; y < 50; y += 2) {
        for (int x = -49; x < 50; x += 2) {
          std::vector<bool> inside;
          for (const OutlineList& list : lists) inside.push_back(Winding(list, x, y) != 0);
          const int winding = Winding(merged, x, y);
          // Each place is covered once at most, so that any fill rule paints the same.
          wrong += Expected(mode, inside) != (winding != 0) || winding * winding > 1;
        }
      }
      // A point may lie on a line.
      EXPECT_LE(wrong, 2) << static_cast<int>(mode) << " of " << count;
    }
  }
}

TEST(MergePathsTest, FollowsCurvesAndMatricesAtAnySize) {
  for (const double size : {1e-3, 1.0, 5e4}) {
    OutlineList circle, box;
    MakeEllipse({0, 0, static_cast<float>(2 * size), static_cast<float>(2 * size), false},
                circle.Add());
    MakeRectangle({0, 0, 1, 1, 0, false}, box.Add());
    // The lower half of the circle.
    const MergeOperand half = {&box, {4 * size, 0, 0, 2 * size, 0, size}};
    OutlineList merged;
    MergePaths({{&circle, Matrix()}, half}, MergeMode::kIntersect, merged);
    ASSERT_EQ(1u, merged.Count());
    EXPECT_TRUE(merged[0].closed);
    double area = 0;
    for (size_t i = 0; i < merged[0].vertices.size(); ++i) {
      const Vertex& a = merged[0].vertices[i];
      const Vertex& b = merged[0].vertices[(i + 1) % merged[0].vertices.size()];
      area += (double{a.x} * b.y - double{b.x} * a.y) / 2;
      EXPECT_GE(a.y, -1e-3 * size);
    }
    EXPECT_NEAR(1.5708, std::abs(area) / (size * size), 0.003) << size;
  }
}

TEST(MergePathsTest, BearsWhatIsNoArea) {
  OutlineList nothing, point, broken, box;
  point.Add().Add(3, 3);
  Outline& outline = broken.Add();
  outline.Add(0, 0);
  outline.Add(std::numeric_limits<double>::quiet_NaN(), 1e30);
  outline.Add(1e30, std::numeric_limits<double>::infinity());
  MakeRectangle({0, 0, 10, 10, 0, false}, box.Add());
  for (const OutlineList* bad : {&nothing, &point, &broken}) {
    OutlineList merged;
    MergePaths({{&box, Matrix()}, {bad, Matrix()}}, MergeMode::kSubtract, merged);
    MergePaths({{bad, Matrix()}, {bad, {0, 0, 0, 0, 0, 0}}}, MergeMode::kUnion, merged);
    MergePaths({}, MergeMode::kUnion, merged);
    for (size_t i = 0; i < merged.Count(); ++i) {
      for (const Vertex& v : merged[i].vertices)
        EXPECT_TRUE(std::isfinite(v.x) && std::isfinite(v.y));
    }
  }
}

}  // namespace
}  // namespace plexion_host::movie
