#ifndef HOST_PLAYER_MEDIA_HTTPACCESS_H_
#define HOST_PLAYER_MEDIA_HTTPACCESS_H_

#include <gst/gst.h>

#include <mutex>
#include <string>

#include "host/player/Engine.h"
#include "host/player/media/GstPointers.h"

namespace plexion_host::player {

/// How remote content is reached: the proxy with its user, and the certificates that are trusted.
///
/// Thread   any; sources are set up on the framework's threads.
class HttpAccess {
 public:
  HttpAccess() = default;
  HttpAccess(const HttpAccess&) = delete;
  HttpAccess& operator=(const HttpAccess&) = delete;

  void SetProxy(const ProxySettings& proxy);

  /// Trusts the certificates in the files of `folder` (*.pem, *.crt, *.cer, and hashed names as
  /// 1a2b3c4d.0) and no others. Empty: those of the system.
  /// Returns  false with `error` when there are none.
  bool TrustFolder(const std::string& folder, EngineError& error);

  /// Tells a source what is set here; elements that know nothing of http are left alone.
  void SetUp(GstElement* source);

 private:
  std::mutex mutex_;
  ProxySettings proxy_;         // guarded by mutex_
  TlsDatabasePointer trusted_;  // constant once loading
};

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_MEDIA_HTTPACCESS_H_
