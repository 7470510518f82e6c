// Counts calls that may fail, and lets them.

#include "sim/kernel/Faults.h"

#include "qx/core/Check.h"

namespace plexion_sim {

const char* NameOf(Fallible operation) {
  static const char* const kNames[kFallibleCount] = {"Allocate",
                                                     "AcquireModule",
                                                     "CreateEvent",
                                                     "CreateMutex",
                                                     "CreateThread",
                                                     "Thread.Start",
                                                     "CreateMorvelInstance",
                                                     "Configure",
                                                     "LoadMVX",
                                                     "Play",
                                                     "Pause",
                                                     "SetRenderPlane",
                                                     "ResetRenderPlane",
                                                     "CreateRenderPlane",
                                                     "CreateOutputPlane",
                                                     "ResizeRenderPlane",
                                                     "ResizeOutputPlane",
                                                     "MoveTo",
                                                     "LockPixels",
                                                     "StretchCopy",
                                                     "CreateFileObject",
                                                     "Open",
                                                     "EnsureWritable",
                                                     "RemoveDirectory",
                                                     "GetBinDirectory",
                                                     "RegisterCommand",
                                                     "Shell.Start",
                                                     "StartMouseStream"};
  QX_CHECK(static_cast<unsigned>(operation) < kFallibleCount, "an operation with a name");
  return kNames[static_cast<unsigned>(operation)];
}

void Faults::Fail(Fallible operation, uint64_t nth, Repeat repeat, const std::string& name) {
  QX_CHECK(nth > 0, "calls that count from 1");
  rules_.push_back({operation, nth, repeat, name});
}

uint64_t Faults::Count(Fallible operation, const std::string& name) const {
  const auto found = named_.find({static_cast<unsigned>(operation), name});
  return found == named_.end() ? 0 : found->second;
}

bool Faults::Fails(Fallible operation, const char* name) {
  const uint64_t call = ++counts_[static_cast<unsigned>(operation)];
  const uint64_t namedCall =
      name == nullptr ? 0 : ++named_[{static_cast<unsigned>(operation), std::string(name)}];
  for (const Rule& rule : rules_) {
    if (rule.operation != operation) continue;
    if (rule.name.empty() ? Applies(rule, call)
                          : name != nullptr && rule.name == name && Applies(rule, namedCall)) {
      ++injected_;
      return true;
    }
  }
  return false;
}

}  // namespace plexion_sim
