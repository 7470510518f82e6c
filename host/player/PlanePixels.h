// What engines of whole pictures do to the pixels of a plane around and below the picture.

#ifndef HOST_PLAYER_PLANEPIXELS_H_
#define HOST_PLAYER_PLANEPIXELS_H_

#include "host/player/Engine.h"

namespace plexion_host::player {

/// Straight pixels become premultiplied ones, where they are. `pitchBytes` is a multiple of 4.
void PremultiplyPixels(uint32_t* pixels, uint32_t pitchBytes, const qx::plexion::Dims& dims);

/// Lays black with `bgAlpha` below premultiplied pixels.
void LayBackground(uint32_t* pixels, uint32_t pitchBytes, const qx::plexion::Dims& dims,
                   uint8_t bgAlpha);

/// Says that `inside`, which lies in the plane, was drawn. When everything is to be, the rest of the plane becomes
/// background.
void FinishDraw(const DrawTarget& target, const qx::plexion::Rect& inside, DrawResult& result);

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_PLANEPIXELS_H_
