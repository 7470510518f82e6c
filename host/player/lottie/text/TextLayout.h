// From a text at a time to the outlines of its glyphs, each with its place and paint.

#ifndef HOST_PLAYER_LOTTIE_TEXT_TEXTLAYOUT_H_
#define HOST_PLAYER_LOTTIE_TEXT_TEXTLAYOUT_H_

#include <stdint.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace plexion_host::movie {

/// Red, green, blue, 0 to 1.
struct TextColour {
  double r = 0, g = 0, b = 0;
};

/// Where the edges of a glyph run, of a size of 100: pixels, y downwards, origin on the base line.
struct GlyphOutline {
  enum Verb : uint8_t { kMove, kLine, kCubic, kClose };  ///< 1, 1, 3, 0 points
  std::vector<Verb> verbs;
  std::vector<double> points;  ///< x, y
};

/// One of the document's "fonts".
struct TextFont {
  std::string name;    ///< what text documents call it
  std::string family;  ///< may name several, with commas between
  std::string style;   ///< "Bold Italic"
  std::string weight;  ///< "700" or empty
  double ascent = 0;   ///< in percent of the size
};

/// One of the document's "chars": a character of a font as it was drawn by its author's machine.
struct TextCharacter {
  std::string text;  ///< one character, with what combines with it
  std::string family;
  std::string style;
  double width = 0;      ///< of a size of 100
  GlyphOutline outline;  ///< empty for blanks and compositions
  int composition = -1;  ///< which glyph that is itself an animation; -1: none
};

enum class TextJustify : uint8_t {
  kLeft = 0,
  kRight = 1,
  kCentre = 2,
  kLastLeft = 3,  ///< the last line of a paragraph left, the others full
  kLastRight = 4,
  kLastCentre = 5,
  kFull = 6,
};

/// A text document: what keyframes of text hold.
struct TextDocument {
  std::string text;  ///< UTF-8; lines end with \r or \u0003
  std::string font;  ///< TextFont::name
  double size = 0;
  double lineHeight = 0;  ///< 0: 1.2 of the size
  double baselineShift = 0;
  double tracking = 0;  ///< thousandths of the size, after every character
  TextJustify justify = TextJustify::kLeft;
  uint8_t caps = 0;  ///< 1 all capitals, 2 small capitals
  bool hasFill = false;
  bool hasStroke = false;
  bool fillOverStroke = false;
  TextColour fill;
  TextColour stroke;
  double strokeWidth = 0;
  bool boxed = false;  ///< wrapped into a box
  double boxX = 0, boxY = 0, boxWidth = 0, boxHeight = 0;
};

/// How much of an animator each character gets, at this time.
struct TextSelector {
  enum class Basis : uint8_t { kCharacters = 1, kWithoutSpaces = 2, kWords = 3, kLines = 4 };
  enum class Shape : uint8_t {
    kSquare = 1,
    kRampUp = 2,
    kRampDown = 3,
    kTriangle = 4,
    kRound = 5,
    kSmooth = 6
  };
  bool inUnits = false;  ///< start, end and offset count characters instead of percent
  bool hasEnd = true;
  double start = 0, end = 100, offset = 0;
  Basis basis = Basis::kCharacters;
  Shape shape = Shape::kSquare;
  double amount = 100;
  double easeHigh = 0, easeLow = 0;  ///< -100 to 100
  double smoothness = 100;
  bool shuffled = false;
  uint32_t seed = 0;
  bool scripted = false;  ///< by an expression: ITextSelectorScript decides
  int script = -1;        ///< which one
};

