// The page over HTTP.

#ifndef HOST_LOOK_LOOKSERVER_H_
#define HOST_LOOK_LOOKSERVER_H_

#include <chrono>
#include <memory>
#include <string>

#include "host/contracts/IHostLook.h"
#include "host/look/Places.h"
#include "host/look/RequestRules.h"

struct MHD_Connection;
struct MHD_Daemon;

namespace plexion_host {

/// Few clients, short requests, one thread: a client that is slow costs a connection until another
/// one needs its place, one that says nothing for a few seconds. The picture is made twice a second at most, whoever asks.
class LookServer final : public IHostLook {
 public:
  static constexpr unsigned kMostClients = 16;
  static constexpr unsigned kMostFromOneAddress = 12;
  static constexpr unsigned kPatienceSeconds = 10;
  static constexpr uint32_t kMostSide = 960;

  LookServer() = default;
  ~LookServer() override { Stop(); }
  LookServer(const LookServer&) = delete;
  LookServer& operator=(const LookServer&) = delete;

  bool Start(const LookSettings& settings, ILookSource& source, std::string& error) override;
  uint16_t GetPort() override { return port_; }
  void Stop() override;

 private:
  struct Answer {
    unsigned status = 200;
    std::string type = "text/plain; charset=utf-8";
    std::string body;
    std::string location;
    std::string policy = "default-src 'none'; frame-ancestors 'none'";
  };

  Answer Handle(const LookRequest& request);
  Answer Get(const std::string& rest);
  Answer Act(const std::string& action);
  const std::string& Picture();
  /// Of an answer to HEAD the library leaves the body out by itself.
  static bool Send(MHD_Connection* connection, const Answer& answer);

  friend struct LookCallbacks;

  ILookSource* source_ = nullptr;
  std::unique_ptr<RequestRules> rules_;
  uint16_t port_ = 0;
  MHD_Daemon* daemon_ = nullptr;

  // The server's thread alone.
  Places places_{kMostClients, kMostFromOneAddress};
  std::string picture_;
  uint64_t pictureFrame_ = 0;
  std::chrono::steady_clock::time_point pictureAt_{};
};

}  // namespace plexion_host

#endif  // HOST_LOOK_LOOKSERVER_H_
