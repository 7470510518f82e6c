#include <arpa/inet.h>
#include <dirent.h>
#include <gmock/gmock.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "host/pointer/MouseStream.h"
#include "qx/plexion/StageWindowParameters.h"
#include "tests/host/pointer/PointerHost.h"
#include "tests/host/pointer/VncViewer.h"

namespace plexion_host {
namespace {

using testing::AllOf;
using testing::HasSubstr;

constexpr uint32_t kRed = 0xFFFF0000u;
constexpr uint32_t kGreen = 0xFF00FF00u;
constexpr uint32_t kWidth = 60;
constexpr uint32_t kHeight = 40;

/// A server on a port of the system's choice, in front of a scripted screen.
class MouseStreamTest : public testing::Test {
 protected:
  MouseStreamTest() {
    unsetenv("PLEXION_VNC_PASSWORD_FILE");
    host_.Reset();
    host_.display->SetSize(kWidth, kHeight);
    stream_ = std::make_unique<MouseStream>();
  }
  ~MouseStreamTest() override { unsetenv("PLEXION_VNC_PASSWORD_FILE"); }

  bool Start(const char* address, int feedbackSeconds = 0) {
    qx::plexion::StageWindowParameters parameters{};
    parameters.mouseStream = address;
    parameters.mouseFeedback = feedbackSeconds;
    const bool started = stream_->StartMouseStream(parameters);
    output_ = host_.TakeOutput();
    const size_t colon = output_.rfind(':');
    if (started && colon != std::string::npos) port_ = std::atoi(output_.c_str() + colon + 1);
    return started;
  }
  bool StartAtLoopback() { return Start("127.0.0.1:0"); }
  std::function<bool(const std::vector<uint32_t>&)> AsOnScreen() {
    return [this](const std::vector<uint32_t>& seen) { return seen == host_.display->GetPixels(); };
  }

