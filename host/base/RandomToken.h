// Words that nobody can guess.

#ifndef HOST_BASE_RANDOMTOKEN_H_
#define HOST_BASE_RANDOMTOKEN_H_

#include <string>

namespace plexion_host {

/// 128 bits of the system's random numbers, as 32 small hexadecimal digits: enough that trying them all is
/// no way in, and fit for an address, a header and a file. Any thread.
/// Returns  an empty text when the system has none to give; whoever guards something with it stays shut then.
std::string RandomToken();

}  // namespace plexion_host

#endif  // HOST_BASE_RANDOMTOKEN_H_
