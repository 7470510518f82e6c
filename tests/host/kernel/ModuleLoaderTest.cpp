#include <dlfcn.h>

#include <thread>
#include <vector>

#include "host/kernel/ModuleLoader.h"
#include "qx/core/QXString.h"
#include "tests/host/kernel/KernelFixture.h"
#include "tests/host/kernel/modules/CountingModule.h"

namespace plexion_host {
namespace {

bool IsInProcess(const std::string& library) {
  void* const handle =
      dlopen((std::string(PLEXION_TEST_MODULES) + "/" + library).c_str(), RTLD_NOW | RTLD_NOLOAD);
  if (handle == nullptr) return false;
  dlclose(handle);
  return true;
}

class ModuleLoaderTest : public KernelFixture {
 protected:
  CountingModule* Acquire(const char* name) {
    return static_cast<CountingModule*>(kernel_->AcquireModule(name));
  }
};

TEST_F(ModuleLoaderTest, HandsTheKernelOverBeforeTheModuleIsMade) {
  CountingModule* const module = Acquire("IPair");
  ASSERT_NE(nullptr, module) << errors_.Read();
  EXPECT_STREQ("IPair", module->GetName());
  EXPECT_EQ(static_cast<IQXKernel*>(kernel_.get()), module->GetKernelAtLoad());
  kernel_->ReleaseModule(module);
}

TEST_F(ModuleLoaderTest, UnloadsAtTheLastReleaseOnly) {
  CountingModule* const first = Acquire("IPair");
  CountingModule* const second = Acquire("IPair");
  ASSERT_NE(nullptr, first);
  EXPECT_EQ(first, second);
  EXPECT_EQ(1, first->GetLoads());
  kernel_->ReleaseModule(first);
  EXPECT_TRUE(IsInProcess("IPair.so"));
  EXPECT_EQ(0, second->GetUnloads());
  kernel_->ReleaseModule(second);
  EXPECT_FALSE(IsInProcess("IPair.so"));
  EXPECT_TRUE(kernel_->GetLoadedModules().empty());
}

TEST_F(ModuleLoaderTest, LoadsALibraryOnceForTwoNames) {
  CountingModule* const first = Acquire("IPair");
  CountingModule* const second = Acquire("IPairSecond");
  ASSERT_NE(nullptr, second) << errors_.Read();
  EXPECT_STREQ("IPairSecond", second->GetName());
  EXPECT_EQ(2, first->GetLoads());
  kernel_->ReleaseModule(first);
  EXPECT_EQ(1, second->GetUnloads());
  EXPECT_EQ(std::vector<std::string>{"IPairSecond"}, kernel_->GetLoadedModules());
  kernel_->ReleaseModule(second);
  EXPECT_FALSE(IsInProcess("IPair.so"));
}

TEST_F(ModuleLoaderTest, LetsAModuleAcquireOthersButNotItselfWhileItLoads) {
  CountingModule* const module = Acquire("IRecursive");
  ASSERT_NE(nullptr, module);
  EXPECT_STREQ("IPair", module->GetName());
  EXPECT_EQ(0, module->GetLoads());
  EXPECT_EQ("plexion: module IRecursive is not available: it needs itself in order to load\n",
            errors_.Read());
  kernel_->ReleaseModule(module);
  EXPECT_TRUE(kernel_->GetLoadedModules().empty());
}

TEST_F(ModuleLoaderTest, LetsALibraryAcquireOthersWhileItIsHandedTheKernel) {
  CountingModule* const module = Acquire("IEager");
  ASSERT_NE(nullptr, module);
  EXPECT_STREQ("IPair", module->GetName());
  kernel_->ReleaseModule(module);
  EXPECT_FALSE(IsInProcess("IPair.so"));
  EXPECT_FALSE(IsInProcess("IEager.so"));
}

TEST_F(ModuleLoaderTest, SaysOnceWhatIsWrongWithALibrary) {
  const std::string folder = PLEXION_TEST_MODULES;
  const std::pair<const char*, std::string> cases[] = {
      {"IAbsent", "no library IAbsent.so in " + folder},
      {"INoObject", folder + "/INoObject.so: IQXModule_INoObject_ModuleLoad made no module"},
      {"INoUnload", folder + "/INoUnload.so has no entry point IQXModule_INoUnload_ModuleUnload"},
      {"INoKernel", folder + "/INoKernel.so has no entry point IQXModule_QXModule_PutKernel"},
  };
  for (const auto& [name, reason] : cases) {
    EXPECT_EQ(nullptr, kernel_->AcquireModule(name));
    EXPECT_EQ(std::string("plexion: module ") + name + " is not available: " + reason + "\n",
              errors_.Read());
    EXPECT_EQ(nullptr, kernel_->AcquireModule(name));
    EXPECT_EQ("", errors_.Read()) << name << " was reported twice";
    EXPECT_EQ(reason, kernel_->GetModuleError(name));
    EXPECT_FALSE(IsInProcess(std::string(name) + ".so"));
  }
  EXPECT_EQ(nullptr, kernel_->AcquireModule(nullptr));
}

TEST_F(ModuleLoaderTest, ReportsALibraryThatIsNone) {
  ModuleFiles files;
  files.map["IText"] = __FILE__;
  auto kernel = MakeKernel(output_, errors_, files);
  std::string error;
  EXPECT_EQ(nullptr, kernel->TryAcquireModule("IText", error));
  EXPECT_NE(std::string::npos, error.find("ModuleLoaderTest.cpp")) << error;
  EXPECT_EQ("", errors_.Read()) << "asking quietly prints nothing";
}

TEST_F(ModuleLoaderTest, KeepsBuiltInModulesWhateverIsReleased) {
  IQXModule builtIn;
  kernel_->AddBuiltIn("IBuiltIn", &builtIn);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(&builtIn, kernel_->AcquireModule("IBuiltIn"));
    kernel_->ReleaseModule(&builtIn);
    kernel_->ReleaseModule(&builtIn);
  }
  kernel_->ReleaseModule(nullptr);
}

TEST_F(ModuleLoaderTest, LoadsAndUnloadsFromSeveralThreadsAtOnce) {
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([this, t] {
      for (int i = 0; i < 50; ++i) {
        CountingModule* const module = Acquire(t % 2 == 0 ? "IPair" : "IPairSecond");
        ASSERT_NE(nullptr, module);
        ASSERT_STREQ(t % 2 == 0 ? "IPair" : "IPairSecond", module->GetName());
        kernel_->ReleaseModule(module);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_TRUE(kernel_->GetLoadedModules().empty());
}

TEST_F(ModuleLoaderTest, KnowsTheFoldersOfExecutableAndModules) {
  // The text type takes its memory from the kernel that this process's own code was given.
  static HostKernel processKernel({"test"}, {});
  IQXModule_QXModule_PutKernel(&processKernel);
  {
    QXString folder;
    ASSERT_TRUE(kernel_->GetBinDirectory(folder, "IPair"));
    EXPECT_STREQ(PLEXION_TEST_MODULES, folder.Utf8());
    EXPECT_FALSE(kernel_->GetBinDirectory(folder, "IAbsent"));
    EXPECT_STREQ(PLEXION_TEST_MODULES, folder.Utf8()) << "unchanged on failure";
    ASSERT_TRUE(kernel_->GetBinDirectory(folder, nullptr));
    EXPECT_EQ(ExecutableFolder(), folder.Utf8());
  }
  EXPECT_EQ(0, processKernel.GetLiveBytes());
}

}  // namespace
}  // namespace plexion_host
