// The memory that a content's process draws into: the plane's own, or ours.

#include <fcntl.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>

#include "host/base/Check.h"
#include "host/player/remote/RemoteEngine.h"
#include "qx/core/IQXKernel.h"

namespace plexion_host::player::remote {

bool RemoteEngine::ShareMemory(const DrawTarget& target) {
  const uint64_t bytes = uint64_t{target.pitchBytes} * target.dims.height;
  if (!planesAsked_) {
    planesAsked_ = true;
    planes_ = ModuleHandle<IHostPlanes>("IHostPlanes");
  }
  SharedPixels shared;
  // A plane that lies in memory of this process alone (a host without shared planes), or one that
  // is smaller than it says.
  if (!planes_ || !planes_->FindShared(target.pixels, shared) || shared.bytes < bytes) {
    return MakeOwnMemory(target, bytes);
  }
  // The same memory as the last time: the process has it mapped, nothing is sent.
  if (shared.id == sharedId_) return true;
  FreeOwnMemory();
  SetPlane(target, bytes);
  const bool sent = taken_.process->Send(PlaneRecord(plane_), shared.descriptor);
  SendOrGiveUp(sent);
  sharedId_ = sent ? shared.id : 0;
  return sent;
}

bool RemoteEngine::MakeOwnMemory(const DrawTarget& target, uint64_t bytes) {
  const bool same = own_ != nullptr && plane_.dims.width == target.dims.width &&
                    plane_.dims.height == target.dims.height &&
                    plane_.pitchBytes == target.pitchBytes;
  if (same) return true;
  FreeOwnMemory();
  sharedId_ = 0;
  const Descriptor memory(memfd_create("plexion-picture", MFD_CLOEXEC | MFD_ALLOW_SEALING));
  // Sealed: a process that cut the file short while we read from it would end the launcher with
  // SIGBUS.
  constexpr int kSeals = F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL;
  if (!memory || ftruncate(memory.Get(), static_cast<off_t>(bytes)) != 0 ||
      fcntl(memory.Get(), F_ADD_SEALS, kSeals) != 0) {
    return false;
  }
  void* const pixels = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, memory.Get(), 0);
  if (pixels == MAP_FAILED) return false;
  own_ = static_cast<uint32_t*>(pixels);
  ownBytes_ = bytes;
  // As the plane's: what is not drawn anew stays what it is.
  // The last row ends with its last pixel; what follows up to the pitch may not be ours to read.
  memcpy(own_, target.pixels, bytes - target.pitchBytes + size_t{target.dims.width} * 4);
  SetPlane(target, bytes);
  const bool sent = taken_.process->Send(PlaneRecord(plane_), memory.Get());
  SendOrGiveUp(sent);
  return sent;
}

void RemoteEngine::SetPlane(const DrawTarget& target, uint64_t bytes) {
  plane_ = {target.dims, target.pitchBytes, bytes};
  ++planesGiven_;
  // The largest so far: the process may keep the old plane mapped until it has read of the new one,
  // and is not to be charged for either.
  planeBytes_ = std::max(planeBytes_.load(), bytes);
}

void RemoteEngine::CopyOwn(const DrawTarget& target, const qx::plexion::Rect& dirty) const {
  // Only what was checked to lie inside of the plane (ReadDrawn).
  PLEXION_CHECK(own_ != nullptr && target.pitchBytes == plane_.pitchBytes,
                "our memory has the plane's rows");
  for (uint32_t y = dirty.y; y < dirty.y + dirty.height; ++y) {
    const size_t offset = size_t{y} * (target.pitchBytes / 4) + dirty.x;
    memcpy(target.pixels + offset, own_ + offset, size_t{dirty.width} * 4);
  }
}

void RemoteEngine::FreeOwnMemory() {
  if (own_ != nullptr) munmap(own_, ownBytes_);
  own_ = nullptr;
}

}  // namespace plexion_host::player::remote
