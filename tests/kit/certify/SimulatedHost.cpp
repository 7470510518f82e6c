// The simulated device as a host: its kernel, and all its modules by name.

#include <memory>

#include "kit/certify/PlexionHost.h"
#include "qx/core/IQXKernel.h"
#include "sim/device/SimDevice.h"

namespace {

std::unique_ptr<plexion_sim::SimDevice> device;

}  // namespace

extern "C" {

QX_EXPORT IQXKernel* PlexionHost_CreateKernel(int argc, const char** argv) {
  plexion_sim::SimOptions options;
  options.commandLine.assign(argv, argv + argc);
  options.decisionLimit = 500000000;  // load is tried as well
  options.timeLimit = int64_t{10} * 24 * 3600 * 1000 * plexion_sim::kMillisecond;
  options.journal = false;
  options.lockOrder = false;  // cases lock as no module does
  device = std::make_unique<plexion_sim::SimDevice>(options);
  device->player.usual.frames = 60;
  device->player.Content("/nowhere/missing-content")
      .FailAt(0, qx::plexion::kErrorInvalidURL, "there is no such file");
  return plexion_sim::SimDevice::ProcessKernel();
}

QX_EXPORT void PlexionHost_DestroyKernel(IQXKernel*) { device.reset(); }

QX_EXPORT void PlexionHost_Run(IQXKernel*, void (*body)(void*), void* context) {
  device->Run([body, context] { body(context); });
}

QX_EXPORT void PlexionHost_Type(const char* line) { device->shell.Type(line); }
}
