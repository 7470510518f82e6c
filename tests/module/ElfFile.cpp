// Reads the dynamic symbols of a shared library.

#include "tests/module/ElfFile.h"

#include <elf.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>

namespace tests {

namespace {

/// `count` records from `offset` of the file; empty when they are not all there.
template <typename T>
std::vector<T> Records(const std::string& file, uint64_t offset, uint64_t count) {
  if (offset > file.size() || count > (file.size() - offset) / sizeof(T)) return {};
  std::vector<T> records(count);
  if (count > 0) std::memcpy(records.data(), file.data() + offset, count * sizeof(T));
  return records;
}

std::string TextAt(const std::string& file, const Elf64_Shdr& strings, uint64_t at) {
  if (at >= strings.sh_size || strings.sh_offset + strings.sh_size > file.size()) return "?";
  return file.c_str() + strings.sh_offset + at;
}

}  // namespace

ElfFile ElfFile::Read(const std::string& path) {
  ElfFile result;
  std::ifstream stream(path, std::ios::binary);
  const std::string file{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
  const auto header = Records<Elf64_Ehdr>(file, 0, 1);
  if (header.empty() || std::memcmp(header[0].e_ident, ELFMAG, SELFMAG) != 0 ||
      header[0].e_ident[EI_CLASS] != ELFCLASS64) {
    result.error = path + " is no 64-bit ELF file";
    return result;
  }
  const auto sections = Records<Elf64_Shdr>(file, header[0].e_shoff, header[0].e_shnum);
  for (const Elf64_Shdr& section : sections) {
    if (section.sh_type != SHT_DYNSYM && section.sh_type != SHT_DYNAMIC) continue;
    if (section.sh_link >= sections.size()) continue;
    const Elf64_Shdr& strings = sections[section.sh_link];
    if (section.sh_type == SHT_DYNSYM) {
      const uint64_t count = section.sh_size / sizeof(Elf64_Sym);
      for (const auto& symbol : Records<Elf64_Sym>(file, section.sh_offset, count)) {
        const std::string name = TextAt(file, strings, symbol.st_name);
        if (name.empty()) continue;
        (symbol.st_shndx == SHN_UNDEF ? result.imported : result.exported).push_back(name);
      }
    } else {
      const uint64_t count = section.sh_size / sizeof(Elf64_Dyn);
      for (const auto& entry : Records<Elf64_Dyn>(file, section.sh_offset, count)) {
        if (entry.d_tag == DT_NULL) break;
        if (entry.d_tag == DT_NEEDED) {
          result.libraries.push_back(TextAt(file, strings, entry.d_un.d_val));
        }
        if (entry.d_tag == DT_TEXTREL) result.hasTextRelocations = true;
        if (entry.d_tag == DT_FLAGS && (entry.d_un.d_val & DF_BIND_NOW) != 0) {
          result.bindsAtLoad = true;
        }
      }
    }
  }
  std::sort(result.exported.begin(), result.exported.end());
  std::sort(result.imported.begin(), result.imported.end());
  if (result.exported.empty()) result.error = path + " exports nothing";
  return result;
}

}  // namespace tests
