// What a shared library imports and exports.

#ifndef TESTS_MODULE_ELFFILE_H_
#define TESTS_MODULE_ELFFILE_H_

#include <string>
#include <vector>

namespace tests {

/// The dynamic part of a shared library, read from its file: what a program that loads it sees.
struct ElfFile {
  /// Empty lists and a text in `error` when `path` is no library.
  static ElfFile Read(const std::string& path);

  std::vector<std::string> exported;   ///< defined symbols, sorted
  std::vector<std::string> imported;   ///< undefined symbols, weak ones included, sorted
  std::vector<std::string> libraries;  ///< that the loader loads with it
  bool hasTextRelocations = false;
  bool bindsAtLoad = false;
  std::string error;
};

}  // namespace tests

#endif  // TESTS_MODULE_ELFFILE_H_
