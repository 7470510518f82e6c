// How remote content is reached.

#ifndef HOST_PLAYER_MEDIA_NET_HTTPACCESS_H_
#define HOST_PLAYER_MEDIA_NET_HTTPACCESS_H_

#include <gst/gst.h>

#include <string>

#include "host/base/Mutex.h"
#include "host/player/Engine.h"
#include "host/player/media/net/ClientCertificates.h"
#include "host/player/media/net/ServerTrust.h"

namespace plexion_host::player {

/// How remote content is reached: through which proxy, which servers are trusted, and how the
/// player makes itself known to them.
///
/// Thread   any; sources are set up on the framework's threads.
class HttpAccess {
 public:
  HttpAccess() = default;
  HttpAccess(const HttpAccess&) = delete;
  HttpAccess& operator=(const HttpAccess&) = delete;

  void SetProxy(const ProxySettings& proxy);
  ProxySettings Proxy() const;
  /// The proxy as an address for GIO; empty when none is set here.
  std::string ProxyAddress(bool https) const;

  /// What https needs, see ServerTrust::Use and ClientCertificates::Read. Before the first SetUp.
  bool UseCertificates(const std::string& trustedFolder, const std::string& clientTable,
                       EngineError& error);

  /// Tells a source what is set here; elements that know nothing of http are left alone.
  void SetUp(GstElement* source);

  /// What was wrong with a certificate, the server's or ours, since SetUp; empty: nothing.
  std::string CertificateFault() const;

 private:
  mutable Mutex mutex_;
  ProxySettings proxy_ GUARDED_BY(mutex_);
  ServerTrust trust_;                // constant once loading
  ClientCertificates certificates_;  // likewise
};

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_MEDIA_NET_HTTPACCESS_H_
