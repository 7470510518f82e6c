#ifndef QX_PLEXION_PARTS_PROPORTION_H_
#define QX_PLEXION_PARTS_PROPORTION_H_

#include <stdint.h>

namespace qx {
namespace plexion {

/// value * newSize / oldSize, truncated; `value` itself when there is no old size to compare with.
inline uint32_t InProportion(uint32_t value, uint32_t newSize, uint32_t oldSize) {
  if (oldSize == 0) return value;
  return static_cast<uint32_t>(static_cast<uint64_t>(value) * newSize / oldSize);
}

}  // namespace plexion
}  // namespace qx

#endif  // QX_PLEXION_PARTS_PROPORTION_H_
