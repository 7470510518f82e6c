#ifndef TESTS_HOST_MEDIA_HTTPSERVER_H_
#define TESTS_HOST_MEDIA_HTTPSERVER_H_

#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace plexion_host::player {

/// Answers one http request after the other on a loopback port, each on a connection of its own.
class HttpServer {
 public:
  /// Gets a request's head, returns the whole answer.
  using Answer = std::function<std::string(const std::string& head)>;

  explicit HttpServer(Answer answer);
  ~HttpServer();
  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;

  unsigned Port() const { return port_; }
  std::vector<std::string> Heads();
  static std::string Reply(const std::string& status, const std::string& headers,
                           const std::string& body);

 private:
  void Run();
  void Serve(int connection);

  const Answer answer_;
  int listener_ = -1;
  unsigned port_ = 0;
  std::mutex mutex_;
  std::vector<std::string> heads_;  // guarded by mutex_
  std::thread thread_;
};

}  // namespace plexion_host::player

#endif  // TESTS_HOST_MEDIA_HTTPSERVER_H_
