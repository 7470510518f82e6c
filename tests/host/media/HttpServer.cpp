#include "tests/host/media/HttpServer.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <utility>

namespace plexion_host::player {

HttpServer::HttpServer(Answer answer) : answer_(std::move(answer)) {
  listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  bind(listener_, reinterpret_cast<sockaddr*>(&address), size);
  listen(listener_, 8);
  getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size);
  port_ = ntohs(address.sin_port);
  thread_ = std::thread([this] { Run(); });
}

HttpServer::~HttpServer() {
  shutdown(listener_, SHUT_RDWR);
  thread_.join();
  close(listener_);
}

std::vector<std::string> HttpServer::Heads() {
  std::lock_guard<std::mutex> lock(mutex_);
  return heads_;
}

std::string HttpServer::Reply(const std::string& status, const std::string& headers,
                              const std::string& body) {
  return "HTTP/1.1 " + status + "\r\nConnection: close\r\n" + headers +
         "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

void HttpServer::Run() {
  for (;;) {
    const int connection = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    if (connection < 0) return;
    Serve(connection);
    close(connection);
  }
}

void HttpServer::Serve(int connection) {
  std::string head;
  char buffer[2048];
  while (head.find("\r\n\r\n") == std::string::npos) {
    const ssize_t got = recv(connection, buffer, sizeof buffer, 0);
    if (got <= 0) return;
    head.append(buffer, static_cast<size_t>(got));
  }
  {
    std::lock_guard<std::mutex> lock(mutex_);
    heads_.push_back(head);
  }
  const std::string answer = answer_(head);
  size_t done = 0;
  while (done < answer.size()) {
    const ssize_t sent = send(connection, answer.data() + done, answer.size() - done, MSG_NOSIGNAL);
    if (sent <= 0) return;
    done += static_cast<size_t>(sent);
  }
}

}  // namespace plexion_host::player
