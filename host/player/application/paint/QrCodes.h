// QR codes of texts.
#ifndef HOST_PLAYER_APPLICATION_PAINT_QRCODES_H_
#define HOST_PLAYER_APPLICATION_PAINT_QRCODES_H_

#include <cairo.h>
#include <stdint.h>

#include <string>
#include <unordered_map>
#include <vector>

#include "host/player/application/paint/letters/TextLayouts.h"
#include "host/player/application/stage/Element.h"

namespace plexion_host::player::application {

/// Encodes the texts of QR elements, once each, and paints them in whole pixels of the plane where
/// they stand upright: readers want sharp edges. ISO/IEC 18004, by libqrencode.
///
/// Thread   the application's.
class QrCodes {
 public:
  explicit QrCodes(DrawingHost host) : host_(std::move(host)) {}

  /// Making a code takes its time, and a script may ask for a thousand new ones at each moment: what a
  /// picture has no time for keeps what it showed and comes with one of the next. `whole`: one that
  /// is to be complete, for which there is more.
  void BeginPicture(bool whole);
  /// Elements that wait, once.
  std::vector<uint32_t> TakeLate();

  /// In the element's own units, which the context has. A text that no code holds is told and left
  /// out.
  void Paint(cairo_t* cairo, const Element& element, double opacity);

 private:
  struct Code {
    std::string text;
    int level = -1;
    int side = 0;  ///< modules; 0: it could not be made
    std::vector<bool> dark;
  };

  const Code& CodeOf(const Element& element);

  const DrawingHost host_;
  std::unordered_map<uint32_t, Code> codes_;
  size_t bytesLeft_ = 0;  ///< of texts that this picture may make codes of
  bool madeOne_ = false;
  std::vector<uint32_t> late_;
};

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_PAINT_QRCODES_H_
