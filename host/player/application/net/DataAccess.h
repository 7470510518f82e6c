// How an application's declared addresses are asked.
#ifndef HOST_PLAYER_APPLICATION_NET_DATAACCESS_H_
#define HOST_PLAYER_APPLICATION_NET_DATAACCESS_H_

#include <stdint.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/player/Engine.h"
#include "qx/core/IQXModule.h"

namespace plexion_host::player::application {

/// Of one answer, without its head.
constexpr uint64_t kLargestAnswer = uint64_t{8} * 1024 * 1024;
/// Of all answers of an application that are under way or not yet taken.
constexpr uint64_t kMostUnderWay = uint64_t{32} * 1024 * 1024;

/// One address that is asked again and again.
struct FetchedAddress {
  std::string address;
  double everySeconds = 60;    ///< from the end of one answer to the next question
  double timeoutSeconds = 15;  ///< for one answer, redirections included
};

/// What an application may ask, and as whom.
struct FetchSettings {
  std::vector<FetchedAddress> addresses;
  /// Redirections lead to these and no others, in lower case.
  std::vector<std::string> hosts;
  ProxySettings proxy;
  std::string certificateFolder;   ///< of those who are trusted; empty: the system's
  std::string clientCertificates;  ///< "HOST=FILE,HOST=FILE", as --sslclientcerttable has it
  /// Something has come; called on the fetcher's thread.
  std::function<void()> wake;
};

/// What has come of one address.
struct Fetched {
  size_t index = 0;     ///< of FetchSettings::addresses
  std::string bytes;    ///< the whole answer
  std::string failure;  ///< why there is none; what came before is as good as it was
};

/// Asks all addresses of an application, each in its own rhythm. An address that fails is asked again
/// sooner at first: after a few seconds, then after twice as many, up to its rhythm.
///
/// Life     as long as its application; the destructor gives up whatever is under way.
/// Thread   any. All waiting is done on a thread of its own.
class DataFetcher {
 public:
  virtual ~DataFetcher() = default;
  /// What has come since the last call, of each address the latest. An answer that says that nothing
  /// has changed is not among it.
  virtual std::vector<Fetched> Take() = 0;
  /// The last answer that was taken of an address could not be kept: it is asked for the whole of it
  /// again, as soon as after a failure. An index that is none does nothing.
  virtual void Refuse(size_t index) = 0;
  /// From the next question on.
  virtual void SetProxy(const ProxySettings& proxy) = 0;
};

/// Module "IDataAccess": loaded when a document declares data, so that other applications stand on no
/// library for the network.
class IDataAccess : public IQXModule {
 public:
  /// Returns  null when there is no thread to be had. Thread: any.
  virtual std::unique_ptr<DataFetcher> Open(FetchSettings settings) = 0;
};

constexpr char kDataAccessModule[] = "IDataAccess";

/// What the module makes.
std::unique_ptr<DataFetcher> MakeDataFetcher(FetchSettings settings);

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_NET_DATAACCESS_H_
