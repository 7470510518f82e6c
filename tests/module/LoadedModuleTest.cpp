// The library that hosts load, as it is delivered: how it comes and goes. What it shows and takes is
// the contract's (tools/contract).

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <fstream>
#include <string>

#include "kit/FindModuleContract.h"
#include "qx/core/IQXModule.h"
#include "qx/plexion/IPlexion.h"
#include "qx/plexion/StageWindowParameters.h"
#include "tests/core/RecordingKernel.h"

namespace {

using tests::RecordingKernel;

/// A copy of the library with state of its own: the loader takes it for another one.
class LoadedModule {
 public:
  LoadedModule() {
    char name[] = "/tmp/plexion-module-XXXXXX";
    const int file = mkstemp(name);
    if (file >= 0) close(file);
    path_ = name;
    std::ofstream(path_, std::ios::binary)
        << std::ifstream(PLEXION_MODULE_FILE, std::ios::binary).rdbuf();
    handle_ = dlopen(name, RTLD_NOW | RTLD_LOCAL);
    if (handle_ == nullptr) {
      ADD_FAILURE() << dlerror();
      return;
    }
    Find(putKernel, "IQXModule_QXModule_PutKernel");
    Find(load, "IQXModule_IPlexion_ModuleLoad");
    Find(unload, "IQXModule_IPlexion_ModuleUnload");
    Find(getKernel, "_ZN9IQXKernel9GetKernelEv");
  }
  ~LoadedModule() {
    Close();
    unlink(path_.c_str());
  }
  LoadedModule(const LoadedModule&) = delete;
  LoadedModule& operator=(const LoadedModule&) = delete;

  void Close() {
    if (handle_ == nullptr) return;
    EXPECT_EQ(dlclose(handle_), 0);
    handle_ = nullptr;
  }

  void (*putKernel)(IQXKernel*) = nullptr;
  IQXModule* (*load)() = nullptr;
  void (*unload)(IQXModule*) = nullptr;
  IQXKernel* (*getKernel)() = nullptr;

 private:
  template <typename Function>
  void Find(Function*& function, const char* name) {
    function = reinterpret_cast<Function*>(dlsym(handle_, name));
    ASSERT_NE(function, nullptr) << name;
  }

  std::string path_;
  void* handle_ = nullptr;
};

TEST(LoadedModule, SaysTheVersionOfItsContractBeforeAnythingIsCalled) {
  const LoadedModule module;
  plexion_kit::ModuleContract contract{77, 77};
  EXPECT_FALSE(plexion_kit::FindModuleContract(&contract, contract)) << "no library lies there";
  EXPECT_FALSE(plexion_kit::FindModuleContract(dlsym(RTLD_DEFAULT, "memcpy"), contract));
  EXPECT_EQ(contract.major, 77u) << "a library without a note says nothing";
  const void* const entry = reinterpret_cast<const void*>(module.load);
  ASSERT_TRUE(plexion_kit::FindModuleContract(entry, contract));
  EXPECT_EQ(contract.major, static_cast<uint32_t>(QX_CONTRACT_MAJOR));
  EXPECT_EQ(contract.minor, static_cast<uint32_t>(QX_CONTRACT_MINOR));

  using plexion_kit::ModuleContract;
  EXPECT_TRUE((ModuleContract{QX_CONTRACT_MAJOR, QX_CONTRACT_MINOR + 1}.SuitsTheseHeaders()));
  EXPECT_FALSE((ModuleContract{QX_CONTRACT_MAJOR + 1, QX_CONTRACT_MINOR}.SuitsTheseHeaders()));
}

TEST(LoadedModule, KeepsTheFirstKernelForLife) {
  LoadedModule module;
  RecordingKernel first;
  RecordingKernel second;
  EXPECT_EQ(module.getKernel(), nullptr);
  module.putKernel(nullptr);
  EXPECT_EQ(module.getKernel(), nullptr);
  module.putKernel(&first);
  EXPECT_EQ(module.getKernel(), &first);
  module.putKernel(&second);
  EXPECT_EQ(module.getKernel(), &first);
  module.unload(module.load());
  EXPECT_EQ(module.getKernel(), &first) << "unloading ends with a call with null";
}

TEST(LoadedModule, GivesEverythingBackWhenItIsUnloaded) {
  RecordingKernel kernel;
  LoadedModule module;
  module.putKernel(&kernel);
  EXPECT_EQ(kernel.allocations, 0u) << "nothing happens before the load";
  IQXModule* service = module.load();
  ASSERT_NE(service, nullptr);
  EXPECT_FALSE(kernel.live.empty());
  EXPECT_GE(kernel.mutexes, 2u);
  module.unload(service);
  EXPECT_TRUE(kernel.live.empty());
  EXPECT_EQ(kernel.mutexes, 0u);
  EXPECT_EQ(kernel.threads, 0u);
  module.Close();
  EXPECT_TRUE(kernel.live.empty());
}

TEST(LoadedModule, FreesNothingForAnUnloadOfNull) {
  RecordingKernel kernel;
  LoadedModule module;
  module.putKernel(&kernel);
  module.unload(nullptr);
  EXPECT_EQ(kernel.frees, 0u);
  EXPECT_EQ(module.getKernel(), &kernel);
}

TEST(LoadedModule, AnswersNullWithoutMemoryForTheService) {
  RecordingKernel kernel;
  LoadedModule module;
  module.putKernel(&kernel);
  kernel.RefuseAllocationAfter(0);
  EXPECT_EQ(module.load(), nullptr);
  EXPECT_TRUE(kernel.live.empty());
}

TEST(LoadedModule, HandsOutAServiceThatWorks) {
  RecordingKernel kernel;
  LoadedModule module;
  module.putKernel(&kernel);
  auto* service = static_cast<qx::plexion::IPlexionSets*>(module.load());
  ASSERT_NE(service, nullptr);
  EXPECT_STREQ(service->StageWindowStatusToString(qx::plexion::kStatusPlaying), "kStatusPlaying");
  qx::plexion::StageWindowParameters parameters{};
  const char* arguments[] = {"host", "--outputrect", "1,2,30,40", "movie.mvx"};
  EXPECT_TRUE(service->ParseCommandLineParameters(4, arguments, parameters));
  EXPECT_STREQ(parameters.contentPath, "movie.mvx");
  EXPECT_EQ(parameters.outputRect.height, 40u);
  module.unload(service);
  EXPECT_TRUE(kernel.live.empty());
}

TEST(LoadedModule, HasStateOfItsOwnInEachCopy) {
  RecordingKernel kernelOfOne;
  RecordingKernel kernelOfTwo;
  LoadedModule one;
  LoadedModule two;
  one.putKernel(&kernelOfOne);
  two.putKernel(&kernelOfTwo);
  IQXModule* service = one.load();
  EXPECT_FALSE(kernelOfOne.live.empty());
  EXPECT_TRUE(kernelOfTwo.live.empty());
  one.unload(service);
}

TEST(LoadedModule, ComesAndGoesManyTimes) {
  RecordingKernel kernel;
  for (int i = 0; i < 20; ++i) {
    LoadedModule module;
    module.putKernel(&kernel);
    module.unload(module.load());
  }
  EXPECT_TRUE(kernel.live.empty());
  EXPECT_EQ(kernel.mutexes, 0u);
}

}  // namespace
