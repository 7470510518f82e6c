// The certificates by which the player makes itself known.

#ifndef HOST_PLAYER_MEDIA_NET_CLIENTCERTIFICATES_H_
#define HOST_PLAYER_MEDIA_NET_CLIENTCERTIFICATES_H_

#include <map>
#include <memory>
#include <string>

#include "host/base/Mutex.h"
#include "host/player/Engine.h"
#include "host/player/media/framework/GstPointers.h"

namespace plexion_host::player {

/// The certificates by which the player makes itself known to servers that ask for one.
///
/// Thread   any; servers ask on the framework's threads.
class ClientCertificates {
 public:
  ClientCertificates();

  /// Reads "HOST=FILE,HOST=FILE": for each server a PEM file with a certificate and its private
  /// key; the host "*" stands for every server that is not named.
  /// Returns  false with `error` that names the entry which is wrong.
  bool Read(const std::string& table, EngineError& error);

  /// For a source of https content.
  GTlsInteraction* Interaction() const { return interaction_.get(); }

  /// Forgets what was asked.
  void BeginConnection();
  /// Which server asked for a certificate last, and what it was shown; empty when none did.
  std::string Question() const;

  /// What servers are answered; outlives this object with the framework's threads.
  struct Answers {
    struct Entry {
      std::string file;
      TlsCertificatePointer certificate;
    };
    std::map<std::string, Entry> entries;  // by host in lower case; constant once loading
    Mutex mutex;
    std::string question GUARDED_BY(mutex);
  };

 private:
  std::shared_ptr<Answers> answers_ = std::make_shared<Answers>();
  TlsInteractionPointer interaction_;
};

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_MEDIA_NET_CLIENTCERTIFICATES_H_
