#ifndef HOST_CONTRACTS_IHOSTPLANES_H_
#define HOST_CONTRACTS_IHOSTPLANES_H_

#include <cstdint>

#include "qx/core/IQXModule.h"

namespace plexion_host {

/// Memory of a render plane that another process can be given.
struct SharedPixels {
  int descriptor = -1;  ///< of sealed shared memory that begins with the plane's first pixel
  uint64_t id = 0;      ///< never the same for two memories of a process, whatever their addresses
  uint64_t bytes = 0;   ///< of all the plane's rows; it neither shrinks nor grows
};

/// The memory behind render planes: module "IHostPlanes", in the library of "IGraphicsDriver". For
/// players that draw in another process. A device whose driver does not have it is played all the same:
/// such a player then draws elsewhere and copies.
///
/// Thread   any; waits for nobody who draws.
class IHostPlanes : public IQXModule {
 public:
  /// What the memory is that begins at `pixels`, an address from Plane::LockPixels.
  ///
  /// Owns     the descriptor stays the driver's; it is good for as long as the plane stays locked.
  /// Returns  false when it is not shared memory of this driver.
  virtual bool FindShared(const void* pixels, SharedPixels& shared) = 0;
};

}  // namespace plexion_host

#endif  // HOST_CONTRACTS_IHOSTPLANES_H_
