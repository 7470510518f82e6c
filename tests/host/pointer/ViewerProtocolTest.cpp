// What of a viewer's bytes is handed on, in whatever pieces they come.

#include <gmock/gmock.h>

#include "host/pointer/viewer/Messages.h"
#include "host/pointer/viewer/Protocol.h"

namespace plexion_host {
namespace {

using namespace std::string_literals;  // NOLINT(google-build-using-namespace): texts with zeros
using testing::HasSubstr;
using testing::StartsWith;
using Stage = ViewerProtocol::Stage;

/// The request of RFC 6455's own example, from a page of `origin`; empty: from no page.
std::string Request(const std::string& origin) {
  return "GET /stream HTTP/1.1\r\nHost: 127.0.0.1:5900\r\nUpgrade: WebSocket\r\n"
         "Connection: keep-alive, Upgrade\r\nSec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n"
         "Sec-WebSocket-Version: 13\r\nSec-WebSocket-Protocol: binary\r\n" +
         (origin.empty() ? "" : "Origin: " + origin + "\r\n") + "\r\n";
}

/// A frame as a viewer sends it.
std::string Masked(char opcode, const std::string& payload) {
  const std::string mask = "\x11\x22\x33\x44";
  std::string frame{static_cast<char>(0x80 | opcode), static_cast<char>(0x80 | payload.size())};
  frame += mask;
  for (size_t i = 0; i < payload.size(); ++i) {
    frame += static_cast<char>(payload[i] ^ mask[i % mask.size()]);
  }
  return frame;
}

const std::string kKeyDown = "\x04\x01\0\0\0\0\0a"s;
const std::string kMove = "\x05\0\0\1\0\2"s;

class ViewerProtocolTest : public testing::Test {
 protected:
  /// One byte at a time, as an enemy or a bad line would.
  void Receive(const std::string& bytes) {
    for (const char byte : bytes) protocol_->Receive({&byte, 1}, toServer_, toViewer_);
  }
  void Begin(bool asksPassword, bool greets = true) {
    rules_ = {asksPassword, {"http://localhost:6080"}};
    protocol_ = std::make_unique<ViewerProtocol>(rules_);
    toServer_.clear();
    toViewer_.clear();
    if (greets) protocol_->Greet(toViewer_);
  }

