// Sizes of the messages from viewer to server in the RFB protocol (RFC 6143, 7.5).

#include "host/pointer/viewer/Messages.h"

#include <rfb/rfb.h>

#include <cstdint>

#include "host/base/Check.h"

namespace plexion_host {
namespace {

using Kind = ViewerMessage::Kind;

/// Viewers name some twenty.
constexpr size_t kMostEncodings = 1024;
constexpr size_t kMostCutTextBytes = size_t{1} << 20;
constexpr size_t kBytesOfAScreen = 16;

size_t Number(std::string_view bytes, size_t at, size_t count) {
  PLEXION_CHECK(at + count <= bytes.size(), "the number has come whole");
  size_t value = 0;
  for (size_t i = at; i < at + count; ++i) value = value << 8 | static_cast<uint8_t>(bytes[i]);
  return value;
}

}  // namespace

ViewerMessage MeasureViewerMessage(std::string_view bytes) {
  PLEXION_CHECK(!bytes.empty(), "a message has a type");
  switch (static_cast<uint8_t>(bytes[0])) {
    case rfbSetPixelFormat:
      return {Kind::kHandOn, sz_rfbSetPixelFormatMsg};
    case rfbSetEncodings: {
      if (bytes.size() < sz_rfbSetEncodingsMsg) return {};
      const size_t count = Number(bytes, 2, 2);
      // The library would keep as many as it is told.
      if (count > kMostEncodings) return {Kind::kRefuse, 0};
      return {Kind::kHandOn, sz_rfbSetEncodingsMsg + 4 * count};
    }
    case rfbFramebufferUpdateRequest:
      return {Kind::kHandOn, sz_rfbFramebufferUpdateRequestMsg};
    case rfbKeyEvent:
      return {Kind::kHandOn, sz_rfbKeyEventMsg};
    case rfbPointerEvent:
      return {Kind::kHandOn, sz_rfbPointerEventMsg};
    case rfbClientCutText: {
      // Nothing here pastes. A screenful of somebody's clipboard goes no further than this.
      if (bytes.size() < sz_rfbClientCutTextMsg) return {};
      const size_t length = Number(bytes, 4, 4);
      if (length > kMostCutTextBytes) return {Kind::kRefuse, 0};
      return {Kind::kIgnore, sz_rfbClientCutTextMsg + length};
    }
    case rfbSetScale:
    case rfbPalmVNCSetScaleFactor:
      // A second picture of another size for each viewer would be memory at their command.
      return {Kind::kIgnore, sz_rfbSetScaleMsg};
    case rfbSetDesktopSize: {
      if (bytes.size() < sz_rfbSetDesktopSizeMsg) return {};
      return {Kind::kHandOn, sz_rfbSetDesktopSizeMsg + kBytesOfAScreen * Number(bytes, 6, 1)};
    }
    case rfbQemuEvent:
      return {Kind::kHandOn, sz_rfbQemuExtendedKeyEventMsg};
    default:
      return {Kind::kRefuse, 0};
  }
}

}  // namespace plexion_host
