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

/// The records of one width of address.
struct Elf32 {
  using Header = Elf32_Ehdr;
  using Section = Elf32_Shdr;
  using Symbol = Elf32_Sym;
  using Entry = Elf32_Dyn;
};
struct Elf64 {
  using Header = Elf64_Ehdr;
  using Section = Elf64_Shdr;
  using Symbol = Elf64_Sym;
  using Entry = Elf64_Dyn;
};

template <typename Section>
std::string TextAt(const std::string& file, const Section& strings, uint64_t at) {
  const uint64_t begin = strings.sh_offset;
  if (at >= strings.sh_size || begin + strings.sh_size > file.size()) return "?";
  return file.c_str() + begin + at;
}

template <typename Elf>
void ReadDynamicPart(const std::string& file, ElfFile* result) {
  const auto header = Records<typename Elf::Header>(file, 0, 1);
  if (header.empty()) return;
  const auto sections = Records<typename Elf::Section>(file, header[0].e_shoff, header[0].e_shnum);
  for (const auto& section : sections) {
    if (section.sh_type != SHT_DYNSYM && section.sh_type != SHT_DYNAMIC) continue;
    if (section.sh_link >= sections.size()) continue;
    const auto& strings = sections[section.sh_link];
    if (section.sh_type == SHT_DYNSYM) {
      const uint64_t count = section.sh_size / sizeof(typename Elf::Symbol);
      for (const auto& symbol : Records<typename Elf::Symbol>(file, section.sh_offset, count)) {
        const std::string name = TextAt(file, strings, symbol.st_name);
        if (name.empty()) continue;
        (symbol.st_shndx == SHN_UNDEF ? result->imported : result->exported).push_back(name);
      }
    } else {
      const uint64_t count = section.sh_size / sizeof(typename Elf::Entry);
      for (const auto& entry : Records<typename Elf::Entry>(file, section.sh_offset, count)) {
        if (entry.d_tag == DT_NULL) break;
        if (entry.d_tag == DT_NEEDED) {
          result->libraries.push_back(TextAt(file, strings, entry.d_un.d_val));
        }
        if (entry.d_tag == DT_TEXTREL) result->hasTextRelocations = true;
        if (entry.d_tag == DT_FLAGS && (entry.d_un.d_val & DF_BIND_NOW) != 0) {
          result->bindsAtLoad = true;
        }
      }
    }
  }
}

}  // namespace

ElfFile ElfFile::Read(const std::string& path) {
  ElfFile result;
  std::ifstream stream(path, std::ios::binary);
  const std::string file{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
  if (file.size() < EI_NIDENT || std::memcmp(file.data(), ELFMAG, SELFMAG) != 0) {
    result.error = path + " is no ELF file";
    return result;
  }
  if (file[EI_CLASS] == ELFCLASS32) {
    ReadDynamicPart<Elf32>(file, &result);
  } else {
    ReadDynamicPart<Elf64>(file, &result);
  }
  std::sort(result.exported.begin(), result.exported.end());
  std::sort(result.imported.begin(), result.imported.end());
  if (result.exported.empty()) result.error = path + " exports nothing";
  return result;
}

}  // namespace tests
