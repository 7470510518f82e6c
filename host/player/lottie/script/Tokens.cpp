// The words of an expression: names, numbers, texts, signs.
#include "host/player/lottie/script/Tokens.h"

#include <algorithm>

#include "host/base/Check.h"

namespace plexion_host::movie {

namespace {

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

/// Longest first.
constexpr std::string_view kSigns[] = {
    ">>>=", "...", "===", "!==", "**=", "<<=", ">>=", ">>>", "&&=", "||=", "?\?=", "=>",
    "==",   "!=",  "<=",  ">=",  "&&",  "||",  "??",  "?.",  "++",  "--",  "+=",   "-=",
    "*=",   "/=",  "%=",  "&=",  "|=",  "^=",  "<<",  ">>",  "**",  "{",   "}",    "(",
    ")",    "[",   "]",   ".",   ";",   ",",   "<",   ">",   "+",   "-",   "*",    "/",
    "%",    "&",   "|",   "^",   "!",   "~",   "?",   ":",   "="};

constexpr std::string_view kReserved[] = {
    "break",  "case",     "catch",  "class",  "const",  "continue",   "debugger", "default",
    "delete", "do",       "else",   "enum",   "export", "extends",    "false",    "finally",
    "for",    "function", "if",     "import", "in",     "instanceof", "new",      "null",
    "return", "super",    "switch", "this",   "throw",  "true",       "try",      "typeof",
    "var",    "void",     "while",  "with",   "yield"};

}  // namespace

bool IsReservedWord(std::string_view name) {
  return std::find(std::begin(kReserved), std::end(kReserved), name) != std::end(kReserved);
}

// The language's own table. Members, calls and single operands bind closer, and are read further
// in.
int PrecedenceOf(const Token& token) {
  static constexpr struct {
    std::string_view sign;
    int precedence;
  } kOperators[] = {{"??", 1}, {"||", 2}, {"&&", 3}, {"|", 4},   {"^", 5},
                    {"&", 6},  {"==", 7}, {"!=", 7}, {"===", 7}, {"!==", 7},
                    {"<", 8},  {">", 8},  {"<=", 8}, {">=", 8},  {"instanceof", 8},
                    {"in", 8}, {"<<", 9}, {">>", 9}, {">>>", 9}, {"+", 10},
                    {"-", 10}, {"*", 11}, {"/", 11}, {"%", 11},  {"**", 12}};
  for (const auto& each : kOperators) {
    if (token.Is(each.sign)) return each.precedence;
  }
  return 0;
}

bool IsNameByte(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || IsDigit(c) || c == '_' || c == '$' ||
         (static_cast<unsigned char>(c) & 0x80) != 0;
}

bool Tokens::SkipBlanks() {
  bool newLine = false;
  for (; position_ < source_.size(); ++position_) {
    const char c = source_[position_];
    const std::string_view rest = source_.substr(position_);
    if (c == '\n' || c == '\r') {
      newLine = true;
    } else if (rest.substr(0, 2) == "//") {
      while (position_ + 1 < source_.size() && source_[position_ + 1] != '\n' &&
             source_[position_ + 1] != '\r') {
        ++position_;
      }
    } else if (rest.substr(0, 2) == "/*") {
      const size_t end = source_.find("*/", position_ + 2);
      if (end == std::string_view::npos) throw SourceFault(position_, "a comment without an end");
      newLine = newLine || rest.substr(0, end - position_).find('\n') != std::string_view::npos;
      position_ = end + 1;
    } else if (rest.substr(0, 2) == "\xC2\xA0") {  // a space that does not break
      position_ += 1;
    } else if (rest.substr(0, 3) == "\xE2\x80\xA8" || rest.substr(0, 3) == "\xE2\x80\xA9" ||
               rest.substr(0, 3) == "\xEF\xBB\xBF") {
      newLine = newLine || c == '\xE2';
      position_ += 2;
    } else if (c != ' ' && c != '\t' && c != '\v' && c != '\f') {
      break;
    }
  }
  return newLine;
}

void Tokens::Next() {
  const bool newLine = SkipBlanks();
  current_ = {TokenKind::kEnd, {}, position_, newLine};
  if (position_ >= source_.size()) return;
  const char c = source_[position_];
  if (c == '"' || c == '\'') {
    ReadString(c);
  } else if (c == '`') {
    current_.kind = TokenKind::kTemplate;
    ++position_;
  } else if (IsDigit(c) ||
             (c == '.' && position_ + 1 < source_.size() && IsDigit(source_[position_ + 1]))) {
    ReadNumber();
  } else if (IsNameByte(c)) {
    current_.kind = TokenKind::kName;
    while (position_ < source_.size() && IsNameByte(source_[position_])) ++position_;
  } else {
    ReadSign();
  }
  current_.text = source_.substr(current_.start, position_ - current_.start);
}

void Tokens::MoveTo(size_t position) {
  PLEXION_CHECK(position <= source_.size(), "reading goes on inside of the source");
  position_ = position;
  Next();
}

void Tokens::ReadString(char quote) {
  current_.kind = TokenKind::kString;
  for (++position_; position_ < source_.size(); ++position_) {
    const char c = source_[position_];
    if (c == quote) {
      ++position_;
      return;
    }
    if (c == '\n' || c == '\r') break;
    if (c == '\\') {
      ++position_;
      if (source_.substr(position_, 2) == "\r\n") ++position_;
    }
  }
  throw SourceFault(current_.start, "a text without an end");
}

void Tokens::ReadNumber() {
  current_.kind = TokenKind::kNumber;
  char last = 0;
  const bool based = source_.substr(position_, 2).find_first_of("xXbBoO") == 1;
  for (; position_ < source_.size(); ++position_) {
    const char c = source_[position_];
    const bool exponentSign = !based && (c == '+' || c == '-') && (last == 'e' || last == 'E');
    if (!IsNameByte(c) && c != '.' && !exponentSign) break;
    if ((static_cast<unsigned char>(c) & 0x80) != 0 || c == '$') break;
    last = c;
  }
  // The engine has none; told here, it names the place.
  if (last == 'n') throw SourceFault(current_.start, "whole numbers of any size are not supported");
}

void Tokens::ReadSign() {
  current_.kind = TokenKind::kSign;
  const std::string_view rest = source_.substr(position_);
  for (const std::string_view sign : kSigns) {
    if (rest.substr(0, sign.size()) != sign) continue;
    // "a?.5:1" is a choice.
    if (sign == "?." && rest.size() > 2 && IsDigit(rest[2])) continue;
    position_ += sign.size();
    return;
  }
  throw SourceFault(position_, "a character that has no place here");
}

std::string_view Tokens::TakeRegularExpression(std::string_view& flags) {
  const size_t start = current_.start + 1;
  size_t end = start;
  bool inClass = false;
  for (;; ++end) {
    if (end >= source_.size() || source_[end] == '\n' || source_[end] == '\r') {
      throw SourceFault(current_.start, "a regular expression without an end");
    }
    if (source_[end] == '\\') {
      ++end;
    } else if (source_[end] == '[') {
      inClass = true;
    } else if (source_[end] == ']') {
      inClass = false;
    } else if (source_[end] == '/' && !inClass) {
      break;
    }
  }
  size_t after = end + 1;
  while (after < source_.size() && IsNameByte(source_[after])) ++after;
  flags = source_.substr(end + 1, after - end - 1);
  MoveTo(after);
  return source_.substr(start, end - start);
}

}  // namespace plexion_host::movie
