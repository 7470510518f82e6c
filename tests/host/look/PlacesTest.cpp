// Who goes when another one comes to the page.

#include <gtest/gtest.h>

#include "host/look/Places.h"

namespace plexion_host {
namespace {

using std::chrono::seconds;

class PlacesTest : public ::testing::Test {
 protected:
  std::optional<int> Enter(int socket, const std::string& address, int atSeconds) {
    return places_.Enter(Id(socket), socket, address, start_ + seconds(atSeconds));
  }
  static Places::Id Id(int socket) { return reinterpret_cast<Places::Id>(intptr_t{socket}); }

  const Places::Clock::time_point start_ = Places::Clock::now();
  Places places_{4, 3};
};

TEST_F(PlacesTest, WhoHasWaitedLongestForTheEndOfARequestGoes) {
  EXPECT_FALSE(Enter(1, "a", 0));
  EXPECT_FALSE(Enter(2, "a", 1));
  EXPECT_FALSE(Enter(3, "b", 2));
  EXPECT_FALSE(Enter(4, "b", 3));
  places_.Answered(Id(1), start_ + seconds(4));
  EXPECT_EQ(2, Enter(5, "c", 5));
  // It goes only once, and until it has gone it has no place.
  EXPECT_EQ(3, Enter(6, "b", 6)) << "of the address that has the most";
  places_.Leave(Id(2));
  places_.Leave(Id(3));
  places_.Leave(Id(1));
  EXPECT_FALSE(Enter(7, "a", 7));
}

TEST_F(PlacesTest, OneAddressTakesNobodyElsesPlace) {
  EXPECT_FALSE(Enter(1, "phone", 0));
  for (int socket = 2; socket < 5; ++socket) EXPECT_FALSE(Enter(socket, "enemy", socket));
  for (int socket = 5; socket < 40; ++socket) {
    // The phone has waited longer than all of these.
    EXPECT_EQ(socket - 3, Enter(socket, "enemy", socket));
  }
}

}  // namespace
}  // namespace plexion_host
