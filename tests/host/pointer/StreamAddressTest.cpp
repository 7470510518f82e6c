// Addresses and passwords of the pointer stream.

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "host/pointer/PasswordFile.h"
#include "host/pointer/StreamAddress.h"

namespace plexion_host {
namespace {

using testing::HasSubstr;

TEST(StreamAddress, TellsWhatOnlyThisMachineCanReach) {
  const std::pair<const char*, bool> cases[] = {
      {"127.0.0.1:5900", true}, {"127.9.9.9:0", true},
      {"[::1]:5900", true},     {"0.0.0.0:5900", false},
      {"[::]:5900", false},     {"192.0.2.1:5900", false},
      {"localhost:1", true},    {"[::ffff:127.0.0.1]:5900", true}};
  for (const auto& [text, loopback] : cases) {
    StreamAddress address;
    std::string error;
    ASSERT_TRUE(address.Parse(text, error)) << text << ": " << error;
    EXPECT_EQ(address.IsLoopback(), loopback) << text;
  }
}

TEST(StreamAddress, SaysWhatIsWrong) {
  const std::pair<const char*, const char*> cases[] = {
      {"", "'' is no address (expected ADDRESS:PORT"},
      {"5900", "'5900' is no address"},
      {":5900", "':5900' is no address"},
      {"127.0.0.1:", "'' is no port"},
      {"127.0.0.1:65536", "'65536' is no port"},
      {"127.0.0.1:59x", "'59x' is no port"},
      {"::1:5900", "the IPv6 address in '::1:5900' needs brackets"},
      {"no such host:1", "the address 'no such host' is not known"}};
  for (const auto& [text, expected] : cases) {
    StreamAddress address;
    std::string error;
    EXPECT_FALSE(address.Parse(text, error)) << text;
    EXPECT_THAT(error, HasSubstr(expected));
  }
}

TEST(StreamAddress, TellsOfAPortThatIsTaken) {
  StreamAddress any;
  std::string error;
  ASSERT_TRUE(any.Parse("127.0.0.1:0", error));
  const int first = any.Listen(error);
  ASSERT_GE(first, 0) << error;
  StreamAddress taken;
  ASSERT_TRUE(taken.Parse(StreamAddress::Describe(first), error));
  EXPECT_EQ(taken.Listen(error), -1);
  EXPECT_THAT(error, HasSubstr("Address already in use"));
  close(first);
}

TEST(PasswordFile, MustBeAPrivateFileWithAPassword) {
  std::string folder = (std::filesystem::temp_directory_path() / "plexion-vnc-XXXXXX").string();
  ASSERT_NE(mkdtemp(folder.data()), nullptr);
  const std::string path = folder + "/password";
  struct Case {
    const char* content;
    mode_t mode;
    const char* expected;  // of the error; null: none
  };
  const Case cases[] = {{"secret\nnote\n", 0600, nullptr},
                        {"secret", 0400, nullptr},
                        {"secret\r\n", 0600, nullptr},
                        {"secret\n", 0640, "has mode 0640; expected 0600"},
                        {"secret\n", 0604, "has mode 0604"},
                        {"", 0600, "has no password in its first line"},
                        {"\nsecret\n", 0600, "has no password in its first line"}};
  for (const Case& each : cases) {
    std::ofstream(path) << each.content;
    chmod(path.c_str(), each.mode);
    std::string password;
    std::string error;
    const bool read = ReadPasswordFile(path, password, error);
    EXPECT_EQ(read, each.expected == nullptr) << error;
    if (read) {
      EXPECT_EQ(password, "secret");
    } else {
      EXPECT_THAT(error, HasSubstr(each.expected));
    }
    unlink(path.c_str());
  }
  std::string password;
  std::string error;
  EXPECT_FALSE(ReadPasswordFile(path, password, error));
  EXPECT_THAT(error, HasSubstr("No such file"));
  EXPECT_FALSE(ReadPasswordFile(folder, password, error));
  EXPECT_THAT(error, HasSubstr("is no regular file"));
  std::filesystem::remove_all(folder);
}

}  // namespace
}  // namespace plexion_host
