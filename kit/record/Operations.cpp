// The names of the calls that can cross the module's border.

#include "kit/record/Operations.h"

namespace plexion_record {
namespace {

struct Description {
  const char* name;
  const char* fields;
};

#define PLEXION_OPERATION(ID, NAME, FIELDS) {NAME, FIELDS},
constexpr Description kDescriptions[] = {PLEXION_RECORDED_NOTES(PLEXION_OPERATION)
                                             PLEXION_RECORDED_OUT(PLEXION_OPERATION)
                                                 PLEXION_RECORDED_IN(PLEXION_OPERATION)};
#undef PLEXION_OPERATION

}  // namespace

const char* OperationName(Operation operation) {
  return kDescriptions[static_cast<unsigned>(operation)].name;
}

const char* OperationFields(Operation operation) {
  return kDescriptions[static_cast<unsigned>(operation)].fields;
}

}  // namespace plexion_record
