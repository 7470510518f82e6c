// Answers the page's requests by libmicrohttpd.
#include "host/look/LookServer.h"

#include <arpa/inet.h>
#include <microhttpd.h>
#include <sys/random.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <exception>

#include "host/base/RandomToken.h"
#include "host/look/LookPage.h"
#include "host/look/ScreenPicture.h"

namespace plexion_host {
namespace {

constexpr std::chrono::milliseconds kPictureLasts{500};
constexpr size_t kMemoryOfConnection = size_t{32} * 1024;

std::string HeaderOf(MHD_Connection* connection, const char* name) {
  const char* const value = MHD_lookup_connection_value(connection, MHD_HEADER_KIND, name);
  return value == nullptr ? "" : value;
}

std::string AddressOf(const sockaddr& address) {
  char text[INET6_ADDRSTRLEN] = {};
  const void* const bytes =
      address.sa_family == AF_INET
          ? static_cast<const void*>(&reinterpret_cast<const sockaddr_in&>(address).sin_addr)
          : &reinterpret_cast<const sockaddr_in6&>(address).sin6_addr;
  const char* const shown = inet_ntop(address.sa_family, bytes, text, sizeof text);
  return shown == nullptr ? "" : shown;
}

}  // namespace

/// The library's callbacks, which are plain functions.
struct LookCallbacks {
  /// Called with a request's head, then for each piece of its body, then to be answered. Nobody needs
  /// to send us anything: bodies are read and dropped, as long as they are short.
  static MHD_Result OnRequest(void* context, MHD_Connection* connection, const char* url,
                              const char* method, const char*, const char*, size_t* bodySize,
                              void** seen) {
    auto* const server = static_cast<LookServer*>(context);
    // Only its address is used: the library hands back whatever stands in `seen`, and null is the first call.
    static int mark = 0;
    if (*seen == nullptr) {
      *seen = &mark;
      return MHD_YES;
    }
    if (*bodySize != 0) {
      constexpr size_t kMostBody = 4096;
      if (*bodySize > kMostBody) return MHD_NO;
      *bodySize = 0;
      return MHD_YES;
    }
    LookRequest request{method,
                        url,
                        HeaderOf(connection, "Host"),
                        HeaderOf(connection, "Origin"),
                        HeaderOf(connection, "Sec-Fetch-Site"),
                        HeaderOf(connection, "X-Plexion")};
    LookServer::Answer answer;
    try {
      answer = server->Handle(request);
      // Nothing may pass through the library, which is written in C.
    } catch (const std::exception&) {
      return MHD_NO;
    }
    return server->Send(connection, answer) ? MHD_YES : MHD_NO;
  }

  static void OnConnection(void* context, MHD_Connection* connection, void**,
                           MHD_ConnectionNotificationCode code) {
    Places& places = static_cast<LookServer*>(context)->places_;
    if (code == MHD_CONNECTION_NOTIFY_CLOSED) {
      places.Leave(connection);
      return;
    }
    const auto* const socket =
        MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD);
    const auto* const client =
        MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CLIENT_ADDRESS);
    if (socket == nullptr || client == nullptr) return;
    const auto goes = places.Enter(connection, socket->connect_fd, AddressOf(*client->client_addr),
                                   Places::Clock::now());
    // The library sees the end of it and closes it, as if the client had.
    if (goes) shutdown(*goes, SHUT_RDWR);
  }

  static void OnAnswered(void* context, MHD_Connection* connection, void**,
                         MHD_RequestTerminationCode) {
    static_cast<LookServer*>(context)->places_.Answered(connection, Places::Clock::now());
  }
};

bool LookServer::Start(const LookSettings& settings, ILookSource& source, std::string& error) {
  sockaddr_storage address{};
  auto* const four = reinterpret_cast<sockaddr_in*>(&address);
  auto* const six = reinterpret_cast<sockaddr_in6*>(&address);
  // One thread for all: no answer waits for anybody, so `source_` and the pictures need no lock of ours.
  unsigned flags = MHD_USE_INTERNAL_POLLING_THREAD | MHD_USE_AUTO | MHD_USE_ITC;
  if (inet_pton(AF_INET, settings.address.c_str(), &four->sin_addr) == 1) {
    four->sin_family = AF_INET;
    four->sin_port = htons(settings.port);
  } else if (inet_pton(AF_INET6, settings.address.c_str(), &six->sin6_addr) == 1) {
    six->sin6_family = AF_INET6;
    six->sin6_port = htons(settings.port);
    flags |= MHD_USE_IPv6;
  } else {
    error = "'" + settings.address + "' is no address; expected one in numbers, such as 127.0.0.1";
    return false;
  }
  source_ = &source;
  // The library's own limit has room for those who are just going.
  // The port may only be known behind this; nobody has its address before that.
  rules_ = std::make_unique<RequestRules>(settings.address, settings.port, settings.token);
  errno = 0;
  daemon_ = MHD_start_daemon(
      flags, settings.port, nullptr, nullptr, &LookCallbacks::OnRequest, this, MHD_OPTION_SOCK_ADDR,
      reinterpret_cast<sockaddr*>(&address), MHD_OPTION_CONNECTION_LIMIT, 2 * kMostClients,
      MHD_OPTION_NOTIFY_CONNECTION, &LookCallbacks::OnConnection, this, MHD_OPTION_NOTIFY_COMPLETED,
      &LookCallbacks::OnAnswered, this, MHD_OPTION_CONNECTION_TIMEOUT, kPatienceSeconds,
      MHD_OPTION_CONNECTION_MEMORY_LIMIT, kMemoryOfConnection, MHD_OPTION_END);
  if (daemon_ == nullptr) {
    error = "nothing can be served at " + settings.address + " port " +
            std::to_string(settings.port) + ": " + (errno != 0 ? std::strerror(errno) : "refused");
    return false;
  }
  const MHD_DaemonInfo* const info = MHD_get_daemon_info(daemon_, MHD_DAEMON_INFO_BIND_PORT);
  port_ = info != nullptr ? info->port : settings.port;
  if (port_ == settings.port) return true;
  // Port 0 was asked for. The rules compare the Host header with the port, and only now it is known: once
  // more, with the number that the system has just given.
  LookSettings found = settings;
  found.port = port_;
  MHD_stop_daemon(daemon_);
  daemon_ = nullptr;
  return Start(found, source, error);
}