/// Values of an animator at this time; what `has` does not name is not animated.
struct TextAnimator {
  enum Part : uint32_t {
    kAnchor = 1u << 0,
    kPosition = 1u << 1,
    kScale = 1u << 2,
    kRotation = 1u << 3,
    kRotationX = 1u << 4,
    kRotationY = 1u << 5,
    kSkew = 1u << 6,
    kOpacity = 1u << 7,
    kFill = 1u << 8,
    kHue = 1u << 9,
    kSaturation = 1u << 10,
    kBrightness = 1u << 11,
    kStroke = 1u << 12,
    kStrokeWidth = 1u << 13,
    kTracking = 1u << 14,
    kLineSpacing = 1u << 15,
    kFillOpacity = 1u << 16,
    kStrokeOpacity = 1u << 17,
    kBlur = 1u << 18,
  };
  uint32_t has = 0;
  double anchorX = 0, anchorY = 0;
  double positionX = 0, positionY = 0;
  double scaleX = 100, scaleY = 100;                  ///< percent
  double rotation = 0, rotationX = 0, rotationY = 0;  ///< degrees
  double skew = 0, skewAxis = 0;                      ///< degrees
  double opacity = 100, fillOpacity = 100, strokeOpacity = 100;
  TextColour fill, stroke;
  double hue = 0, saturation = 0, brightness = 0;  ///< degrees, percent, percent
  double strokeWidth = 0;
  double tracking = 0;  ///< pixels
  double lineSpacingX = 0, lineSpacingY = 0;
  double blurX = 0, blurY = 0;
  TextSelector selector;
};

/// Answers expression selectors while a text is laid out.
class ITextSelectorScript {
 public:
  virtual ~ITextSelectorScript() = default;
  /// `index` from 1. Writes three factors in percent: for x, y and z.
  virtual void Select(int script, int index, int total, double percent[3]) = 0;
};

/// A path that the text runs along, at this time.
struct TextPath {
  std::vector<double>
      points;  ///< for each vertex x, y, and its two absolute handles, in before out
  bool closed = false;
  bool reversed = false;
  bool perpendicular = true;
  bool forceAlign = false;
  double firstMargin = 0, lastMargin = 0;
};

/// What a text layer shows at a time. Everything is borrowed during the call only.
struct TextRequest {
  const TextDocument* document = nullptr;
  const TextAnimator* animators = nullptr;
  uint32_t animatorCount = 0;
  const TextPath* path = nullptr;
  uint8_t grouping = 1;  ///< anchors in the middle of: 1 characters, 2 words, 3 lines, 4 all
  double alignmentX = 0, alignmentY = 0;  ///< percent
  ITextSelectorScript* script = nullptr;
};

/// A glyph as it is drawn. The outline belongs to the layout and lives as long as it does.
struct PlacedGlyph {
  const GlyphOutline* outline = nullptr;
  int composition = -1;                   ///< drawn instead of the outline; see TextCharacter
  double matrix[6] = {1, 0, 0, 1, 0, 0};  ///< from the outline's to the layer's plane; a b c d e f
  double opacity = 1;                     ///< 0 to 1; of fill and stroke together
  bool filled = false;
  bool stroked = false;
  bool fillOverStroke = false;
  TextColour fill, stroke;
  double fillOpacity = 1, strokeOpacity = 1;
  double strokeWidth = 0;                 ///< pixels before `strokeMatrix`
  double strokeMatrix[4] = {1, 0, 0, 1};  ///< what `matrix` has besides the size of the font
  double blurX = 0, blurY = 0;
};

/// Lays texts out. Characters are the document's own where it brings any, else they come from the
/// machine's fonts, shaped by Pango, with other fonts for what one of them does not have.
///
/// Life     one for each movie; knows the glyphs that it met.
/// Errors   A character without a glyph is left out; Missing tells of it. Throws std::bad_alloc.
/// Thread   one.
class TextLayout {
 public:
  /// With any characters at all, fonts are not asked.
  TextLayout(std::vector<TextFont> fonts, std::vector<TextCharacter> characters);
  TextLayout(const TextLayout&) = delete;
  TextLayout& operator=(const TextLayout&) = delete;
  ~TextLayout();

  /// Into `glyphs`, in the order of drawing. Keeps its memory from call to call.
  void Lay(const TextRequest& request, std::vector<PlacedGlyph>& glyphs);

  /// The box around the glyphs of a request without strokes: left, top, width, height.
  /// Returns  false when nothing is drawn.
  bool Bounds(const TextRequest& request, double box[4]);

  /// What the glyphs that it knows hold on to.
  size_t Bytes() const;

  /// The first character that had no glyph, or empty.
  std::string_view Missing() const;

 private:
  class Engine;
  std::unique_ptr<Engine> engine_;
};

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_TEXT_TEXTLAYOUT_H_
