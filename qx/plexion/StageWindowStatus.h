#ifndef QX_PLEXION_STAGEWINDOWSTATUS_H_
#define QX_PLEXION_STAGEWINDOWSTATUS_H_

#include <stdint.h>

#include "qx/plexion/Geometry.h"

namespace qx {
namespace plexion {

/// What a stage window, or the player instance in it, says of itself. The values are fixed; the
/// name as text comes from IPlexion::StageWindowStatusToString.
enum StageWindowStatus : int32_t {
  // States, in the order in which content passes through them.
  kStatusUnconfigured = 0,
  kStatusConfigured = 1,
  kStatusLoading = 2,
  kStatusLoaded = 3,          ///< the authored stage dims are known; a render plane may be set
  kStatusReadyToAnimate = 4,  ///< Play would start with the first frame
  kStatusPlaying = 5,
  kStatusPaused = 6,
  kStatusComplete = 7,
  // Errors; terminal as kStatusComplete is.
  kErrorIncompleteConfiguration = 8,
  kErrorModuleUnavailable = 9,
  kErrorNotEnoughMemory = 10,
  kErrorInvalidURL = 11,
  kErrorStartupFailure = 12,
  kErrorCorruptMovie = 13,
  kErrorRenderPlaneCreationFailure = 14,
  kErrorOutputPlaneCreationFailure = 15,
  kErrorIncompatibleRenderPlane = 16,
  kErrorFatalPlaybackError = 17,
  kErrorTallyScriptStuck = 18,
  kErrorUnsupportedVersion = 19,
  // Events; never the result of GetStageWindowStatus.
  kInfoLoadProgress = 20,
  kInfoUnsupportedPlaceholderRendered = 21,
  kInfoRenderPlaneUpdated = 22,
  kInfoOutputPlaneUpdated = 23,
  kInfoWindowActivated = 24,
  kInfoWindowDeactivated = 25,
  kInfoWindowResized = 26,
  kInfoOutputPlaneResizeFailed = 27,
  kInfoRenderPlaneResizeFailed = 28,
  kInfoWindowMoved = 29,
  kInfoWindowMoveFailed = 30,
  kInfoContentRenderFailure = 31,
  kInfoNotifyTSTrace = 32,
  kInfoNotifyFPS = 33,
};

/// True for kStatusComplete and every error: the content has ended and nothing more will come.
inline bool IsTerminalStatus(StageWindowStatus status) {
  return status >= kStatusComplete && status <= kErrorUnsupportedVersion;
}

/// What travels beside a status. Filled by whoever raises the status, passed on unchanged; the
/// record and all that it points to are valid during the call only. A zeroed record says nothing.
struct StageWindowStatusData {
  /// kInfoRenderPlaneUpdated, kInfoOutputPlaneUpdated: the redrawn part of the render plane.
  /// kInfoWindowResized, kInfoWindowMoved and their failures: the output plane's rectangle.
  const Rect* rect;
  /// UTF-8 for people, or null. Errors: the cause ("unexpected end of JSON at byte 512").
  /// kInfoNotifyTSTrace: the traced text. kInfoUnsupportedPlaceholderRendered: what is missing.
  const char* message;
  /// kInfoLoadProgress: 0 to 100.
  uint32_t percent;
  /// kInfoNotifyFPS: frames a second over the last sample period.
  double framesPerSecond;
};

}  // namespace plexion
}  // namespace qx

#endif  // QX_PLEXION_STAGEWINDOWSTATUS_H_
