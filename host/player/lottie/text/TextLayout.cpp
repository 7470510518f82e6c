// Places letters: in lines or along a path, moved and painted by animators.
#include "host/player/lottie/text/TextLayout.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "host/player/lottie/raster/Geometry.h"
#include "host/player/lottie/text/Letters.h"
#include "host/player/lottie/text/PathRuler.h"
#include "host/player/lottie/text/Selector.h"

namespace plexion_host::movie {

namespace {

constexpr double kDegree = 3.14159265358979323846 / 180;
constexpr double kUsualLineHeight = 1.2;
/// Of the height of a line, where alignments in percent have their whole.
constexpr double kAlignmentHeight = 0.714;

/// Maps by what it had before and then by `next`.
void Then(Matrix& matrix, const Matrix& next) { matrix = next * matrix; }
void Move(Matrix& matrix, double x, double y) { Then(matrix, {1, 0, 0, 1, x, y}); }

void Turn(Matrix& matrix, double degrees) {
  const double c = std::cos(degrees * kDegree);
  const double s = std::sin(degrees * kDegree);
  Then(matrix, {c, s, -s, c, 0, 0});
}

void Skew(Matrix& matrix, double degrees, double axis) {
  Turn(matrix, axis);
  Then(matrix, {1, 0, -std::tan(degrees * kDegree), 1, 0, 0});
  Turn(matrix, -axis);
}

double Toward(double from, double to, double share) { return from + (to - from) * share; }

void Toward(TextColour& colour, const TextColour& other, double share) {
  colour = {Toward(colour.r, other.r, share), Toward(colour.g, other.g, share),
            Toward(colour.b, other.b, share)};
}

/// Hue in turns, saturation and value from 0 to 1 are moved by as much.
void Shift(TextColour& colour, double hue, double saturation, double value) {
  const double most = std::max({colour.r, colour.g, colour.b});
  const double range = most - std::min({colour.r, colour.g, colour.b});
  double h = 0;
  if (range > 0) {
    h = most == colour.r   ? (colour.g - colour.b) / range + (colour.g < colour.b ? 6 : 0)
        : most == colour.g ? (colour.b - colour.r) / range + 2
                           : (colour.r - colour.g) / range + 4;
  }
  h = h / 6 + hue;
  h -= std::floor(h);
  const double s = std::clamp((most == 0 ? 0 : range / most) + saturation, 0.0, 1.0);
  const double v = std::clamp(most + value, 0.0, 1.0);
  const auto channel = [&](double offset) {
    const double k = std::fmod(offset + h * 6, 6);
    return v - v * s * std::clamp(std::min(k, 4 - k), 0.0, 1.0);
  };
  colour = {channel(5), channel(3), channel(1)};
}

uint32_t NextChance(uint32_t& state) {
  state ^= state << 13;
  state ^= state >> 17;
  state ^= state << 5;
  return state;
}

}  // namespace

class TextLayout::Engine {
 public:
  Engine(std::vector<TextFont> fonts, std::vector<TextCharacter> characters)
      : source_(std::move(fonts), std::move(characters)) {}

  void Lay(const TextRequest& request, std::vector<PlacedGlyph>& glyphs);
  std::string_view Missing() const { return source_.Missing(); }
  size_t Bytes() const { return source_.Bytes(); }

 private:
  void NumberLetters();
  void Justify();
  /// Where each letter begins in its line, tracking and justification included.
  void PlaceInLines();
  void PlaceOnPath();
  double AlongPath(size_t letter) const;
  Matrix Place(size_t letter, PlacedGlyph& glyph);
  void Animate(size_t letter, Matrix& matrix, PlacedGlyph& glyph);
  const TextShare& Share(size_t letter, uint32_t animator) const {
    return shares_[letter * request_->animatorCount + animator];
  }

