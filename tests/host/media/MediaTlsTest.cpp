// Content over https: whom the player trusts, and how it makes itself known.
#include <cstdlib>
#include <filesystem>

#include "tests/host/media/HttpServer.h"
#include "tests/host/media/MediaFixture.h"
#include "tests/host/media/TestCertificates.h"

namespace plexion_host::player {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;

class MediaTlsTest : public MediaFixture {
 protected:
  MediaTlsTest() {
    for (const char* name : {"http_proxy", "HTTP_PROXY", "https_proxy", "HTTPS_PROXY"}) {
      unsetenv(name);
    }
    EXPECT_TRUE(MakeTestCertificates(clips_.PathOf("")));
    picture_ = MediaClips::Read(
        clips_.Make("blue.png",
                    "videotestsrc num-buffers=1 pattern=blue ! video/x-raw,width=64,height=48 "
                    "! videoconvert ! pngenc ! filesink location=%"));
  }
  HttpServer::Answer Picture() {
    return [this](const std::string& head) {
      return HttpServer::ReplyWithRange(head, "Content-Type: image/png\r\n", picture_);
    };
  }
  HttpServer::Tls Identity(const char* file) const { return {clips_.PathOf(file), ""}; }
  void Trust(const char* folder) {
    parameters_.sslCertsDir.Assign(folder == nullptr ? "" : clips_.PathOf(folder).c_str());
  }
  /// Empty: it is there; else why not.
  std::string Outcome(const std::string& address) {
    return MessageOf(address, [](RecordingWindow& window, PlayerInstance&) {
      EXPECT_TRUE(window.WaitFor(
          {kStatusReadyToAnimate, kErrorInvalidURL, kErrorStartupFailure, kErrorCorruptMovie}));
    });
  }

  std::string picture_;
};

TEST_F(MediaTlsTest, ServersAreTrustedByTheCertificatesOfTheFolderAlone) {
  const struct {
    const char* certificate;
    const char* folder;
    const char* reason;  // empty: it plays
  } cases[] = {
      {"server.pem", "trusted", ""},
      {"server.pem", "untrusted", "none of the certificates in \""},
      {"server.pem", nullptr, "none of the system's certificates"},
      {"elsewhere.pem", "trusted", "it is for signs.example"},
      {"expired.pem", "trusted", "it expired at 2001-01-01 "},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.certificate);
    HttpServer server(Picture(), Identity(test.certificate));
    Trust(test.folder);
    const std::string outcome = Outcome(server.Address("/blue.png"));
    if (*test.reason == '\0') {
      EXPECT_EQ("", outcome);
      EXPECT_FALSE(server.Heads().empty());
    } else {
      EXPECT_THAT(outcome, AllOf(HasSubstr("certificate of \"localhost\" is not accepted"),
                                 HasSubstr(test.reason)));
      EXPECT_TRUE(server.Heads().empty()) << "nothing is asked of a server that is not trusted";
    }
  }
}

TEST_F(MediaTlsTest, WithoutTheOptionTheDataDirectorysFolderIsTaken) {
  HttpServer server(Picture(), Identity("server.pem"));
  const std::string base = clips_.PathOf("base");
  std::filesystem::create_directories(base + "/data/config/ssl");
  std::filesystem::rename(clips_.PathOf("trusted"), base + "/data/config/ssl/certs");
  setenv("PLEXION_DATA_DIR", base.c_str(), 1);
  EXPECT_EQ("", Outcome(server.Address("/blue.png")));
  unsetenv("PLEXION_DATA_DIR");
  EXPECT_NE("", Outcome(server.Address("/blue.png")));
}

TEST_F(MediaTlsTest, AServerThatAsksIsShownTheCertificateOfItsHost) {
  const std::string client = clips_.PathOf("client.pem");
  const std::string stranger = clips_.PathOf("stranger.pem");
  const struct {
    std::string table;
    const char* reason;  // empty: it plays
  } cases[] = {
      {"localhost=" + client, ""},
      {"*=" + stranger + ",LocalHost=" + client, ""},
      {"signs.example=" + stranger + ",*=" + client, ""},
      {"",
       "\"localhost\" asks for a client certificate, and --sslclientcerttable HOST=FILE names "
       "none for it"},
      {"signs.example=" + client, "names none for it"},
      {"*=" + stranger, "does not accept that of \""},
  };
  Trust("trusted");
  for (const auto& test : cases) {
    SCOPED_TRACE(test.table);
    HttpServer::Tls tls = Identity("server.pem");
    tls.clientAuthority = clips_.PathOf("trusted/ca.pem");
    HttpServer server(Picture(), tls);
    parameters_.sslClientCertTable.Assign(test.table.c_str());
    const std::string outcome = Outcome(server.Address("/blue.png"));
    EXPECT_THAT(outcome, HasSubstr(test.reason));
    EXPECT_EQ(*test.reason == '\0', outcome.empty()) << outcome;
  }
}

