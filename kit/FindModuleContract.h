// Which version of the contract a loaded module has: for hosts with the ELF loader of a POSIX system.

#ifndef KIT_FINDMODULECONTRACT_H_
#define KIT_FINDMODULECONTRACT_H_

#include <link.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "qx/core/ModuleContract.h"

namespace plexion_kit {

struct ModuleContract {
  uint32_t major;
  uint32_t minor;

  /// Whether a host that was built with these headers may call the module.
  bool SuitsTheseHeaders() const {
    const ModuleContract headers{QX_CONTRACT_MAJOR, QX_CONTRACT_MINOR};
    return major == headers.major && minor >= headers.minor;
  }
};

/// Reads the note of the module that `address` lies in: any of it, for example what dlsym answers for an entry point.
///
/// Order    after the library was loaded, and before its first entry point is called.
/// Returns  false when no loaded file has that address, or when it has no such note; `contract` is then unchanged.
/// Thread   any.
inline bool FindModuleContract(const void* address, ModuleContract& contract) {
  struct Search {
    uintptr_t address;
    QXContractNote note;
    bool found;
  };
  Search search{reinterpret_cast<uintptr_t>(address), {}, false};
  dl_iterate_phdr(
      [](dl_phdr_info* file, size_t, void* argument) {
        auto* const wanted = static_cast<Search*>(argument);
        const auto* const parts = file->dlpi_phdr;
        bool inside = false;
        for (int i = 0; i < file->dlpi_phnum; ++i) {
          const uintptr_t begin = file->dlpi_addr + parts[i].p_vaddr;
          inside |= parts[i].p_type == PT_LOAD && wanted->address >= begin &&
                    wanted->address - begin < parts[i].p_memsz;
        }
        if (!inside) return 0;
        for (int i = 0; i < file->dlpi_phnum; ++i) {
          if (parts[i].p_type != PT_NOTE) continue;
          const char* at = reinterpret_cast<const char*>(file->dlpi_addr + parts[i].p_vaddr);
          size_t left = parts[i].p_memsz;
          // Three words, the name and the description, both filled up to words.
          while (left >= 3 * sizeof(uint32_t)) {
            uint32_t head[3];
            std::memcpy(head, at, sizeof(head));
            const uint64_t size =
                sizeof(head) + (uint64_t{head[0]} + 3) / 4 * 4 + (uint64_t{head[1]} + 3) / 4 * 4;
            if (size > left) break;
            QXContractNote& note = wanted->note;
            if (size == sizeof(note)) {
              std::memcpy(&note, at, sizeof(note));
              wanted->found = note.type == kQXContractNoteType &&
                              note.nameSize == sizeof(note.name) &&
                              std::memcmp(note.name, QX_CONTRACT_NOTE_NAME, sizeof(note.name)) == 0;
              if (wanted->found) return 1;
            }
            at += size;
            left -= static_cast<size_t>(size);
          }
        }
        return 1;
      },
      &search);
  if (!search.found) return false;
  contract = {search.note.major, search.note.minor};
  return true;
}

}  // namespace plexion_kit

#endif  // KIT_FINDMODULECONTRACT_H_
