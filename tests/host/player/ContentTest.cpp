// Addresses of content, and what the first bytes of a file say.
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

#include "host/player/ContentAddress.h"
#include "host/player/PlayerSettings.h"
#include "host/player/content/ContentProbe.h"

namespace plexion_host::player {
namespace {

using ::testing::HasSubstr;

struct AddressCase {
  const char* text;
  const char* base;
  const char* path;
  const char* url;
  const char* name;
};

TEST(ContentAddressTest, UnderstandsPathsAndAddresses) {
  const AddressCase cases[] = {
      {"film.mvx", "", "film.mvx", "", "film.mvx"},
      {"a/film.mvx", "/media", "/media/a/film.mvx", "", "film.mvx"},
      {"film.mvx", "/media/", "/media/film.mvx", "", "film.mvx"},
      {"/a/film.mvx", "/media", "/a/film.mvx", "", "film.mvx"},
      {"film.mvx", "file:///a%20b", "/a b/film.mvx", "", "film.mvx"},
      {"file:///a/%66ilm.mvx", "/media", "/a/film.mvx", "", "film.mvx"},
      {"file://localhost/a.mvx", "", "/a.mvx", "", "a.mvx"},
      {"http://host/clip.mp4", "/media", "", "http://host/clip.mp4", "clip.mp4"},
      {"clip.mp4", "https://host/dir", "", "https://host/dir/clip.mp4", "clip.mp4"},
      {"menu/", "", "menu/", "", "menu"},
      {"/", "", "/", "", "/"},
      {"a:b.mvx", "", "a:b.mvx", "", "a:b.mvx"},
  };
  for (const AddressCase& test : cases) {
    SCOPED_TRACE(test.text);
    ContentAddress address;
    std::string error;
    ASSERT_TRUE(ResolveContentAddress(test.text, test.base, address, error)) << error;
    EXPECT_EQ(test.path, address.path);
    EXPECT_EQ(test.url, address.url);
    EXPECT_EQ(test.name, address.name);
  }
}

TEST(ContentAddressTest, SaysWhatIsWrongWithAnAddress) {
  const std::pair<const char*, const char*> cases[] = {
      {"", "no content"},
      {"file://elsewhere/a.mvx", "another machine"},
      {"file:///a%2", "hexadecimal"},
      {"file:///a%zz", "hexadecimal"},
      {"file:///a%00b", "zero byte"},
  };
  for (const auto& [text, reason] : cases) {
    ContentAddress address;
    std::string error;
    EXPECT_FALSE(ResolveContentAddress(text, "", address, error)) << text;
    EXPECT_THAT(error, HasSubstr(reason));
  }
}

struct ProbeCase {
  std::string bytes;
  ContentKind kind;
  const char* description;
};

TEST(ContentProbeTest, GoesByTheFirstBytes) {
  using std::string;
  const ProbeCase cases[] = {
      {"{\"v\":\"5\"}", ContentKind::kMovie, ""},
      {" \r\n\t{", ContentKind::kMovie, ""},
      {"\xef\xbb\xbf{", ContentKind::kMovie, ""},
      {"<?xml version=\"1.0\"?>\n<application>", ContentKind::kApplication, ""},
      {"<svg xmlns=\"x\">", ContentKind::kPicture, "SVG"},
      {"\x89PNG\r\n\x1a\n....", ContentKind::kPicture, "PNG"},
      {"\xff\xd8\xff\xe0", ContentKind::kPicture, "JPEG"},
      {"BM....", ContentKind::kMedia, "BMP"},
      {string("\0\0\0\x20", 4) + "ftypisom", ContentKind::kMedia, "MP4"},
      {"RIFF....AVI LIST", ContentKind::kMedia, "AVI"},
      {"RIFF....WAVEfmt ", ContentKind::kMedia, "WAV"},
      {"OggS", ContentKind::kMedia, "Ogg"},
      {"hello", ContentKind::kUnknown, "'h' at byte 0 (line 1)"},
      {"\n\n  hello", ContentKind::kUnknown, "'h' at byte 4 (line 3)"},
      {string("\0\1", 2), ContentKind::kUnknown, "0x00"},
      {"  \n", ContentKind::kUnknown, "blanks"},
      {"<html>", ContentKind::kUnknown, "'<'"},
  };
  for (const ProbeCase& test : cases) {
    SCOPED_TRACE(test.bytes);
    const ProbeResult result =
        ProbeBytes(reinterpret_cast<const unsigned char*>(test.bytes.data()), test.bytes.size());
    EXPECT_EQ(test.kind, result.kind);
    EXPECT_THAT(result.description, HasSubstr(test.description));
  }
}

TEST(ContentProbeTest, SaysWhyContentCannotBeOpened) {
  char folder[] = "/tmp/plexion-probe-XXXXXX";
  ASSERT_NE(nullptr, mkdtemp(folder));
  const std::string pipe = std::string(folder) + "/pipe";
  ASSERT_EQ(0, mkfifo(pipe.c_str(), 0600));

  ProbeResult result;
  EngineError error;
  EXPECT_FALSE(ProbeContent({std::string(folder) + "/none.mvx", "", "none.mvx"}, result, error));
  EXPECT_EQ(qx::plexion::kErrorInvalidURL, error.status);
  EXPECT_THAT(error.message, HasSubstr("No such file"));

  EXPECT_FALSE(ProbeContent({pipe, "", "pipe"}, result, error)) << "must not wait for a writer";
  EXPECT_THAT(error.message, HasSubstr("neither a file nor a folder"));

  EXPECT_TRUE(ProbeContent({folder, "", "folder"}, result, error));
  EXPECT_EQ(ContentKind::kApplication, result.kind);
  EXPECT_TRUE(ProbeContent({"", "http://host/", "host"}, result, error));
  EXPECT_EQ(ContentKind::kMedia, result.kind);
  unlink(pipe.c_str());
  rmdir(folder);
}

TEST(MorvelVarsTest, DecodesAndKeepsEveryVariable) {
  PlayerSettings settings;
  settings.morvelVars = "loop=3&&title=50%25+&speed=0.5&flag";
  std::string error;
  ASSERT_TRUE(ReadMorvelVars(settings, error)) << error;
  EXPECT_EQ(3u, settings.loops);
  EXPECT_EQ(0.5, settings.speed);
  ASSERT_EQ(5u, settings.variables.size());
  EXPECT_EQ("50%+", settings.variables[1].second);
  EXPECT_EQ("flag", settings.variables[3].first);
  EXPECT_EQ("tv", settings.variables[4].second) << "the profile, when no variable is called so";
}

TEST(MorvelVarsTest, NamesTheVariableThatIsWrong) {
  for (const char* variables :
       {"loop=-1", "loop=", "loop=2x", "loop=1.5", "loop=99999999999999999999", "speed=0",
        "speed=nan", "speed=1e9", "speed", "=3", "a=%4", "loop=%33%"}) {
    PlayerSettings settings;
    settings.morvelVars = variables;
    std::string error;
    EXPECT_FALSE(ReadMorvelVars(settings, error)) << variables;
    EXPECT_THAT(error, HasSubstr("variable"));
  }
}

}  // namespace
}  // namespace plexion_host::player
