// Module "IDataAccess".
#include "host/contracts/HostModule.h"
#include "host/player/application/net/DataAccess.h"

namespace plexion_host::player::application {

class DataAccessModule final : public IDataAccess {
 public:
  std::unique_ptr<DataFetcher> Open(FetchSettings settings) override {
    return MakeDataFetcher(std::move(settings));
  }
};

}  // namespace plexion_host::player::application

PLEXION_HOST_MODULE(IDataAccess, plexion_host::player::application::DataAccessModule)
