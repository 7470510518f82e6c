// Texts: where each glyph stands, and how it is painted.
#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <string>

#include "host/player/lottie/text/TextLayout.h"

namespace plexion_host::movie {
namespace {

/// Each character is a square of 60, drawn from its origin up, in a step of 60; a blank takes 30.
std::vector<TextCharacter> Squares(const std::string& characters) {
  std::vector<TextCharacter> squares;
  for (const char c : characters) {
    TextCharacter square;
    square.text = std::string(1, c);
    square.family = "Squares";
    square.style = "Regular";
    square.width = c == ' ' ? 30 : 60;
    if (c != ' ') {
      square.outline.verbs = {GlyphOutline::kMove, GlyphOutline::kLine, GlyphOutline::kLine,
                              GlyphOutline::kLine, GlyphOutline::kClose};
      square.outline.points = {0, -60, 60, -60, 60, 0, 0, 0};
    }
    squares.push_back(square);
  }
  return squares;
}

TextFont Font(const char* family, const char* style = "Regular") {
  TextFont font;
  font.name = "font";
  font.family = family;
  font.style = style;
  font.ascent = 70;
  return font;
}

TextDocument Document(const std::string& text, TextJustify justify = TextJustify::kLeft) {
  TextDocument document;
  document.text = text;
  document.font = "font";
  document.size = 100;
  document.justify = justify;
  document.hasFill = true;
  return document;
}

/// The places of a request's glyphs: "x,y x,y".
std::string Places(TextLayout& layout, const TextRequest& request) {
  std::vector<PlacedGlyph> glyphs;
  layout.Lay(request, glyphs);
  std::string places;
  for (const PlacedGlyph& glyph : glyphs) {
    char text[60];
    snprintf(text, sizeof(text), "%s%g,%g", places.empty() ? "" : " ",
             std::round(glyph.matrix[4] * 100) / 100 + 0.0,
             std::round(glyph.matrix[5] * 100) / 100 + 0.0);
    places += text;
  }
  return places;
}

class TextLayoutTest : public ::testing::Test {
 protected:
  std::string Of(const TextDocument& document) {
    TextRequest request;
    request.document = &document;
    return Places(layout_, request);
  }
  std::string Animated(const TextDocument& document, const TextAnimator& animator) {
    TextRequest request;
    request.document = &document;
    request.animators = &animator;
    request.animatorCount = 1;
    return Places(layout_, request);
  }

