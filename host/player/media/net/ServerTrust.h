// Which servers are trusted.

#ifndef HOST_PLAYER_MEDIA_NET_SERVERTRUST_H_
#define HOST_PLAYER_MEDIA_NET_SERVERTRUST_H_

#include <memory>
#include <string>

#include "host/base/Mutex.h"
#include "host/player/Engine.h"
#include "host/player/media/framework/GstPointers.h"

namespace plexion_host::player {

/// Which https servers are trusted, and why the last one was not.
///
/// Thread   any; servers are looked at on the framework's threads.
class ServerTrust {
 public:
  /// Trusts the certificates in the files of `folder` (*.pem, *.crt, *.cer, and hashed names as
  /// 1a2b3c4d.0) and no others. Empty: those of the install base's data/config/ssl/certs when it
  /// has any, else those of the system.
  /// Returns  false with `error` when `folder` has none.
  bool Use(const std::string& folder, EngineError& error);

  /// For a source of https content; null before Use, and where nothing speaks https.
  GTlsDatabase* Database() const { return database_.get(); }

  /// Forgets what was wrong.
  void BeginConnection();
  /// Why the server that was looked at last is not trusted, with its name; empty when it is.
  std::string Refusal() const;

  /// What a look at a certificate leaves behind; outlives this object with the framework's threads.
  struct Verdict {
    Mutex mutex;
    std::string refusal GUARDED_BY(mutex);
    std::string authority;  // whose certificates were asked, for people; constant
  };

 private:
  std::shared_ptr<Verdict> verdict_ = std::make_shared<Verdict>();
  TlsDatabasePointer database_;  // constant once loading
};

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_MEDIA_NET_SERVERTRUST_H_
