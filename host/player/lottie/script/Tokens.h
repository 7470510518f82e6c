// The words of an expression, read one at a time.

#ifndef HOST_PLAYER_LOTTIE_SCRIPT_TOKENS_H_
#define HOST_PLAYER_LOTTIE_SCRIPT_TOKENS_H_

#include <stddef.h>

#include <stdexcept>
#include <string>
#include <string_view>

namespace plexion_host::movie {

enum class TokenKind { kEnd, kName, kNumber, kString, kTemplate, kSign };

struct Token {
  TokenKind kind = TokenKind::kEnd;
  std::string_view text;
  size_t start = 0;
  bool newLine = false;  ///< a line ends in front of it

  bool Is(std::string_view what) const {
    return text == what && (kind == TokenKind::kSign || kind == TokenKind::kName);
  }
};

/// What is wrong with a source; only between the tokens, the translator and its entry.
class SourceFault : public std::runtime_error {
 public:
  SourceFault(size_t position, const std::string& what)
      : std::runtime_error(what), position_(position) {}
  size_t Position() const { return position_; }

 private:
  size_t position_;
};

/// Reads tokens of a source that outlives it. A slash is always a sign: only the parser knows where
/// a regular expression may stand, and asks for one.
/// Errors   throws SourceFault.
class Tokens {
 public:
  explicit Tokens(std::string_view source) : source_(source) { Next(); }

  const Token& Current() const { return current_; }
  void Next();
  /// Goes on reading from `position`.
  void MoveTo(size_t position);
  /// The current sign begins a regular expression: takes it all. Returns  the text between the
  /// slashes; `flags` gets what follows.
  std::string_view TakeRegularExpression(std::string_view& flags);
  std::string_view Source() const { return source_; }
  size_t Position() const { return position_; }

 private:
  bool SkipBlanks();
  void ReadString(char quote);
  void ReadNumber();
  void ReadSign();

  std::string_view source_;
  size_t position_ = 0;
  Token current_;
};

/// Words that no variable can have.
bool IsReservedWord(std::string_view name);
/// How tightly an operator binds its two operands; 0: it is none of that kind.
int PrecedenceOf(const Token& token);

/// Whether a name of the language can have this byte. Bytes of other scripts count.
bool IsNameByte(char c);

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_SCRIPT_TOKENS_H_
