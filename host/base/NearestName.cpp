// Finds the name that somebody who mistyped one has probably meant.

#include "host/base/NearestName.h"

#include <algorithm>

namespace plexion_host {
namespace {

char Lower(char character) {
  return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a')
                                              : character;
}

/// Changes of one character that make `right` of `left`, row by row of the usual table; three rows
/// of it are kept, for the exchange of neighbours.
size_t Changes(const std::string& left, const std::string& right) {
  std::vector<size_t> before;
  std::vector<size_t> last;
  std::vector<size_t> row(right.size() + 1);
  for (size_t j = 0; j <= right.size(); ++j) row[j] = j;
  for (size_t i = 1; i <= left.size(); ++i) {
    before = last;
    last = row;
    row[0] = i;
    for (size_t j = 1; j <= right.size(); ++j) {
      const bool same = Lower(left[i - 1]) == Lower(right[j - 1]);
      row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + (same ? 0 : 1)});
      const bool exchanged = i > 1 && j > 1 && Lower(left[i - 1]) == Lower(right[j - 2]) &&
                             Lower(left[i - 2]) == Lower(right[j - 1]);
      if (exchanged) row[j] = std::min(row[j], before[j - 2] + 1);
    }
  }
  return row.back();
}

}  // namespace

std::string NearestName(const std::string& typed, const std::vector<std::string>& names) {
  constexpr size_t kLongestTyped = 64;  // what is longer is no name, and not worth the table
  if (typed.size() > kLongestTyped) return {};
  std::string nearest;
  size_t fewest = typed.size() / 3 + 1;
  for (const std::string& name : names) {
    const size_t changes = Changes(typed, name);
    if (changes >= fewest) continue;
    fewest = changes;
    nearest = name;
  }
  return nearest;
}

}  // namespace plexion_host
