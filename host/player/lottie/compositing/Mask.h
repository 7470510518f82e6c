#ifndef HOST_PLAYER_LOTTIE_COMPOSITING_MASK_H_
#define HOST_PLAYER_LOTTIE_COMPOSITING_MASK_H_

#include "host/player/lottie/raster/Fill.h"
#include "host/player/lottie/raster/Stroke.h"
#include "host/player/lottie/raster/Surface.h"

namespace plexion_host::movie {

/// How a mask meets those before it. The first one meets a plane of 0 when it is kAdd, kLighten or
/// kDifference, and one of 255 otherwise: see MaskStart.
enum class MaskMode : uint8_t { kAdd, kSubtract, kIntersect, kLighten, kDarken, kDifference };
uint8_t MaskStart(MaskMode first);

enum class MatteMode : uint8_t { kAlpha, kAlphaInverted, kLuma, kLumaInverted };

/// `into` with one more mask, within `rect`. `opacity` is 0 to 1 and counts after the inversion.
/// The planes are of one size.
void AddMask(const Coverage& into, const Coverage& mask, const IntRect& rect, MaskMode mode,
             float opacity, bool inverted);

/// Makes the covered part of a mask larger by `pixels` on all sides, or smaller when it is negative:
/// by a stroke around the path, as wide as `pixels` are in the path's own plane.
void CoverExpanded(Rasterizer& raster, Stroker& stroker, Path& scratch, const Coverage& target,
                   const Coverage& spare, const Path& path, const Matrix& matrix, FillRule rule,
                   float pixels, const IntRect* clip = nullptr);

/// Leaves of `target`, within `rect`, what `mask` covers. Both are of one size.
void ApplyMask(const Surface& target, const Coverage& mask, const IntRect& rect);

/// Leaves of `target`, within `rect`, what `matte` shows. Both are of one size. Luma is that of
/// the matte over black.
void ApplyMatte(const Surface& target, const Surface& matte, const IntRect& rect, MatteMode mode);

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_COMPOSITING_MASK_H_
