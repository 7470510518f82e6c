// The defaults of a window's parameters.

#include "qx/plexion/IPlexionImpl.h"

namespace qx {
namespace plexion {

int IPlexionImpl::InitParameters(StageWindowParameters& parameters) {
  parameters.contentPath = nullptr;
  parameters.keymap = nullptr;
  parameters.renderPlane = nullptr;
  parameters.outputPlane = nullptr;
  parameters.contentDims = {0, 0};
  parameters.outputDims = {0, 0};
  parameters.outputRect = {0, 0, 0, 0};
  parameters.pixelFormat = 0;
  parameters.extraWord = 0;
  parameters.createOutputPlane = true;
  parameters.scaleToFit = true;
  parameters.outputPlaneName = nullptr;
  parameters.notifier = nullptr;
  parameters.bgAlpha = 255;
  parameters.profile = kProfileTv;
  parameters.morvelVars = nullptr;
  parameters.qlrArgs = nullptr;
  parameters.sslClientCertTable = nullptr;
  parameters.sslCertsDir = nullptr;
  parameters.morvelModuleName = "IMorvelRuntimeLib";
  parameters.hasRectProvider = false;
  parameters.noSpeedLimit = false;
  parameters.traceFlags = 0;
  parameters.traceFps = 5000;
  parameters.memoryLimit = 0;
  parameters.gcHeapLimit = 64;
  parameters.extraFlag = true;
  parameters.base = nullptr;
  parameters.zorBase = nullptr;
  parameters.zorCmdLine = nullptr;
  parameters.rectProvider = nullptr;
  parameters.keyMaster = false;
  parameters.debugMode = false;
  parameters.graphicsMemThreshold = 30;
  parameters.proxy = nullptr;
  parameters.proxyPort = 80;
  parameters.proxyUser = nullptr;
  parameters.proxyPassword = nullptr;
  parameters.fontDirs = nullptr;
  parameters.extensionsDir = "/mtd_cmmlib/morvelzor30/EDK";
  parameters.gl = kGlDefault;
  parameters.dcts = false;
  parameters.spdump = false;
  parameters.instrument = false;
  parameters.mouseStream = nullptr;
  parameters.mouseFeedback = 2;
  // Not the locale: it holds for the windows that follow on the same command line.
  return 0;
}

}  // namespace plexion
}  // namespace qx
