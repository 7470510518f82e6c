// Loads the host under test, in the process of a case.

#include "kit/certify/Bench.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include "host/base/Check.h"
#include "kit/certify/Case.h"
#include "kit/certify/PlexionHost.h"

namespace plexion_certify {
namespace {

template <typename Function>
Function Find(void* library, const char* symbol) {
  return reinterpret_cast<Function>(dlsym(library, symbol));
}

}  // namespace

Bench::Bench(const Options& options) : options_(options) {
  arguments_.push_back("plexion-certify");
  for (const std::string& word : options.hostArguments) arguments_.push_back(word.c_str());
  arguments_.push_back(nullptr);
}

Bench::~Bench() = default;

bool Bench::Load(std::string& error) {
  // Before any library is loaded: a shell may look at its input as soon as it is there.
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) == 0) {
    dup2(ends[0], 0);
    close(ends[0]);
    inputFd_ = ends[1];
  }
  const int argc = static_cast<int>(arguments_.size()) - 1;
  auto create = &PlexionHost_CreateKernel;  // the kit's own
  void* library = nullptr;
  if (!options_.kernelFile.empty()) {
    library = dlopen(options_.kernelFile.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
      error = dlerror();
      return false;
    }
    create = Find<decltype(create)>(library, "PlexionHost_CreateKernel");
    if (create == nullptr) {
      error = options_.kernelFile + " exports no PlexionHost_CreateKernel";
      return false;
    }
    destroy_ = Find<decltype(destroy_)>(library, "PlexionHost_DestroyKernel");
    run_ = Find<decltype(run_)>(library, "PlexionHost_Run");
    type_ = Find<decltype(type_)>(library, "PlexionHost_Type");
  }
  threadsBefore_ = ThreadCount();
  descriptorsBefore_ = DescriptorCount();
  kernel_ = create(argc, arguments_.data());
  if (kernel_ == nullptr) {
    error = "PlexionHost_CreateKernel answered null";
    return false;
  }
  // The library's own strings take their memory from its kernel.
  if (library != nullptr) {
    const auto putKernel = Find<void (*)(IQXKernel*)>(library, "IQXModule_QXModule_PutKernel");
    if (putKernel != nullptr) putKernel(kernel_);
  }
  ledger_ = std::make_unique<LedgerKernel>(*kernel_);
  for (const auto& [name, file] : options_.modules) {
    if (!file.empty()) ledger_->ProvideFile(name, file);
  }
  // Strings and arrays that cases hand over take their memory from here.
  IQXModule_QXModule_PutKernel(ledger_.get());
  return true;
}

void Bench::Run(std::function<void()> body) {
  PLEXION_CHECK(kernel_ != nullptr, "a host that was loaded");
  const auto call = [](void* context) { (*static_cast<std::function<void()>*>(context))(); };
  if (run_ != nullptr) {
    run_(kernel_, call, &body);
  } else {
    call(&body);
  }
}

void Bench::DestroyKernel() {
  PLEXION_CHECK(kernel_ != nullptr && destroy_ != nullptr, "a kernel that can be destroyed");
  destroy_(kernel_);
  kernel_ = nullptr;
}

bool Bench::Type(const std::string& line) {
  if (type_ != nullptr) {
    type_(line.c_str());
    return true;
  }
  const std::string typed = line + "\n";
  return options_.shellReadsInput && inputFd_ >= 0 &&
         write(inputFd_, typed.data(), typed.size()) == static_cast<ssize_t>(typed.size());
}

}  // namespace plexion_certify
