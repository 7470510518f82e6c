// The version of the binary contract between the module IPlexion and its hosts.

#ifndef QX_CORE_MODULECONTRACT_H_
#define QX_CORE_MODULECONTRACT_H_

#include <stdint.h>

/// What stands in the headers of this folder, of morvellib, qx/platform and qx/plexion, to the last slot and byte:
/// written down in qx/contract.json, which has the same version. A host that was built with these headers works with
/// every module of the same major version whose minor version is not smaller.
///
///   major   something moved: an operation's place or signature, a record's field, the value of a name
///   minor   something was added behind what there was
#define QX_CONTRACT_MAJOR 1
#define QX_CONTRACT_MINOR 0

/// How the built module says it: an ELF note in its file and, once it is loaded, in memory. So a host can ask before it
/// calls anything, and the module exports nothing for it. kit/FindModuleContract.h reads the one in memory,
/// `readelf --notes` the one in the file.
struct QXContractNote {
  uint32_t nameSize;         ///< of `name`, with its end
  uint32_t descriptionSize;  ///< of the two numbers
  uint32_t type;             ///< kQXContractNoteType
  char name[8];
  uint32_t major;
  uint32_t minor;
};

constexpr uint32_t kQXContractNoteType = 1;
#define QX_CONTRACT_NOTE_NAME "Plexion"

#endif  // QX_CORE_MODULECONTRACT_H_
