// Counts layers, filter steps and embedded pictures of an SVG document.

#include "host/player/image/SvgCost.h"

#include <expat.h>
#include <string.h>

#include <algorithm>
#include <memory>
#include <string_view>
#include <vector>

#include "host/base/Text.h"
#include "host/player/image/PictureSize.h"

namespace plexion_host::player {

namespace {

/// Enough of an embedded picture to find its size behind the notes that cameras write.
constexpr size_t kEmbeddedHead = 64 * 1024;
/// Documents that people draw are some twenty deep.
constexpr size_t kMostDepth = 1000;

std::string_view Local(std::string_view name) {
  const size_t colon = name.rfind(':');
  return colon == std::string_view::npos ? name : name.substr(colon + 1);
}

/// Whether an element of this property is drawn apart and put down as a whole.
bool NeedsLayer(std::string_view property, std::string_view value) {
  value = Trim(value);
  if (property == "opacity") return value != "1" && value != "1.0" && value != "100%";
  if (property == "filter" || property == "mask") return value != "none";
  if (property == "mix-blend-mode") return value != "normal";
  return property == "isolation" && value != "auto";
}

bool StyleNeedsLayer(std::string_view style) {
  while (!style.empty()) {
    const size_t end = style.find(';');
    const std::string_view declaration = style.substr(0, end);
    const size_t colon = declaration.find(':');
    if (colon != std::string_view::npos &&
        NeedsLayer(Trim(declaration.substr(0, colon)), declaration.substr(colon + 1))) {
      return true;
    }
    if (end == std::string_view::npos) return false;
    style.remove_prefix(end + 1);
  }
  return false;
}

/// The first bytes behind "base64,"; what is no base64 is passed over, as everybody does.
std::vector<uint8_t> DecodeBase64(std::string_view text) {
  static constexpr std::string_view kDigits =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::vector<uint8_t> bytes;
  uint32_t bits = 0;
  int held = 0;
  for (const char c : text) {
    if (bytes.size() == kEmbeddedHead || c == '=') break;
    const size_t digit = kDigits.find(c);
    if (digit == std::string_view::npos) continue;
    bits = bits << 6 | static_cast<uint32_t>(digit);
    held += 6;
    if (held < 8) continue;
    held -= 8;
    bytes.push_back(static_cast<uint8_t>(bits >> held));
  }
  return bytes;
}

class Reader {
 public:
  bool Read(const uint8_t* bytes, size_t count, SvgCost& cost, std::string& reason);

 private:
  static void OnStart(void* self, const XML_Char* name, const XML_Char** attributes) {
    static_cast<Reader*>(self)->Start(Local(name), attributes);
  }
  static void OnEnd(void* self, const XML_Char*) { static_cast<Reader*>(self)->End(); }
  static void OnText(void* self, const XML_Char* text, int length) {
    auto* const reader = static_cast<Reader*>(self);
    if (reader->inStyle_) reader->sheet_.append(text, static_cast<size_t>(length));
  }

  void Start(std::string_view name, const XML_Char** attributes);
  void End();
  void TakePicture(std::string_view address);
  void Refuse(const std::string& reason) {
    if (reason_.empty()) reason_ = reason;
    XML_StopParser(parser_, XML_FALSE);
  }

  XML_Parser parser_ = nullptr;
  std::string reason_;
  std::vector<bool> layers_;  // for each open element: is it one?
  uint64_t open_ = 0;         // layers among them
  uint64_t deepest_ = 0;
  uint64_t all_ = 0;
  uint64_t elements_ = 0;
  uint64_t steps_ = 0;  // of the filter at hand
  uint64_t mostSteps_ = 0;
  bool refers_ = false;  // one part is drawn inside of another
  bool inStyle_ = false;
  std::string sheet_;
  uint64_t embedded_ = 0;
};

void Reader::Start(std::string_view name, const XML_Char** attributes) {
  if (layers_.empty() && name != "svg") return Refuse("it is no SVG picture");
  if (layers_.size() == kMostDepth) {
    return Refuse("more than " + std::to_string(kMostDepth) + " elements are inside each other");
  }
  bool layer = false;
  const bool isPicture = name == "image" || name == "feImage";
  for (; *attributes != nullptr; attributes += 2) {
    const std::string_view key = Local(attributes[0]);
    const std::string_view value = attributes[1];
    layer = layer || NeedsLayer(key, value) || (key == "style" && StyleNeedsLayer(value));
    // Cut out along a shape that is given in parts of what is cut.
    layer = layer || (key == "clipPathUnits" && value == "objectBoundingBox");
    if (isPicture && key == "href") TakePicture(Trim(value));
  }
  if (name == "filter") steps_ = 0;
  if (name.substr(0, 2) == "fe") mostSteps_ = std::max(mostSteps_, ++steps_);
  refers_ = refers_ || name == "use" || name == "pattern" || name == "mask" || name == "marker";
  inStyle_ = name == "style";
  ++elements_;
  layers_.push_back(layer);
  if (!layer) return;
  ++all_;
  deepest_ = std::max(deepest_, ++open_);
}

void Reader::End() {
  if (layers_.back()) --open_;
  layers_.pop_back();
  inStyle_ = false;
}

void Reader::TakePicture(std::string_view address) {
  // What is not inside is not fetched either.
  if (address.substr(0, 5) != "data:") return;
  const size_t comma = address.find(',');
  const bool isBase64 =
      comma != std::string_view::npos && comma >= 7 && address.substr(comma - 7, 7) == ";base64";
  const std::vector<uint8_t> head =
      isBase64 ? DecodeBase64(address.substr(comma + 1)) : std::vector<uint8_t>();
  const uint64_t pixels = DeclaredPixels(head.data(), head.size());
  if (pixels == 0) return Refuse("a picture inside of it is of no known format");
  embedded_ += pixels;
}

bool Reader::Read(const uint8_t* bytes, size_t count, SvgCost& cost, std::string& reason) {
  const std::unique_ptr<std::remove_pointer_t<XML_Parser>, void (*)(XML_Parser)> parser(
      XML_ParserCreate(nullptr), XML_ParserFree);
  parser_ = parser.get();
  if (parser_ == nullptr) {
    reason = "no memory to read it";
    return false;
  }
  XML_SetUserData(parser_, this);
  XML_SetElementHandler(parser_, OnStart, OnEnd);
  XML_SetCharacterDataHandler(parser_, OnText);
  const XML_Status status =
      XML_Parse(parser_, reinterpret_cast<const char*>(bytes), static_cast<int>(count), XML_TRUE);
  if (status != XML_STATUS_OK || !reason_.empty()) {
    reason = !reason_.empty() ? reason_ : XML_ErrorString(XML_GetErrorCode(parser_));
    reason += " (line " + std::to_string(XML_GetCurrentLineNumber(parser_)) + ")";
    return false;
  }
  uint64_t layers = refers_ ? all_ : deepest_;
  for (const char* property : {"opacity", "filter", "mask", "mix-blend-mode", "isolation"}) {
    // A sheet may mean any of the elements.
    if (sheet_.find(property) != std::string::npos) layers = elements_;
  }
  cost.surfaces = 2 + layers + mostSteps_;
  cost.embeddedPixels = embedded_;
  return true;
}

}  // namespace

bool ReckonSvg(const uint8_t* bytes, size_t count, SvgCost& cost, std::string& reason) {
  return Reader().Read(bytes, count, cost, reason);
}

}  // namespace plexion_host::player
