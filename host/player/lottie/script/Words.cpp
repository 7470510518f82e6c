// The words of the language for the parts of a movie.
#include "host/player/lottie/script/Words.h"

#include <cstring>

#include "host/base/Check.h"

namespace plexion_host::movie {

namespace {

struct Word {
  NodeKind kind;
  const char* types;   ///< of shapes, with blanks around each; null: all
  const char* member;  ///< as a member of the node
  const char* other;   ///< more names, small letters without blanks, with blanks around each
  const char* part;
  int number;  ///< as authors may call it; 0: none
};

constexpr NodeKind kLayer = NodeKind::kLayer;
constexpr NodeKind kTransform = NodeKind::kTransform;
constexpr NodeKind kShape = NodeKind::kShape;
constexpr NodeKind kMask = NodeKind::kMask;
constexpr NodeKind kText = NodeKind::kText;

constexpr Word kWords[] = {
    {kLayer, nullptr, "transform", " transformgroup ", "ks", 6},
    {kLayer, nullptr, "content", " contents rootvectorsgroup ", "shapes", 2},
    {kLayer, nullptr, "effect", " effects effectparade ", "ef", 4},
    {kLayer, nullptr, "mask", " masks maskparade ", "masksProperties", 0},
    {kLayer, nullptr, "text", " textproperties ", "t", 0},
    {kLayer, nullptr, "timeRemap", " timeremapping ", "tm", 0},
    {kLayer, nullptr, "data", " ", "data", 0},
    {kTransform, nullptr, "anchorPoint", " anchor_point anchor vectoranchor ", "a", 1},
    {kTransform, nullptr, "position", " vectorposition ", "p", 2},
    {kTransform, nullptr, "scale", " vectorscale ", "s", 6},
    {kTransform, nullptr, "rotation", " zrotation rotatez vectorrotation ", "r", 10},
    {kTransform, nullptr, "opacity", " vectorgroupopacity ", "o", 11},
    {kTransform, nullptr, "xPosition", " position_0 ", "px", 3},
    {kTransform, nullptr, "yPosition", " position_1 ", "py", 4},
    {kTransform, nullptr, "zPosition", " position_2 ", "pz", 5},
    {kTransform, nullptr, "xRotation", " rotatex ", "rx", 8},
    {kTransform, nullptr, "yRotation", " rotatey ", "ry", 9},
    {kTransform, nullptr, "zRotation", " ", "rz", 0},
    {kTransform, nullptr, "orientation", " ", "or", 7},
    {kTransform, nullptr, "skew", " vectorskew ", "sk", 0},
    {kTransform, nullptr, "skewAxis", " vectorskewaxis ", "sa", 0},
    {kTransform, nullptr, "startOpacity", " vectorrepeateropacity1 ", "so", 0},
    {kTransform, nullptr, "endOpacity", " vectorrepeateropacity2 ", "eo", 0},
    {kShape, " gr ", "content", " contents vectorsgroup ", "it", 2},
    {kShape, " gr rp ", "transform", " vectortransformgroup vectorrepeatertransform ", "tr", 3},
    {kShape, " fl st ", "color", " vectorfillcolor vectorstrokecolor ", "c", 0},
    {kShape, " fl st gf gs ", "opacity", " vectorfillopacity vectorstrokeopacity ", "o", 0},
    {kShape, " st gs ", "strokeWidth", " vectorstrokewidth ", "w", 0},
    {kShape, " st gs ", "dash", " dashes vectorstrokedashes ", "d", 0},
    {kShape, " gf gs ", "startPoint", " vectorgradstartpt ", "s", 0},
    {kShape, " gf gs ", "endPoint", " vectorgradendpt ", "e", 0},
    {kShape, " gf gs ", "highlightLength", " vectorgradhighlightlength ", "h", 0},
    {kShape, " gf gs ", "highlightAngle", " vectorgradhighlightangle ", "a", 0},
    {kShape, " gf gs ", "colors", " vectorgradcolors ", "g", 0},
    {kShape, " rc el zz ", "size", " vectorrectsize vectorellipsesize ", "s", 0},
    {kShape, " rc el sr ", "position",
     " vectorrectposition vectorellipseposition vectorstarposition ", "p", 0},
    {kShape, " rc ", "roundness", " vectorrectroundness ", "r", 0},
    {kShape, " sr ", "points", " vectorstarpoints ", "pt", 0},
    {kShape, " sr ", "rotation", " vectorstarrotation ", "r", 0},
    {kShape, " sr ", "outerRadius", " vectorstarouterradius ", "or", 0},
    {kShape, " sr ", "innerRadius", " vectorstarinnerradius ", "ir", 0},
    {kShape, " sr ", "outerRoundness", " vectorstarouterroundess vectorstarouterroundness ", "os",
     0},
    {kShape, " sr ", "innerRoundness", " vectorstarinnerroundess vectorstarinnerroundness ", "is",
     0},
    {kShape, " sh ", "path", " shape vectorshape ", "ks", 2},
    {kShape, " tm ", "start", " vectortrimstart ", "s", 0},
    {kShape, " tm ", "end", " vectortrimend ", "e", 0},
    {kShape, " tm rp ", "offset", " vectortrimoffset vectorrepeateroffset ", "o", 0},
    {kShape, " rd ", "radius", " roundcorners1 vectorroundcornerradius ", "r", 0},
    {kShape, " rp ", "copies", " vectorrepeatercopies ", "c", 0},
    {kShape, " op pb ", "amount", " vectoroffsetamount vectorpuckeramount ", "a", 0},
    {kShape, " op ", "miterLimit", " vectoroffsetmiterlimit ", "ml", 0},
    {kShape, " zz ", "ridges", " ridgespersegment vectorzigzagdetail ", "r", 0},
    {kShape, " tw ", "angle", " vectortwistangle ", "a", 0},
    {kShape, " tw ", "center", " vectortwistcenter ", "c", 0},
    {kMask, nullptr, "maskPath", " maskshape ", "pt", 1},
    {kMask, nullptr, "maskOpacity", " ", "o", 3},
    {kMask, nullptr, "maskFeather", " ", "f", 2},
    {kMask, nullptr, "maskExpansion", " maskoffset ", "x", 4},
    {kText, nullptr, "sourceText", " textdocument ", "d", 0},
};

/// Small letters without blanks and without the prefix that makers put in front.
struct PlainWord {
  char letters[64];
  size_t count = 0;

