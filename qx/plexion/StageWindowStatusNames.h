// The names of statuses, for whoever prints them: the service for its hosts, and hosts that have no
// service at hand, such as one that reads a recording.

#ifndef QX_PLEXION_STAGEWINDOWSTATUSNAMES_H_
#define QX_PLEXION_STAGEWINDOWSTATUSNAMES_H_

#include <stdint.h>

#include "qx/plexion/StageWindowStatus.h"

namespace qx {
namespace plexion {

/// By number.
constexpr const char* kStageWindowStatusNames[] = {
    "kStatusUnconfigured",
    "kStatusConfigured",
    "kStatusLoading",
    "kStatusLoaded",
    "kStatusReadyToAnimate",
    "kStatusPlaying",
    "kStatusPaused",
    "kStatusComplete",
    "kErrorIncompleteConfiguration",
    "kErrorModuleUnavailable",
    "kErrorNotEnoughMemory",
    "kErrorInvalidURL",
    "kErrorStartupFailure",
    "kErrorCorruptMovie",
    "kErrorRenderPlaneCreationFailure",
    "kErrorOutputPlaneCreationFailure",
    "kErrorIncompatibleRenderPlane",
    "kErrorFatalPlaybackError",
    "kErrorTallyScriptStuck",
    "kErrorUnsupportedVersion",
    "kInfoLoadProgress",
    "kInfoUnsupportedPlaceholderRendered",
    "kInfoRenderPlaneUpdated",
    "kInfoOutputPlaneUpdated",
    "kInfoWindowActivated",
    "kInfoWindowDeactivated",
    "kInfoWindowResized",
    "kInfoOutputPlaneResizeFailed",
    "kInfoRenderPlaneResizeFailed",
    "kInfoWindowMoved",
    "kInfoWindowMoveFailed",
    "kInfoContentRenderFailure",
    "kInfoNotifyTSTrace",
    "kInfoNotifyFPS",
};

/// Returns  null for a number that is no status.
constexpr const char* StageWindowStatusName(int64_t status) {
  constexpr int64_t kCount = sizeof(kStageWindowStatusNames) / sizeof(kStageWindowStatusNames[0]);
  return status >= 0 && status < kCount ? kStageWindowStatusNames[status] : nullptr;
}

}  // namespace plexion
}  // namespace qx

#endif  // QX_PLEXION_STAGEWINDOWSTATUSNAMES_H_
