#ifndef HOST_PLAYER_LOTTIE_DOCUMENT_THEME_H_
#define HOST_PLAYER_LOTTIE_DOCUMENT_THEME_H_

#include "host/player/lottie/document/Json.h"

namespace plexion_host::movie {

/// Puts what a theme says for slots in front of the document's own slots. A theme of null, or what
/// in it is no rule, changes nothing.
void ApplyTheme(const JsonValue& theme, Arena& arena, JsonValue& document);

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_DOCUMENT_THEME_H_