TEST_F(MediaTlsTest, WhatAServerAnswersCountsMoreThanThatItAskedForACertificate) {
  Trust("trusted");
  parameters_.sslClientCertTable.Assign(("*=" + clips_.PathOf("client.pem")).c_str());
  HttpServer::Tls tls = Identity("server.pem");
  tls.clientAuthority = clips_.PathOf("trusted/ca.pem");
  HttpServer server([](const std::string&) { return HttpServer::Reply("404 Not Found", "", ""); },
                    tls);
  EXPECT_EQ("gone.png: the server answers 404 Not Found", Outcome(server.Address("/gone.png")));
}

TEST_F(MediaTlsTest, AWrongClientTableIsRefusedWithItsEntry) {
  const std::string client = clips_.PathOf("client.pem");
  const struct {
    std::string table;
    const char* reason;
  } cases[] = {
      {client, "expected HOST=FILE"},
      {"=" + client, "expected HOST=FILE"},
      {"localhost=", "expected HOST=FILE"},
      {"localhost=" + clips_.PathOf("absent.pem"), "No such file"},
      {"localhost=" + clips_.PathOf("trusted/ca.pem"), "the private key is not in it"},
      {"a=" + client + ",A=" + client, "\"A="},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.table);
    parameters_.sslClientCertTable.Assign(test.table.c_str());
    EXPECT_THAT(Outcome("https://localhost:1/a.png"),
                AllOf(HasSubstr("--sslclientcerttable: \""), HasSubstr(test.reason)));
  }
}

TEST_F(MediaTlsTest, AnUnusableCertificateFolderIsRefused) {
  Trust("");
  std::filesystem::remove(clips_.PathOf("server.pem"));
  for (const char* file : {"client.pem", "stranger.pem", "expired.pem", "elsewhere.pem"}) {
    std::filesystem::remove(clips_.PathOf(file));
  }
  EXPECT_THAT(Outcome("https://signs.invalid/a.png"), HasSubstr("holds no certificates"));
  Trust("absent");
  EXPECT_THAT(Outcome("https://signs.invalid/a.png"), HasSubstr("No such file"));
}

TEST_F(MediaTlsTest, HttpsGoesThroughTheProxyInATunnel) {
  HttpServer server(Picture(), Identity("server.pem"));
  HttpServer proxy(
      [&](const std::string& head, HttpServer::Peer& peer) {
        if (head.find("CONNECT localhost:" + std::to_string(server.Port())) != 0) {
          peer.Send(HttpServer::Reply("403 Forbidden", "", ""));
        } else if (head.find("Proxy-Authorization: Basic dXNlcjpzJmNyZXQ=") == std::string::npos) {
          peer.Send(HttpServer::Reply("407 Proxy Authentication Required",
                                      "Proxy-Authenticate: Basic realm=\"test\"\r\n", ""));
        } else {
          peer.Send("HTTP/1.1 200 OK\r\n\r\n");
          peer.Tunnel(server.Port());
        }
      },
      {});
  Trust("trusted");
  parameters_.proxy.Assign("127.0.0.1");
  parameters_.proxyPort = static_cast<unsigned short>(proxy.Port());
  EXPECT_THAT(Outcome(server.Address("/blue.png")), HasSubstr("proxy authentication"));
  parameters_.proxyUser.Assign("user");
  parameters_.proxyPassword.Assign("wrong");
  EXPECT_THAT(Outcome(server.Address("/blue.png")), HasSubstr("proxy authentication"));
  EXPECT_TRUE(server.Heads().empty());
  parameters_.proxyPassword.Assign("s&cret");
  EXPECT_EQ("", Outcome(server.Address("/blue.png")));
  EXPECT_FALSE(server.Heads().empty());
}

}  // namespace
}  // namespace plexion_host::player
