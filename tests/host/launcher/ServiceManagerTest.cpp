// What a service manager hears, and when the watchdog is ours.

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "host/launcher/process/ServiceManager.h"

namespace plexion_host {
namespace {

/// A manager's socket, by a name that is no file.
class ServiceManagerTest : public testing::Test {
 protected:
  void SetUp() override {
    name_ = "@plexion-test-" + std::to_string(getpid());
    sockaddr_un at{};
    at.sun_family = AF_UNIX;
    std::memcpy(at.sun_path + 1, name_.data() + 1, name_.size() - 1);
    socket_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    ASSERT_EQ(0, bind(socket_, reinterpret_cast<sockaddr*>(&at),
                      static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name_.size())));
  }
  void TearDown() override { close(socket_); }

  static std::unique_ptr<ServiceManager> Make(const std::string& socket, const std::string& usec,
                                              const std::string& pid) {
    setenv("NOTIFY_SOCKET", socket.c_str(), 1);
    setenv("WATCHDOG_USEC", usec.c_str(), 1);
    setenv("WATCHDOG_PID", pid.c_str(), 1);
    return std::make_unique<ServiceManager>();
  }
  std::string Heard() {
    char text[4096];
    const ssize_t size = recv(socket_, text, sizeof text, 0);
    return size < 0 ? "" : std::string(text, static_cast<size_t>(size));
  }

  std::string name_;
  int socket_ = -1;
};

TEST_F(ServiceManagerTest, HearsOfReadinessStatusAndLife) {
  const auto manager = Make(name_, "30000000", std::to_string(getpid()));
  ASSERT_TRUE(manager->IsThere());
  EXPECT_EQ(manager->WatchdogPeriod(), std::chrono::seconds(15));
  manager->SayReady();
  EXPECT_EQ(Heard(), "READY=1");
  manager->SayStatus("shows http://a:secret@b/\nREADY=0");
  EXPECT_EQ(Heard(), "STATUS=shows http://a:***@b/\\x0AREADY=0") << "one line, and no password";
  manager->PetWatchdog();
  EXPECT_EQ(Heard(), "WATCHDOG=1");
  EXPECT_EQ(std::getenv("NOTIFY_SOCKET"), nullptr) << "no child speaks for the launcher";
  for (int i = 0; i < 1000; ++i)
    manager->PetWatchdog();  // one that does not listen holds up nobody
}

TEST_F(ServiceManagerTest, TheWatchdogIsOursOrOurCompositors) {
  const auto child = Make(name_, "2000000", std::to_string(getppid()));
  EXPECT_GT(child->WatchdogPeriod().count(), 0);
  child->SayReady();
  EXPECT_EQ(Heard(), "READY=1\nMAINPID=" + std::to_string(getpid()));
  EXPECT_GT(Make(name_, "2000000", "")->WatchdogPeriod().count(), 0);
  EXPECT_EQ(Make(name_, "2000000", "1999999999")->WatchdogPeriod().count(), 0);
  EXPECT_EQ(Make(name_, "soon", "")->WatchdogPeriod().count(), 0);
  EXPECT_EQ(Make(name_, "-5", "")->WatchdogPeriod().count(), 0);
}

TEST_F(ServiceManagerTest, WithoutAManagerNothingIsSaid) {
  for (const std::string& address :
       {std::string(), std::string("relative"), "/" + std::string(200, 'x')}) {
    const auto manager = Make(address, "2000000", "");
    EXPECT_FALSE(manager->IsThere()) << address;
    manager->SayReady();
  }
  Make("/nobody/here", "", "")->SayReady();
  EXPECT_EQ(Heard(), "");
}

}  // namespace
}  // namespace plexion_host
