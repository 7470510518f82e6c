#ifndef HOST_PLAYER_RENDER_CONTENTRENDERER_H_
#define HOST_PLAYER_RENDER_CONTENTRENDERER_H_

#include <string>
#include <vector>

#include "host/contracts/IContentRenderer.h"
#include "host/player/render/OffscreenContent.h"

namespace plexion_host::player {

class ContentRenderer final : public IContentRenderer {
 public:
  RenderOutcome Render(const RenderRequest& request, std::string& error) override;
  RenderOutcome Check(const RenderRequest& request, std::string& error) override;
};

/// The frames that a request names, in the order in which they are drawn.
/// Returns  false with `error` when the content has no such frame, or `every` has no end.
bool ChooseFrames(const RenderRequest& request, const ContentFacts& facts,
                  std::vector<uint64_t>& frames, std::string& error);

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_RENDER_CONTENTRENDERER_H_