  TextLayout layout_{{Font("Squares")}, Squares("abcd ")};
};

TEST_F(TextLayoutTest, SetsLinesAsTheDocumentSays) {
  EXPECT_EQ(Of(Document("ab a")), "0,0 60,0 150,0");
  EXPECT_EQ(Of(Document("ab", TextJustify::kRight)), "-120,0 -60,0");
  EXPECT_EQ(Of(Document("ab ", TextJustify::kCentre)), "-60,0 0,0")
      << "a blank at the end is no width";
  EXPECT_EQ(Of(Document("a\rb\x03"
                        "c")),
            "0,0 0,121 0,241");

  TextDocument document = Document("ab\ra", TextJustify::kCentre);
  document.tracking = 100;
  document.lineHeight = 50;
  document.baselineShift = 8;
  EXPECT_EQ(Of(document), "-65,-8 5,-8 -30,43");
  document.size = 0;
  EXPECT_EQ(Of(document), "");
}

TEST_F(TextLayoutTest, WrapsIntoItsBox) {
  TextDocument document = Document("ab cd a");
  document.boxed = true;
  document.boxX = 5;
  document.boxY = -20;
  document.boxWidth = 200;
  EXPECT_EQ(Of(document), "5,50 65,50 5,171 65,171 5,291");
  document.justify = TextJustify::kRight;
  EXPECT_EQ(Of(document), "85,50 145,50 85,171 145,171 145,291");
  document.justify = TextJustify::kLastRight;
  document.text = "a b ab";
  EXPECT_EQ(Of(document), "5,50 145,50 85,171 145,171") << "the first line fills the box";
  document.text = "abcdab";
  document.justify = TextJustify::kLeft;
  EXPECT_EQ(Of(document), "5,50 65,50 125,50 5,171 65,171 125,171") << "a word longer than the box";
  document.boxWidth = 1;
  EXPECT_EQ(Of(document).size(), std::string("5,50 5,171 5,291 5,411 5,531 5,651").size());
}

TEST_F(TextLayoutTest, MovesWhatItsSelectorsName) {
  TextAnimator animator;
  animator.has = TextAnimator::kPosition;
  animator.positionY = 100;
  const struct {
    TextSelector::Shape shape;
    double start, end, offset;
    TextSelector::Basis basis;
    const char* places;
  } kTable[] = {
      {TextSelector::Shape::kSquare, 0, 100, 0, TextSelector::Basis::kCharacters,
       "0,100 60,100 150,100 210,100"},
      {TextSelector::Shape::kSquare, 0, 50, 0, TextSelector::Basis::kCharacters,
       "0,100 60,100 150,0 210,0"},
      {TextSelector::Shape::kSquare, 0, 30, 10, TextSelector::Basis::kCharacters,
       "0,50 60,100 150,0 210,0"},
      {TextSelector::Shape::kRampUp, 0, 100, 0, TextSelector::Basis::kWithoutSpaces,
       "0,12.5 60,37.5 150,62.5 210,87.5"},
      {TextSelector::Shape::kRampDown, 0, 100, 0, TextSelector::Basis::kWithoutSpaces,
       "0,87.5 60,62.5 150,37.5 210,12.5"},
      {TextSelector::Shape::kTriangle, 0, 100, 0, TextSelector::Basis::kWithoutSpaces,
       "0,25 60,75 150,75 210,25"},
      {TextSelector::Shape::kSmooth, 0, 100, 0, TextSelector::Basis::kWithoutSpaces,
       "0,14.64 60,85.36 150,85.36 210,14.64"},
      {TextSelector::Shape::kRound, 0, 100, 0, TextSelector::Basis::kWithoutSpaces,
       "0,66.14 60,96.82 150,96.82 210,66.14"},
      {TextSelector::Shape::kSquare, 50, 100, 0, TextSelector::Basis::kWords,
       "0,0 60,0 150,100 210,100"},
  };
  for (const auto& row : kTable) {
    animator.selector.shape = row.shape;
    animator.selector.start = row.start;
    animator.selector.end = row.end;
    animator.selector.offset = row.offset;
    animator.selector.basis = row.basis;
    EXPECT_EQ(Animated(Document("ab cd"), animator), row.places);
  }
  animator.selector = {};
  animator.selector.inUnits = true;
  animator.selector.start = 1;
  animator.selector.end = 2;
  animator.selector.amount = 50;
  EXPECT_EQ(Animated(Document("abc"), animator), "0,0 60,50 120,0");
  animator.selector.shuffled = true;
  animator.selector.seed = 3;
  const std::string shuffled = Animated(Document("abcd"), animator);
  EXPECT_EQ(Animated(Document("abcd"), animator), shuffled);
  animator.has = TextAnimator::kTracking;
  animator.tracking = 10;
  animator.selector = {};
  EXPECT_EQ(Animated(Document("abc"), animator), "0,0 70,0 140,0");
  EXPECT_EQ(Animated(Document("abc", TextJustify::kRight), animator), "-200,0 -130,0 -60,0");
}

TEST_F(TextLayoutTest, PaintsAndTurnsLetters) {
  TextDocument document = Document("ab");
  document.fill = {1, 0, 0};
  TextAnimator animator;
  animator.has = TextAnimator::kFill | TextAnimator::kOpacity | TextAnimator::kScale |
                 TextAnimator::kRotation | TextAnimator::kStroke | TextAnimator::kStrokeWidth;
  animator.fill = {0, 0, 1};
  animator.stroke = {0, 1, 0};
  animator.strokeWidth = 4;
  animator.opacity = 40;
  animator.scaleX = animator.scaleY = 200;
  animator.rotation = 90;
  animator.selector.inUnits = true;
  animator.selector.end = 1;
  TextRequest request;
  request.document = &document;
  request.animators = &animator;
  request.animatorCount = 1;
  std::vector<PlacedGlyph> glyphs;
  layout_.Lay(request, glyphs);
  ASSERT_EQ(glyphs.size(), 2u);
  EXPECT_EQ(glyphs[0].fill.b, 1);
  EXPECT_EQ(glyphs[0].opacity, 0.4);
  EXPECT_EQ(glyphs[0].strokeWidth, 4);
  EXPECT_TRUE(glyphs[0].stroked);
  // Around the middle of its base line: the origin goes 30 to the left, doubled and turned.
  EXPECT_NEAR(glyphs[0].matrix[4], 30, 1e-6);
  EXPECT_NEAR(glyphs[0].matrix[5], -60, 1e-6);
  EXPECT_NEAR(glyphs[0].matrix[1], 2, 1e-6);
  EXPECT_EQ(glyphs[1].fill.r, 1);
  EXPECT_EQ(glyphs[1].opacity, 1);

  animator.has = TextAnimator::kHue;
  animator.hue = 120;
  layout_.Lay(request, glyphs);
  EXPECT_NEAR(glyphs[0].fill.g, 1, 1e-6);

  // Words turn around their middles.
  animator.has = TextAnimator::kScale;
  animator.selector = {};
  request.grouping = 2;
  EXPECT_EQ(Places(layout_, request), "-60,0 60,0");
}

TEST_F(TextLayoutTest, RunsAlongAPath) {
  TextDocument document = Document("abc");
  TextPath path;
  // 300 to the right, then down.
  path.points = {0, 0, 0, 0, 0, 0, 150, 0, 150, 0, 150, 0, 150, 500, 150, 500, 150, 500};
  TextRequest request;
  request.document = &document;
  request.path = &path;
  // The middles at 30, 90 and 150; each origin half a letter behind.
  EXPECT_EQ(Places(layout_, request), "0,0 60,0 120,0");
  path.firstMargin = 40;
  EXPECT_EQ(Places(layout_, request), "40,0 100,0 150,10");
  path.perpendicular = false;
  EXPECT_EQ(Places(layout_, request), "40,0 100,0 120,40");
  path.perpendicular = true;
  path.firstMargin = 0;
  path.reversed = true;
  EXPECT_EQ(Places(layout_, request), "150,500 150,440 150,380");
  path.reversed = false;
  path.forceAlign = true;
  EXPECT_EQ(Places(layout_, request), "0,0 150,145 150,440");
  path.points.resize(6);
  EXPECT_EQ(Places(layout_, request), "");
}

TEST_F(TextLayoutTest, KnowsTheBoxAroundIt) {
  const TextDocument document = Document("ab");
  TextRequest request;
  request.document = &document;
  double box[4] = {};
  ASSERT_TRUE(layout_.Bounds(request, box));
  EXPECT_EQ(box[0], 0);
  EXPECT_EQ(box[1], -60);
  EXPECT_EQ(box[2], 120);
  EXPECT_EQ(box[3], 60);
  EXPECT_EQ(layout_.Missing(), "");
  EXPECT_EQ(Of(Document("azb")), "0,0 60,0");
  EXPECT_EQ(layout_.Missing(), "z");
}

TEST(MachineFontsTest, ShapesWhatItsFontsHave) {
  TextLayout layout({Font("DejaVu Sans")}, {});
  TextDocument document = Document("Vi");
  TextRequest request;
  request.document = &document;
  std::vector<PlacedGlyph> glyphs;
  layout.Lay(request, glyphs);
  ASSERT_EQ(glyphs.size(), 2u);
  double box[4] = {};
  ASSERT_TRUE(layout.Bounds(request, box));
  EXPECT_NEAR(box[3], 76, 1.5) << "the dot of the i of DejaVu Sans";
  EXPECT_NEAR(glyphs[1].matrix[4], 68.4, 4);

  // Right to left: the first letter of the text stands at the right.
  document.text = "\xD7\xA9\xD7\x9C";
  layout.Lay(request, glyphs);
  ASSERT_EQ(glyphs.size(), 2u);
  EXPECT_GT(glyphs[0].matrix[4], glyphs[1].matrix[4]);
  EXPECT_EQ(glyphs[1].matrix[4], 0);

  // Joined letters are other shapes than single ones.
  document.text = "\xD8\xA8\xD8\xA8";
  layout.Lay(request, glyphs);
  ASSERT_EQ(glyphs.size(), 2u);
  EXPECT_NE(glyphs[0].outline, glyphs[1].outline);

  document.text = "ab";
  document.caps = 1;
  layout.Lay(request, glyphs);
  const GlyphOutline* capital = glyphs[0].outline;
  document.text = "AB";
  document.caps = 0;
  layout.Lay(request, glyphs);
  EXPECT_EQ(glyphs[0].outline, capital);
  document.text = "a";
  document.caps = 2;
  layout.Lay(request, glyphs);
  EXPECT_EQ(glyphs[0].outline, capital);
  EXPECT_EQ(glyphs[0].matrix[0], 0.8);
}

}  // namespace
}  // namespace plexion_host::movie
