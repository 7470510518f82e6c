#ifndef HOST_PLAYER_LOTTIE_SCENE_TEXTLAYER_H_
#define HOST_PLAYER_LOTTIE_SCENE_TEXTLAYER_H_

#include <memory>

#include "host/player/lottie/scene/Scene.h"
#include "host/player/lottie/text/TextLayout.h"

namespace plexion_host::movie {

/// The layout for a movie's texts, with the fonts and the characters that the document brings.
std::shared_ptr<TextLayout> MakeTextLayout(const Movie& movie);

/// What a text layer shows, as fills and strokes of glyphs. The layer and the movie are borrowed.
/// `layer.text` is not null.
std::unique_ptr<TextSource> MakeTextSource(const Layer& layer, std::shared_ptr<TextLayout> layout,
                                           qx::plexion::MemoryWatchdog* watchdog);

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_SCENE_TEXTLAYER_H_
