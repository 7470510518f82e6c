// The fields of a window's parameters that no option sets: a host that fills the record itself,
// with the built modules, and what is then in its planes and on its screen.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <string>
#include <vector>

#include "host/contracts/IHostDisplay.h"
#include "host/kernel/HostKernel.h"
#include "qx/platform/IGraphicsDriver.h"
#include "qx/plexion/IPlexion.h"
#include "qx/plexion/StageWindow.h"
#include "qx/plexion/StageWindowNotifier.h"
#include "qx/plexion/StageWindowParameters.h"

namespace plexion_host {
namespace {

using namespace qx::plexion;  // the statuses, mostly
using qx::platform::IGraphicsDriver;
using qx::platform::OutputPlane;
using qx::platform::RenderPlane;

constexpr uint32_t kSide = 96;  // of the screen and of the movie
constexpr uint32_t kRed = 0xFFFF0000;
constexpr uint32_t kBlack = 0xFF000000;
constexpr std::chrono::seconds kPatience{60};

/// The process's host: kernel, service and a display without a screen of glass. Never destroyed, as
/// the libraries keep the kernel.
struct Host {
  Host() {
    ModuleFiles files;
    files.path = {PLEXION_MODULES};
    files.sharedLibraries = {{"IHostDisplay", "IGraphicsDriver"}};
    kernel = new HostKernel({"host_options_test"}, files, printed);
    IQXModule_QXModule_PutKernel(kernel);
    service = static_cast<IPlexionSets*>(kernel->AcquireModule("IPlexion"));
    driver = static_cast<IGraphicsDriver*>(kernel->AcquireModule("IGraphicsDriver"));
    display = static_cast<IHostDisplay*>(kernel->AcquireModule("IHostDisplay"));
    DisplayOptions options;
    options.mode = DisplayMode::kHeadless;
    options.width = options.height = kSide;
    std::string error;
    if (display == nullptr || !display->Open(options, error)) display = nullptr;
  }

  const int printed = memfd_create("printed", MFD_CLOEXEC);
  HostKernel* kernel = nullptr;
  IPlexionSets* service = nullptr;
  IGraphicsDriver* driver = nullptr;
  IHostDisplay* display = nullptr;
};

Host& TheHost() {
  static Host* const host = new Host;
  return *host;
}

class Observer final : public StageWindowNotifier {
 public:
  explicit Observer(std::vector<std::string>* order = nullptr, const char* name = "")
      : order_(order), name_(name) {}

  void OnStageWindowNotification(StageWindow*, StageWindowStatus status,
                                 const StageWindowStatusData*) override {
    const std::lock_guard<std::mutex> lock(mutex_);
    heard_.push_back(status);
    if (order_ != nullptr && status == kStatusComplete) order_->push_back(name_);
    changed_.notify_all();
  }
  bool WaitForEnd() {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, kPatience,
                             [&] { return !heard_.empty() && IsTerminalStatus(heard_.back()); });
  }
  bool WaitFor(StageWindowStatus status) {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, kPatience, [&] { return HasLocked(status); });
  }
  bool Has(StageWindowStatus status) {
    const std::lock_guard<std::mutex> lock(mutex_);
    return HasLocked(status);
  }

