#ifndef TESTS_SUPPORT_SERVICETEST_H_
#define TESTS_SUPPORT_SERVICETEST_H_

#include <memory>

#include "sim/device/SimHost.h"
#include "tests/support/StoryTest.h"

extern "C" {
IQXModule* IQXModule_IPlexion_ModuleLoad();
void IQXModule_IPlexion_ModuleUnload(IQXModule* module);
}

namespace plexion_sim {

/// A story with the service loaded before it and unloaded after it; links plexion_static.
class ServiceTest : public StoryTest {
 public:
  void Begin() override {
    host = std::make_unique<SimHost>(
        *device, ServiceEntries{IQXModule_IPlexion_ModuleLoad, IQXModule_IPlexion_ModuleUnload});
    host->LoadService();
  }
  void End() override { host->UnloadService(); }
  void Drop() override { host.reset(); }

  std::unique_ptr<SimHost> host;
};

}  // namespace plexion_sim

#endif  // TESTS_SUPPORT_SERVICETEST_H_
