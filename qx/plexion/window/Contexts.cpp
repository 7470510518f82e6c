// Pointers that a host hangs on a window by name. There are a handful at most, so they are looked for
// one by one.

#include "qx/core/Check.h"
#include "qx/core/QXLock.h"
#include "qx/core/QXMem.h"
#include "qx/plexion/StageWindowImpl.h"

namespace qx {
namespace plexion {

StageWindowImpl::ContextRecord::~ContextRecord() { QXMem_Free(name, 0); }

void StageWindowImpl::SetContext(const char* name, void* value) {
  if (name == nullptr || name[0] == '\0') return;
  IQXKernel* kernel = Kernel();
  QXLock lock(stateLock);

  for (unsigned i = 0; i < contexts.Count(); ++i) {
    ContextRecord* record = contexts[i];
    QX_CHECK(record->name != nullptr, "a record with a name: others are not kept");
    if (kernel->StrCmp(record->name, name) != 0) continue;
    if (value != nullptr) {
      record->value = value;
    } else {
      contexts.RemoveAt(i);
      QXTypes_ScalarDelete(record, nullptr, 0);
    }
    return;
  }

  // An unknown name is kept with a null value too: hosts reserve names that way, and fill them later.
  ContextRecord* record = new (nullptr, 0, QX_NEW_DELETE) ContextRecord;
  if (record == nullptr) return;
  const unsigned long size = kernel->StrLen(name) + 1;
  record->name = static_cast<char*>(QXMem_Malloc(size));
  if (record->name != nullptr) {
    kernel->MemCopy(record->name, name, size);
    record->value = value;
    if (contexts.Append(record)) return;
  }
  QXTypes_ScalarDelete(record, nullptr, 0);
}

void* StageWindowImpl::GetContext(const char* name) {
  if (name == nullptr || name[0] == '\0') return nullptr;
  QXLock lock(stateLock);
  for (unsigned i = 0; i < contexts.Count(); ++i) {
    if (Kernel()->StrCmp(contexts[i]->name, name) == 0) return contexts[i]->value;
  }
  return nullptr;
}

}  // namespace plexion
}  // namespace qx
