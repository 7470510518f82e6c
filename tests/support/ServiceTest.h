// The fixture of suites that look into the service.

#ifndef TESTS_SUPPORT_SERVICETEST_H_
#define TESTS_SUPPORT_SERVICETEST_H_

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "qx/plexion/IPlexionImpl.h"
#include "sim/device/SimDevice.h"

extern "C" {
IQXModule* IQXModule_IPlexion_ModuleLoad();
void IQXModule_IPlexion_ModuleUnload(IQXModule* module);
}

namespace qx {
namespace plexion {

/// A service on a simulated device, seen from inside. At the end the device must have got back
/// everything and have nothing to complain of.
class ServiceTest : public ::testing::Test {
 protected:
  ServiceTest() { Restart({}); }
  ~ServiceTest() override { End(); }

  /// A new device whose host was started with these words, and a new service on it. `prepare`
  /// scripts the device before the service is made.
  void Restart(const std::vector<std::string>& hostWords,
               const std::function<void(plexion_sim::SimDevice&)>& prepare = nullptr,
               const std::string& program = "/opt/plexion/plexion") {
    End();
    plexion_sim::SimOptions options;
    options.seed = seed;
    options.commandLine = {program};
    options.commandLine.insert(options.commandLine.end(), hostWords.begin(), hostWords.end());
    device = std::make_unique<plexion_sim::SimDevice>(options);
    if (prepare) prepare(*device);
    service = static_cast<IPlexionImpl*>(IQXModule_IPlexion_ModuleLoad());
  }

  void End() {
    if (device == nullptr) return;
    Unload();
    EXPECT_EQ(device->Finish(), "");
    device.reset();
  }

  void Unload() {
    if (service != nullptr) IQXModule_IPlexion_ModuleUnload(service);
    service = nullptr;
  }

  /// How often `line` was printed.
  long Printed(const std::string& line) const {
    long times = 0;
    for (const std::string& printed : device->kernel.PrintedLines()) times += printed == line;
    return times;
  }

  std::unique_ptr<plexion_sim::SimDevice> device;
  IPlexionImpl* service = nullptr;
  uint64_t seed = 1;  ///< of the next device
};

}  // namespace plexion
}  // namespace qx

#endif  // TESTS_SUPPORT_SERVICETEST_H_
