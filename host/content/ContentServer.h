// One content in its process: takes orders, has the engine do them, answers.

#ifndef HOST_CONTENT_CONTENTSERVER_H_
#define HOST_CONTENT_CONTENTSERVER_H_

#include <memory>
#include <string>
#include <vector>

#include "host/content/ContentHost.h"
#include "host/content/DrawMemory.h"
#include "host/player/engines/EngineSource.h"
#include "host/player/remote/Answers.h"
#include "host/player/remote/Orders.h"

namespace plexion_host::content {

/// Serves the launcher until it closes the connection. The thread that runs this is the engine's: the
/// player's, as the engine sees it.
class ContentServer {
 public:
  /// `page` outlives this. `libraries`: files and folders where engines are.
  ContentServer(player::remote::CallPage& page, std::vector<std::string> libraries);

  /// Returns  the process's exit code.
  int Run();

 private:
  /// Returns  false at the end of the connection.
  bool TakeOrders();
  bool TakeOrder(const player::remote::Record& order, int descriptor);
  void Answer(const player::remote::Record& order);
  player::remote::Record Protect(const player::remote::Record& order);
  player::remote::Record Load();
  player::remote::Record Advance(const player::remote::Record& order);
  player::remote::Record Draw(const player::remote::Record& order);
  player::remote::Record Seek(const player::remote::Record& order);
  player::remote::Record Misunderstood(const std::string& fault);
  void OpenLibraries(player::ContentKind kind, const std::string& format);

  const std::vector<std::string> libraries_;
  player::remote::CallPage& page_;
  ContentHost host_;
  player::InstalledEngines engines_;
  std::unique_ptr<player::Engine> engine_;
  DrawMemory memory_;
  player::ContentAddress address_;
  bool opened_ = false;     ///< its libraries, for the content that will come
  bool protected_ = false;  ///< rights have been given up
  std::string text_;        ///< pieces of the next order's text
  std::string fault_;       ///< an order that could not be understood; the next answer says so
};

}  // namespace plexion_host::content

#endif  // HOST_CONTENT_CONTENTSERVER_H_
