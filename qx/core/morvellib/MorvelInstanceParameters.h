#ifndef QX_CORE_MORVELLIB_MORVELINSTANCEPARAMETERS_H_
#define QX_CORE_MORVELLIB_MORVELINSTANCEPARAMETERS_H_

#include "qx/core/QXString.h"

namespace qx {
namespace plexion {
struct StageWindowParameters;
}  // namespace plexion

namespace core {
namespace morvellib {

class MorvelInstanceNotifier;

/// What configures a player instance. The window makes an empty one, lets the runtime fill it
/// (IMorvelRuntimeLib::FillInstanceParameters), adds `notifier` and `moduleName` and hands it to
/// MorvelInstance::Configure; it is gone when Configure of the window returns.
///
/// Texts are empty when the option was not given.
struct MorvelInstanceParameters {
  MorvelInstanceNotifier* notifier = nullptr;  ///< the window; not owned
  QXString moduleName;                         ///< name under which the runtime was acquired
  QXString contentUrl;
  QXString base;
  QXString zorBase;
  QXString zorCmdLine;
  QXString keymap;
  QXString morvelVars;
  QXString qlrArgs;
  QXString sslClientCertTable;
  QXString sslCertsDir;
  QXString fontDirs;
  QXString extensionsDir;
  QXString proxy;
  QXString proxyUser;
  QXString proxyPassword;
  QXString locale;
  unsigned proxyPort = 0;
  unsigned contentWidth = 0;  ///< stage size asked for; 0: as authored
  unsigned contentHeight = 0;
  unsigned bgAlpha = 0;
  int profile = 0;          ///< StageWindowProfile
  int gl = 0;               ///< StageWindowGl
  unsigned traceFlags = 0;  ///< kTrace... bits
  unsigned traceFpsMs = 0;  ///< sample period of frame-rate tracing
  unsigned gcHeapLimitMegabytes = 0;
  unsigned graphicsMemThresholdMegabytes = 0;
  unsigned extraWord = 0;
  bool extraFlag = false;
  bool noSpeedLimit = false;
  bool debugMode = false;
  bool dcts = false;
  bool spdump = false;
  bool instrument = false;
};

}  // namespace morvellib
}  // namespace core
}  // namespace qx

#endif  // QX_CORE_MORVELLIB_MORVELINSTANCEPARAMETERS_H_