  ViewerProtocol::Rules rules_;
  std::unique_ptr<ViewerProtocol> protocol_;
  std::string toServer_;
  std::string toViewer_;
};

TEST_F(ViewerProtocolTest, HandsOnWholeMessagesOnly) {
  const std::string cutText = "\x06\0\0\0\0\0\0\x05paste"s;
  const std::string encodings = "\x02\0\0\x02\0\0\0\0\0\0\0\x10"s;
  Begin(false);
  EXPECT_EQ(toViewer_, "RFB 003.008\n");
  Receive("RFB 003.889\n");
  EXPECT_EQ(toServer_, "RFB 003.008\n");
  Receive("\x01\x01" + encodings + cutText + kKeyDown + kMove.substr(0, 5));
  EXPECT_EQ(toServer_, "RFB 003.008\n\x01\x01" + encodings + kKeyDown);
  EXPECT_EQ(protocol_->GetStage(), Stage::kViewing);
  EXPECT_TRUE(protocol_->IsInMessage());
  Receive(kMove.substr(5));
  EXPECT_FALSE(protocol_->IsInMessage());
  // The library's own greeting was sent already.
  protocol_->Send("RFB 003.0", toViewer_);
  protocol_->Send("08\n\x01\x01", toViewer_);
  EXPECT_EQ(toViewer_, "RFB 003.008\n\x01\x01");
}

TEST_F(ViewerProtocolTest, KnowsTheLoginOfEachVersion) {
  const std::string answer(16, 'x');
  struct Case {
    bool asksPassword;
    const char* version;
    std::string login;
    const char* handedOn;
  };
  const Case cases[] = {{false, "RFB 003.003\n", "\x01", "RFB 003.003\n"},
                        {true, "RFB 003.006\n", answer + "\x01", "RFB 003.003\n"},
                        {false, "RFB 003.007\n", "\x01\x01", "RFB 003.007\n"},
                        {true, "RFB 003.008\n", "\x02" + answer + "\x01", "RFB 003.008\n"}};
  for (const Case& each : cases) {
    Begin(each.asksPassword);
    Receive(each.version);
    Receive(each.login.substr(0, each.login.size() - 1));
    EXPECT_EQ(protocol_->GetStage(), Stage::kLogin) << each.version;
    Receive(each.login.substr(each.login.size() - 1));
    EXPECT_EQ(protocol_->GetStage(), Stage::kViewing) << each.version;
    EXPECT_EQ(toServer_, each.handedOn + each.login);
  }
}

TEST_F(ViewerProtocolTest, RefusesWhatNoViewerSays) {
  const std::string login = "RFB 003.008\n\x01\x01";
  const std::string cases[] = {"R F",
                               "RFB 004.001\n",
                               "RFB 003.xxx\n",
                               "RFB 003.008\n\x02",                     // a password, unasked
                               login + "\x07\0\0\0\0\0\0\0\0\0\0\0"s,   // files
                               login + "\x02\0\xFF\xFF"s,               // 65535 encodings
                               login + "\x06\0\0\0\x7F\xFF\xFF\xFF"s};  // 2 GB of clipboard
  for (const std::string& each : cases) {
    Begin(false);
    Receive(each);
    EXPECT_EQ(protocol_->GetStage(), Stage::kOver) << testing::PrintToString(each);
  }
}

TEST_F(ViewerProtocolTest, SpeaksWebSocketsToPagesThatItKnows) {
  for (const char* origin : {"http://localhost:6080", ""}) {
    Begin(false, false);
    Receive(Request(origin));
    EXPECT_THAT(toViewer_, StartsWith("HTTP/1.1 101 "));
    EXPECT_THAT(toViewer_, HasSubstr("Sec-WebSocket-Accept: s3pPLMBiTxaQ9kYGzzhZRbK+xOo=\r\n"));
    EXPECT_THAT(toViewer_, HasSubstr("Protocol: binary\r\n\r\n\x82\x0CRFB 003.008\n"));
    toViewer_.clear();
    Receive(Masked(2, "RFB 003.008\n\x01") + Masked(9, "ping") + Masked(2, "\x01" + kKeyDown));
    EXPECT_EQ(toServer_, "RFB 003.008\n\x01\x01" + kKeyDown);
    EXPECT_EQ(toViewer_, "\x8A\x04ping");
    toViewer_.clear();
    protocol_->Send("RFB 003.008\n" + std::string(300, 'p'), toViewer_);
    EXPECT_EQ(toViewer_, "\x82\x7E\x01\x2C" + std::string(300, 'p'));
    EXPECT_EQ(protocol_->GetStage(), Stage::kViewing);
    Receive(Masked(8, ""));
    EXPECT_EQ(protocol_->GetStage(), Stage::kOver);
  }
}

TEST_F(ViewerProtocolTest, TurnsOtherPagesAway) {
  const std::string good = Request("");
  const std::pair<std::string, const char*> cases[] = {
      {Request("http://evil.example"), "HTTP/1.1 403 "},
      {Request("null"), "HTTP/1.1 403 "},
      {Request("http://localhost:6080\r\nOrigin: http://evil.example"), "HTTP/1.1 400 "},
      {"GET / HTTP/1.1\r\nHost: 127.0.0.1:5900\r\n\r\n", "HTTP/1.1 400 "},
      {"POST / HTTP/1.1\r\n\r\n", ""},
      {"GET /" + std::string(9000, 'a'), ""}};
  for (const auto& [request, answer] : cases) {
    Begin(false, false);
    Receive(request);
    EXPECT_EQ(protocol_->GetStage(), Stage::kOver) << request.substr(0, 60);
    EXPECT_THAT(toViewer_, StartsWith(answer));
    EXPECT_EQ(toServer_, "");
  }
}

TEST_F(ViewerProtocolTest, EndsAWebSocketThatIsNone) {
  const std::string cases[] = {"\x82\x01x"s,              // not masked
                               "\x81\x81....x"s,          // text
                               "\xC2\x81....x"s,          // an extension
                               "\x89\xFE\x01\x2C....."s,  // a ping of 300 bytes
                               "\x09\x80...."s};          // a ping in pieces
  for (const std::string& frame : cases) {
    Begin(false, false);
    Receive(Request("") + frame);
    EXPECT_EQ(protocol_->GetStage(), Stage::kOver) << testing::PrintToString(frame);
  }
}

}  // namespace
}  // namespace plexion_host