  LetterSource source_;
  const TextRequest* request_ = nullptr;
  Letters text_;
  std::vector<TextShare> shares_;
  std::vector<double> x_;  ///< in the line, or along the path
  std::vector<double> y_;
  std::vector<double> blankExtra_;  ///< for each line: more width for each blank
  std::vector<size_t> order_;
  std::vector<int> numbers_;
  std::vector<int> shuffled_;
  PathRuler ruler_;
};

/// How much of each animator each letter gets.
void TextLayout::Engine::NumberLetters() {
  const std::vector<Letter>& letters = text_.letters;
  const uint32_t animators = request_->animatorCount;
  shares_.assign(letters.size() * animators, {});
  numbers_.resize(letters.size());
  for (uint32_t j = 0; j < animators; ++j) {
    const TextSelector& selector = request_->animators[j].selector;
    int number = 0;
    for (size_t i = 0; i < letters.size(); ++i) {
      numbers_[i] = number;
      const bool last = i + 1 == letters.size();
      switch (selector.basis) {
        case TextSelector::Basis::kCharacters:
          number += letters[i].breaks ? 0 : 1;
          break;
        case TextSelector::Basis::kWithoutSpaces:
          number += letters[i].breaks || letters[i].blank ? 0 : 1;
          break;
        case TextSelector::Basis::kWords:
          number += letters[i].breaks || letters[i].blank || last ? 1 : 0;
          break;
        case TextSelector::Basis::kLines:
          number += letters[i].breaks || last ? 1 : 0;
          break;
      }
    }
    if (selector.shuffled) {
      shuffled_.resize(static_cast<size_t>(number) + 1);
      std::iota(shuffled_.begin(), shuffled_.end(), 0);
      uint32_t chance = selector.seed * 2654435761u + 88172645u;
      if (chance == 0) chance = 1;
      for (size_t i = static_cast<size_t>(number); i > 1; --i) {
        std::swap(shuffled_[i - 1], shuffled_[NextChance(chance) % i]);
      }
      for (int& each : numbers_) each = shuffled_[static_cast<size_t>(each)];
    }
    int before = -1;
    for (size_t i = 0; i < letters.size(); ++i) {
      TextShare& share = shares_[i * animators + j];
      // Letters of one word have one share, which may cost an expression.
      share = numbers_[i] == before ? shares_[(i - 1) * animators + j]
                                    : ShareOf(selector, numbers_[i], number, request_->script);
      before = numbers_[i];
    }
  }
}

/// Lines that fill their box.
void TextLayout::Engine::Justify() {
  const TextDocument& document = *request_->document;
  blankExtra_.assign(text_.lines.size(), 0);
  if (!document.boxed || document.justify < TextJustify::kLastLeft) return;
  for (size_t i = 0; i < text_.lines.size(); ++i) {
    TextLine& line = text_.lines[i];
    if (!line.wrapped && document.justify != TextJustify::kFull) continue;
    int blanks = 0;
    for (size_t k = line.first; k < line.last; ++k) blanks += text_.letters[k].blank ? 1 : 0;
    if (blanks == 0 || line.width >= document.boxWidth) continue;
    blankExtra_[i] = (document.boxWidth - line.width) / blanks;
    line.width = document.boxWidth;
  }
}

void TextLayout::Engine::PlaceInLines() {
  const TextDocument& document = *request_->document;
  const std::vector<Letter>& letters = text_.letters;
  double y = 0;
  const double height =
      document.lineHeight > 0 ? document.lineHeight : document.size * kUsualLineHeight;
  // A plain text of a font is drawn line by line; everything else sits a pixel lower from its second
  // line on, as the format's players have it.
  const bool plain = request_->animatorCount == 0 && request_->path == nullptr && !document.boxed &&
                     !source_.HasCharacters();
  for (size_t number = 0; number < text_.lines.size(); ++number) {
    const TextLine& line = text_.lines[number];
    if (number > 0) y += height + (number == 1 && !plain ? 1 : 0);
    double align = document.justify == TextJustify::kRight    ? 1
                   : document.justify == TextJustify::kCentre ? 0.5
                                                              : 0;
    if (document.boxed && document.justify == TextJustify::kLastRight) align = 1;
    if (document.boxed && document.justify == TextJustify::kLastCentre) align = 0.5;
    const double room = document.boxed ? document.boxWidth - line.width
                                       : -line.width;  // no box: all from one point
    double x = room * align;
    // Tracking by animators widens the line as well.
    double widening = 0;
    double first = 0;
    for (size_t i = line.first; i < line.last; ++i) {
      if (letters[i].breaks) continue;
      for (uint32_t j = 0; j < request_->animatorCount; ++j) {
        const TextAnimator& animator = request_->animators[j];
        if ((animator.has & TextAnimator::kTracking) == 0) continue;
        widening += animator.tracking * Share(i, j).x;
        if (first == 0) first = animator.tracking;
      }
    }
    if (align == 0.5) x -= (widening + (widening != 0 ? first : 0)) / 2;
    if (align == 1) x -= widening;
    order_.clear();
    for (size_t i = line.first; i < line.last; ++i) {
      if (!letters[i].breaks) order_.push_back(i);
    }
    std::stable_sort(order_.begin(), order_.end(),
                     [&](size_t a, size_t b) { return letters[a].place < letters[b].place; });
    double along = 0;
    double spacingX = 0;
    double spacingY = 0;
    for (const size_t i : order_) {
      for (uint32_t j = 0; j < request_->animatorCount; ++j) {
        const TextAnimator& animator = request_->animators[j];
        const TextShare& share = Share(i, j);
        // Not in front of a line that begins at the left.
        if ((animator.has & TextAnimator::kTracking) != 0 && (along != 0 || align != 0)) {
          along += animator.tracking * share.x;
        }
      }
      x_[i] = x + along;
      y_[i] = y;
      along += letters[i].advance + text_.tracking;
      if (letters[i].blank) along += blankExtra_[number];
    }
    // More room between lines counts for every line behind the first.
    for (uint32_t j = 0; j < request_->animatorCount; ++j) {
      const TextAnimator& animator = request_->animators[j];
      if ((animator.has & TextAnimator::kLineSpacing) == 0 || order_.empty()) continue;
      spacingX += animator.lineSpacingX * Share(order_.front(), j).x;
      spacingY += animator.lineSpacingY * Share(order_.front(), j).x;
    }
    if (number > 0 && (spacingX != 0 || spacingY != 0)) {
      y += spacingY;
      for (const size_t i : order_) {
        x_[i] += spacingX * static_cast<double>(number);
        y_[i] += spacingY;
      }
    }
  }
}

/// Along the path every letter stands on its middle.
void TextLayout::Engine::PlaceOnPath() {
  const TextDocument& document = *request_->document;
  const TextPath& path = *request_->path;
  const std::vector<Letter>& letters = text_.letters;
  const double height =
      document.lineHeight > 0 ? document.lineHeight : document.size * kUsualLineHeight;
  const double total = ruler_.Length();
  for (size_t number = 0; number < text_.lines.size(); ++number) {
    const TextLine& line = text_.lines[number];
    double at = path.firstMargin;
    if (document.justify == TextJustify::kRight) at += total + path.lastMargin - line.width;
    if (document.justify == TextJustify::kCentre) at += (total + path.lastMargin - line.width) / 2;
    order_.clear();
    for (size_t i = line.first; i < line.last; ++i) {
      if (!letters[i].breaks) order_.push_back(i);
    }
    std::stable_sort(order_.begin(), order_.end(),
                     [&](size_t a, size_t b) { return letters[a].place < letters[b].place; });
    // Forced, the middles stand in equal distances from one end to the other.
    const bool forced = path.forceAlign && order_.size() > 1;
    double firstMiddle = 0;
    double step = 0;
    if (forced) {
      const double firstHalf = letters[order_.front()].advance / 2;
      const double lastHalf = letters[order_.back()].advance / 2;
      firstMiddle = path.firstMargin + firstHalf;
      step = (total - path.firstMargin + path.lastMargin - firstHalf - lastHalf) /
             static_cast<double>(order_.size() - 1);
    }
    double groupAt = at;
    int group = -1;
    for (size_t k = 0; k < order_.size(); ++k) {
      const size_t i = order_[k];
      const Letter& letter = letters[i];
      if (letter.group != group) {
        group = letter.group;
        groupAt = at;
      }
      // A group turns around its middle, wherever its letters are in it.
      x_[i] =
          (forced ? firstMiddle + step * static_cast<double>(k) : groupAt + letter.groupWidth / 2) +
          request_->alignmentX * letter.groupWidth / 200;
      y_[i] = static_cast<double>(number) * height;
      for (uint32_t j = 0; j < request_->animatorCount; ++j) {
        const TextAnimator& animator = request_->animators[j];
        if ((animator.has & TextAnimator::kTracking) != 0) {
          at += animator.tracking * Share(i, j).x;
        }
      }
      at += letter.advance + text_.tracking;
    }
  }
}

double TextLayout::Engine::AlongPath(size_t letter) const {
  double at = x_[letter];
  for (uint32_t j = 0; j < request_->animatorCount; ++j) {
    const TextAnimator& animator = request_->animators[j];
    const TextShare& share = Share(letter, j);
    if ((animator.has & TextAnimator::kPosition) != 0) at += animator.positionX * share.x;
    if ((animator.has & TextAnimator::kAnchor) != 0) at += animator.anchorX * share.x;
  }
  return at;
}

/// What animators do to one letter, around its own anchor.
void TextLayout::Engine::Animate(size_t letter, Matrix& matrix, PlacedGlyph& glyph) {
  const uint32_t count = request_->animatorCount;
  const auto has = [&](uint32_t j, TextAnimator::Part part) {
    return (request_->animators[j].has & part) != 0;
  };
  for (uint32_t j = 0; j < count; ++j) {
    const TextAnimator& animator = request_->animators[j];
    const TextShare& share = Share(letter, j);
    if (has(j, TextAnimator::kAnchor)) {
      Move(matrix, -animator.anchorX * share.x, -animator.anchorY * share.y);
    }
  }
  for (uint32_t j = 0; j < count; ++j) {
    const TextAnimator& animator = request_->animators[j];
    const TextShare& share = Share(letter, j);
    if (has(j, TextAnimator::kScale)) {
      Then(matrix, {Toward(1, animator.scaleX / 100, share.x), 0, 0,
                    Toward(1, animator.scaleY / 100, share.y), 0, 0});
    }
  }
  for (uint32_t j = 0; j < count; ++j) {
    const TextAnimator& animator = request_->animators[j];
    const TextShare& share = Share(letter, j);
    if (has(j, TextAnimator::kSkew)) {
      Skew(matrix, animator.skew * share.x, animator.skewAxis * share.y);
    }
    if (has(j, TextAnimator::kRotation)) Turn(matrix, animator.rotation * share.z);
    // Seen from in front, a turn around the other axes only makes narrower.
    if (has(j, TextAnimator::kRotationY)) {
      Then(matrix, {std::cos(animator.rotationY * share.y * kDegree), 0, 0, 1, 0, 0});
    }
    if (has(j, TextAnimator::kRotationX)) {
      Then(matrix, {1, 0, 0, std::cos(animator.rotationX * share.x * kDegree), 0, 0});
    }
    if (has(j, TextAnimator::kOpacity)) {
      glyph.opacity += (animator.opacity / 100 * share.x - glyph.opacity) * share.x;
    }
    if (has(j, TextAnimator::kFillOpacity)) {
      glyph.fillOpacity = Toward(glyph.fillOpacity, animator.fillOpacity / 100, share.x);
    }
    if (has(j, TextAnimator::kStrokeOpacity)) {
      glyph.strokeOpacity = Toward(glyph.strokeOpacity, animator.strokeOpacity / 100, share.x);
    }
    if (has(j, TextAnimator::kStrokeWidth)) glyph.strokeWidth += animator.strokeWidth * share.x;
    if (has(j, TextAnimator::kStroke)) {
      glyph.stroked = true;
      Toward(glyph.stroke, animator.stroke, share.x);
    }
    if (has(j, TextAnimator::kFill)) Toward(glyph.fill, animator.fill, share.x);
    if (has(j, TextAnimator::kHue)) Shift(glyph.fill, animator.hue * share.x / 360, 0, 0);
    if (has(j, TextAnimator::kSaturation)) {
      Shift(glyph.fill, 0, animator.saturation * share.x / 100, 0);
    }
    if (has(j, TextAnimator::kBrightness)) {
      Shift(glyph.fill, 0, 0, animator.brightness * share.x / 100);
    }
    if (has(j, TextAnimator::kBlur)) {
      glyph.blurX += animator.blurX * share.x;
      glyph.blurY += animator.blurY * share.y;
    }
  }
  for (uint32_t j = 0; j < count; ++j) {
    const TextAnimator& animator = request_->animators[j];
    const TextShare& share = Share(letter, j);
    if (has(j, TextAnimator::kPosition)) {
      Move(matrix, request_->path != nullptr ? 0 : animator.positionX * share.x,
           animator.positionY * share.y);
    }
  }
}

/// Into the layer's plane, from one in which the letter has its size.
Matrix TextLayout::Engine::Place(size_t index, PlacedGlyph& glyph) {
  const TextDocument& document = *request_->document;
  const Letter& letter = text_.letters[index];
  const double alignY =
      request_->alignmentY / 100 * document.size * kUsualLineHeight * kAlignmentHeight;
  const double alignX = request_->alignmentX * letter.groupWidth / 200;
  const double middle = letter.groupWidth / 2 - letter.groupStart;
  Matrix matrix;
  Move(matrix, -middle - alignX, -alignY);
  Animate(index, matrix, glyph);
  if (request_->path != nullptr) {
    Move(matrix, 0, alignY + y_[index] - document.baselineShift);
    const PathRuler::Mark mark = ruler_.At(AlongPath(index));
    if (request_->path->perpendicular) {
      Then(matrix, {mark.directionX, mark.directionY, -mark.directionY, mark.directionX, 0, 0});
    }
    Move(matrix, mark.x, mark.y);
    return matrix;
  }
  const double ascent = source_.FontOf(document).ascent * document.size / 100;
  Move(matrix, x_[index] + middle + alignX + (document.boxed ? document.boxX : 0),
       y_[index] + alignY - document.baselineShift + (document.boxed ? document.boxY + ascent : 0));
  return matrix;
}

void TextLayout::Engine::Lay(const TextRequest& request, std::vector<PlacedGlyph>& glyphs) {
  glyphs.clear();
  const TextDocument& document = *request.document;
  if (!(document.size > 0) || document.size > 1e5) return;
  request_ = &request;
  source_.Take(document, request.animatorCount > 0 || request.path != nullptr, request.grouping,
               text_);
  NumberLetters();
  Justify();
  x_.assign(text_.letters.size(), 0);
  y_.assign(text_.letters.size(), 0);
  if (request.path != nullptr) {
    ruler_.Measure(*request.path);
    if (ruler_.Length() > 0) {
      PlaceOnPath();
    } else {
      return;
    }
  } else {
    PlaceInLines();
  }
  for (size_t i = 0; i < text_.letters.size(); ++i) {
    const Letter& letter = text_.letters[i];
    if (letter.breaks || (letter.outline == nullptr && letter.composition < 0)) continue;
    PlacedGlyph glyph;
    glyph.outline = letter.outline;
    glyph.composition = letter.composition;
    glyph.filled = document.hasFill;
    glyph.stroked = document.hasStroke;
    glyph.fillOverStroke = document.fillOverStroke;
    glyph.fill = document.fill;
    glyph.stroke = document.stroke;
    glyph.strokeWidth = document.strokeWidth;
    const Matrix place = Place(i, glyph);
    const double scale = document.size / 100 * letter.shrink;
    const double matrix[6] = {place.a * scale, place.b * scale, place.c * scale,
                              place.d * scale, place.e,         place.f};
    std::copy_n(matrix, 6, glyph.matrix);
    const double strokes[4] = {place.a, place.b, place.c, place.d};
    std::copy_n(strokes, 4, glyph.strokeMatrix);
    glyph.opacity = std::clamp(glyph.opacity, 0.0, 1.0);
    glyph.strokeWidth = std::max(glyph.strokeWidth, 0.0);
    if (glyph.strokeWidth == 0) glyph.stroked = false;
    if (place.IsFinite()) glyphs.push_back(glyph);
  }
}

TextLayout::TextLayout(std::vector<TextFont> fonts, std::vector<TextCharacter> characters)
    : engine_(std::make_unique<Engine>(std::move(fonts), std::move(characters))) {}
TextLayout::~TextLayout() = default;

void TextLayout::Lay(const TextRequest& request, std::vector<PlacedGlyph>& glyphs) {
  engine_->Lay(request, glyphs);
}

bool TextLayout::Bounds(const TextRequest& request, double box[4]) {
  std::vector<PlacedGlyph> glyphs;
  engine_->Lay(request, glyphs);
  double left = HUGE_VAL;
  double top = HUGE_VAL;
  double right = -HUGE_VAL;
  double bottom = -HUGE_VAL;
  for (const PlacedGlyph& glyph : glyphs) {
    if (glyph.outline == nullptr) continue;
    const double* m = glyph.matrix;
    ForEachPoint(*glyph.outline, [&](double x, double y) {
      const double mappedX = m[0] * x + m[2] * y + m[4];
      const double mappedY = m[1] * x + m[3] * y + m[5];
      left = std::min(left, mappedX);
      right = std::max(right, mappedX);
      top = std::min(top, mappedY);
      bottom = std::max(bottom, mappedY);
    });
  }
  if (!(left <= right)) return false;
  box[0] = left;
  box[1] = top;
  box[2] = right - left;
  box[3] = bottom - top;
  return true;
}

size_t TextLayout::Bytes() const { return engine_->Bytes(); }

std::string_view TextLayout::Missing() const { return engine_->Missing(); }

}  // namespace plexion_host::movie
