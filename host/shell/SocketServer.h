// Commands over a socket.

#ifndef HOST_SHELL_SOCKETSERVER_H_
#define HOST_SHELL_SOCKETSERVER_H_

#include <functional>
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
/// harms nobody.
class SocketServer {
 public:
  static constexpr size_t kMaxClients = 16;

  /// `commands` must outlive this.
  explicit SocketServer(CommandTable& commands) : commands_(commands) {}
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
  };

  void Serve();
  void AcceptClients();
  void Read(Client& client, bool hungUp);
  void Send(Client& client);
  /// Runs what the client has sent, line by line, as long as it takes the answers.
  void Work(Client& client);

  CommandTable& commands_;
  WakeSignal wake_;
  SocketFile socket_;
  std::list<Client> clients_;  // the thread's
  NamedThread thread_;
};

}  // namespace plexion_host

#endif  // HOST_SHELL_SOCKETSERVER_H_
