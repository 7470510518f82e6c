#ifndef HOST_CONTRACTS_ISOLATION_H_
#define HOST_CONTRACTS_ISOLATION_H_

namespace plexion_host {

/// Name of the environment variable by which the launcher's --isolation reaches the player runtime:
/// "on" plays each content in a process of its own; everything else, and none, in the process that
/// loaded the runtime. The launcher sets "on" where nobody has set anything.
constexpr const char* kIsolationVariable = "PLEXION_ISOLATION";

/// And that by which --modulemap reaches contents' processes: lines of NAME:FILE.
constexpr const char* kModuleMapVariable = "PLEXION_MODULE_MAP";

}  // namespace plexion_host

#endif  // HOST_CONTRACTS_ISOLATION_H_
