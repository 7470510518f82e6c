// Takes a line apart: blanks, quotes, comments.

#include "host/base/CommandWords.h"

namespace plexion_host {
namespace {

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

std::string At(size_t index) { return "at column " + std::to_string(index + 1); }

}  // namespace

bool SplitCommandWords(const std::string& line, std::vector<std::string>& words, std::string& error,
                       bool comments) {
  words.clear();
  std::string word;
  bool inWord = false;
  char quote = '\0';
  size_t quoteStart = 0;
  for (size_t i = 0; i < line.size(); ++i) {
    const char c = line[i];
    if (c == '\0') {
      error = "a zero byte " + At(i) + "; expected text";
      return false;
    }
    if (c == '\\' && quote != '\'') {
      if (i + 1 == line.size()) {
        error = "a backslash " + At(i) + " with nothing behind it";
        return false;
      }
      if (line[i + 1] == '\0') continue;  // found, and refused, in the next turn
      word += line[++i];
      inWord = true;
    } else if (quote != '\0') {
      if (c == quote) {
        quote = '\0';
      } else {
        word += c;
      }
    } else if (c == '"' || c == '\'') {
      quote = c;
      quoteStart = i;
      inWord = true;
    } else if (IsBlank(c)) {
      if (inWord) words.push_back(word);
      word.clear();
      inWord = false;
      // Only where a word could begin: addresses have such signs inside.
    } else if (comments && c == '#' && !inWord) {
      break;
    } else {
      word += c;
      inWord = true;
    }
  }
  if (quote != '\0') {
    error = std::string("the quote ") + quote + " " + At(quoteStart) + " has no partner";
    return false;
  }
  if (inWord) words.push_back(word);
  return true;
}

size_t LastWordStart(const std::string& line) {
  const size_t blank = line.find_last_of(" \t");
  return blank == std::string::npos ? 0 : blank + 1;
}

}  // namespace plexion_host
