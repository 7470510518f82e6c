#ifndef HOST_CONTRACTS_DATADIRECTORY_H_
#define HOST_CONTRACTS_DATADIRECTORY_H_

namespace plexion_host {

/// The service's install base, which its data directory lies below. It is fixed in the service; a
/// launcher that runs as an ordinary user can put it elsewhere.
constexpr const char* kInstallBase = "/mtd_down/halvex/plexion";

/// Name of the environment variable by which the launcher's --datadir reaches the modules: the
/// folder that stands for the install base.
constexpr const char* kDataDirectoryVariable = "PLEXION_DATA_DIR";

}  // namespace plexion_host

#endif  // HOST_CONTRACTS_DATADIRECTORY_H_
