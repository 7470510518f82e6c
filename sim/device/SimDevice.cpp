// The device, and the kernel of the process that forwards to it.

#include "sim/device/SimDevice.h"

#include <cstdio>
#include <cstdlib>

#include "kit/KernelWrapper.h"

namespace plexion_sim {

namespace {

thread_local SimDevice* currentDevice = nullptr;

SimKernel& Here() {
  if (currentDevice == nullptr) {
    std::fprintf(stderr,
                 "plexion_sim: a module called its kernel while no SimDevice lives on this "
                 "thread\n");
    std::abort();
  }
  return currentDevice->kernel;
}

/// Hands every call on to the device of the moment.
class ForwardingKernel final : public plexion_kit::KernelWrapper {
 public:
  void FormatString(char* buffer, unsigned long size, const char* format, ...) override
      __attribute__((format(printf, 4, 5))) {
    va_list arguments;
    va_start(arguments, format);
    Here().FormatStringV(buffer, size, format, arguments);
    va_end(arguments);
  }
  void Printf(const char* format, ...) override __attribute__((format(printf, 2, 3))) {
    va_list arguments;
    va_start(arguments, format);
    Here().PrintfV(format, arguments);
    va_end(arguments);
  }

 private:
  IQXKernel& Base() override { return Here(); }
};

}  // namespace

IQXKernel* SimDevice::ProcessKernel() {
  // Never destroyed: the module keeps the first kernel that it is given for the life of the process, and tests
  // make one device after the other.
  static ForwardingKernel* const kernel = new ForwardingKernel();
  return kernel;
}

SimDevice* SimDevice::Current() { return currentDevice; }

SimDevice::SimDevice(const SimOptions& options)
    : kernel(options),
      player(kernel, "IMorvelRuntimeLib"),
      glPlayer(kernel, "IMorvelRuntimeGLLib"),
      graphics(kernel),
      files(kernel),
      shell(kernel),
      system(kernel),
      locale(kernel),
      mouse(kernel),
      input(kernel) {
  if (currentDevice != nullptr) {
    std::fprintf(stderr, "plexion_sim: a second SimDevice on one thread; finish the first\n");
    std::abort();
  }
  currentDevice = this;
  // Before the modules: their objects take memory from the kernel when they are made known.
  IQXModule_QXModule_PutKernel(ProcessKernel());
  kernel.RegisterModule(player.GetName(), &player);
  kernel.RegisterModule(glPlayer.GetName(), &glPlayer);
  kernel.RegisterModule(graphics.GetName(), &graphics);
  kernel.RegisterModule(files.GetName(), &files);
  kernel.RegisterModule(shell.GetName(), &shell);
  kernel.RegisterModule(system.GetName(), &system);
  kernel.RegisterModule(locale.GetName(), &locale);
  kernel.RegisterModule(mouse.GetName(), &mouse);
  kernel.RegisterModule(input.GetName(), &input);
}

SimDevice::~SimDevice() {
  Finish();
  // Instances give back the texts that they keep, so the device is still the current one here.
  player.Clear();
  glPlayer.Clear();
  currentDevice = nullptr;
}

std::string SimDevice::Finish() {
  // After a deadlock or a crash fibers stand still in the middle of their work: what they hold is no leak of
  // the module's, and only the first finding says something.
  if (!finished_ && !kernel.HasFailed()) {
    player.Clear();
    glPlayer.Clear();
    // Walls first: a block that was written over may be the reason why another one looks lost.
    kernel.CheckMemory();
    for (const std::string& leak : kernel.Leaks()) kernel.Report(FindingKind::kLeak, leak);
    for (const SimRenderPlane* plane : graphics.RenderPlanes()) {
      kernel.Report(FindingKind::kLeak, "render plane " + plane->surface.name);
    }
    for (const SimOutputPlane* plane : graphics.OutputPlanes()) {
      kernel.Report(FindingKind::kLeak, "output plane " + plane->surface.name);
    }
    if (files.LiveObjects() > 0) {
      kernel.Report(FindingKind::kLeak,
                    std::to_string(files.LiveObjects()) + " file objects of IFileSystem");
    }
  }
  finished_ = true;
  return kernel.GetFindings().ToText();
}

}  // namespace plexion_sim
