// Bytes in, lines out.

#ifndef HOST_SHELL_LINEBUFFER_H_
#define HOST_SHELL_LINEBUFFER_H_

#include <cstddef>
#include <deque>
#include <string>

namespace plexion_host {

/// Bytes in, lines out, with a bound on what a line may be.
class LineBuffer {
 public:
  /// Longest line that is understood, in bytes without its end.
  static constexpr size_t kMaxLineBytes = 4096;

  struct Line {
    std::string text;  ///< without the line end; the beginning of one that is too long
    bool tooLong = false;
  };

  void Append(const char* bytes, size_t size) {
    for (size_t i = 0; i < size; ++i) {
      if (bytes[i] == '\n') {
        EndLine();
      } else if (current_.text.size() < kMaxLineBytes) {
        current_.text += bytes[i];
      } else {
        current_.tooLong = true;
      }
    }
  }

  /// The input has ended: what has no line end counts as a line too.
  void Finish() {
    if (!current_.text.empty()) EndLine();
  }

  bool IsEmpty() const { return lines_.empty(); }

  Line Take() {
    Line line = std::move(lines_.front());
    lines_.pop_front();
    return line;
  }

 private:
  void EndLine() {
    if (!current_.text.empty() && current_.text.back() == '\r') current_.text.pop_back();
    lines_.push_back(std::move(current_));
    current_ = Line();
  }

  Line current_;
  std::deque<Line> lines_;
};

}  // namespace plexion_host

#endif  // HOST_SHELL_LINEBUFFER_H_
