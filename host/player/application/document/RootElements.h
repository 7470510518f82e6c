// The root of an application's document, and what stands in it besides elements and scripts.
#ifndef HOST_PLAYER_APPLICATION_DOCUMENT_ROOTELEMENTS_H_
#define HOST_PLAYER_APPLICATION_DOCUMENT_ROOTELEMENTS_H_

#include <string>

#include "host/player/application/document/XmlReader.h"
#include "host/player/application/stage/Stage.h"

namespace plexion_host::player::application {

// Each returns what is wrong; empty: nothing.

/// An attribute of <application>.
std::string ReadRootAttribute(const XmlAttribute& attribute, Stage& stage);
/// <data id="..." address="..."/> or a <stream>.
std::string ReadDataSource(const XmlHandler::Attributes& attributes, bool isStream, Stage& stage);

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_DOCUMENT_ROOTELEMENTS_H_
