// The library that hosts load, as it is delivered: what it shows and takes, and how it comes and
// goes.

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <fstream>
#include <set>
#include <string>

#include "qx/core/IQXModule.h"
#include "qx/plexion/IPlexion.h"
#include "qx/plexion/StageWindowParameters.h"
#include "tests/core/RecordingKernel.h"
#include "tests/module/ElfFile.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using tests::ElfFile;
using tests::RecordingKernel;

TEST(ModuleLibrary, ExportsTheThreeEntryPointsAndTheKernelAccessor) {
  const ElfFile library = ElfFile::Read(PLEXION_MODULE_FILE);
  ASSERT_EQ(library.error, "");
  EXPECT_THAT(library.exported,
              ElementsAre("IQXModule_IPlexion_ModuleLoad", "IQXModule_IPlexion_ModuleUnload",
                          "IQXModule_QXModule_PutKernel", "_ZN9IQXKernel9GetKernelEv"));
}

TEST(ModuleLibrary, ImportsBlockCopyAndAllocationOnly) {
  // How names are built with a size in them depends on its width.
  const std::string size = sizeof(size_t) == sizeof(int) ? "j" : "m";
  const std::set<std::string> allowed = {
      "memcpy",
      "memset",
      "memmove",
      "_Znw" + size,
      "_Zna" + size,
      "_Znw" + size + "RKSt9nothrow_t",
      "_Zna" + size + "RKSt9nothrow_t",
      "_ZdlPv",
      "_ZdaPv",
      "_ZdlPv" + size,
      "_ZdaPv" + size,
      "_ZdlPvRKSt9nothrow_t",
      "_ZdaPvRKSt9nothrow_t",
  };
  const ElfFile library = ElfFile::Read(PLEXION_MODULE_FILE);
  ASSERT_EQ(library.error, "");
  // A list that came out empty would be a fault of the reader: memory is copied somewhere.
  EXPECT_FALSE(library.imported.empty());
  for (const std::string& name : library.imported) EXPECT_EQ(allowed.count(name), 1u) << name;
}

TEST(ModuleLibrary, LoadsNoOtherLibraryAndIsBoundWhenItIsLoaded) {
  const ElfFile library = ElfFile::Read(PLEXION_MODULE_FILE);
  EXPECT_THAT(library.libraries, IsEmpty());
  EXPECT_FALSE(library.hasTextRelocations);
  EXPECT_TRUE(library.bindsAtLoad);
}

TEST(ModuleLibrary, IsReadByAReaderThatTellsLibrariesFromOtherFiles) {
  EXPECT_NE(ElfFile::Read("/etc/passwd").error, "");
  EXPECT_NE(ElfFile::Read("/nowhere").error, "");
}

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
