// Certificates of a test's servers and clients.

#ifndef TESTS_HOST_MEDIA_TESTCERTIFICATES_H_
#define TESTS_HOST_MEDIA_TESTCERTIFICATES_H_

#include <string>

namespace plexion_host::player {

/// Makes, in `folder`, what tests of https need; every file is PEM:
///
///   trusted/ca.pem      an authority
///   untrusted/ca.pem    another one
///   server.pem          "localhost", from the first authority, with its key
///   expired.pem         likewise, up to 2001
///   elsewhere.pem       "signs.example", likewise
///   client.pem          the player itself, from the first authority, with its key
///   stranger.pem        another client, from the other authority, with its key
///
/// Returns  false when something could not be made.
bool MakeTestCertificates(const std::string& folder);

}  // namespace plexion_host::player

#endif  // TESTS_HOST_MEDIA_TESTCERTIFICATES_H_
