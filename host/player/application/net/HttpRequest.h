// One question to a server, and its answer, within limits.
#ifndef HOST_PLAYER_APPLICATION_NET_HTTPREQUEST_H_
#define HOST_PLAYER_APPLICATION_NET_HTTPREQUEST_H_

#include <curl/curl.h>
#include <stdint.h>

#include <atomic>
#include <string>
#include <string_view>
#include <utility>

#include "host/player/application/net/DataAccess.h"

namespace plexion_host::player::application {

/// What a server said of its last answer, for the next question.
struct AnswerVersion {
  std::string entityTag;
  std::string lastModified;
};

/// A question under way. Redirections are not followed by the library but come back to whoever
/// asked, who knows where they may lead.
class HttpRequest {
 public:
  enum class Outcome { kAnswer, kUnchanged, kRedirected, kFailed };

  /// `underWay` counts the bytes of all requests that share it; it outlives them.
  explicit HttpRequest(std::atomic<uint64_t>& underWay);
  ~HttpRequest();
  HttpRequest(const HttpRequest&) = delete;
  HttpRequest& operator=(const HttpRequest&) = delete;

  /// Sets the question up; `proxy` is the one of now, `version` that of the answer which is already there.
  void Begin(const std::string& address, double timeoutSeconds, const FetchSettings& settings,
             const ProxySettings& proxy, const AnswerVersion& version);
  /// To be driven by a curl_multi; null when the library is out of memory.
  CURL* Handle() { return handle_; }
  /// What became of it, once the library says `code`.
  Outcome Finish(CURLcode code);

  const std::string& Bytes() const { return bytes_; }
  /// They stay counted until whoever takes them has done with them.
  std::string TakeBytes() { return std::exchange(bytes_, {}); }
  const AnswerVersion& Version() const { return answered_; }
  const std::string& Redirection() const { return redirection_; }
  const std::string& Failure() const { return failure_; }

 private:
  static size_t OnHead(char* bytes, size_t size, size_t count, void* self);
  static size_t OnBody(char* bytes, size_t size, size_t count, void* self);
  /// Gives the memory of an answer back.
  void Drop();
  Outcome OutcomeOf(CURLcode code);
  void SetIdentity(const std::string& host, const FetchSettings& settings);

  CURL* handle_;
  curl_slist* headers_ = nullptr;
  char reason_[CURL_ERROR_SIZE] = {};
  std::string bytes_;
  size_t headBytes_ = 0;
  bool isTooLarge_ = false;
  bool hasNoRoom_ = false;
  std::atomic<uint64_t>& underWay_;
  AnswerVersion answered_;
  std::string redirection_;
  std::string failure_;
};

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_NET_HTTPREQUEST_H_
