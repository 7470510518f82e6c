// A line in words.

#ifndef HOST_BASE_COMMANDWORDS_H_
#define HOST_BASE_COMMANDWORDS_H_

#include <string>
#include <vector>

namespace plexion_host {

/// Takes a line apart into words as a shell does it, since that is where such lines are copied from: those that
/// an operator types, and those that an application is started with.
///
/// Blanks separate words. "..." and '...' keep blanks; a backslash takes the next character as it
/// is, also inside "...", not inside '...'. Quoted and unquoted pieces that touch are one word; ""
/// is an empty word. A word that begins with # starts a comment where `comments` says so: a typed line
/// may have one, an argument may be a colour.
///
/// Returns  false with what is wrong and at which column (from 1, in bytes) in `error`.
bool SplitCommandWords(const std::string& line, std::vector<std::string>& words, std::string& error,
                       bool comments = true);

/// Where the last word of `line` begins, for completion; the line's length after a blank.
size_t LastWordStart(const std::string& line);

}  // namespace plexion_host

#endif  // HOST_BASE_COMMANDWORDS_H_
