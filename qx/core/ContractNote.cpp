// The note in the module's file that names the version of its contract.

#include "qx/core/ModuleContract.h"

// A linker takes a section whose name begins so for a note, and drops none of them.
extern "C" __attribute__((section(".note.plexion"), used, aligned(4)))
const QXContractNote qxContractNote = {
    sizeof(QX_CONTRACT_NOTE_NAME), 2 * sizeof(uint32_t), kQXContractNoteType,
    QX_CONTRACT_NOTE_NAME,         QX_CONTRACT_MAJOR,    QX_CONTRACT_MINOR};

static_assert(sizeof(QXContractNote) == 28, "a note has no gaps");
