// Plain values that host and content exchange through the service, and the names of statuses.

#include <new>

#include "qx/core/Check.h"
#include "qx/plexion/IPlexionImpl.h"
#include "qx/plexion/StageWindowStatusNames.h"

namespace qx {
namespace plexion {

static_assert(StageWindowStatusName(kInfoNotifyFPS) != nullptr &&
                  StageWindowStatusName(kInfoNotifyFPS + 1) == nullptr,
              "a name for each status");

const char* IPlexionImpl::StageWindowStatusToString(StageWindowStatus status) {
  return StageWindowStatusName(status);  // a player's own number, which may be none of ours
}

bool IPlexionImpl::SetUserInputKey(int key) {
  userInputKey = key;
  return true;
}

int IPlexionImpl::GetUserInputKey() { return userInputKey; }

bool IPlexionImpl::SetWindowXID(int xid) {
  windowXID = xid;
  return true;
}

int IPlexionImpl::GetWindowXID() { return windowXID; }

void IPlexionImpl::SetExitFlag() { exitFlag = true; }

void IPlexionImpl::GetExitFlag(bool& flag) { flag = exitFlag; }

bool IPlexionImpl::SetViewIndex(int index) {
  viewIndex = index;
  return true;
}

int IPlexionImpl::GetViewIndex() { return viewIndex; }

bool IPlexionImpl::SetLastFrame(char* data, int size, long value) {
  char* const earlier = lastFrameData;
  lastFrameData = nullptr;
  if (data == nullptr) {
    delete[] earlier;
    lastFrameValid = false;
    return false;
  }
  // The plain array allocator, not the tracked one. A negative size is one it does not have.
  char* const copy =
      size < 0 ? nullptr : new (std::nothrow_t{}) char[static_cast<unsigned long>(size)];
  lastFrameSize = size;
  lastFrameValue = value;
  lastFrameValid = true;  // also without a copy: there was a frame, and GetLastFrame says nothing
  lastFrameData = copy;
  if (copy != nullptr) {
    kernel->MemSet(copy, 0, static_cast<unsigned long>(size));
    kernel->MemCopy(copy, data, static_cast<unsigned long>(size));
  }
  delete[] earlier;  // last: GetLastFrame hands it out, so it may be what was copied from
  return copy != nullptr;
}

void IPlexionImpl::GetLastFrame(char** data, int* size, long* value, bool* valid) {
  if (lastFrameData == nullptr) return;
  QX_CHECK(data != nullptr && size != nullptr && value != nullptr && valid != nullptr,
           "places for all four");
  *data = lastFrameData;
  *size = lastFrameSize;
  *value = lastFrameValue;
  *valid = lastFrameValid;
}

// Not written as "greater than": a rate that is no number passes both tests, and means "unknown" to
// the streams that set it.
bool IPlexionImpl::SetStreamFrameRate(double& rate) {
  if (rate <= 0.0) return false;
  streamFrameRate = rate;
  return true;
}

bool IPlexionImpl::GetStreamFrameRate(double& rate) {
  const double stored = streamFrameRate;
  if (stored <= 0.0) return false;
  rate = stored;
  return true;
}

bool IPlexionImpl::IsRewindOrForward() { return rewindOrForward; }

}  // namespace plexion
}  // namespace qx
