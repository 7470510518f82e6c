// Commands over a socket, from clients of all kinds.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <fstream>

#include "host/shell/SocketServer.h"
#include "tests/host/shell/ShellHost.h"

namespace plexion_host {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

int MakeSocket(const std::string& path, bool listens) {
  const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strcpy(address.sun_path, path.c_str());
  const auto* const generic = reinterpret_cast<const sockaddr*>(&address);
  const bool done = listens ? bind(fd, generic, sizeof(address)) == 0 && listen(fd, 1) == 0
                            : connect(fd, generic, sizeof(address)) == 0;
  if (done) return fd;
  close(fd);
  return -1;
}

class Client {
 public:
  explicit Client(const std::string& path) : fd_(MakeSocket(path, false)), listener_(fd_) {}
  ~Client() { Vanish(); }
  bool IsConnected() const { return fd_ >= 0; }
  void Send(const std::string& text) const {
    EXPECT_EQ(send(fd_, text.data(), text.size(), MSG_NOSIGNAL), static_cast<ssize_t>(text.size()));
  }
  /// Up to and with the line that ends an answer.
  std::string Receive() {
    std::string answer;
    for (;;) {
      const std::string line = listener_.ReadUntil("\n");
      answer += line;
      if (line.empty() || line.back() != '\n' || line == "OK\n" || line.rfind("ERROR", 0) == 0) {
        return answer;
      }
    }
  }
  std::string Ask(const std::string& line) {
    Send(line + "\n");
    return Receive();
  }
  std::string FinishSending() {
    shutdown(fd_, SHUT_WR);
    return listener_.ReadToEnd();
  }
  void Vanish() {
    if (fd_ >= 0) close(fd_);
    fd_ = -1;
  }

 private:
  int fd_;
  Listener listener_;
};

class SocketServerTest : public testing::Test {
 protected:
  SocketServerTest() {
    commands_.SetConsole(&TestKernel().GetConsole());
    commands_.Register("say", &say_);
  }
  void Start(std::chrono::milliseconds patience = SocketServer::kPatience) {
    server_ = std::make_unique<SocketServer>(commands_, patience);
    std::string error;
    ASSERT_TRUE(server_->Start(path_, error)) << error;
  }
  std::string Refusal(const std::string& path) {
    SocketServer server(commands_);
    std::string error;
    EXPECT_FALSE(server.Start(path, error)) << path;
    return error;
  }

