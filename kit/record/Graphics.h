// Planes of either kind, and hashes of their pixels.

#ifndef KIT_RECORD_GRAPHICS_H_
#define KIT_RECORD_GRAPHICS_H_

#include "kit/record/Crossing.h"

namespace plexion_record {

/// A hash of `pixels`, an address from LockPixels of `plane`; 0 when none is
/// wanted (Recorder.h).
uint64_t HashPixels(Pixels wanted, platform::Plane& plane, const void* pixels);

/// The host's plane behind a wrapper; null for null and in a replay.
platform::Plane* RawPlane(Wrapped* plane);

}  // namespace plexion_record

#endif  // KIT_RECORD_GRAPHICS_H_
