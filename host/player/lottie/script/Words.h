// Which part of the document a word of the language means.

#ifndef HOST_PLAYER_LOTTIE_SCRIPT_WORDS_H_
#define HOST_PLAYER_LOTTIE_SCRIPT_WORDS_H_

#include <string_view>

#include "host/player/lottie/script/ScriptScene.h"

namespace plexion_host::movie {

/// The short name of what an author calls "Anchor Point", anchorPoint, "ADBE Anchor Point" or its
/// number there; empty when the kind of node has nothing of that name.
///
/// `type`   of a shape, as in NodeNames.
std::string_view PartNamed(NodeKind kind, std::string_view type, std::string_view word);
std::string_view PartNumbered(NodeKind kind, std::string_view type, int number);

/// The parts that a node of this kind may have, one after the other; empty behind the last.
std::string_view PartAt(NodeKind kind, std::string_view type, int position);

/// Calls `use` with every member that a node of this kind may have, such as anchorPoint.
void ForEachMember(NodeKind kind, void (*use)(void* data, const char* member), void* data);

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_SCRIPT_WORDS_H_
