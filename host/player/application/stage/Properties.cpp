// The table of what elements have, and how its values are read and written as text.
#include "host/player/application/stage/Properties.h"

#include <math.h>

#include <algorithm>
#include <charconv>
#include <utility>

#include "host/base/Check.h"
#include "host/base/Text.h"

namespace plexion_host::player::application {

namespace {

constexpr unsigned Bit(ElementKind kind) { return 1u << static_cast<unsigned>(kind); }

constexpr unsigned kGroup = Bit(ElementKind::kGroup);
constexpr unsigned kRectangle = Bit(ElementKind::kRectangle);
constexpr unsigned kLine = Bit(ElementKind::kLine);
constexpr unsigned kPolygon = Bit(ElementKind::kPolygon);
constexpr unsigned kArc = Bit(ElementKind::kArc);
constexpr unsigned kQr = Bit(ElementKind::kQr);
constexpr unsigned kText = Bit(ElementKind::kText);
constexpr unsigned kImage = Bit(ElementKind::kImage);
constexpr unsigned kPlayed = Bit(ElementKind::kMovie) | Bit(ElementKind::kMedia);
constexpr unsigned kFilled = kRectangle | kPolygon | kArc;
constexpr unsigned kAll = kGroup | kFilled | kLine | kQr | kText | kImage | kPlayed;
constexpr bool kPlace = true;
constexpr bool kPicture = false;

constexpr double kFar = 100000;

constexpr Property Number(const char* name, unsigned kinds, bool place, double lowest,
                          double highest, double Element::*member) {
  Property property = {name, ValueType::kNumber, kinds, place};
  property.lowest = lowest;
  property.highest = highest;
  property.number = member;
  return property;
}

constexpr Property Flag(const char* name, unsigned kinds, bool place, bool Element::*member) {
  Property property = {name, ValueType::kFlag, kinds, place};
  property.flag = member;
  return property;
}

constexpr Property Text(const char* name, unsigned kinds, double longest,
                        std::string Element::*member) {
  Property property = {name, ValueType::kText, kinds, kPicture};
  property.highest = longest;
  property.text = member;
  return property;
}

constexpr Property OfColour(const char* name, unsigned kinds, Colour Element::*member) {
  Property property = {name, ValueType::kColour, kinds, kPicture};
  property.colour = member;
  return property;
}

constexpr Property Choice(const char* name, unsigned kinds, const char* words,
                          int Element::*member) {
  Property property = {name, ValueType::kChoice, kinds, kPicture};
  property.words = words;
  property.choice = member;
  return property;
}

constexpr Property Points(const char* name, unsigned kinds, std::vector<double> Element::*member) {
  Property property = {name, ValueType::kPoints, kinds, kPicture};
  property.points = member;
  return property;
}

constexpr double kLongestText = 65536;
/// Of blurs; their cost grows with it as with the size of what is blurred.
constexpr double kMostBlur = 200;
/// Lists of fonts and their features, and names of files. The font library looks for each family
/// that is asked for.
constexpr double kLongestName = 1000;
/// A language tag, "zh-Hans-CN".
constexpr double kLongestLanguage = 35;

bool ReadFlag(std::string_view text, bool& flag) {
  flag = text == "true";
  return flag || text == "false";
}

// The words of a choice stand in one text, so that the table stays constant data.
bool ReadChoice(const char* words, std::string_view text, int& choice) {
  std::string_view rest = words;
  for (int index = 0;; ++index) {
    const size_t end = rest.find('|');
    if (rest.substr(0, end) == text) {
      choice = index;
      return true;
    }
    if (end == std::string_view::npos) return false;
    rest.remove_prefix(end + 1);
  }
}

}  // namespace

const Property kProperties[] = {
    Number("x", kAll, kPlace, -kFar, kFar, &Element::x),
    Number("y", kAll, kPlace, -kFar, kFar, &Element::y),
    Number("width", kAll, kPicture, 0, kFar, &Element::width),
    Number("height", kAll, kPicture, 0, kFar, &Element::height),
    Number("opacity", kAll, kPlace, 0, 1, &Element::opacity),
    Number("scale", kAll, kPlace, 0, 1000, &Element::scale),
    Number("rotation", kAll, kPlace, -kFar, kFar, &Element::rotation),
    Number("pivotX", kAll, kPlace, -100, 100, &Element::pivotX),
    Number("pivotY", kAll, kPlace, -100, 100, &Element::pivotY),
    Number("order", kAll, kPlace, -kFar, kFar, &Element::order),
    Flag("visible", kAll, kPlace, &Element::visible),
    Flag("clip", kGroup, kPlace, &Element::clip),
    OfColour("shadow", kAll, &Element::shadow),
    Number("shadowX", kAll, kPicture, -1000, 1000, &Element::shadowX),
    Number("shadowY", kAll, kPicture, -1000, 1000, &Element::shadowY),
    Number("shadowBlur", kAll, kPicture, 0, kMostBlur, &Element::shadowBlur),
    Number("blur", kAll, kPicture, 0, kMostBlur, &Element::blur),
    OfColour("fill", kFilled | kQr, &Element::fill),
    OfColour("fillEnd", kFilled, &Element::fillEnd),
    Number("gradientAngle", kFilled, kPicture, -360, 360, &Element::gradientAngle),
    OfColour("stroke", kFilled | kLine, &Element::stroke),
    Number("strokeWidth", kFilled | kLine, kPicture, 0, 1000, &Element::strokeWidth),
    Points("points", kLine | kPolygon, &Element::points),
    Choice("cap", kLine, "butt|round|square", &Element::cap),
    Choice("join", kLine | kPolygon, "miter|round|bevel", &Element::join),
    Number("from", kArc, kPicture, -kFar, kFar, &Element::from),
    Number("to", kArc, kPicture, -kFar, kFar, &Element::to),
    Number("thickness", kArc, kPicture, 0, kFar, &Element::thickness),
    OfColour("ground", kQr, &Element::ground),
    Choice("level", kQr, "low|medium|quartile|high", &Element::level),
    Number("quiet", kQr, kPicture, 0, 16, &Element::quiet),
    Number("radius", kRectangle | kImage | kPlayed | kGroup, kPicture, 0, kFar, &Element::radius),
    Text("text", kText | kQr, kLongestText, &Element::text),
    Text("font", kText, kLongestName, &Element::font),
    Text("features", kText, kLongestName, &Element::features),
    Number("size", kText, kPicture, 1, 2000, &Element::size),
    Number("weight", kText, kPicture, 100, 1000, &Element::weight),
    Flag("italic", kText, kPicture, &Element::italic),
    OfColour("color", kText, &Element::color),
    Text("lang", kText, kLongestLanguage, &Element::lang),
    Number("shrink", kText, kPicture, 0, 2000, &Element::shrink),
    Choice("align", kText, "left|center|right|start|end", &Element::align),
    Choice("valign", kText, "top|middle|bottom|baseline", &Element::valign),
    Choice("wrap", kText, "none|word", &Element::wrap),
    Number("lines", kText, kPicture, 0, 1000, &Element::lines),
    Number("letterSpacing", kText, kPicture, -100, 1000, &Element::letterSpacing),
    Number("lineSpacing", kText, kPicture, 0.1, 10, &Element::lineSpacing),
    Text("src", kImage | kPlayed, kLongestName, &Element::src),
    Text("vars", kPlayed, kLongestName, &Element::vars),
    Choice("fit", kImage | kPlayed, "contain|cover|fill", &Element::fit),
    Number("loop", kPlayed, kPlace, 0, 1000000, &Element::loop),
    Number("speed", kPlayed, kPlace, 0.01, 100, &Element::speed),
    Number("volume", kPlayed, kPlace, 0, 1, &Element::volume),
    Flag("paused", kPlayed, kPlace, &Element::paused),
    Flag("preload", kPlayed, kPlace, &Element::preload),
    {nullptr, ValueType::kNumber, 0, false},
};

const Property* FindProperty(ElementKind kind, std::string_view name) {
  for (const Property* property = kProperties; property->name != nullptr; ++property) {
    if ((property->kinds & Bit(kind)) != 0 && name == property->name) return property;
  }
  return nullptr;
}

bool ReadColour(std::string_view text, Colour& colour) {
  if (text == "none") {
    colour = Colour();
    return true;
  }
  if (text.size() != 4 && text.size() != 7 && text.size() != 9) return false;
  if (text[0] != '#') return false;
  // Colours without their last pair are opaque.
  unsigned parts[4] = {0, 0, 0, 255};
  const size_t digits = text.size() == 4 ? 1 : 2;
  for (size_t part = 0; part * digits + 1 < text.size(); ++part) {
    const int high = HexDigit(text[1 + part * digits]);
    const int low = HexDigit(text[part * digits + digits]);
    if (high < 0 || low < 0) return false;
    parts[part] = static_cast<unsigned>(high * 16 + low);
  }
  colour = {static_cast<uint8_t>(parts[0]), static_cast<uint8_t>(parts[1]),
            static_cast<uint8_t>(parts[2]), static_cast<uint8_t>(parts[3]), false};
  return true;
}

std::string WriteColour(const Colour& colour) {
  if (colour.none) return "none";
  const uint8_t parts[] = {colour.red, colour.green, colour.blue, colour.alpha};
  return "#" + HexText({reinterpret_cast<const char*>(parts), sizeof parts});
}

std::string ShowNumber(double number) {
  char text[400];
  const auto result = std::to_chars(text, text + sizeof text, number, std::chars_format::fixed);
  return std::string(text, result.ptr);
}

bool ReadPoints(std::string_view text, std::vector<double>& points) {
  points.clear();
  constexpr char kBetween[] = " ,\t\r\n";
  for (size_t at = text.find_first_not_of(kBetween); at != std::string_view::npos;) {
    const size_t end = std::min(text.find_first_of(kBetween, at), text.size());
    const auto number = ReadNumber(text.substr(at, end - at), -kFar, kFar);
    if (points.size() >= 2 * kMostPoints || !number) return false;
    points.push_back(*number);
    at = text.find_first_not_of(kBetween, end);
  }
  return points.size() % 2 == 0;
}

std::string WritePoints(const std::vector<double>& points) {
  std::string text;
  for (size_t i = 0; i < points.size(); ++i) {
    if (i > 0) text += i % 2 == 0 ? " " : ",";
    text += ShowNumber(points[i]);
  }
  return text;
}

std::string Expected(const Property& property) {
  switch (property.type) {
    case ValueType::kPoints:
      return "at most " + std::to_string(kMostPoints) +
             " points as \"X,Y X,Y\" with numbers from " + ShowNumber(-kFar) + " to " +
             ShowNumber(kFar);
    case ValueType::kNumber:
      return "a number from " + ShowNumber(property.lowest) + " to " + ShowNumber(property.highest);
    case ValueType::kFlag:
      return "true or false";
    case ValueType::kText:
      return "UTF-8 text of at most " + ShowNumber(property.highest) + " bytes";
    case ValueType::kColour:
      return "a colour (#rgb, #rrggbb, #rrggbbaa) or none";
    case ValueType::kChoice:
      break;
  }
  std::string text = "one of ";
  for (const char* c = property.words; *c != '\0'; ++c)
    text += *c == '|' ? ", " : std::string(1, *c);
  return text;
}

std::string ChoiceWord(const Property& property, int choice) {
  std::string_view rest = property.words;
  PLEXION_CHECK(choice >= 0 && choice <= std::count(rest.begin(), rest.end(), '|'),
                "a choice is set from one of its words");
  for (; choice > 0; --choice) rest.remove_prefix(rest.find('|') + 1);
  return std::string(rest.substr(0, rest.find('|')));
}

bool SetNumber(Element& element, const Property& property, double value, std::string& error) {
  PLEXION_CHECK(property.number != nullptr, "the property is a number");
  // Written so that what is no number is refused, too.
  if (!(value >= property.lowest && value <= property.highest)) {
    error = std::string(property.name) + " is " + ShowNumber(value) + "; expected " +
            Expected(property);
    return false;
  }
  element.*property.number = value;
  return true;
}

bool SetPoints(Element& element, const Property& property, std::vector<double> points,
               std::string& error) {
  PLEXION_CHECK(property.points != nullptr, "the property is a list of points");
  bool good = points.size() % 2 == 0 && points.size() <= 2 * kMostPoints;
  // Written so that what is no number is refused, too.
  for (const double number : points) good = good && fabs(number) <= kFar;
  if (!good) {
    error = std::string(property.name) + " has " + std::to_string(points.size()) +
            " numbers; expected " + Expected(property);
    return false;
  }
  element.*property.points = std::move(points);
  return true;
}

bool SetFromText(Element& element, const Property& property, std::string_view value,
                 std::string& error) {
  bool good = false;
  switch (property.type) {
    case ValueType::kNumber: {
      const auto number = ReadNumber(value, property.lowest, property.highest);
      good = number.has_value();
      if (good) element.*property.number = *number;
      break;
    }
    case ValueType::kFlag: {
      bool flag = false;
      good = ReadFlag(value, flag);
      if (good) element.*property.flag = flag;
      break;
    }
    case ValueType::kText:
      // The text is laid out by libraries that expect valid UTF-8 and end at a zero byte.
      good = static_cast<double>(value.size()) <= property.highest &&
             value.find('\0') == std::string_view::npos && IsUtf8(value);
      if (good) element.*property.text = std::string(value);
      break;
    case ValueType::kColour: {
      Colour colour;
      good = ReadColour(value, colour);
      if (good) element.*property.colour = colour;
      break;
    }
    case ValueType::kPoints: {
      std::vector<double> points;
      good = ReadPoints(value, points);
      if (good) element.*property.points = std::move(points);
      break;
    }
    case ValueType::kChoice: {
      int choice = 0;
      good = ReadChoice(property.words, value, choice);
      if (good) element.*property.choice = choice;
      break;
    }
  }
  if (good) return true;
  // As much of the value as fits a line: it may be a whole file.
  error = std::string(property.name) + " is \"" + std::string(value.substr(0, 100)) +
          "\"; expected " + Expected(property);
  return false;
}

const char* NameOf(ElementKind kind) {
  switch (kind) {
    case ElementKind::kRectangle:
      return "rectangle";
    case ElementKind::kLine:
      return "line";
    case ElementKind::kPolygon:
      return "polygon";
    case ElementKind::kArc:
      return "arc";
    case ElementKind::kQr:
      return "qr";
    case ElementKind::kText:
      return "text";
    case ElementKind::kImage:
      return "image";
    case ElementKind::kMovie:
      return "movie";
    case ElementKind::kMedia:
      return "media";
    case ElementKind::kGroup:
      break;
  }
  return "group";
}

const char* NameOf(PlayState state) {
  switch (state) {
    case PlayState::kLoading:
      return "loading";
    case PlayState::kReady:
      return "ready";
    case PlayState::kPlaying:
      return "playing";
    case PlayState::kEnded:
      return "ended";
    case PlayState::kFailed:
      return "failed";
    case PlayState::kIdle:
      break;
  }
  return "idle";
}

const std::vector<ElementKind>& ElementKinds() {
  static const std::vector<ElementKind> kinds = {
      ElementKind::kGroup, ElementKind::kRectangle, ElementKind::kLine, ElementKind::kPolygon,
      ElementKind::kArc,   ElementKind::kText,      ElementKind::kQr,   ElementKind::kImage,
      ElementKind::kMovie, ElementKind::kMedia};
  return kinds;
}

bool ReadElementKind(const std::string& word, ElementKind& kind) {
  for (const ElementKind each : ElementKinds()) {
    if (word != NameOf(each)) continue;
    kind = each;
    return true;
  }
  return false;
}

std::string ElementKindNames() {
  std::string names;
  for (const ElementKind each : ElementKinds()) {
    if (!names.empty()) names += each == ElementKinds().back() ? " or " : ", ";
    names += NameOf(each);
  }
  return names;
}

}  // namespace plexion_host::player::application