  PointerHost& host_ = PointerHost::Get();
  std::unique_ptr<MouseStream> stream_;
  std::string output_;
  int port_ = 0;
};

TEST_F(MouseStreamTest, ThePictureAndItsChangesArriveInEachEncoding) {
  ASSERT_TRUE(StartAtLoopback());
  for (const char* encoding : {"raw", "zrle", "tight", "hextile"}) {
    host_.display->SetSize(kWidth, kHeight);
    host_.display->Paint({0, 0, kWidth, kHeight}, 0xFF123456u);
    VncViewer viewer;
    ASSERT_TRUE(viewer.Connect(port_, "", encoding)) << encoding;
    EXPECT_EQ(viewer.GetWidth(), kWidth);
    EXPECT_EQ(viewer.GetHeight(), kHeight);
    EXPECT_TRUE(viewer.WaitForPicture(AsOnScreen())) << encoding;
    host_.display->Paint({10, 5, 20, 10}, kRed);
    EXPECT_TRUE(viewer.WaitForPicture(AsOnScreen())) << encoding;
    host_.display->Paint({0, 39, 60, 1}, kGreen);
    EXPECT_TRUE(viewer.WaitForPicture(AsOnScreen())) << encoding;
  }
}

TEST_F(MouseStreamTest, TheFirstAnswerShowsTheScreenOfNow) {
  ASSERT_TRUE(StartAtLoopback());
  host_.display->Paint({0, 0, kWidth, kHeight}, kGreen);
  VncViewer viewer;
  ASSERT_TRUE(viewer.Connect(port_, "", "raw"));
  ASSERT_TRUE(viewer.FetchWhole());
  EXPECT_EQ(viewer.GetPixels(), host_.display->GetPixels());
}

TEST_F(MouseStreamTest, AScreenOfAnotherSizeArrivesToo) {
  ASSERT_TRUE(StartAtLoopback());
  VncViewer viewer;
  ASSERT_TRUE(viewer.Connect(port_));
  host_.display->SetSize(100, 30);
  host_.display->Paint({0, 0, 100, 30}, kGreen);
  EXPECT_TRUE(viewer.WaitForPicture(AsOnScreen()));
  EXPECT_EQ(viewer.GetWidth(), 100u);
}

TEST_F(MouseStreamTest, IsRefreshedNoMoreOftenThanTheFeedbackTime) {
  const int mouseFeedback = 3600;  // longer than any test
  ASSERT_TRUE(Start("127.0.0.1:0", mouseFeedback));
  VncViewer viewer;
  ASSERT_TRUE(viewer.Connect(port_));
  host_.display->Paint({0, 0, 10, 10}, kRed);
  ASSERT_TRUE(viewer.WaitForPicture(AsOnScreen()));
  const std::vector<uint32_t> before = viewer.GetPixels();
  host_.display->Paint({0, 0, 10, 10}, kGreen);
  ASSERT_TRUE(viewer.FetchWhole());
  EXPECT_EQ(viewer.GetPixels(), before);
}

TEST_F(MouseStreamTest, ClicksWheelAndKeysArriveAsInput) {
  ASSERT_TRUE(StartAtLoopback());
  VncViewer viewer;
  ASSERT_TRUE(viewer.Connect(port_));
  viewer.Point(12, 34, 0);
  viewer.Point(12, 34, 1);
  viewer.Point(12, 34, 0);
  viewer.Point(12, 34, 16);
  viewer.Key('A', true);
  viewer.Key('A', false);
  ASSERT_TRUE(host_.input->WaitFor("up 65"));
  EXPECT_THAT(host_.input->GetEntries(),
              testing::ElementsAre("move 12,34", "press 0 at 12,34", "release 0 at 12,34",
                                   "wheel 1 by 1", "down 65", "up 65"));
}

TEST_F(MouseStreamTest, AClientThatVanishesInMidDragLetsGo) {
  ASSERT_TRUE(StartAtLoopback());
  VncViewer viewer;
  VncViewer other;
  ASSERT_TRUE(viewer.Connect(port_));
  ASSERT_TRUE(other.Connect(port_));
  viewer.Key('a', true);
  viewer.Point(1, 2, 1);
  ASSERT_TRUE(host_.input->WaitFor("press 0 at 1,2"));
  viewer.Disconnect();
  EXPECT_TRUE(host_.input->WaitFor("up 97"));
  EXPECT_TRUE(host_.input->WaitFor("release 0 at 1,2"));
  // The other one goes on, and may now press.
  other.Point(3, 4, 1);
  EXPECT_TRUE(host_.input->WaitFor("press 0 at 3,4"));
  host_.display->Paint({0, 0, 5, 5}, kRed);
  EXPECT_TRUE(other.WaitForPicture(AsOnScreen()));
}

TEST_F(MouseStreamTest, TheEndReleasesWhatClientsHoldAndDropsThem) {
  ASSERT_TRUE(StartAtLoopback());
  VncViewer viewer;
  ASSERT_TRUE(viewer.Connect(port_));
  viewer.Point(1, 2, 1);
  ASSERT_TRUE(host_.input->WaitFor("press 0 at 1,2"));
  stream_.reset();
  EXPECT_TRUE(host_.input->WaitFor("release 0 at 1,2"));
  EXPECT_EQ(host_.display->GetObserverCount(), 0u);
  EXPECT_FALSE(VncViewer().Connect(port_));
}

TEST_F(MouseStreamTest, NeitherContentNorTheEndWaitsForAClientThatStalls) {
  host_.display->SetSize(1000, 1000);
  ASSERT_TRUE(StartAtLoopback());
  const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const int small = 2048;
  setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &small, sizeof(small));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<uint16_t>(port_));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  ASSERT_EQ(connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
  // Version, no security, shared, and a request for the whole picture raw: 4 MB that nobody reads.
  // The key behind it shows how far the server has come.
  const std::string hello = std::string("RFB 003.008\n") + '\x01' + '\x01' +
                            std::string("\x04\x01\0\0\0\0\0a", 8) +
                            std::string("\x03\0\0\0\0\0\x03\xE8\x03\xE8", 10);
  ASSERT_EQ(send(fd, hello.data(), hello.size(), MSG_NOSIGNAL), static_cast<ssize_t>(hello.size()));
  ASSERT_TRUE(host_.input->WaitFor("down 97"));
  for (uint32_t i = 0; i < 100; ++i) host_.display->Paint({0, 0, 1000, 1000}, kRed + i);
  const auto before = std::chrono::steady_clock::now();
  stream_.reset();
  EXPECT_LT(std::chrono::steady_clock::now() - before, RfbServer::kStallLimit / 2);
  close(fd);
}

TEST_F(MouseStreamTest, StartingAtTheSameAddressAgainChangesNothing) {
  ASSERT_TRUE(StartAtLoopback());
  EXPECT_THAT(output_, HasSubstr("Pointer stream at 127.0.0.1:"));
  const int first = port_;
  EXPECT_TRUE(StartAtLoopback());
  EXPECT_EQ(output_, "");
  EXPECT_EQ(host_.display->GetObserverCount(), 1u);
  VncViewer viewer;
  EXPECT_TRUE(viewer.Connect(first));
}

TEST_F(MouseStreamTest, RefusesTheWorldWithoutAPassword) {
  EXPECT_FALSE(Start("0.0.0.0:0"));
  EXPECT_THAT(output_, AllOf(HasSubstr("'0.0.0.0:0' can be reached from other machines"),
                             HasSubstr("PLEXION_VNC_PASSWORD_FILE")));
  EXPECT_FALSE(Start("nonsense"));
  EXPECT_THAT(output_, HasSubstr("Pointer stream: 'nonsense' is no address"));
  EXPECT_FALSE(Start(nullptr));
  EXPECT_EQ(host_.display->GetObserverCount(), 0u);
}

TEST_F(MouseStreamTest, AsksForThePasswordOfTheFile) {
  std::string folder = (std::filesystem::temp_directory_path() / "plexion-vnc-XXXXXX").string();
  ASSERT_NE(mkdtemp(folder.data()), nullptr);
  const std::string path = folder + "/password";
  std::ofstream(path) << "secretword\n";
  chmod(path.c_str(), 0644);
  setenv("PLEXION_VNC_PASSWORD_FILE", path.c_str(), 1);
  EXPECT_FALSE(StartAtLoopback());
  EXPECT_THAT(output_, HasSubstr("has mode 0644"));
  chmod(path.c_str(), 0600);
  ASSERT_TRUE(StartAtLoopback());
  EXPECT_THAT(output_, HasSubstr("only the first 8 characters"));
  port_ = std::atoi(output_.c_str() + output_.find("127.0.0.1:") + 10);
  EXPECT_FALSE(VncViewer().Connect(port_, "wrong"));
  EXPECT_FALSE(VncViewer().Connect(port_, ""));
  EXPECT_TRUE(VncViewer().Connect(port_, "secretword"));
  std::filesystem::remove_all(folder);
}

}  // namespace
}  // namespace plexion_host