void LookServer::Stop() {
  if (daemon_ != nullptr) MHD_stop_daemon(daemon_);
  daemon_ = nullptr;
}

LookServer::Answer LookServer::Handle(const LookRequest& request) {
  std::string rest;
  const unsigned refusal = rules_->Check(request, rest);
  if (refusal != 0) {
    Answer answer;
    answer.status = refusal;
    answer.body = refusal == 405
                      ? "this cannot be done with it\n"
                      : "not with this address; expected the one that Plexion has told\n";
    return answer;
  }
  if (rest.empty()) {
    Answer answer;
    answer.status = 303;
    answer.location = request.path + "/";
    return answer;
  }
  return request.method == "POST" ? Act(rest.substr(4)) : Get(rest);
}

LookServer::Answer LookServer::Get(const std::string& rest) {
  Answer answer;
  if (rest == "/") {
    // For this answer alone: a script that somebody gets into the page does not know it, and does not run.
    const std::string nonce = RandomToken();
    answer.type = "text/html; charset=utf-8";
    answer.body = LookPage(nonce);
    answer.policy =
        "default-src 'none'; img-src 'self'; connect-src 'self'; base-uri 'none'; "
        "form-action 'none'; frame-ancestors 'none'; script-src 'nonce-" +
        nonce + "'; style-src 'nonce-" + nonce + "'";
  } else if (rest == "/status") {
    answer.type = "application/json";
    answer.body = source_->GetStatus();
  } else if (rest == "/picture.jpg") {
    answer.type = "image/jpeg";
    answer.body = Picture();
    if (answer.body.empty()) answer.status = 404;
  } else if (rest == "/day.svg") {
    answer.type = "image/svg+xml";
    answer.body = source_->GetDay();
    if (answer.body.empty()) answer.status = 404;
  } else {
    answer.status = 404;
    answer.body = "there is nothing here\n";
  }
  return answer;
}

LookServer::Answer LookServer::Act(const std::string& action) {
  Answer answer;
  for (const char* const known : {"next", "previous", "pause", "play"}) {
    if (action != known) continue;
    std::string error;
    if (source_->Act(action, error)) return answer;
    // The request was in order; what plays did not take it.
    answer.status = 409;
    answer.body = error + "\n";
    return answer;
  }
  answer.status = 404;
  answer.body = "expected next, previous, pause or play\n";
  return answer;
}

const std::string& LookServer::Picture() {
  const auto now = std::chrono::steady_clock::now();
  const uint64_t frame = source_->GetFrameCount();
  // However many look, a picture is made twice a second at most, and none where nothing was presented.
  const bool fresh =
      !picture_.empty() && (frame == pictureFrame_ || now < pictureAt_ + kPictureLasts);
  qx::plexion::Dims dims{};
  std::vector<uint32_t> pixels;
  if (fresh || !source_->CopyScreen(dims, pixels)) return picture_;
  picture_ = EncodeScreen(dims, pixels, kMostSide);
  pictureFrame_ = frame;
  pictureAt_ = now;
  return picture_;
}

bool LookServer::Send(MHD_Connection* connection, const Answer& answer) {
  MHD_Response* const response = MHD_create_response_from_buffer(
      answer.body.size(), const_cast<char*>(answer.body.data()), MHD_RESPMEM_MUST_COPY);
  if (response == nullptr) return false;
  const auto add = [&](const char* name, const std::string& value) {
    MHD_add_response_header(response, name, value.c_str());
  };
  add("Content-Type", answer.type);
  add("Content-Security-Policy", answer.policy);
  // The token stays here: in no other site's log, in no cache, in no frame.
  add("Referrer-Policy", "no-referrer");
  add("Cache-Control", "no-store");
  add("X-Content-Type-Options", "nosniff");
  add("X-Frame-Options", "DENY");
  add("Cross-Origin-Resource-Policy", "same-origin");
  add("Cross-Origin-Opener-Policy", "same-origin");
  if (!answer.location.empty()) add("Location", answer.location);
  const MHD_Result queued = MHD_queue_response(connection, answer.status, response);
  MHD_destroy_response(response);
  return queued == MHD_YES;
}

}  // namespace plexion_host
