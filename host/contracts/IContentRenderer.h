#ifndef HOST_CONTRACTS_ICONTENTRENDERER_H_
#define HOST_CONTRACTS_ICONTENTRENDERER_H_

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "qx/core/IQXModule.h"

namespace plexion_host {

/// Which frames of a content go where.
struct RenderRequest {
  std::string content;     ///< a path, a folder or a file:// address
  std::string morvelVars;  ///< the content's variables, as --morvelvars takes them
  /// First and last frame of each range, in the order in which they are drawn.
  std::vector<std::pair<uint64_t, uint64_t>> frames;
  uint64_t every =
      0;  ///< not 0: every so many frames from the first to the last, `frames` is empty
  uint32_t width = 0;  ///< pixels; 0, as `height`: the content's own size
  uint32_t height = 0;
  /// A folder for frame-N.png; a name that ends in ".png" for one frame, in ".webp" for an
  /// animated picture of all frames.
  std::string out;
  bool hasBackground = false;  ///< false: what the content leaves open stays transparent
  uint32_t background = 0;     ///< 0x00RRGGBB
};

/// How a piece of work for a content ended.
enum class RenderOutcome {
  kDone,
  kContentError,  ///< the content cannot be opened or drawn
  kWrongRequest,  ///< asks for what the content does not have
  kCannotWrite
};

/// Draws content without windows, display or clock: module "IContentRenderer". Private to this host.
///
/// Order    one call at a time. Both print through the kernel as they go on.
/// Errors   `error` says what was wrong and what was expected, with the content's or file's name.
/// Thread   any.
class IContentRenderer : public IQXModule {
 public:
  virtual RenderOutcome Render(const RenderRequest& request, std::string& error) = 0;
  /// Prints what the content holds, what a frame of it costs, and what of it is not drawn.
  virtual RenderOutcome Check(const RenderRequest& request, std::string& error) = 0;
};

}  // namespace plexion_host

#endif  // HOST_CONTRACTS_ICONTENTRENDERER_H_