 private:
  bool HasLocked(StageWindowStatus status) const {
    for (const StageWindowStatus each : heard_) {
      if (each == status) return true;
    }
    return false;
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<StageWindowStatus> heard_;
  std::vector<std::string>* const order_;
  const char* const name_;
};

class HostFieldsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_NE(nullptr, host_.service);
    ASSERT_NE(nullptr, host_.display);
    char folder[] = "/tmp/plexion-fields-XXXXXX";
    ASSERT_NE(nullptr, mkdtemp(folder));
    folder_ = folder;
    content_ = Movie(kSide);
    host_.service->InitParameters(parameters_);
    parameters_.contentPath = content_.c_str();
    parameters_.noSpeedLimit = true;  // no test waits for the movie's time
    ASSERT_EQ(0, ftruncate(host_.printed, 0));
    lseek(host_.printed, 0, SEEK_SET);
  }
  void TearDown() override {
    Close();
    host_.driver->DestroyOutputPlane(parameters_.outputPlane);
    host_.driver->DestroyRenderPlane(parameters_.renderPlane);
    std::filesystem::remove_all(folder_);
  }

  /// A red square of five frames.
  std::string Movie(uint32_t side) const {
    const std::string size = std::to_string(side);
    const std::string path = folder_ + "/red" + size + ".mvx";
    std::ofstream(path) << "{\"v\":\"5.5.0\",\"fr\":50,\"ip\":0,\"op\":5,\"w\":" << size
                        << ",\"h\":" << size
                        << ",\"ddd\":0,\"assets\":[],\"layers\":[{\"ty\":1,\"ip\":0,\"op\":5,"
                           "\"st\":0,\"sr\":1,\"bm\":0,\"ddd\":0,\"ind\":1,\"sc\":\"#ff0000\","
                           "\"sw\":"
                        << size << ",\"sh\":" << size
                        << ",\"ks\":{\"o\":{\"a\":0,\"k\":100},\"r\":{\"a\":0,\"k\":0},"
                           "\"p\":{\"a\":0,\"k\":[0,0,0]},\"a\":{\"a\":0,\"k\":[0,0,0]},"
                           "\"s\":{\"a\":0,\"k\":[100,100,100]}}}]}";
    return path;
  }

  bool Open() {
    window_ = host_.service->CreateStageWindow();
    return window_ != nullptr && window_->Configure(parameters_);
  }
  bool Run() { return Open() && RunOpen(); }
  /// Plays to the end. Returns  false when the window ends in an error.
  bool RunOpen() {
    Observer observer;
    window_->RegisterNotifier(&observer);
    const bool shown = window_->LoadMVX() && !IsTerminalStatus(window_->GetStageWindowStatus()) &&
                       window_->CreatePlanes() && window_->Play() && observer.WaitForEnd();
    window_->UnregisterNotifier(&observer);
    return shown && window_->GetStageWindowStatus() == kStatusComplete;
  }
  void Close() {
    if (window_ != nullptr) host_.service->DestroyStageWindow(window_);
    window_ = nullptr;
  }

  void HandInRenderPlane() {
    parameters_.renderPlane = host_.driver->CreateRenderPlane({kSide, kSide}, 0, nullptr);
    ASSERT_NE(nullptr, parameters_.renderPlane);
  }
  void HandInOutputPlane(const Rect& rect) {
    parameters_.outputPlane =
        host_.driver->CreateOutputPlane(rect, false, nullptr, nullptr, "the host's");
    ASSERT_NE(nullptr, parameters_.outputPlane);
  }
  static uint32_t FirstPixel(RenderPlane* plane) {
    const auto* pixels = static_cast<const uint32_t*>(plane->LockPixels(true));
    const uint32_t first = pixels == nullptr ? 0 : pixels[0];
    plane->UnlockPixels();
    return first;
  }
  uint32_t OnScreen(uint32_t x, uint32_t y) const {
    Dims dims{};
    std::vector<uint32_t> pixels;
    host_.display->CopyScreen(dims, pixels);
    return pixels.at(size_t{y} * dims.width + x);
  }
  std::string Printed() const {
    std::string text(static_cast<size_t>(lseek(host_.printed, 0, SEEK_END)), '\0');
    EXPECT_EQ(static_cast<ssize_t>(text.size()), pread(host_.printed, text.data(), text.size(), 0));
    return text;
  }

  Host& host_ = TheHost();
  std::string folder_;
  std::string content_;
  StageWindowParameters parameters_{};
  StageWindow* window_ = nullptr;
};

TEST_F(HostFieldsTest, ContentIsDrawnIntoTheRenderPlaneThatWasHandedIn) {
  HandInRenderPlane();
  ASSERT_TRUE(Run());
  EXPECT_EQ(parameters_.renderPlane, window_->GetRenderPlane());
  EXPECT_EQ(kRed, FirstPixel(parameters_.renderPlane));
  EXPECT_EQ(kRed, OnScreen(kSide / 2, kSide / 2));
  Close();
  EXPECT_EQ(kRed, FirstPixel(parameters_.renderPlane)) << "the plane stays the host's";
}

TEST_F(HostFieldsTest, ContentIsShownOnTheOutputPlaneThatWasHandedIn) {
  HandInOutputPlane({kSide / 2, 0, kSide / 2, kSide / 2});
  ASSERT_TRUE(Run());
  EXPECT_EQ(parameters_.outputPlane, window_->GetOutputPlane());
  EXPECT_EQ(kRed, OnScreen(kSide - 1, 0));
  EXPECT_EQ(kBlack, OnScreen(kSide / 2 - 1, 0));
  EXPECT_EQ(kBlack, OnScreen(kSide - 1, kSide / 2));
}

TEST_F(HostFieldsTest, WithDctsPlanesThatWereHandedInReachThePlayer) {
  for (const bool dcts : {true, false}) {
    SCOPED_TRACE(dcts);
    Observer observer;
    HandInRenderPlane();
    HandInOutputPlane({0, 0, kSide, kSide});
    parameters_.notifier = &observer;
    parameters_.dcts = dcts;
    ASSERT_TRUE(Open() && window_->LoadMVX() && window_->CreatePlanes() && window_->Play());
    ASSERT_TRUE(observer.WaitFor(dcts ? kStatusComplete : kStatusReadyToAnimate));
    window_->Terminate(kStatusComplete);
    ASSERT_TRUE(observer.WaitFor(kStatusComplete));
    EXPECT_EQ(dcts, observer.Has(kStatusPlaying));
    EXPECT_EQ(dcts ? kRed : 0u, FirstPixel(parameters_.renderPlane));
    TearDown();
    SetUp();
  }
}

