// What content is, by its first bytes.

#ifndef HOST_PLAYER_CONTENT_CONTENTPROBE_H_
#define HOST_PLAYER_CONTENT_CONTENTPROBE_H_

#include <stddef.h>

#include <string>

#include "host/player/ContentAddress.h"
#include "host/player/Engine.h"

namespace plexion_host::player {

/// What content turned out to be.
enum class ContentKind {
  kMovie,        ///< a JSON document
  kMedia,        ///< anything with a known media signature, and all remote content
  kApplication,  ///< a folder, or a document whose root is <application>
  kPicture,      ///< a local picture that the player decodes itself
  kUnknown,      ///< none of these; the media engine may still recognise it
};

struct ProbeResult {
  ContentKind kind = ContentKind::kUnknown;
  /// For kUnknown: what the first bytes are and what was expected. For kMedia and kPicture: the
  /// format's name.
  std::string description;
};

/// What ProbeResult calls the one picture whose library is opened when it is needed.
constexpr char kSvgFormat[] = "SVG picture";

/// Tells the kind from the first bytes of a file.
ProbeResult ProbeBytes(const unsigned char* bytes, size_t count);

/// Looks at the content itself; its name decides nothing.
/// Returns  false with `error`: kErrorInvalidURL when it cannot be opened, kErrorCorruptMovie when
///          it is empty.
bool ProbeContent(const ContentAddress& content, ProbeResult& result, EngineError& error);

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_CONTENT_CONTENTPROBE_H_
