// Makes instances, and answers for the library as a whole.

#include "host/player/instance/PlayerRuntime.h"

#include <stdio.h>
#include <stdlib.h>

#include <functional>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <type_traits>

#include "host/contracts/Isolation.h"
#include "host/player/SettingsFields.h"
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
  EachSetting([&](const char*, const auto& ofWindow, auto ofInstance, auto...) {
    auto& value = instanceParameters.*ofInstance;
    if constexpr (std::is_same_v<std::remove_reference_t<decltype(value)>, QXString>) {
      value.Assign(std::invoke(ofWindow, parameters));
    } else {
      value = std::invoke(ofWindow, parameters);
    }
  });
}

qx::core::morvellib::MorvelInstance* PlayerRuntime::CreateMorvelInstance(
    qx::plexion::StageWindow* window) {
  // The module is compiled without exceptions: null is how it hears that there is no memory.
  auto* const instance = new (std::nothrow) PlayerInstance(window, *engines_, SteadyPlayerClock());
  PlayerBoard::Get().Add(window, instance);
  return instance;
}

void PlayerRuntime::DestroyMorvelInstance(qx::core::morvellib::MorvelInstance* instance) {
  auto* const own = static_cast<PlayerInstance*>(instance);
  // First off the board: a command that has found it finishes, no other one does.
  PlayerBoard::Get().Remove(own);
  delete own;
}

}  // namespace plexion_host::player