TEST_F(HostFieldsTest, PixelFormatsThatNothingHereDrawsAreRefused) {
  const struct {
    uint32_t pixelFormat;
    StageWindowStatus ending;
  } cases[] = {{0, kStatusComplete},
               {qx::platform::kPixelFormat32, kStatusComplete},
               {2, kErrorRenderPlaneCreationFailure}};
  for (const auto& test : cases) {
    parameters_.pixelFormat = test.pixelFormat;
    EXPECT_EQ(test.ending == kStatusComplete, Run()) << test.pixelFormat;
    EXPECT_EQ(test.ending, window_->GetStageWindowStatus()) << test.pixelFormat;
    Close();
  }
}

TEST_F(HostFieldsTest, ThePlayerSaysWhichExtraWordAndExtraFlagItHas) {
  parameters_.extraWord = 4711;
  parameters_.extraFlag = false;
  parameters_.spdump = true;
  ASSERT_TRUE(Run());
  EXPECT_NE(std::string::npos, Printed().find(": extraWord = 4711\n"));
  EXPECT_NE(std::string::npos, Printed().find(": extraFlag = 0\n"));
}

TEST_F(HostFieldsTest, WithoutCreateOutputPlaneContentIsDrawnAndNotShown) {
  parameters_.createOutputPlane = false;
  HandInRenderPlane();
  parameters_.dcts = true;
  ASSERT_TRUE(Run());
  EXPECT_EQ(kRed, FirstPixel(parameters_.renderPlane));
  EXPECT_EQ(kBlack, OnScreen(kSide / 2, kSide / 2));
  EXPECT_EQ(nullptr, window_->GetOutputPlane());
}

TEST_F(HostFieldsTest, ContentLargerThanTheScreenIsShrunkWithScaleToFitOnly) {
  content_ = Movie(2 * kSide);
  parameters_.contentPath = content_.c_str();
  for (const bool scaleToFit : {true, false}) {
    parameters_.scaleToFit = scaleToFit;
    ASSERT_TRUE(Run());
    EXPECT_EQ(scaleToFit ? kSide : 2 * kSide, window_->GetRenderPlane()->GetDims().width);
    Close();
  }
}

TEST_F(HostFieldsTest, TheOutputPlaneHasItsNameOrTheContents) {
  ASSERT_TRUE(Run());
  EXPECT_STREQ("red96.mvx", window_->GetOutputPlane()->GetName());
  Close();
  parameters_.outputPlaneName = "lobby";
  ASSERT_TRUE(Run());
  EXPECT_STREQ("lobby", window_->GetOutputPlane()->GetName());
}

TEST_F(HostFieldsTest, TheNotifierHearsBeforeObserversThatCameLater) {
  std::vector<std::string> order;
  Observer first(&order, "notifier");
  Observer later(&order, "later");
  parameters_.notifier = &first;
  ASSERT_TRUE(Open());
  window_->RegisterNotifier(&later);
  ASSERT_TRUE(RunOpen());
  window_->UnregisterNotifier(&later);
  EXPECT_TRUE(first.Has(kStatusConfigured) && first.Has(kStatusReadyToAnimate));
  EXPECT_EQ((std::vector<std::string>{"notifier", "later"}), order);
}

TEST_F(HostFieldsTest, MorvelModuleNameNamesThePlayer) {
  EXPECT_STREQ("IMorvelRuntimeLib", parameters_.morvelModuleName);
  EXPECT_TRUE(Run());
  Close();
  parameters_.morvelModuleName = "IAbsentPlayer";
  EXPECT_FALSE(Open());
  EXPECT_EQ(kErrorModuleUnavailable, window_->GetStageWindowStatus());
  EXPECT_NE("", host_.kernel->GetModuleError("IAbsentPlayer"));
}

TEST_F(HostFieldsTest, TheRectProviderSaysWhereAWindowWithoutAPlaneIs) {
  class Place final : public StageWindowRectProvider {
   public:
    Rect GetRectOnScreen() override { return {5, 6, 7, 8}; }
  } place;
  parameters_.createOutputPlane = false;
  for (const bool provided : {false, true}) {
    parameters_.rectProvider = provided ? &place : nullptr;
    // hasRectProvider by itself says nothing: it follows from the provider.
    parameters_.hasRectProvider = !provided;
    ASSERT_TRUE(Open());
    const Rect rect = window_->GetRectOnScreen();
    EXPECT_EQ(provided ? 5u : 0u, rect.x);
    EXPECT_EQ(provided ? 8u : 0u, rect.height);
    Close();
  }
}

TEST_F(HostFieldsTest, AMemoryLimitEndsContentThatNeedsMore) {
  parameters_.memoryLimit = 4096;
  EXPECT_FALSE(Run());
  EXPECT_EQ(kErrorNotEnoughMemory, window_->GetStageWindowStatus());
  EXPECT_NE(std::string::npos, Printed().find("exceeded memlimit of 4096 bytes"));
}

}  // namespace
}  // namespace plexion_host
