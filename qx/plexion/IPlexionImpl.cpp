// The service's life: what it makes and reads when it is loaded, what it gives back when it goes,
// and the banner in between.

#include "qx/plexion/IPlexionImpl.h"

#include "qx/core/QXLock.h"
#include "qx/core/QXMem.h"
#include "qx/core/morvellib/IMorvelRuntimeLib.h"
#include "qx/platform/IFileSystem.h"
#include "qx/platform/IShell.h"
#include "qx/plexion/StageWindowImpl.h"
#include "qx/plexion/parts/KeyEventSimulator.h"

namespace qx {
namespace plexion {

static_assert(alignof(PlexionKeyEventSimulator) <= 8, "tracked memory is aligned to 8 bytes");

namespace {

constexpr unsigned long kListRoom = 8;

void PrintBanner(IQXKernel* kernel) {
  kernel->Printf(
      "Plexion\n"
      "Plays movies and applications in stage windows on the display.\n"
      "Version %s\n",
      PLEXION_VERSION);
}

void PrintRuntimeVersion(IQXKernel* kernel, const char* version) {
  kernel->Printf("Using: %s\n", version);
}

/// The options of the host's own command line that the service reads when it is made.
struct HostOptions {
  bool useShell;
  unsigned long masterShellKey;
};

HostOptions ReadHostOptions(IQXKernel* kernel) {
  HostOptions options = {false, 0};
  const int argc = kernel->GetArgc();
  const char** const argv = kernel->GetArgv();
  for (int i = 1; i < argc; ++i) {
    if (kernel->StrCmp(argv[i], "--useshell") == 0) {
      options.useShell = true;
    } else if (kernel->StrCmp(argv[i], "--mastershellkey") == 0) {
      // Once there is a key, what follows is looked at like any other element. Until then it is
      // passed over even when it is no value, so "--mastershellkey --useshell" starts no shell:
      // devices are shipped with such lines, and would show a prompt to viewers.
      if (options.masterShellKey != 0 || i + 1 == argc) continue;
      const char* const value = argv[++i];
      if (value[0] != '\0' && value[0] != '-') {
        char* end = nullptr;
        options.masterShellKey = kernel->StrToUL(value, &end, 10);
      }
    }
  }
  return options;
}

}  // namespace

IPlexionImpl::StringTable::StringTable() { Reserve(kListRoom); }

IPlexionImpl::StringTable::~StringTable() {
  IQXKernel* const texts = IQXKernel::GetKernel();
  for (unsigned i = 0; i < count; ++i) {
    QXMem_DeleteVector(data[i], texts->StrLen(data[i]) + 1, 1);
  }
}

void IPlexionImpl::StringTable::AddString(const char* text) {
  IQXKernel* const texts = IQXKernel::GetKernel();
  const unsigned long bytes = texts->StrLen(text) + 1;
  char* const copy = static_cast<char*>(QXMem_NewVector(bytes, 1));
  if (copy == nullptr) return;
  texts->StrCpy(copy, text);
  if (!Append(copy)) QXMem_DeleteVector(copy, bytes, 1);
}

bool IPlexionImpl::StringTable::StringExists(const char* text) const {
  IQXKernel* const texts = IQXKernel::GetKernel();
  for (unsigned i = 0; i < count; ++i) {
    if (texts->StrCmp(data[i], text) == 0) return true;
  }
  return false;
}

// userInputKey, viewIndex and lastFrameValue get no value here: 0 would be a key and a view, and the
// host says which before anybody asks.
IPlexionImpl::IPlexionImpl()
    : kernel(IQXKernel::GetKernel()),
      stageWindowLock(nullptr),
      dataDirectoryLock(nullptr),
      activeStageWindow(nullptr),
      keyMaster(nullptr),
      shell(nullptr),
      fileSystem(nullptr),
      keyEventSimulator(nullptr),
      masterShellKey(0),
      bannerDisplayed(false),
      lastFrameData(nullptr),
      lastFrameSize(0),
      lastFrameValid(false),
      rewindOrForward(false),
      exitFlag(false),
      windowXID(0),
      persistentResourceState(0),
      streamFrameRate(0.0) {
  stageWindows.Reserve(kListRoom);
  stageWindowLock = kernel->CreateMutex();
  dataDirectoryLock = kernel->CreateMutex();

  fileSystem = static_cast<platform::IFileSystem*>(kernel->AcquireModule("IFileSystem"));
  if (fileSystem != nullptr) {
    if (BuildApplicationTempDirectory(applicationPrivateTempFileDirectory) &&
        AppendWhole(applicationPrivateTempFileDirectory, "/")) {
      EnsureWritability(applicationPrivateTempFileDirectory);
    } else {
      // Nothing of this name is made, and nothing is removed: a path that lacks its last pieces is
      // that of every launcher's files.
      applicationPrivateTempFileDirectory.Clear();
    }
  }

  const HostOptions options = ReadHostOptions(kernel);
  masterShellKey = options.masterShellKey;
  if (options.useShell) {
    shell = static_cast<platform::IShell*>(kernel->AcquireModule("IShell"));
    if (shell != nullptr) shell->Start();
  }

  // Last, since its thread and lock are the only ones that can be missing without harm: keys then go
  // nowhere, and all else works.
  keyEventSimulator = new (nullptr, 0, QX_NEW_DELETE) PlexionKeyEventSimulator();
}

IPlexionImpl::~IPlexionImpl() {
  // The empty text also when its UTF-8 form cannot be had now.
  const char* const temporary = applicationPrivateTempFileDirectory.Utf8();
  if (fileSystem != nullptr && temporary[0] != '\0') {
    platform::IFileObject* const directory = fileSystem->CreateFileObject();
    if (directory != nullptr) {
      directory->Open(temporary);
      directory->RemoveDirectory(true);
      fileSystem->DestroyFileObject(directory);
    }
  }
  // Its worker is joined here, before anything goes that a key could still need.
  QXTypes_ScalarDelete(keyEventSimulator, nullptr, 0);
  if (fileSystem != nullptr) kernel->ReleaseModule(fileSystem);
  if (shell != nullptr) kernel->ReleaseModule(shell);
  if (stageWindowLock != nullptr) kernel->DestroyMutex(stageWindowLock);
  if (dataDirectoryLock != nullptr) kernel->DestroyMutex(dataDirectoryLock);
  stageWindowLock = nullptr;
  dataDirectoryLock = nullptr;
  delete[] lastFrameData;
}

void IPlexionImpl::LockPersistentResourcesOnStartup() {
  const QXLock lock(stageWindowLock);
  LoadDynamicResourcesInternal();
  persistentResourceState = 1;
}

void IPlexionImpl::ReleasePersistentResourcesForShutdown() {
  const QXLock lock(stageWindowLock);
  UnloadDynamicResourcesInternal();
  persistentResourceState = 2;
}

void IPlexionImpl::LoadDynamicResourcesInternal() {
  QXString directory;  // asked for only because the first question makes the directory
  GetPlexionDataDirectory(directory);
}

// The data directory stays: nothing that is loaded has to go.
void IPlexionImpl::UnloadDynamicResourcesInternal() {}

void IPlexionImpl::DisplayBannerOneTimeOnly(StageWindowImpl* window) {
  const QXLock lock(stageWindowLock);
  if (bannerDisplayed) return;
  QXString version;
  if (window != nullptr && window->GetRuntimeVersion(version)) {
    PrintBanner(kernel);
    PrintRuntimeVersion(kernel, version.Utf8());
  }
  // Set also when there was no version to show: the banner opens the log or is not there at all.
  bannerDisplayed = true;
}

void IPlexionImpl::DisplayBannerOneTimeOnly(const QXString* runtimeModuleName) {
  constexpr unsigned long kVersionRoom = 256;
  const QXLock lock(stageWindowLock);
  if (bannerDisplayed) return;
  PrintBanner(kernel);
  IQXModule* const module =
      runtimeModuleName != nullptr ? kernel->AcquireModule(runtimeModuleName->Utf8()) : nullptr;
  if (module != nullptr) {
    char* const version = static_cast<char*>(QXMem_Malloc(kVersionRoom));
    if (version != nullptr) {
      static_cast<core::morvellib::IMorvelRuntimeLib*>(module)->GetVersion(version,
                                                                           kVersionRoom - 1);
      PrintRuntimeVersion(kernel, version);
      QXMem_Free(version, kVersionRoom);
    }
    kernel->ReleaseModule(module);
  }
  bannerDisplayed = true;
}

}  // namespace plexion
}  // namespace qx
