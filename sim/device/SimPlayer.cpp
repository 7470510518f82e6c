// The scripted player runtime.

#include "sim/device/SimPlayer.h"

#include <cstdio>

#include "qx/core/Check.h"
#include "qx/plexion/StageWindow.h"
#include "qx/plexion/StageWindowParameters.h"

namespace plexion_sim {

using qx::core::morvellib::MorvelInstance;
using qx::core::morvellib::MorvelInstanceParameters;
using qx::plexion::StageWindow;
using qx::plexion::StageWindowParameters;

PlayerScript& SimPlayer::Content(const std::string& path) {
  QX_CHECK(!path.empty(), "content has a path");
  return content_.emplace(path, usual).first->second;
}

SimInstance* SimPlayer::InstanceOf(const StageWindow* window) const {
  for (const auto& instance : instances_) {
    if (instance->window_ == window && !instance->destroyed_) return instance.get();
  }
  return nullptr;
}

void SimPlayer::Clear() {
  for (const auto& instance : instances_) {
    if (!instance->destroyed_) {
      kernel_.Report(FindingKind::kLeak, "player instance " + instance->name_);
    }
  }
  instances_.clear();
}

void SimPlayer::GetVersion(char* buffer, unsigned long size) {
  Enter("GetVersion");
  kernel_.Note("GetVersion", "");
  if (size > 0) std::snprintf(buffer, size, "%s", version.c_str());
}

uint32_t SimPlayer::GetDefaultPixelFormat() {
  Enter("GetDefaultPixelFormat");
  return defaultPixelFormat;
}

void SimPlayer::FillInstanceParameters(MorvelInstanceParameters& to,
                                       const StageWindowParameters& from) {
  Enter("FillInstanceParameters");
  kernel_.Note("FillInstanceParameters", from.contentPath == nullptr ? "null" : from.contentPath);
  to.contentUrl.Assign(from.contentPath);
  to.base.Assign(from.base);
  to.zorBase.Assign(from.zorBase);
  to.zorCmdLine.Assign(from.zorCmdLine);
  to.keymap.Assign(from.keymap);
  to.morvelVars.Assign(from.morvelVars);
  to.qlrArgs.Assign(from.qlrArgs);
  to.sslClientCertTable.Assign(from.sslClientCertTable);
  to.sslCertsDir.Assign(from.sslCertsDir);
  to.fontDirs.Assign(from.fontDirs);
  to.extensionsDir.Assign(from.extensionsDir);
  to.proxy.Assign(from.proxy);
  to.proxyUser.Assign(from.proxyUser);
  to.proxyPassword.Assign(from.proxyPassword);
  to.locale.Assign(from.locale);
  to.proxyPort = from.proxyPort;
  to.contentWidth = from.contentDims.width;
  to.contentHeight = from.contentDims.height;
  to.bgAlpha = from.bgAlpha;
  to.profile = from.profile;
  to.gl = from.gl;
  to.traceFlags = from.traceFlags;
  to.traceFpsMs = from.traceFps;
  to.gcHeapLimitMegabytes = from.gcHeapLimit;
  to.graphicsMemThresholdMegabytes = from.graphicsMemThreshold;
  to.extraWord = from.extraWord;
  to.extraFlag = from.extraFlag;
  to.noSpeedLimit = from.noSpeedLimit;
  to.debugMode = from.debugMode;
  to.dcts = from.dcts;
  to.spdump = from.spdump;
  to.instrument = from.instrument;
}

MorvelInstance* SimPlayer::CreateMorvelInstance(StageWindow* window) {
  Enter("CreateMorvelInstance");
  if (kernel_.GetFaults().Fails(Fallible::kCreateMorvelInstance)) {
    kernel_.Note("CreateMorvelInstance", "-> null");
    return nullptr;
  }
  const std::string instanceName = "player" + std::to_string(instances_.size() + 1);
  kernel_.Note("CreateMorvelInstance", "-> " + instanceName);
  instances_.push_back(std::make_unique<SimInstance>(*this, instanceName, window));
  return instances_.back().get();
}

void SimPlayer::DestroyMorvelInstance(MorvelInstance* destroyed) {
  Enter("DestroyMorvelInstance");
  auto* instance = static_cast<SimInstance*>(destroyed);
  if (!instance->Use("DestroyMorvelInstance")) return;
  if (instance->thread_ != nullptr) {
    // It would wait for its own end.
    if (instance->thread_ == kernel_.CurrentTask()) {
      kernel_.Report(FindingKind::kContract,
                     "DestroyMorvelInstance of " + instance->name_ + " on its own thread");
      return;
    }
    if (kernel_.HeldByCurrent() > 0) {
      kernel_.Report(FindingKind::kContract, "DestroyMorvelInstance of " + instance->name_ +
                                                 " by " + kernel_.CurrentTask()->name +
                                                 ", which holds a lock");
    }
    instance->stop_ = true;
    SimTask* thread = instance->thread_;
    kernel_.WaitUntil(
        "DestroyMorvelInstance", [thread] { return thread->ended; }, IQXKernel::kInfinite);
    Acquired(thread);
  }
  instance->Ordered(instance->underStateLock_);
  instance->destroyed_ = true;
  instance->parameters_.reset();
  instance->settings_.reset();
}

}  // namespace plexion_sim
