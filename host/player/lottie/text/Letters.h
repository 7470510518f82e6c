// A text taken apart: its lines, and the characters that animators move one by one.

#ifndef HOST_PLAYER_LOTTIE_TEXT_LETTERS_H_
#define HOST_PLAYER_LOTTIE_TEXT_LETTERS_H_

#include <map>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "host/player/lottie/text/Fonts.h"
#include "host/player/lottie/text/TextLayout.h"

namespace plexion_host::movie {

struct Letter {
  const GlyphOutline* outline = nullptr;  ///< null for what draws nothing
  int composition = -1;
  double advance = 0;   ///< pixels, without tracking
  double shrink = 1;    ///< small capitals
  bool breaks = false;  ///< the end of a line
  bool blank = false;
  int line = 0;
  int place = 0;  ///< in its line from the left
  // The group that it turns with: how wide it is, where the letter begins in it, which it is, and
  // what comes behind it.
  double groupWidth = 0;
  double groupStart = 0;
  int group = 0;
  double behindGroup = 0;
};

struct TextLine {
  double width = 0;      ///< without blanks at its end and without the last tracking
  bool wrapped = false;  ///< ended by the box, not by the author
  size_t first = 0;      ///< letters
  size_t last = 0;       ///< one behind
};

/// What a document comes down to before anything moves. Reused from call to call.
struct Letters {
  std::vector<Letter> letters;
  std::vector<TextLine> lines;
  double widest = 0;
  double tracking = 0;  ///< pixels
};

/// Takes texts apart, with the glyphs of the document or of the machine.
class LetterSource {
 public:
  LetterSource(std::vector<TextFont> fonts, std::vector<TextCharacter> characters);

  /// `apart`: characters move on their own.
  void Take(const TextDocument& document, bool apart, int grouping, Letters& letters);
  /// The document's font; a plain one when it names none that there is.
  const TextFont& FontOf(const TextDocument& document) const;
  bool HasCharacters() const { return !characters_.empty(); }
  const std::string& Missing() const { return missing_; }
  /// What the glyphs that it knows hold on to.
  size_t Bytes() const;

 private:
  void AppendParagraph(const TextDocument& document, std::string_view text, bool apart,
                       Letters& letters);
  void AppendLine(const TextDocument& document, std::string_view text, bool apart,
                  std::vector<Letter>& letters, std::vector<size_t>* starts);
  const TextCharacter* Find(const TextFont& font, std::string_view character);

  std::vector<TextFont> fonts_;
  std::vector<TextCharacter> characters_;
  std::map<std::tuple<std::string_view, std::string_view, std::string_view>, size_t> byName_;
  Fonts machine_;
  std::vector<FontCluster> clusters_;
  std::string missing_;
  TextFont plain_;
};

/// The first character of `text` with all that combines with it. Returns  its length in bytes.
size_t CharacterBytes(std::string_view text);

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_TEXT_LETTERS_H_
