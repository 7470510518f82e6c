// Makes the engine for applications.
#ifndef HOST_PLAYER_APPLICATION_APPLICATIONENGINE_H_
#define HOST_PLAYER_APPLICATION_APPLICATIONENGINE_H_

#include <memory>

#include "host/player/Engine.h"
#include "host/player/application/net/DataAccess.h"
#include "host/player/application/script/ApplicationClocks.h"
#include "host/player/engines/EngineSource.h"

namespace plexion_host::player::application {

/// The engine for scripted applications: an application.xml, or a folder that holds one. See
/// docs/application.md for the format.
///
/// Clocked by the document's frame rate, without an end of its own. Between events, timers and
/// movements nothing is due, so an application that stands still is not called at all.
/// With `watchFiles` the document, its scripts and pictures are read again when they change.
/// `engines` plays movies and media inside of it, `access` asks what it declares of the network (null:
/// the host's module does); both outlive the engine.
std::unique_ptr<Engine> MakeApplicationEngine(EngineHost& host, EngineSource& engines,
                                              ApplicationClocks clocks, bool watchFiles = false,
                                              IDataAccess* access = nullptr);

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_APPLICATIONENGINE_H_
