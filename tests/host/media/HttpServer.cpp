// Serves http, https and tunnels on loopback.

#include "tests/host/media/HttpServer.h"

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace plexion_host::player {

namespace {

sockaddr_in Loopback(unsigned port) {
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

bool Pass(int from, int to) {
  char buffer[16384];
  const ssize_t got = recv(from, buffer, sizeof buffer, 0);
  return got > 0 && send(to, buffer, static_cast<size_t>(got), MSG_NOSIGNAL) == got;
}

}  // namespace

bool HttpServer::Peer::Send(const std::string& bytes) {
  return g_output_stream_write_all(g_io_stream_get_output_stream(stream_), bytes.data(),
                                   bytes.size(), nullptr, nullptr, nullptr) != FALSE;
}

bool HttpServer::Peer::ReadHead(std::string& head) {
  head.clear();
  char byte = 0;
  while (head.size() < 4 || head.compare(head.size() - 4, 4, "\r\n\r\n") != 0) {
    if (g_input_stream_read(g_io_stream_get_input_stream(stream_), &byte, 1, nullptr, nullptr) <=
        0) {
      return false;
    }
    head += byte;
  }
  return true;
}

void HttpServer::Peer::Tunnel(unsigned port) {
  const int other = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address = Loopback(port);
  if (connect(other, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) {
    pollfd ends[] = {{socket_, POLLIN, 0}, {other, POLLIN, 0}};
    for (bool open = true; open && poll(ends, 2, -1) > 0;) {
      if (ends[0].revents != 0) open = Pass(socket_, other);
      if (open && ends[1].revents != 0) open = Pass(other, socket_);
    }
  }
  close(other);
}

HttpServer::HttpServer(Answer answer, Tls tls)
    : HttpServer([answer = std::move(answer)](const std::string& head,
                                              Peer& peer) { peer.Send(answer(head)); },
                 std::move(tls)) {}

HttpServer::HttpServer(Handler handler, Tls tls)
    : handler_(std::move(handler)), tls_(std::move(tls)) {
  listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address = Loopback(0);
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
  {
    const MutexLock lock(mutex_);
    for (const int connection : connections_) shutdown(connection, SHUT_RDWR);
  }
  for (std::thread& handler : handlers_) handler.join();
  close(listener_);
}

std::string HttpServer::Address(const std::string& path) const {
  return (tls_.certificate.empty() ? "http://127.0.0.1:" : "https://localhost:") +
         std::to_string(port_) + path;
}

std::vector<std::string> HttpServer::Heads() {
  const MutexLock lock(mutex_);
  return heads_;
}

std::string HttpServer::Reply(const std::string& status, const std::string& headers,
                              const std::string& body) {
  return "HTTP/1.1 " + status + "\r\nConnection: close\r\n" + headers +
         "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

std::string HttpServer::ReplyWithRange(const std::string& head, const std::string& headers,
                                       const std::string& body) {
  const std::string ranges = "Accept-Ranges: bytes\r\n" + headers;
  const std::string mark = "\r\nRange: bytes=";
  const size_t at = head.find(mark);
  if (at == std::string::npos) return Reply("200 OK", ranges, body);
  char* rest = nullptr;
  const size_t first = std::strtoul(head.c_str() + at + mark.size(), &rest, 10);
  const size_t last = rest[1] == '\r' ? body.size() - 1 : std::strtoul(rest + 1, nullptr, 10);
  const std::string part = body.substr(first, last - first + 1);
  return Reply("206 Partial Content",
               ranges + "Content-Range: bytes " + std::to_string(first) + "-" +
                   std::to_string(first + part.size() - 1) + "/" + std::to_string(body.size()) +
                   "\r\n",
               part);
}

void HttpServer::Run() {
  for (;;) {
    const int connection = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    if (connection < 0) return;
    const MutexLock lock(mutex_);
    connections_.push_back(connection);
    handlers_.emplace_back([this, connection] { Serve(connection); });
  }
}

GIOStream* HttpServer::Secured(GIOStream* stream) const {
  GTlsCertificate* certificate = g_tls_certificate_new_from_file(tls_.certificate.c_str(), nullptr);
  GIOStream* secured = g_tls_server_connection_new(stream, certificate, nullptr);
  g_object_unref(certificate);
  g_object_unref(stream);
  if (secured == nullptr || tls_.clientAuthority.empty()) return secured;
  g_object_set(secured, "authentication-mode", G_TLS_AUTHENTICATION_REQUIRED, nullptr);
  const auto accept = +[](GTlsConnection*, GTlsCertificate* shown, GTlsCertificateFlags,
                          const Tls* tls) -> gboolean {
    GTlsCertificate* authority =
        g_tls_certificate_new_from_file(tls->clientAuthority.c_str(), nullptr);
    const GTlsCertificateFlags faults = g_tls_certificate_verify(shown, nullptr, authority);
    g_object_unref(authority);
    return faults == 0 ? TRUE : FALSE;
  };
  g_signal_connect(secured, "accept-certificate", G_CALLBACK(accept),
                   const_cast<Tls*>(&tls_));  // handed back as it is
  return secured;
}

void HttpServer::Serve(int connection) {
  // The stream gets a descriptor of its own: the destructor may want to end this one.
  GSocket* end = g_socket_new_from_fd(dup(connection), nullptr);
  GIOStream* stream = G_IO_STREAM(g_socket_connection_factory_create_connection(end));
  g_object_unref(end);
  if (!tls_.certificate.empty()) stream = Secured(stream);
  if (stream != nullptr) {
    Peer peer(stream, connection);
    std::string head;
    while (peer.open_ && peer.ReadHead(head)) {
      {
        const MutexLock lock(mutex_);
        heads_.push_back(head);
      }
      peer.open_ = false;
      handler_(head, peer);
    }
    g_io_stream_close(stream, nullptr, nullptr);
    g_object_unref(stream);
  }
  const MutexLock lock(mutex_);
  connections_.erase(std::find(connections_.begin(), connections_.end(), connection));
  shutdown(connection, SHUT_RDWR);
  close(connection);
}

}  // namespace plexion_host::player
