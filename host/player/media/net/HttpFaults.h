// What kept remote content from coming, in words.

#ifndef HOST_PLAYER_MEDIA_NET_HTTPFAULTS_H_
#define HOST_PLAYER_MEDIA_NET_HTTPFAULTS_H_

#include <gst/gst.h>

#include <string>

#include "host/player/Engine.h"
#include "host/player/media/net/HttpAccess.h"

namespace plexion_host::player {

/// Puts what kept remote content from coming into `error`, in words for whoever looks after the
/// display: the server's answer, the certificate, the connection. Messages of other parts than the
/// http source leave `error` as it is.
///
/// The source keeps to itself why there was no connection at all, so this makes another one; it
/// gives up when the host cancels.
void ExplainHttpFault(GstMessage* message, const std::string& address, const HttpAccess& access,
                      EngineHost& host, EngineError& error);

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_MEDIA_NET_HTTPFAULTS_H_
