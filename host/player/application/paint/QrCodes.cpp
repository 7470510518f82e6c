// Makes QR codes and paints them.
#include "host/player/application/paint/QrCodes.h"

#include <errno.h>
#include <math.h>
#include <qrencode.h>

#include <algorithm>
#include <memory>
#include <utility>

#include "host/base/Check.h"
#include "host/player/application/paint/Figures.h"

namespace plexion_host::player::application {

namespace {

constexpr size_t kMostKept = 1000;
/// Bytes in the largest code of each level, from low to high.
constexpr size_t kMostBytes[] = {2953, 2331, 1663, 1273};
constexpr QRecLevel kLevels[] = {QR_ECLEVEL_L, QR_ECLEVEL_M, QR_ECLEVEL_Q, QR_ECLEVEL_H};

/// Of texts for each picture: some twenty milliseconds of work, and a second for one that is to be
/// complete.
constexpr size_t kPictureBytes = 1500;
constexpr size_t kWholeBytes = 65536;
/// The smallest code takes as long as that many bytes of a large one.
constexpr size_t kLeastCost = 50;

}  // namespace

void QrCodes::BeginPicture(bool whole) {
  bytesLeft_ = whole ? kWholeBytes : kPictureBytes;
  madeOne_ = false;
  late_.clear();
}

std::vector<uint32_t> QrCodes::TakeLate() { return std::exchange(late_, {}); }

const QrCodes::Code& QrCodes::CodeOf(const Element& element) {
  PLEXION_CHECK(element.level >= kQrLow && element.level <= kQrHigh, "a level is one of its words");
  // Elements come and go; what is still there is made again.
  if (codes_.size() >= kMostKept && codes_.count(element.handle) == 0) codes_.clear();
  Code& code = codes_[element.handle];
  if (code.level == element.level && code.text == element.text) return code;
  const size_t cost = std::min(element.text.size(), kMostBytes[element.level]) + kLeastCost;
  // One is made in any case, or the largest would wait for ever.
  if (cost > bytesLeft_ && madeOne_) {
    late_.push_back(element.handle);
    return code;
  }
  bytesLeft_ -= std::min(cost, bytesLeft_);
  madeOne_ = true;
  code.text = element.text;
  code.level = element.level;
  code.side = 0;
  code.dark.clear();
  const size_t most = kMostBytes[element.level];
  if (element.text.size() > most) {
    host_.refuse(element, "its text has " + std::to_string(element.text.size()) +
                              " bytes; expected at most " + std::to_string(most) +
                              " at this level");
    return code;
  }
  if (element.text.empty()) return code;
  const std::unique_ptr<QRcode, void (*)(QRcode*)> made(
      QRcode_encodeData(static_cast<int>(element.text.size()),
                        reinterpret_cast<const unsigned char*>(element.text.data()), 0,
                        kLevels[element.level]),
      QRcode_free);
  if (made == nullptr) {
    host_.refuse(element, "no QR code can be made of its text");
    return code;
  }
  code.side = made->width;
  code.dark.resize(static_cast<size_t>(code.side) * static_cast<size_t>(code.side));
  for (size_t i = 0; i < code.dark.size(); ++i) code.dark[i] = (made->data[i] & 1) != 0;
  return code;
}

void QrCodes::Paint(cairo_t* cairo, const Element& element, double opacity) {
  const Code& code = CodeOf(element);
  if (code.side == 0) return;
  const double side = std::min(element.width, element.height);
  const double quiet = floor(element.quiet);
  double module = side / (code.side + 2 * quiet);
  if (!(module > 0)) return;
  double x = (element.width - side) / 2;
  double y = (element.height - side) / 2;
  if (!element.ground.none) {
    cairo_rectangle(cairo, x, y, side, side);
    SetColour(cairo, element.ground, opacity);
    cairo_fill(cairo);
  }
  cairo_matrix_t matrix;
  cairo_get_matrix(cairo, &matrix);
  // Upright, and with a pixel for each module: whole pixels, and what is left over around them.
  if (matrix.xy == 0 && matrix.yx == 0 && matrix.xx == matrix.yy && module * matrix.xx >= 1) {
    const double pixels = floor(module * matrix.xx);
    module = pixels / matrix.xx;
    x = (element.width - module * code.side) / 2;
    y = (element.height - module * code.side) / 2;
    cairo_user_to_device(cairo, &x, &y);
    x = round(x);
    y = round(y);
    cairo_device_to_user(cairo, &x, &y);
  } else {
    x += quiet * module;
    y += quiet * module;
  }
  for (int row = 0; row < code.side; ++row) {
    const size_t begin = static_cast<size_t>(row) * static_cast<size_t>(code.side);
    for (int column = 0; column < code.side;) {
      int end = column;
      while (end < code.side && code.dark[begin + static_cast<size_t>(end)]) ++end;
      if (end > column) {
        cairo_rectangle(cairo, x + column * module, y + row * module, (end - column) * module,
                        module);
      }
      column = end + 1;
    }
  }
  SetColour(cairo, element.fill.none ? kBlack : element.fill, opacity);
  cairo_fill(cairo);
}

}  // namespace plexion_host::player::application
