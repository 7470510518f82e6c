#ifndef HOST_CONTRACTS_WATCHFILES_H_
#define HOST_CONTRACTS_WATCHFILES_H_

namespace plexion_host {

/// Name of the environment variable by which the launcher's --watch reaches the modules: content
/// that is written at the moment is read again whenever its files change.
constexpr const char* kWatchVariable = "PLEXION_WATCH";

}  // namespace plexion_host

#endif  // HOST_CONTRACTS_WATCHFILES_H_
