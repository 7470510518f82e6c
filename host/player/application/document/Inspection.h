// What of an application's folder nobody uses.
#ifndef HOST_PLAYER_APPLICATION_DOCUMENT_INSPECTION_H_
#define HOST_PLAYER_APPLICATION_DOCUMENT_INSPECTION_H_

#include <string>
#include <vector>

#include "host/player/application/document/PartLibrary.h"
#include "host/player/application/files/BaseFolder.h"
#include "host/player/application/stage/Stage.h"

namespace plexion_host::player::application {

/// Looks for what an author has forgotten: files (parts among them) that no document, script or data
/// file names, files that elements name and that are not there, scenes that nothing shows, ids that no
/// script names, parameters that their part never asks for. Names are looked for as words in texts, so
/// what a script puts together is told as not used.
///
/// `document` is the document's text, `name` its name in the folder.
std::vector<std::string> InspectFolder(const BaseFolder& base, const std::string& name,
                                       const std::string& document, const PartLibrary& parts,
                                       const Stage& stage);

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_DOCUMENT_INSPECTION_H_
