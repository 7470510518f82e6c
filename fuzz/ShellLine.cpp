// Bytes from a terminal or a socket: into lines, whatever the pieces, and lines into words and
// back.

#include <vector>

#include "fuzz/FuzzInput.h"
#include "host/base/CommandWords.h"
#include "host/shell/LineBuffer.h"

namespace {

using plexion_host::LineBuffer;

std::vector<LineBuffer::Line> Lines(const std::string& bytes, size_t piece) {
  LineBuffer buffer;
  for (size_t at = 0; at < bytes.size(); at += piece) {
    buffer.Append(bytes.data() + at, std::min(piece, bytes.size() - at));
  }
  buffer.Finish();
  std::vector<LineBuffer::Line> lines;
  while (!buffer.IsEmpty()) lines.push_back(buffer.Take());
  return lines;
}

std::string Quoted(const std::string& word) {
  std::string quoted = "\"";
  for (const char character : word) {
    if (character == '"' || character == '\\') quoted += '\\';
    quoted += character;
  }
  return quoted + "\"";
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  const auto lines = Lines(bytes, 1 + size);
  const auto dripped = Lines(bytes, 1);
  Require(lines.size() == dripped.size(), "lines do not depend on the pieces");
  for (size_t i = 0; i < lines.size(); ++i) {
    Require(lines[i].text == dripped[i].text && lines[i].tooLong == dripped[i].tooLong, "line");
    Require(lines[i].text.size() <= LineBuffer::kMaxLineBytes, "bounded");

    std::vector<std::string> words;
    std::string error;
    Require(plexion_host::LastWordStart(lines[i].text) <= lines[i].text.size(), "last word");
    if (!plexion_host::SplitCommandWords(lines[i].text, words, error)) {
      Require(!error.empty(), "a refusal says why");
      continue;
    }
    std::string again;
    for (const std::string& word : words) again += Quoted(word) + " ";
    std::vector<std::string> same;
    Require(plexion_host::SplitCommandWords(again, same, error), "quoted words are words");
    Require(words == same, "and the same ones");
  }
  return 0;
}
