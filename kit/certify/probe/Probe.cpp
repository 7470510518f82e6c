// The modules CertifyProbe and CertifyProbeInner: they do nothing but note how they are loaded.

#include "kit/certify/probe/Probe.h"

#include <cstdio>
#include <cstdlib>

#include "qx/core/IQXKernel.h"
#include "qx/core/IQXModule.h"

namespace {

using plexion_certify::ProbeLog;

class ProbeModule final : public IQXModule {};

/// Null when somebody else than plexion-certify loads the module.
ProbeLog* Log() {
  const char* const address = getenv(plexion_certify::kProbeVariable);
  void* log = nullptr;
  if (address == nullptr || sscanf(address, "%p", &log) != 1) return nullptr;
  return static_cast<ProbeLog*>(log);
}

}  // namespace

extern "C" {

#ifdef CERTIFY_PROBE_INNER

QX_EXPORT IQXModule* IQXModule_CertifyProbeInner_ModuleLoad() {
  if (ProbeLog* const log = Log()) ++log->innerLoads;
  return new ProbeModule;
}

QX_EXPORT void IQXModule_CertifyProbeInner_ModuleUnload(IQXModule* module) {
  if (ProbeLog* const log = Log()) ++log->innerUnloads;
  delete module;
}

#else

QX_EXPORT IQXModule* IQXModule_CertifyProbe_ModuleLoad() {
  auto* const module = new ProbeModule;
  if (ProbeLog* const log = Log()) {
    ++log->loads;
    const int there = ++log->there;
    if (there > log->most) log->most = there;
    log->kernelAtLoad = IQXKernel::GetKernel();
    log->object = module;
    if (log->acquiresInner && log->kernelAtLoad != nullptr) {
      log->inner = log->kernelAtLoad->AcquireModule("CertifyProbeInner");
    }
  }
  return module;
}

QX_EXPORT void IQXModule_CertifyProbe_ModuleUnload(IQXModule* module) {
  if (ProbeLog* const log = Log()) {
    ++log->unloads;
    --log->there;
    log->unloaded = module;
    if (log->inner != nullptr) log->kernelAtLoad->ReleaseModule(log->inner);
  }
  delete module;
}

#endif
}
