// A server on loopback that answers as a test wants.

#ifndef TESTS_HOST_MEDIA_HTTPSERVER_H_
#define TESTS_HOST_MEDIA_HTTPSERVER_H_

#include <gio/gio.h>

#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "host/base/Mutex.h"

namespace plexion_host::player {

/// Answers http or https requests on a loopback port, each on a connection and thread of its own.
class HttpServer {
 public:
  /// Who has sent a request. The connection ends when the handler returns, unless it is kept.
  class Peer {
   public:
    Peer(GIOStream* stream, int socket) : stream_(stream), socket_(socket) {}
    /// Returns  false when nobody reads any more.
    bool Send(const std::string& bytes);
    /// The next request comes on this connection, too.
    void KeepOpen() { open_ = true; }
    /// Becomes a tunnel to another port of this machine until either side is done.
    void Tunnel(unsigned port);

   private:
    friend class HttpServer;
    bool ReadHead(std::string& head);

    GIOStream* const stream_;
    const int socket_;
    bool open_ = true;
  };
  using Handler = std::function<void(const std::string& head, Peer& peer)>;
  /// Gets a request's head, returns the whole answer.
  using Answer = std::function<std::string(const std::string& head)>;

  struct Tls {
    std::string certificate;      ///< PEM file with key; empty: plain http
    std::string clientAuthority;  ///< PEM file; not empty: clients must have a certificate of it
  };

  explicit HttpServer(Answer answer, Tls tls = {});
  HttpServer(Handler handler, Tls tls);
  /// Ends the connections that there are.
  ~HttpServer();
  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;

  unsigned Port() const { return port_; }
  std::string Address(const std::string& path) const;
  std::vector<std::string> Heads();
  static std::string Reply(const std::string& status, const std::string& headers,
                           const std::string& body);
  /// A reply that serves the part of `body` which a Range header asks for.
  static std::string ReplyWithRange(const std::string& head, const std::string& headers,
                                    const std::string& body);

 private:
  void Run();
  void Serve(int connection);
  GIOStream* Secured(GIOStream* stream) const;

  const Handler handler_;
  const Tls tls_;
  int listener_ = -1;
  unsigned port_ = 0;
  Mutex mutex_;
  std::vector<std::string> heads_ GUARDED_BY(mutex_);
  std::vector<int> connections_ GUARDED_BY(mutex_);
  std::vector<std::thread> handlers_;  // the accepting thread's, until that has ended
  std::thread thread_;
};

}  // namespace plexion_host::player

#endif  // TESTS_HOST_MEDIA_HTTPSERVER_H_
