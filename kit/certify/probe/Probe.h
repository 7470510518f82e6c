// What the probe module writes down of how a kernel handles it.

#ifndef KIT_CERTIFY_PROBE_PROBE_H_
#define KIT_CERTIFY_PROBE_PROBE_H_

#include <atomic>

class IQXKernel;
class IQXModule;

namespace plexion_certify {

/// Name of the environment variable that holds the log's address.
constexpr char kProbeVariable[] = "PLEXION_CERTIFY_PROBE";

/// Shared by plexion-certify and its probe modules, in one process.
struct ProbeLog {
  std::atomic<int> loads{0}, unloads{0}, innerLoads{0}, innerUnloads{0};
  std::atomic<int> there{0}, most{0};  ///< loaded at a time
  IQXKernel* kernelAtLoad = nullptr;
  IQXModule* object = nullptr;
  IQXModule* unloaded = nullptr;
  IQXModule* inner = nullptr;
  bool acquiresInner = false;  ///< the outer one acquires CertifyProbeInner while it loads
};

}  // namespace plexion_certify

#endif  // KIT_CERTIFY_PROBE_PROBE_H_