  TestFolder folder_;
  const std::string path_ = folder_ / "shell.sock";
  EchoCommand say_;
  CommandTable commands_;
  std::unique_ptr<SocketServer> server_;
};

TEST_F(SocketServerTest, AGroupMayUseItWhenItIsAskedFor) {
  SocketServer server(commands_);
  std::string error;
  ASSERT_TRUE(server.Start(path_, error, std::to_string(getgid()))) << error;
  struct stat info {};
  ASSERT_EQ(0, stat(path_.c_str(), &info));
  EXPECT_EQ(0660u, info.st_mode & 0777u);
  EXPECT_EQ(getgid(), info.st_gid);
  SocketServer second(commands_);
  EXPECT_FALSE(second.Start(folder_ / "other.sock", error, "no such group"));
  EXPECT_EQ("there is no group 'no such group'; expected a group's name or number", error);
  EXPECT_NE(0, stat((folder_ / "other.sock").c_str(), &info)) << "nothing was made";
}

TEST_F(SocketServerTest, AnswersEachLineAndEndsWithOkOrError) {
  Start();
  Client client(path_);
  EXPECT_EQ(client.Ask("say 'two words'"), "[say][two words]\nOK\n");
  EXPECT_EQ(client.Ask(""), "OK\n");
  EXPECT_EQ(client.Ask("nonsense"),
            "ERROR usage: unknown command 'nonsense'; there are help, say\n");
  client.Send("say 1\r\nsay 2\nsay");
  EXPECT_EQ(client.Receive(), "[say][1]\nOK\n");
  EXPECT_EQ(client.Receive(), "[say][2]\nOK\n");
  EXPECT_EQ(client.FinishSending(), "[say]\nOK\n");
}

TEST_F(SocketServerTest, OutputThatLooksLikeAnEndIsSetApart) {
  Start();
  say_.message = "OK\nERROR in quotes\nOKAY";
  EXPECT_EQ(Client(path_).Ask("say"), "[say]\n OK\n ERROR in quotes\nOKAY\nOK\n");
}

TEST_F(SocketServerTest, OnlyTheOwnerMayConnectAndTheNameGoesAtTheEnd) {
  Start();
  struct stat info {};
  ASSERT_EQ(lstat(path_.c_str(), &info), 0);
  EXPECT_TRUE(S_ISSOCK(info.st_mode));
  EXPECT_EQ(info.st_mode & 0777u, 0600u);
  server_.reset();
  EXPECT_NE(lstat(path_.c_str(), &info), 0);
}

TEST_F(SocketServerTest, ReplacesADeadSocketAndNothingElse) {
  close(MakeSocket(path_, true));
  Start();
  EXPECT_THAT(Refusal(path_), HasSubstr("is in use by another process"));
  EXPECT_EQ(Client(path_).Ask("say"), "[say]\nOK\n");  // the refused one left it alone

  std::ofstream(folder_ / "file") << "precious";
  EXPECT_THAT(Refusal(folder_ / "file"), HasSubstr("exists and is no socket"));
  EXPECT_EQ(access((folder_ / "file").c_str(), F_OK), 0);
  EXPECT_THAT(Refusal(folder_ / "no/such/folder"), HasSubstr("No such file or directory"));
  EXPECT_EQ(Refusal(folder_ / std::string(200, 'x')).find("the socket's path has "), 0u);
  EXPECT_THAT(Refusal(""), HasSubstr("expected 1 to 107"));
}

TEST_F(SocketServerTest, LeavesANameThatHasBecomeAnothers) {
  Start();
  ASSERT_EQ(rename(path_.c_str(), (folder_ / "aside").c_str()), 0);
  const int other = MakeSocket(path_, true);
  server_.reset();
  EXPECT_EQ(access(path_.c_str(), F_OK), 0);
  close(other);
}

TEST_F(SocketServerTest, RefusesALineWithoutEndAndGoesOn) {
  Start();
  Client client(path_);
  EXPECT_EQ(client.Ask("say " + std::string(LineBuffer::kMaxLineBytes, 'x')),
            "ERROR usage: the line is longer than 4096 bytes\n");
  EXPECT_EQ(client.Ask("say"), "[say]\nOK\n");
}

TEST_F(SocketServerTest, AClientThatDoesNotReadHarmsNobody) {
  Start();
  say_.message = std::string(1 << 20, 'x');
  Client slow(path_);
  slow.Send("say 1\nsay 2\nsay 3\n");
  ASSERT_TRUE(say_.WaitForRuns(1));
  Client other(path_);
  EXPECT_EQ(other.Ask("help"), "help [COMMAND]  says what can be typed\nsay\nOK\n");
  EXPECT_EQ(say_.GetRuns().size(), 1u);  // its next line waits until it has read
  EXPECT_THAT(slow.Receive(), StartsWith("[say][1]\nxxx"));
  EXPECT_THAT(slow.Receive(), StartsWith("[say][2]\nxxx"));
  EXPECT_THAT(slow.Receive(), StartsWith("[say][3]\nxxx"));
}

TEST_F(SocketServerTest, AClientThatVanishesHarmsNobodyAndItsHalfLineIsNotRun) {
  Start();
  say_.message = std::string(1 << 20, 'x');
  Client vanishing(path_);
  vanishing.Send("say whole\nsay hal");
  ASSERT_TRUE(say_.WaitForRuns(1));
  vanishing.Vanish();
  say_.message.clear();
  EXPECT_EQ(Client(path_).Ask("say"), "[say]\nOK\n");
  Client half(path_);
  half.Send("say hal");
  half.Vanish();
  Client other(path_);
  EXPECT_EQ(other.Ask("say after"), "[say][after]\nOK\n");
  for (const std::vector<std::string>& run : say_.GetRuns()) {
    EXPECT_TRUE(run.size() == 1 || run[1] != "hal");
  }
}

TEST_F(SocketServerTest, RefusesMoreClientsThanItServes) {
  Start();
  std::list<Client> clients;
  for (size_t i = 0; i < SocketServer::kMaxClients; ++i) {
    clients.emplace_back(path_);
    EXPECT_EQ(clients.back().Ask("say"), "[say]\nOK\n");
  }
  EXPECT_EQ(Client(path_).Receive(), "ERROR there are 16 clients already\n");
  clients.pop_front();
  EXPECT_EQ(clients.back().Ask("say"), "[say]\nOK\n");
}

TEST_F(SocketServerTest, WhoKeepsAPlaceForNothingLosesItToWhoNeedsIt) {
  Start(std::chrono::milliseconds(0));
  Client dripping(path_);
  dripping.Send("sa");
  std::list<Client> clients;
  for (size_t i = 1; i < SocketServer::kMaxClients; ++i) {
    clients.emplace_back(path_);
    EXPECT_EQ(clients.back().Ask("say"), "[say]\nOK\n");
  }
  dripping.Send("y");  // bytes alone do not count
  Client other(path_);
  EXPECT_EQ(other.Ask("say it"), "[say][it]\nOK\n");
  EXPECT_EQ(dripping.Receive(), "") << "it is gone";
  // Then those whose last answer is longest ago, one by one.
  EXPECT_EQ(clients.front().Ask("say"), "[say]\nOK\n");
  Client last(path_);
  EXPECT_EQ(last.Ask("say"), "[say]\nOK\n");
  EXPECT_EQ(clients.front().Ask("say"), "[say]\nOK\n");
  EXPECT_EQ(std::next(clients.begin())->Receive(), "");
}

TEST_F(SocketServerTest, EndsAtOnceWithClientsConnected) {
  Start();
  Client client(path_);
  EXPECT_EQ(client.Ask("say"), "[say]\nOK\n");
  server_.reset();
  EXPECT_EQ(client.FinishSending(), "");
}

}  // namespace
}  // namespace plexion_host
