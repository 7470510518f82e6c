// The pointer stream as viewers see it, well-behaved ones and others.

#include <arpa/inet.h>
#include <dirent.h>
#include <gmock/gmock.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <list>

#include "host/pointer/MouseStream.h"
#include "host/pointer/StreamAddress.h"
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

/// Nothing here may last as long as the shortest of the gate's limits for stalling.
constexpr std::chrono::milliseconds kLessThanALimit{4000};
/// Version, no security, shared.
const std::string kLogin = std::string("RFB 003.008\n") + '\x01' + '\x01';
const std::string kKeyA = std::string("\x04\x01\0\0\0\0\0a", 8);

/// A connection that says what a viewer would not, and takes little.
class RawViewer {
 public:
  explicit RawViewer(int port) : fd_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const int small = 2048;
    setsockopt(fd_, SOL_SOCKET, SO_RCVBUF, &small, sizeof(small));
    const timeval patience{20, 0};
    setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof(patience));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(connect(fd_, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
  }
  ~RawViewer() { close(fd_); }
  RawViewer(const RawViewer&) = delete;
  RawViewer& operator=(const RawViewer&) = delete;

  bool Send(const std::string& bytes) {
    return send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL) ==
           static_cast<ssize_t>(bytes.size());
  }
  std::string Receive(size_t bytes) {
    std::string received(bytes, '\0');
    const ssize_t count = recv(fd_, received.data(), bytes, MSG_WAITALL);
    received.resize(static_cast<size_t>(std::max<ssize_t>(count, 0)));
    return received;
  }
  /// Reads to the end; false when there is none for long.
  bool IsDropped() {
    char bytes[4096];
    ssize_t count = 1;
    while (count > 0) count = recv(fd_, bytes, sizeof(bytes), 0);
    return count == 0 || errno == ECONNRESET;
  }

 private:
  const int fd_;
};

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

TEST_F(MouseStreamTest, NobodyAtTheDoorHoldsUpViewersOrTheEnd) {
  ASSERT_TRUE(StartAtLoopback());
  std::list<RawViewer> enemies;
  for (const char* said : {"G", "GE", "GET", "RFB 003.008", "RFB 003.008\n", "GET / HTTP/1.1\r\n",
                           "\x16\x03\x01", ""}) {
    enemies.emplace_back(port_);
    ASSERT_TRUE(enemies.back().Send(said));
  }
  VncViewer viewer;
  const auto before = std::chrono::steady_clock::now();
  ASSERT_TRUE(viewer.Connect(port_));
  host_.display->Paint({0, 0, 5, 5}, kRed);
  EXPECT_TRUE(viewer.WaitForPicture(AsOnScreen()));
  stream_.reset();
  EXPECT_LT(std::chrono::steady_clock::now() - before, kLessThanALimit);
}

TEST_F(MouseStreamTest, OneMoreAtTheDoorTakesThePlaceOfTheFirst) {
  ASSERT_TRUE(StartAtLoopback());
  std::list<RawViewer> enemies;
  for (int i = 0; i < 40; ++i) enemies.emplace_back(port_);
  EXPECT_TRUE(enemies.front().IsDropped());
  EXPECT_TRUE(VncViewer().Connect(port_));
}

TEST_F(MouseStreamTest, NoMoreViewersThanThereIsRoomFor) {
  ASSERT_TRUE(StartAtLoopback());
  std::list<VncViewer> viewers(ViewerGate::Limits().viewers);
  for (VncViewer& viewer : viewers) ASSERT_TRUE(viewer.Connect(port_));
  EXPECT_FALSE(VncViewer().Connect(port_));
  viewers.pop_front();
  // The server hears of it in its own time.
  bool connected = false;
  for (int i = 0; i < 100 && !connected; ++i) connected = VncViewer().Connect(port_);
  EXPECT_TRUE(connected);
}

TEST_F(MouseStreamTest, DropsWhoTakesTooLong) {
  host_.display->SetSize(2000, 2000);
  StreamAddress address;
  std::string error;
  ASSERT_TRUE(address.Parse("127.0.0.1:0", error));
  RfbServer::Settings settings;
  settings.listenSocket = address.Listen(error);
  const std::string served = StreamAddress::Describe(settings.listenSocket);
  port_ = std::atoi(served.c_str() + served.rfind(':') + 1);
  settings.limits.login = std::chrono::milliseconds(300);
  settings.limits.stall = std::chrono::milliseconds(300);
  settings.display = host_.display;
  settings.input = host_.input;
  RfbServer server(std::move(settings));
  // A whole picture raw, 16 MB that nobody reads; the key in front of it is held until the end.
  const std::string all = std::string("\x03\0\0\0\0\0\x07\xD0\x07\xD0", 10);
  const std::string cases[] = {"G", "RFB 003.008\n\x01", kLogin + kKeyA.substr(0, 3),
                               kLogin + kKeyA + all};
  for (const std::string& said : cases) {
    RawViewer enemy(port_);
    ASSERT_TRUE(enemy.Send(said));
    if (said.find(all) == std::string::npos) {
      EXPECT_TRUE(enemy.IsDropped()) << testing::PrintToString(said);
    } else {
      EXPECT_TRUE(host_.input->WaitFor("down 97"));
      EXPECT_TRUE(host_.input->WaitFor("up 97"));
    }
  }
}

TEST_F(MouseStreamTest, NeitherContentNorOthersNorTheEndWaitForAClientThatStalls) {
  host_.display->SetSize(1000, 1000);
  ASSERT_TRUE(StartAtLoopback());
  RawViewer enemy(port_);
  // A request for the whole picture raw: 4 MB that nobody reads. The key behind it shows how far
  // the server has come.
  ASSERT_TRUE(enemy.Send(kLogin + kKeyA + std::string("\x03\0\0\0\0\0\x03\xE8\x03\xE8", 10)));
  ASSERT_TRUE(host_.input->WaitFor("down 97"));
  const auto before = std::chrono::steady_clock::now();
  for (uint32_t i = 0; i < 100; ++i) host_.display->Paint({0, 0, 1000, 1000}, kRed + i);
  VncViewer viewer;
  ASSERT_TRUE(viewer.Connect(port_));
  EXPECT_TRUE(viewer.WaitForPicture(AsOnScreen()));
  stream_.reset();
  EXPECT_LT(std::chrono::steady_clock::now() - before, kLessThanALimit);
}

TEST_F(MouseStreamTest, APageIsLetInByItsOriginOnly) {
  setenv("PLEXION_VNC_ORIGINS", "http://localhost:6080,http://127.0.0.1:6080", 1);
  ASSERT_TRUE(StartAtLoopback());
  unsetenv("PLEXION_VNC_ORIGINS");
  const std::pair<const char*, const char*> cases[] = {
      {"http://127.0.0.1:6080", "HTTP/1.1 101 "}, {"http://evil.example\x1B", "HTTP/1.1 403 "}};
  for (const auto& [origin, answer] : cases) {
    RawViewer page(port_);
    ASSERT_TRUE(
        page.Send("GET / HTTP/1.1\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
                  "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n"
                  "Sec-WebSocket-Version: 13\r\nOrigin: " +
                  std::string(origin) + "\r\n\r\n"));
    EXPECT_EQ(page.Receive(13), answer);
  }
  EXPECT_THAT(host_.TakeOutput(),
              HasSubstr("a page of http://evil.example\\x1B was refused; PLEXION_VNC_ORIGINS="));
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
