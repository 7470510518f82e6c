#ifndef QX_PLEXION_STAGEWINDOWPARAMETERS_H_
#define QX_PLEXION_STAGEWINDOWPARAMETERS_H_

#include <stdint.h>

#include "qx/plexion/Geometry.h"

namespace qx {
namespace platform {
class RenderPlane;
class OutputPlane;
}  // namespace platform

namespace plexion {

class StageWindowNotifier;

/// Reports where a window is on the screen when it has no output plane of its own. The host
/// implements it; it must outlive the window.
class StageWindowRectProvider {
 public:
  /// Screen pixels. Thread: any.
  virtual Rect GetRectOnScreen() = 0;

 protected:
  ~StageWindowRectProvider() {}
};

enum StageWindowProfile : int32_t { kProfileTv = 0, kProfileExtendedTv = 1 };
enum StageWindowGl : int32_t { kGlDefault = 0, kGlOn = 1, kGlOff = 2 };

/// Bits of StageWindowParameters::traceFlags.
enum : uint32_t { kTraceScript = 1u << 0, kTraceFrameRate = 1u << 1 };

/// Everything that configures one stage window. IPlexion::InitParameters writes the defaults into
/// all fields but `locale`; zero the record before the first use.
///
/// Owns     nothing. Texts are borrowed (normally from the argument vector) and must outlive the
///          window, except `contentPath` and `outputPlaneName`, of which the window keeps copies.
struct StageWindowParameters {
  const char* contentPath;             ///< .mvx file, application descriptor or install directory
  const char* keymap;                  ///< key map file
  platform::RenderPlane* renderPlane;  ///< host-made plane, or null: the window makes one
  platform::OutputPlane* outputPlane;  ///< host-made plane, or null: the window makes one
  Dims contentDims;                    ///< stage size; 0,0: as authored
  Dims outputDims;                     ///< output size; 0,0: as authored
  Rect outputRect;                     ///< output rectangle on the screen
  uint32_t pixelFormat;                ///< of the render plane; 0: the runtime's default
  uint32_t extraWord;                  ///< carried to the player runtime
  bool createOutputPlane;              ///< make an output plane when none is handed in
  bool scaleToFit;                     ///< shrink authored content to the screen
  const char* outputPlaneName;         ///< null: base name of contentPath
  StageWindowNotifier* notifier;       ///< first observer, or null
  uint8_t bgAlpha;                     ///< background alpha
  int32_t profile;                     ///< StageWindowProfile
  const char* morvelVars;              ///< variables for the content, "name=value&name=value"
  const char* qlrArgs;                 ///< arguments of the debug launcher
  const char* sslClientCertTable;      ///< client certificates
  const char* sslCertsDir;             ///< folder of trusted certificates
  const char* morvelModuleName;        ///< player runtime module
  bool hasRectProvider;                ///< set by the window when rectProvider is not null
  bool noSpeedLimit;                   ///< run without the frame-rate limit
  uint32_t traceFlags;                 ///< kTrace... bits
  uint32_t traceFps;                   ///< frame-rate sample period, milliseconds
  uint32_t memoryLimit;                ///< bytes for the memory watchdog; 0: no limit
  uint32_t gcHeapLimit;                ///< garbage-collected heap, megabytes
  bool extraFlag;                      ///< carried to the player runtime
  const char* base;                    ///< base location
  const char* zorBase;                 ///< ZOR base directory
  const char* zorCmdLine;              ///< arguments for the ZOR application
  StageWindowRectProvider* rectProvider;  ///< null: none
  bool keyMaster;                         ///< wants all keys
  bool debugMode;
  uint32_t graphicsMemThreshold;  ///< megabytes
  const char* proxy;              ///< dotted IPv4 address
  uint16_t proxyPort;
  const char* proxyUser;
  const char* proxyPassword;
  const char* fontDirs;       ///< comma-separated folders
  const char* extensionsDir;  ///< folder of extensions
  int32_t gl;                 ///< StageWindowGl
  bool dcts;                  ///< hand an existing render plane to the player again
  bool spdump;
  bool instrument;          ///< print the timing lines
  const char* mouseStream;  ///< address:port of the pointer stream
  int32_t mouseFeedback;    ///< seconds between screenshots of the pointer stream
  const char* locale;       ///< not touched by InitParameters
};

}  // namespace plexion
}  // namespace qx

#endif  // QX_PLEXION_STAGEWINDOWPARAMETERS_H_
