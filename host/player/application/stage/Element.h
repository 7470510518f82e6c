// One thing on the stage.
#ifndef HOST_PLAYER_APPLICATION_STAGE_ELEMENT_H_
#define HOST_PLAYER_APPLICATION_STAGE_ELEMENT_H_

#include <stdint.h>

#include <memory>
#include <string>
#include <vector>

namespace plexion_host::player::application {

struct Colour {
  uint8_t red = 0;
  uint8_t green = 0;
  uint8_t blue = 0;
  uint8_t alpha = 0;
  bool none = true;  ///< said to be absent, which is not the same as transparent

  bool operator==(const Colour& other) const {
    return red == other.red && green == other.green && blue == other.blue && alpha == other.alpha &&
           none == other.none;
  }
};

constexpr Colour kWhite = {255, 255, 255, 255, false};
constexpr Colour kBlack = {0, 0, 0, 255, false};

enum class ElementKind {
  kGroup,
  kRectangle,
  kLine,
  kPolygon,
  kArc,
  kText,
  kQr,
  kImage,
  kMovie,
  kMedia
};

// Choices, in the order of their words in the property table.
enum Align { kAlignLeft, kAlignCenter, kAlignRight, kAlignStart, kAlignEnd };
enum VerticalAlign { kAlignTop, kAlignMiddle, kAlignBottom, kAlignBaseline };
enum Wrap { kWrapNone, kWrapWord };
enum LineCap { kCapButt, kCapRound, kCapSquare };
enum LineJoin { kJoinMiter, kJoinRound, kJoinBevel };
enum QrLevel { kQrLow, kQrMedium, kQrQuartile, kQrHigh };
enum Fit { kFitContain, kFitCover, kFitFill };

/// What a movie or media element is doing, for the script.
enum class PlayState { kIdle, kLoading, kReady, kPlaying, kEnded, kFailed };

/// Of elements in each other, in documents and by scripts: drawing and looking for elements call
/// themselves for each level.
constexpr unsigned kDeepestNesting = 32;

class Resource;

/// A part of a text in a style of its own; what it does not say is the text's.
struct TextSpan {
  uint32_t begin = 0;  ///< bytes of the text
  uint32_t end = 0;
  Colour color;  ///< none: the text's
  std::string font;
  double size = 0;
  double weight = 0;
  bool italic = false;
  bool underline = false;
  bool strike = false;
};

constexpr size_t kMostSpans = 200;

/// One thing on the stage. Elements form trees; a child's place is relative to its parent's top
/// left corner. Every kind has all members, those that mean nothing to it at their defaults: which
/// may be set is in the property table, the only place that documents and scripts write through.
struct Element {
  ElementKind kind = ElementKind::kGroup;
  uint32_t handle = 0;  ///< never used again once the element is gone
  std::string id;
  Element* parent = nullptr;
  std::vector<std::unique_ptr<Element>> children;
  /// Counts what changes the element's own picture; its place is not part of that.
  uint64_t revision = 0;
  /// Counts what changes its place and no more.
  uint64_t moves = 0;

  // Place. Stage units, degrees clockwise; the pivot is a fraction of the size.
  double x = 0;
  double y = 0;
  double width = 0;
  double height = 0;
  double opacity = 1;
  double scale = 1;
  double rotation = 0;
  double pivotX = 0.5;
  double pivotY = 0.5;
  double order = 0;
  bool visible = true;
  bool clip = false;
  /// A part was put here: the ids below are its own.
  bool isPart = false;

  // What is laid below it, and over all of it.
  Colour shadow;
  double shadowX = 0;
  double shadowY = 4;
  double shadowBlur = 12;
  double blur = 0;

  // Rectangle and other figures; the radius also rounds images.
  Colour fill;
  Colour fillEnd;
  double gradientAngle = 90;
  Colour stroke;
  double strokeWidth = 1;
  double radius = 0;
  std::vector<double> points;  ///< of lines and polygons: x and y in turn
  int cap = kCapButt;
  int join = kJoinMiter;
  // An arc in its box, degrees clockwise from the top; 0 thick: a slice.
  double from = 0;
  double to = 360;
  double thickness = 0;
  // A QR code of `text`.
  Colour ground = kWhite;
  int level = kQrMedium;
  double quiet = 4;

  // Text.
  std::string text;
  std::string font = "Sans";
  std::string features;
  std::string lang;
  std::vector<TextSpan> spans;  ///< of `text`, outer ones first
  double size = 24;
  double shrink = 0;  ///< not 0: the text may become as small as that, to fit
  double weight = 400;
  bool italic = false;
  Colour color = kWhite;
  int align = kAlignLeft;
  int valign = kAlignTop;
  int wrap = kWrapNone;
  double lines = 0;
  double letterSpacing = 0;
  double lineSpacing = 1;

  // Image, movie, media.
  std::string src;
  std::string vars;  ///< of a movie or media, "name=value&name=value"
  int fit = kFitContain;
  double loop = 1;
  double speed = 1;
  double volume = 1;
  bool paused = false;
  bool preload = false;
  /// What `src` names, once loaded or being loaded. Null before, and when it could not be.
  std::shared_ptr<Resource> resource;
  bool resourceStale = false;  ///< `src` has changed since
  PlayState playState = PlayState::kIdle;
  std::string failure;  ///< why `src` cannot be shown; empty when it can
};

/// What an element shows that was loaded from a file: a picture or a player.
class Resource {
 public:
  virtual ~Resource() = default;
};

const char* NameOf(ElementKind kind);
const char* NameOf(PlayState state);
/// All of them, groups first.
const std::vector<ElementKind>& ElementKinds();
/// "group, rectangle, ... or media".
std::string ElementKindNames();
/// False for a word that names no kind.
bool ReadElementKind(const std::string& word, ElementKind& kind);

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_STAGE_ELEMENT_H_
