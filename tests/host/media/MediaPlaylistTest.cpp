// What playlists may name: addresses of the kind that they came from, reached in the same way.

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "tests/host/media/HttpServer.h"
#include "tests/host/media/MediaFixture.h"

namespace plexion_host::player {
namespace {

using ::testing::AnyOf;
using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

constexpr char kSegment[] =
    "videotestsrc num-buffers=30 pattern=blue ! video/x-raw,width=64,height=48,framerate=25/1 "
    "! avenc_mpeg4 ! mpeg4videoparse ! mpegtsmux ! filesink location=%";

std::string PlaylistOf(const std::string& segment) {
  return "#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-TARGETDURATION:2\n#EXT-X-MEDIA-SEQUENCE:0\n"
         "#EXTINF:1.2,\n" +
         segment + "\n#EXT-X-ENDLIST\n";
}
std::string MasterOf(const std::string& playlist) {
  return "#EXTM3U\n#EXT-X-STREAM-INF:PROGRAM-ID=1,BANDWIDTH=100000\n" + playlist + "\n";
}
std::string ManifestOf(const std::string& segment) {
  return R"(<?xml version="1.0"?><MPD xmlns="urn:mpeg:dash:schema:mpd:2011" type="static" )"
         R"(mediaPresentationDuration="PT1.2S" minBufferTime="PT1S" )"
         R"(profiles="urn:mpeg:dash:profile:isoff-main:2011"><Period><AdaptationSet )"
         R"(mimeType="video/mp2t"><Representation id="1" bandwidth="100000"><SegmentList )"
         R"(duration="2"><SegmentURL media=")" +
         segment + R"("/></SegmentList></Representation></AdaptationSet></Period></MPD>)";
}

class MediaPlaylistTest : public MediaFixture {
 protected:
  MediaPlaylistTest() {
    unsetenv("http_proxy");
    unsetenv("HTTP_PROXY");
    segment_ = MediaClips::Read(clips_.Make("segment.ts", kSegment));
  }
  std::string FailureOf(const std::string& address) {
    return MessageOf(address, [&](RecordingWindow& window, PlayerInstance& player) {
      EXPECT_TRUE(window.WaitForEnd());
      EXPECT_NE(kStatusComplete, player.GetStageWindowStatus()) << address;
    });
  }
  /// Serves the segment, and `texts` by their names.
  HttpServer::Answer Serving(std::map<std::string, std::string> texts) {
    return [this, texts = std::move(texts)](const std::string& head) {
      for (const auto& [name, text] : texts) {
        const bool isList = text.compare(0, 7, "#EXTM3U") == 0;
        if (head.find(name) == std::string::npos) continue;
        return HttpServer::Reply("200 OK",
                                 isList ? "Content-Type: application/vnd.apple.mpegurl\r\n"
                                        : "Content-Type: application/dash+xml\r\n",
                                 text);
      }
      return HttpServer::ReplyWithRange(head, "Content-Type: video/mp2t\r\n", segment_);
    };
  }

  std::string segment_;
};

TEST_F(MediaPlaylistTest, AFileNamesFilesBesideIt) {
  Start(clips_.Write("list.m3u8", MasterOf("inner.m3u8")));
  clips_.Write("inner.m3u8", PlaylistOf("segment.ts"));
  EXPECT_TRUE(window_.WaitFor(kStatusReadyToAnimate)) << window_.EndMessage();
}

TEST_F(MediaPlaylistTest, AFileReachesNeitherServersNorOtherFolders) {
  HttpServer server(Serving({{"inner.m3u8", PlaylistOf("segment.ts")}}));
  MediaClips elsewhere;
  const std::string other = elsewhere.Write("segment.ts", segment_);
  const std::string pipe = clips_.PathOf("pipe.ts");
  ASSERT_EQ(0, mkfifo(pipe.c_str(), 0600));
  ASSERT_EQ(0, symlink(other.c_str(), clips_.PathOf("link.ts").c_str()));
  const std::string texts[] = {PlaylistOf(server.Address("/segment.ts")),
                               MasterOf(server.Address("/inner.m3u8")),
                               ManifestOf(server.Address("/segment.ts")),
                               PlaylistOf("file://" + other),
                               PlaylistOf("link.ts"),
                               PlaylistOf("pipe.ts"),
                               MasterOf("pipe.ts"),
                               PlaylistOf("udp://127.0.0.1:5004"),
                               PlaylistOf("fd://0")};
  for (const std::string& text : texts) {
    EXPECT_NE(FailureOf(clips_.Write("list.m3u8", text)), "") << text;
  }
  EXPECT_THAT(FailureOf(clips_.Write("list.m3u8", texts[0])),
              HasSubstr("it names " + server.Address("/segment.ts") + "; a file may name files"));
  EXPECT_THAT(server.Heads(), IsEmpty());
}

TEST_F(MediaPlaylistTest, AServerNamesNoFiles) {
  const std::string local = "file://" + clips_.PathOf("segment.ts");
  clips_.Write("inner.m3u8", PlaylistOf("segment.ts"));
  HttpServer server(Serving({{"segment.m3u8", PlaylistOf(local)},
                             {"list.m3u8", MasterOf("file://" + clips_.PathOf("inner.m3u8"))},
                             {"list.mpd", ManifestOf(local)}}));
  EXPECT_THAT(FailureOf(server.Address("/segment.m3u8")), HasSubstr("it names " + local));
  EXPECT_NE(FailureOf(server.Address("/list.m3u8")), "");
  EXPECT_NE(FailureOf(server.Address("/list.mpd")), "");
}

TEST_F(MediaPlaylistTest, AllOfItGoesThroughTheProxy) {
  HttpServer proxy(
      Serving({{"list.m3u8", MasterOf("inner.m3u8")}, {"inner.m3u8", PlaylistOf("segment.ts")}}));
  parameters_.proxy.Assign("127.0.0.1");
  parameters_.proxyPort = static_cast<unsigned short>(proxy.Port());
  Start("http://signs.invalid/list.m3u8");
  EXPECT_TRUE(window_.WaitFor(kStatusReadyToAnimate)) << window_.EndMessage();
  for (const char* name : {"list.m3u8", "inner.m3u8", "segment.ts"}) {
    EXPECT_THAT(proxy.Heads(),
                Contains(HasSubstr(std::string("GET http://signs.invalid/") + name)));
  }
}

TEST_F(MediaPlaylistTest, ASoundServerThatDoesNotAnswerCostsNoPicture) {
  const std::string path = clips_.PathOf("silent.sock");
  const int server = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  ASSERT_LT(path.copy(address.sun_path, sizeof address.sun_path - 1), sizeof address.sun_path - 1);
  ASSERT_EQ(0, bind(server, reinterpret_cast<sockaddr*>(&address), sizeof address));
  ASSERT_EQ(0, listen(server, 8));
  setenv("PULSE_SERVER", ("unix:" + path).c_str(), 1);
  const std::string clip = clips_.Make(
      "sound.mkv",
      "videotestsrc num-buffers=6 ! video/x-raw,width=64,height=48,framerate=50/1 ! jpegenc "
      "! matroskamux name=mux ! filesink location=% audiotestsrc num-buffers=6 ! mux.");
  const auto before = std::chrono::steady_clock::now();
  PlayToEnd(clip);
  EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(10));
  EXPECT_THAT(centres_, Not(IsEmpty()));
  unsetenv("PULSE_SERVER");
  close(server);
}

}  // namespace
}  // namespace plexion_host::player
