// The lines that were typed before.

#ifndef HOST_SHELL_HISTORY_H_
#define HOST_SHELL_HISTORY_H_

#include <string>
#include <vector>

namespace plexion_host {

/// The lines typed at the terminal, kept in a file from one run to the next: one a line, the oldest
/// first, readable by its owner only. Each line is appended when it is typed, so runs side by side
/// do not lose each other's. Best effort: a file that cannot be had means no history, no message.
class History {
 public:
  /// Lines kept; the file grows to twice as many before it is cut back.
  static constexpr size_t kKeptLines = 500;

  /// "$XDG_STATE_HOME/plexion/shell_history", by default under ~/.local/state; empty without a
  /// home.
  static std::string DefaultPath();

  /// An empty path means no file.
  explicit History(std::string path);

  /// Up to kKeptLines, the oldest first.
  const std::vector<std::string>& GetLines() const { return lines_; }
  /// Returns  false for a line that is not kept: empty, or the same as the one before.
  bool Add(const std::string& line);

 private:
  void Load();
  void CutBack();

  const std::string path_;
  std::vector<std::string> lines_;
};

}  // namespace plexion_host

#endif  // HOST_SHELL_HISTORY_H_
