// Commands over a socket.

#ifndef HOST_SHELL_SOCKETSERVER_H_
#define HOST_SHELL_SOCKETSERVER_H_

#include <chrono>
#include <list>
#include <string>

#include "host/base/NamedThread.h"
#include "host/base/WakeSignal.h"
#include "host/shell/CommandTable.h"
#include "host/shell/LineBuffer.h"
#include "host/shell/SocketFile.h"

namespace plexion_host {

/// The shell's commands over a Unix socket: one line in, the output's lines out, then "OK" or
/// "ERROR reason". Commands of all clients run on this object's thread in the order of arrival.
///
/// A client that does not read its answers is not read from either, so it holds one answer and
/// harms nobody. When all places are taken, whoever comes gets that of the client whose last answer
/// is longest ago, if that is longer than the patience: who sends a line's bytes one by one, or reads
/// no answer, keeps a place only as long as nobody else needs it.
class SocketServer {
 public:
  static constexpr size_t kMaxClients = 16;

  static constexpr std::chrono::milliseconds kPatience{10000};

  /// `commands` must outlive this.
  explicit SocketServer(CommandTable& commands, std::chrono::milliseconds patience = kPatience)
      : commands_(commands), patience_(patience) {}
  ~SocketServer();
  SocketServer(const SocketServer&) = delete;
  SocketServer& operator=(const SocketServer&) = delete;

  /// `group`: see SocketFile. Returns  false with the reason in `error`.
  bool Start(const std::string& path, std::string& error, const std::string& group = {});

  /// The answer to a line as it goes over the socket.
  static std::string FormatAnswer(const CommandTable::Outcome& outcome);

 private:
  struct Client {
    int fd = -1;
    LineBuffer lines;
    std::string answer;  // what has not been sent yet
    bool ended = false;  // sends nothing any more
    bool gone = false;
    std::chrono::steady_clock::time_point since{};  // it came, or its last answer was taken
  };

  void Serve();
  void AcceptClients();
  /// Returns  false when no client has been silent for long enough.
  bool MakeRoom();
  void Read(Client& client, bool hungUp);
  void Send(Client& client);
  /// Runs what the client has sent, line by line, as long as it takes the answers.
  void Work(Client& client);

  CommandTable& commands_;
  const std::chrono::milliseconds patience_;
  WakeSignal wake_;
  SocketFile socket_;
  std::list<Client> clients_;  // the thread's
  NamedThread thread_;
};

}  // namespace plexion_host

#endif  // HOST_SHELL_SOCKETSERVER_H_
