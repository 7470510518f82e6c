// Works out how a stage lies in a plane.
#include "host/player/StageFit.h"

#include <math.h>

#include <algorithm>

#include "host/base/Check.h"

namespace plexion_host::player {

namespace {

/// A stage of a thousandth of a pixel's height, for example, covers a plane with a rectangle that no
/// number holds. Beyond this nobody can tell the difference.
constexpr double kLargestSide = 1 << 28;

int32_t Pixels(double length) {
  return static_cast<int32_t>(lround(std::clamp(length, 1.0, kLargestSide)));
}

/// Half of what is left over, rounded down on both sides of 0.
int32_t Half(int64_t spare) {
  return static_cast<int32_t>(spare >= 0 ? spare / 2 : -((1 - spare) / 2));
}

/// A side that is off by one is the plane's own.
int32_t Snapped(int32_t side, uint32_t plane) {
  const auto whole = static_cast<int32_t>(plane);
  return side >= whole - 1 && side <= whole + 1 ? whole : side;
}

}  // namespace

StageFit StageFit::Of(double stageWidth, double stageHeight, const qx::plexion::Dims& plane,
                      Fit fit) {
  PLEXION_CHECK(stageWidth > 0 && stageHeight > 0, "a stage has a size");
  PLEXION_CHECK(plane.width > 0 && plane.height > 0, "there is a plane");
  const double across = plane.width / stageWidth;
  const double down = plane.height / stageHeight;
  StageFit result;
  result.width = static_cast<int32_t>(plane.width);
  result.height = static_cast<int32_t>(plane.height);
  if (fit == Fit::kNone) {
    result.width = Pixels(stageWidth);
    result.height = Pixels(stageHeight);
  } else if (fit != Fit::kStretch) {
    const double scale = fit == Fit::kContain ? std::min(across, down) : std::max(across, down);
    const int32_t width = Snapped(Pixels(stageWidth * scale), plane.width);
    const int32_t height = Snapped(Pixels(stageHeight * scale), plane.height);
    result.width = width;
    result.height = height;
  }
  result.x = Half(int64_t{plane.width} - result.width);
  result.y = Half(int64_t{plane.height} - result.height);
  result.scaleX = result.width / stageWidth;
  result.scaleY = result.height / stageHeight;
  return result;
}

qx::plexion::Rect StageFit::Visible(const qx::plexion::Dims& plane) const {
  const int32_t left = std::max(x, 0);
  const int32_t top = std::max(y, 0);
  const int64_t right = std::min<int64_t>(int64_t{x} + width, plane.width);
  const int64_t bottom = std::min<int64_t>(int64_t{y} + height, plane.height);
  return {static_cast<uint32_t>(left), static_cast<uint32_t>(top),
          static_cast<uint32_t>(right - left), static_cast<uint32_t>(bottom - top)};
}

Fit FitOf(const PlayerSettings& settings) {
  Fit fit = Fit::kContain;
  for (const auto& [name, value] : settings.variables) {
    if (name == kFitVariable) fit = ReadFit(value).value_or(fit);
  }
  return fit;
}

void ForgetFit(PlayerSettings& settings) {
  auto& variables = settings.variables;
  variables.erase(
      std::remove_if(variables.begin(), variables.end(),
                     [](const auto& variable) { return variable.first == kFitVariable; }),
      variables.end());
}

}  // namespace plexion_host::player
