// Serves clients from one thread, none of which makes it wait.

#include "host/shell/SocketServer.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <sstream>
#include <vector>

#include "host/base/Check.h"

namespace plexion_host {
namespace {

constexpr int kNoDescriptorsPauseMs = 100;

bool LooksLikeTheEnd(const std::string& line) {
  return line == "OK" || line.compare(0, 5, "ERROR") == 0;
}

}  // namespace

SocketServer::~SocketServer() {
  wake_.Raise();
  thread_.Join();
  for (const Client& client : clients_) close(client.fd);
}

bool SocketServer::Start(const std::string& path, std::string& error, const std::string& group) {
  PLEXION_CHECK(!thread_.IsJoinable(), "a server is started once");
  if (wake_.Fd() < 0) {
    error = "no event descriptor to be had";
    return false;
  }
  if (!socket_.Open(path, error, group)) return false;
  thread_ = NamedThread("PlexionSocket", [this] { Serve(); });
  return true;
}

std::string SocketServer::FormatAnswer(const CommandTable::Outcome& outcome) {
  std::string answer;
  std::istringstream lines(outcome.output);
  std::string line;
  while (std::getline(lines, line)) {
    // A line of output must not be taken for the end of the answer.
    if (LooksLikeTheEnd(line)) answer += ' ';
    answer += line + '\n';
  }
  answer +=
      outcome.succeeded ? "OK" : (outcome.misused ? "ERROR usage: " : "ERROR ") + outcome.reason;
  return answer + '\n';
}

void SocketServer::Serve() {
  while (!wake_.IsRaised()) {
    // Who has not taken an answer yet is not read from: a client that only writes fills its own buffer, not ours.
    std::vector<pollfd> waits{{wake_.Fd(), POLLIN, 0}, {socket_.Fd(), POLLIN, 0}};
    for (const Client& client : clients_) {
      waits.push_back({client.fd, static_cast<short>(client.answer.empty() ? POLLIN : POLLOUT), 0});
    }
    if (poll(waits.data(), waits.size(), -1) < 0) {
      if (errno == EINTR) continue;
      return;
    }
    size_t index = 2;
    for (Client& client : clients_) {
      const short events = waits[index++].revents;
      if (events == 0) continue;
      if (client.answer.empty()) Read(client, (events & POLLHUP) != 0);
      if (!client.gone) Send(client);
      if (!client.gone) Work(client);
    }
    // Behind the loop, which still counts by the order of `waits`.
    clients_.remove_if([](const Client& client) {
      const bool finished = client.ended && client.lines.IsEmpty() && client.answer.empty();
      if (client.gone || finished) close(client.fd);
      return client.gone || finished;
    });
    if ((waits[1].revents & POLLIN) != 0) AcceptClients();
  }
}

void SocketServer::AcceptClients() {
  for (;;) {
    const int fd = accept4(socket_.Fd(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (fd < 0) {
      // Out of descriptors, a caller stays at the door and poll returns at once: not a busy loop.
      pollfd wake{wake_.Fd(), POLLIN, 0};
      if (errno == EMFILE || errno == ENFILE) poll(&wake, 1, kNoDescriptorsPauseMs);
      return;
    }
    if (clients_.size() < kMaxClients || MakeRoom()) {
      clients_.emplace_back();
      clients_.back().fd = fd;
      clients_.back().since = std::chrono::steady_clock::now();
      continue;
    }
    const std::string refusal =
        "ERROR there are " + std::to_string(kMaxClients) + " clients already\n";
    const ssize_t sent = send(fd, refusal.data(), refusal.size(), MSG_NOSIGNAL);
    (void)sent;  // who does not take it finds the connection closed
    close(fd);
  }
}

bool SocketServer::MakeRoom() {
  const auto longest = std::min_element(
      clients_.begin(), clients_.end(),
      [](const Client& one, const Client& other) { return one.since < other.since; });
  if (std::chrono::steady_clock::now() - longest->since < patience_) return false;
  close(longest->fd);
  clients_.erase(longest);
  return true;
}

void SocketServer::Read(Client& client, bool hungUp) {
  char bytes[4096];
  const ssize_t count = recv(client.fd, bytes, sizeof(bytes), 0);
  if (count > 0) {
    // One piece at a turn: who sends without end has its turn like all others.
    client.lines.Append(bytes, static_cast<size_t>(count));
  } else if (count == 0) {
    // Who merely ends sending means what was sent; who vanishes in the middle of a line may have
    // meant another one.
    if (!hungUp) client.lines.Finish();
    client.ended = true;
  } else if (errno != EINTR && errno != EAGAIN) {
    client.gone = true;
  }
}

void SocketServer::Send(Client& client) {
  if (client.answer.empty()) return;
  while (!client.answer.empty()) {
    const ssize_t sent = send(client.fd, client.answer.data(), client.answer.size(), MSG_NOSIGNAL);
    if (sent > 0) {
      client.answer.erase(0, static_cast<size_t>(sent));
    } else if (sent < 0 && errno == EAGAIN) {
      return;
    } else if (sent == 0 || errno != EINTR) {
      client.gone = true;
      return;
    }
  }
  client.since = std::chrono::steady_clock::now();
}

void SocketServer::Work(Client& client) {
  while (!client.gone && client.answer.empty() && !client.lines.IsEmpty() && !wake_.IsRaised()) {
    // Commands run on this thread, one after the other; a slow one makes the other clients wait, not the display.
    const LineBuffer::Line line = client.lines.Take();
    client.answer =
        FormatAnswer(line.tooLong ? CommandTable::RefuseLongLine() : commands_.Run(line.text));
    Send(client);
  }
}

}  // namespace plexion_host
