// A module that is held: acquired by name, released when the handle goes.

#ifndef HOST_BASE_MODULEHANDLE_H_
#define HOST_BASE_MODULEHANDLE_H_

#include <utility>

#include "host/base/Check.h"
#include "qx/core/IQXKernel.h"
#include "qx/core/IQXModule.h"

namespace plexion_host {

/// Holds one module, or none. `Interface` is what the module of that name is.
///
/// Thread   one at a time; the module itself may be used from any.
template <typename Interface>
class ModuleHandle {
 public:
  ModuleHandle() = default;
  /// Asks the process's kernel; a missing module leaves the handle empty, and the kernel has said so.
  explicit ModuleHandle(const char* name)
      : ModuleHandle(*IQXKernel::GetKernel(), IQXKernel::GetKernel()->AcquireModule(name)) {}
  /// Takes over a module that was acquired from `kernel`; null makes an empty handle.
  ModuleHandle(IQXKernel& kernel, IQXModule* acquired)
      : kernel_(&kernel), module_(static_cast<Interface*>(acquired)) {}
  ~ModuleHandle() { Reset(); }
  ModuleHandle(ModuleHandle&& other) noexcept
      : kernel_(other.kernel_), module_(std::exchange(other.module_, nullptr)) {}
  ModuleHandle& operator=(ModuleHandle&& other) noexcept {
    if (this != &other) {
      Reset();
      kernel_ = other.kernel_;
      module_ = std::exchange(other.module_, nullptr);
    }
    return *this;
  }

  /// Releases the module now, which may unload its library.
  void Reset() {
    if (module_ != nullptr) kernel_->ReleaseModule(std::exchange(module_, nullptr));
  }

  Interface* Get() const { return module_; }
  Interface* operator->() const {
    PLEXION_CHECK(module_ != nullptr, "a handle is used while it holds a module");
    return module_;
  }
  explicit operator bool() const { return module_ != nullptr; }

 private:
  IQXKernel* kernel_ = nullptr;
  Interface* module_ = nullptr;
};

}  // namespace plexion_host

#endif  // HOST_BASE_MODULEHANDLE_H_
