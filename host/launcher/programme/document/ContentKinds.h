// What the name of a content tells of how long it lasts.

#ifndef HOST_LAUNCHER_PROGRAMME_DOCUMENT_CONTENTKINDS_H_
#define HOST_LAUNCHER_PROGRAMME_DOCUMENT_CONTENTKINDS_H_

#include <string>

#include "host/launcher/programme/document/Programme.h"

namespace plexion_host {

/// ".mp4", in small letters; of an address without the query that may stand behind its path. Empty: none.
std::string ExtensionOf(const std::string& content);

/// Whether it may have no end that a playlist could wait for: applications, streams that are live by
/// their address, and pictures that may move for ever. It may come to an end all the same.
bool MayBeEndless(const std::string& content);

/// Whether its player shows it for the programme's duration. Of all else only its player knows how
/// long it lasts, and says so by coming to an end.
bool IsStillPicture(const Item& item);

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_PROGRAMME_DOCUMENT_CONTENTKINDS_H_
