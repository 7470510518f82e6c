// Makes instances, and answers for the library as a whole.

#include "host/player/instance/PlayerRuntime.h"

#include <stdio.h>
#include <stdlib.h>

#include <memory>
#include <new>
#include <string>
#include <string_view>

#include "host/contracts/Isolation.h"
#include "host/player/instance/PlayerBoard.h"
#include "host/player/instance/PlayerClock.h"
#include "host/player/instance/PlayerInstance.h"
#include "host/player/remote/RemoteEngines.h"
#include "qx/core/QXString.h"
#include "qx/core/morvellib/MorvelInstanceParameters.h"
#include "qx/platform/IGraphicsDriver.h"
#include "qx/plexion/StageWindowParameters.h"

namespace plexion_host::player {

namespace {

/// The program that plays one content stands beside this library.
std::string ContentProgram() {
  QXString folder;
  IQXKernel::GetKernel()->GetBinDirectory(folder, "IMorvelRuntimeLib");
  return std::string(folder.Utf8()) + "/" + remote::kProgramName;
}

std::unique_ptr<EngineSource> MakeEngines() {
  const char* const isolation = getenv(kIsolationVariable);
  if (isolation == nullptr || std::string_view(isolation) != "on") {
    return std::make_unique<InstalledEngines>();
  }
  return std::make_unique<remote::RemoteEngines>(ContentProgram());
}

}  // namespace

PlayerRuntime::PlayerRuntime() : engines_(MakeEngines()) {
  PlayerBoard::Get().SetEngines(engines_.get());
}

PlayerRuntime::~PlayerRuntime() { PlayerBoard::Get().SetEngines(nullptr); }

void PlayerRuntime::GetVersion(char* buffer, unsigned long size) {
  snprintf(buffer, size, "Plexion player %s", PLEXION_VERSION);
}

uint32_t PlayerRuntime::GetDefaultPixelFormat() { return qx::platform::kPixelFormat32; }

void PlayerRuntime::FillInstanceParameters(
    qx::core::morvellib::MorvelInstanceParameters& instanceParameters,
    const qx::plexion::StageWindowParameters& parameters) {
  instanceParameters.contentUrl.Assign(parameters.contentPath);
  instanceParameters.base.Assign(parameters.base);
  instanceParameters.zorBase.Assign(parameters.zorBase);
  instanceParameters.zorCmdLine.Assign(parameters.zorCmdLine);
  instanceParameters.keymap.Assign(parameters.keymap);
  instanceParameters.morvelVars.Assign(parameters.morvelVars);
  instanceParameters.qlrArgs.Assign(parameters.qlrArgs);
  instanceParameters.sslClientCertTable.Assign(parameters.sslClientCertTable);
  instanceParameters.sslCertsDir.Assign(parameters.sslCertsDir);
  instanceParameters.fontDirs.Assign(parameters.fontDirs);
  instanceParameters.extensionsDir.Assign(parameters.extensionsDir);
  instanceParameters.proxy.Assign(parameters.proxy);
  instanceParameters.proxyUser.Assign(parameters.proxyUser);
  instanceParameters.proxyPassword.Assign(parameters.proxyPassword);
  instanceParameters.locale.Assign(parameters.locale);
  instanceParameters.proxyPort = parameters.proxyPort;
  instanceParameters.contentWidth = parameters.contentDims.width;
  instanceParameters.contentHeight = parameters.contentDims.height;
  instanceParameters.bgAlpha = parameters.bgAlpha;
  instanceParameters.profile = parameters.profile;
  instanceParameters.gl = parameters.gl;
  instanceParameters.traceFlags = parameters.traceFlags;
  instanceParameters.traceFpsMs = parameters.traceFps;
  instanceParameters.gcHeapLimitMegabytes = parameters.gcHeapLimit;
  instanceParameters.graphicsMemThresholdMegabytes = parameters.graphicsMemThreshold;
  instanceParameters.extraWord = parameters.extraWord;
  instanceParameters.extraFlag = parameters.extraFlag;
  instanceParameters.noSpeedLimit = parameters.noSpeedLimit;
  instanceParameters.debugMode = parameters.debugMode;
  instanceParameters.dcts = parameters.dcts;
  instanceParameters.spdump = parameters.spdump;
  instanceParameters.instrument = parameters.instrument;
}

qx::core::morvellib::MorvelInstance* PlayerRuntime::CreateMorvelInstance(
    qx::plexion::StageWindow* window) {
  auto* const instance = new (std::nothrow) PlayerInstance(window, *engines_, SteadyPlayerClock());
  PlayerBoard::Get().Add(window, instance);
  return instance;
}

void PlayerRuntime::DestroyMorvelInstance(qx::core::morvellib::MorvelInstance* instance) {
  auto* const own = static_cast<PlayerInstance*>(instance);
  PlayerBoard::Get().Remove(own);
  delete own;
}

}  // namespace plexion_host::player
