// Sealed shared memory for pixels, and who has which.

#ifndef HOST_GRAPHICS_PIXELS_SHAREDMEMORY_H_
#define HOST_GRAPHICS_PIXELS_SHAREDMEMORY_H_

#include <cstddef>

#include "host/contracts/IHostPlanes.h"

namespace plexion_host {

/// Fresh pages of zeros that can be handed to another process: whoever has the descriptor can neither
/// shrink them, which would end a reader by a signal, nor let them grow. Those of a screen's size are
/// there when this returns: the first touch of a picture's pages takes longer than drawing it.
///
/// Returns  null when the system has none to give.
/// Thread   any.
void* MapSharedMemory(size_t bytes);

/// `memory` comes from MapSharedMemory with the same size.
void UnmapSharedMemory(void* memory, size_t bytes);

/// Finds the memory that begins at `memory`. Returns  false when there is none.
bool FindSharedMemory(const void* memory, SharedPixels& shared);

}  // namespace plexion_host

#endif  // HOST_GRAPHICS_PIXELS_SHAREDMEMORY_H_