  explicit PlainWord(std::string_view word) {
    if (word.substr(0, 5) == "ADBE ") word.remove_prefix(5);
    for (const char c : word) {
      if (c == ' ') continue;
      if (count + 1 >= sizeof(letters)) break;
      letters[count++] = c >= 'A' && c <= 'Z' ? static_cast<char>(c + 'a' - 'A') : c;
    }
    letters[count] = 0;
  }
  std::string_view View() const { return {letters, count}; }
};

/// Whether `list` has the word, with a blank on either side.
bool Lists(const char* list, std::string_view word) {
  if (word.empty()) return false;
  for (const char* at = list; (at = std::strchr(at, ' ')) != nullptr; ++at) {
    if (std::strncmp(at + 1, word.data(), word.size()) == 0 && at[1 + word.size()] == ' ') {
      return true;
    }
  }
  return false;
}

bool Fits(const Word& word, NodeKind kind, std::string_view type) {
  return word.kind == kind && (word.types == nullptr || Lists(word.types, type));
}

}  // namespace

std::string_view PartNamed(NodeKind kind, std::string_view type, std::string_view name) {
  const PlainWord plain(name);
  for (const Word& word : kWords) {
    if (!Fits(word, kind, type)) continue;
    if (PlainWord(word.member).View() == plain.View() || Lists(word.other, plain.View())) {
      return word.part;
    }
  }
  return {};
}

std::string_view PartNumbered(NodeKind kind, std::string_view type, int number) {
  for (const Word& word : kWords) {
    if (number > 0 && word.number == number && Fits(word, kind, type)) return word.part;
  }
  return {};
}

std::string_view PartAt(NodeKind kind, std::string_view type, int position) {
  PLEXION_CHECK(position >= 0, "parts are counted from 0");
  for (const Word& word : kWords) {
    if (Fits(word, kind, type) && position-- == 0) return word.part;
  }
  return {};
}

void ForEachMember(NodeKind kind, void (*use)(void* data, const char* member), void* data) {
  for (const Word& word : kWords) {
    if (word.kind == kind) use(data, word.member);
  }
}

}  // namespace plexion_host::movie
