// Media from addresses: servers, proxies, certificates.
#include "tests/host/media/HttpServer.h"
#include "tests/host/media/MediaFixture.h"

namespace plexion_host::player {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

constexpr char kPicture[] =
    "videotestsrc num-buffers=1 pattern=blue ! video/x-raw,width=64,height=48 ! videoconvert "
    "! pngenc ! filesink location=%";
constexpr char kPictureType[] = "Content-Type: image/png\r\n";

class MediaHttpTest : public MediaFixture {
 protected:
  MediaHttpTest() {
    // Where the machine has a proxy of its own, loopback would go through it.
    unsetenv("http_proxy");
    unsetenv("HTTP_PROXY");
  }
  static std::string AddressAt(const HttpServer& server, const char* path) {
    return "http://127.0.0.1:" + std::to_string(server.Port()) + path;
  }
};

TEST_F(MediaHttpTest, PlaysFromAServer) {
  const std::string picture = MediaClips::Read(clips_.Make("blue.png", kPicture));
  HttpServer server(
      [&](const std::string&) { return HttpServer::Reply("200 OK", kPictureType, picture); });
  Play(AddressAt(server, "/blue.png"), "duration=1");
  ASSERT_TRUE(window_.WaitFor(kStatusPlaying));
  clock_.RunFor(1000 * kMs);
  EXPECT_THAT(centres_, ElementsAre(0xFF0000FFu));
  EXPECT_EQ(kStatusComplete, player_->GetStageWindowStatus());
}

TEST_F(MediaHttpTest, SaysWhatTheServerAnswered) {
  HttpServer server([](const std::string&) { return HttpServer::Reply("404 Not Found", "", ""); });
  EXPECT_EQ(kErrorInvalidURL, EndOf(AddressAt(server, "/gone.mp4")));
  EXPECT_THAT(window_.EndMessage(), HasSubstr("gone.mp4: "));
  EXPECT_THAT(window_.EndMessage(), HasSubstr("Not Found"));
}

TEST_F(MediaHttpTest, GoesThroughTheProxyWithUserAndPassword) {
  const std::string picture = MediaClips::Read(clips_.Make("blue.png", kPicture));
  HttpServer proxy([&](const std::string& head) {
    if (head.find("Proxy-Authorization: Basic dXNlcjpzZWNyZXQ=") == std::string::npos) {
      return HttpServer::Reply("407 Proxy Authentication Required",
                               "Proxy-Authenticate: Basic realm=\"test\"\r\n", "");
    }
    return HttpServer::Reply("200 OK", kPictureType, picture);
  });
  parameters_.proxy.Assign("127.0.0.1");
  parameters_.proxyPort = static_cast<unsigned short>(proxy.Port());
  parameters_.proxyUser.Assign("user");
  parameters_.proxyPassword.Assign("secret");
  Start("http://signs.invalid/blue.png");
  ASSERT_TRUE(window_.WaitFor(kStatusReadyToAnimate)) << window_.EndMessage();
  ASSERT_FALSE(proxy.Heads().empty());
  EXPECT_THAT(proxy.Heads().back(), HasSubstr("GET http://signs.invalid/blue.png"));
}

TEST_F(MediaHttpTest, TakesTheProxyThatWasUpdatedLast) {
  const std::string picture = MediaClips::Read(clips_.Make("blue.png", kPicture));
  HttpServer proxy(
      [&](const std::string&) { return HttpServer::Reply("200 OK", kPictureType, picture); });
  parameters_.notifier = &window_;
  parameters_.contentUrl.Assign("http://signs.invalid/blue.png");
  player_ = std::make_unique<PlayerInstance>(nullptr, engines_, clock_);
  ASSERT_TRUE(player_->Configure(parameters_));
  player_->UpdateProxyParameters("127.0.0.1", static_cast<unsigned short>(proxy.Port()), nullptr,
                                 nullptr);
  ASSERT_TRUE(player_->LoadMVX());
  ASSERT_TRUE(window_.WaitFor(kStatusReadyToAnimate)) << window_.EndMessage();
  EXPECT_FALSE(proxy.Heads().empty());
}

}  // namespace
}  // namespace plexion_host::player
