// A line in words.

#ifndef HOST_SHELL_COMMANDWORDS_H_
#define HOST_SHELL_COMMANDWORDS_H_

#include <string>
#include <vector>

namespace plexion_host {

/// Takes a typed line apart into words.
///
/// Blanks separate words. "..." and '...' keep blanks; a backslash takes the next character as it
/// is, also inside "...", not inside '...'. Quoted and unquoted pieces that touch are one word; ""
/// is an empty word. A word that begins with # starts a comment.
///
/// Returns  false with what is wrong and at which column (from 1, in bytes) in `error`.
bool SplitCommandWords(const std::string& line, std::vector<std::string>& words,
                       std::string& error);

/// Where the last word of `line` begins, for completion; the line's length after a blank.
size_t LastWordStart(const std::string& line);

}  // namespace plexion_host

#endif  // HOST_SHELL_COMMANDWORDS_H_
