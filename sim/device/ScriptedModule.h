// What all scripted platform modules share.

#ifndef SIM_DEVICE_SCRIPTEDMODULE_H_
#define SIM_DEVICE_SCRIPTEDMODULE_H_

#include <string>

#include "sim/kernel/SimKernel.h"

namespace plexion_sim {

/// What all scripted platform modules share: a name, the kernel they live in, and a check that
/// whoever calls holds the module.
class ScriptedModule {
 public:
  ScriptedModule(SimKernel& kernel, std::string name) : kernel_(kernel), name_(std::move(name)) {}
  const std::string& GetName() const { return name_; }

 protected:
  ~ScriptedModule() {}

  /// Opens every operation: a decision point, then the check.
  void Enter(const char* call) {
    kernel_.Point(call);
    if (kernel_.ModuleReferences(name_) == 0) {
      kernel_.Report(FindingKind::kUseAfterDestroy,
                     name_ + "::" + call + " is called, but nobody holds the module");
    }
  }

  SimKernel& kernel_;
  std::string name_;
};

std::string ToText(bool value);

}  // namespace plexion_sim

#endif  // SIM_DEVICE_SCRIPTEDMODULE_H_
