// What is wrong with an attribute, in the words that all documents of an application share.
#ifndef HOST_PLAYER_APPLICATION_DOCUMENT_ATTRIBUTEERRORS_H_
#define HOST_PLAYER_APPLICATION_DOCUMENT_ATTRIBUTEERRORS_H_

#include <string>
#include <vector>

#include "host/player/application/document/XmlReader.h"

namespace plexion_host::player::application {

constexpr char kColourExpected[] = "a colour (#rgb, #rrggbb, #rrggbbaa) or none";

/// "attribute "size" is "big"; expected a number".
std::string Wrong(const XmlAttribute& attribute, const std::string& expected);
/// "; expected one of a, b", or the one that was probably meant.
std::string Meant(const std::string& typed, const std::vector<std::string>& names);
/// "unknown attribute "colour"" and what was meant.
std::string Unknown(const XmlAttribute& attribute, const std::vector<std::string>& names);
/// What names a schema is for editors; it stands in roots only.
bool IsForEditors(std::string_view attribute);

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_DOCUMENT_ATTRIBUTEERRORS_H_
