// Movies that come packed, and files beside them.
#include <gmock/gmock.h>
#include <stdlib.h>
#include <unistd.h>
#include <zlib.h>

#include <fstream>
#include <string>

#include "host/player/lottie/document/AssetFolder.h"
#include "host/player/lottie/document/MovieFile.h"
#include "host/player/lottie/document/Reader.h"
#include "host/player/lottie/document/Theme.h"
#include "tests/host/player/PlainHost.h"

namespace plexion_host::movie {
namespace {

using ::testing::HasSubstr;

std::string Number(uint32_t value, int bytes) {
  std::string text;
  for (int i = 0; i < bytes; ++i, value >>= 8) text += static_cast<char>(value & 255);
  return text;
}

/// `windowBits` as zlib has it.
std::string Packed(const std::string& text, int windowBits) {
  std::string packed(text.size() + 1000, '\0');
  z_stream stream = {};
  deflateInit2(&stream, 9, Z_DEFLATED, windowBits, 8, Z_DEFAULT_STRATEGY);
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
  stream.avail_in = static_cast<uInt>(text.size());
  stream.next_out = reinterpret_cast<Bytef*>(packed.data());
  stream.avail_out = static_cast<uInt>(packed.size());
  deflate(&stream, Z_FINISH);
  packed.resize(packed.size() - stream.avail_out);
  deflateEnd(&stream);
  return packed;
}

/// A zip archive of files, all packed.
std::string Zip(const std::vector<std::pair<std::string, std::string>>& files) {
  std::string archive, list;
  for (const auto& [name, text] : files) {
    const std::string packed = Packed(text, -MAX_WBITS);
    const std::string facts = Number(8, 2) + Number(0, 8) + Number(uint32_t(packed.size()), 4) +
                              Number(uint32_t(text.size()), 4) + Number(uint32_t(name.size()), 2) +
                              Number(0, 2);
    list += "PK\x01\x02" + Number(20, 2) + Number(20, 2) + Number(0, 2) + facts + Number(0, 10) +
            Number(uint32_t(archive.size()), 4) + name;
    archive += "PK\x03\x04" + Number(20, 2) + Number(0, 2) + facts + name + packed;
  }
  const auto start = uint32_t(archive.size());
  const auto count = uint32_t(files.size());
  return archive + list + "PK\x05\x06" + Number(0, 4) + Number(count, 2) + Number(count, 2) +
         Number(uint32_t(list.size()), 4) + Number(start, 4) + Number(0, 2);
}

class MovieFileTest : public ::testing::Test {
 protected:
  MovieFileTest() {
    char name[] = "/tmp/plexion-movie-XXXXXX";
    folder_ = mkdtemp(name);
  }
  ~MovieFileTest() override { EXPECT_EQ(0, system(("rm -r " + folder_).c_str())); }

  void Write(const std::string& name, const std::string& bytes) {
    std::ofstream(folder_ + "/" + name, std::ios::binary) << bytes;
  }
  bool Open(const std::string& bytes) {
    Write("movie", bytes);
    return file_.Open(folder_ + "/movie", host_, error_);
  }

  std::string folder_;
  player::PlainHost host_;
  player::EngineError error_;
  MovieFile file_;
};

TEST_F(MovieFileTest, UnpacksWhatIsPackedAndStopsAtTheLimit) {
  EXPECT_TRUE(Open(Packed("{\"v\":1}", 16 + MAX_WBITS))) << error_.message;
  EXPECT_EQ("{\"v\":1}", file_.Document());
  EXPECT_FALSE(Open(Packed(std::string(40 << 20, ' '), 16 + MAX_WBITS)));
  EXPECT_THAT(error_.message, HasSubstr("unpacks to more than 33554432 bytes"));
  EXPECT_FALSE(Open(Packed(std::string(5000, 'x'), 16 + MAX_WBITS).substr(0, 20)));
  EXPECT_THAT(error_.message, HasSubstr("before its time"));
}

TEST_F(MovieFileTest, FindsAnimationsThemesAndPicturesOfBothKindsOfArchives) {
  ASSERT_TRUE(Open(Zip({{"manifest.json", R"({"version":"1.0","animations":[{"id":"x"}]})"},
                        {"animations/x.json", "{\"old\":1}"},
                        {"images/a.png", "pixels"}})))
      << error_.message;
  EXPECT_EQ("{\"old\":1}", file_.Document());
  Unpacked picture;
  std::string reason;
  ASSERT_TRUE(file_.ReadAsset("/images/a.png", 100, host_, picture, reason)) << reason;
  EXPECT_EQ("pixels", picture.Text());
  EXPECT_FALSE(file_.ReadAsset("images/a.png", 3, host_, picture, reason));
  MovieFile newer;
  Write("newer", Zip({{"manifest.json", R"({"version":"2","initial":{"animation":"b","theme":"t"},
                        "animations":[{"id":"a"},{"id":"b"}]})"},
                      {"a/a.json", "{}"},
                      {"a/b.json", "{\"new\":1}"},
                      {"t/t.json", "{\"rules\":[]}"}}));
  ASSERT_TRUE(newer.Open(folder_ + "/newer", host_, error_)) << error_.message;
  EXPECT_EQ("{\"new\":1}", newer.Document());
  EXPECT_EQ("{\"rules\":[]}", newer.Theme());
}

TEST_F(MovieFileTest, NamesWhatIsWrongWithAnArchive) {
  const std::string good = Zip({{"manifest.json", R"({"animations":[{"id":"x"}]})"}});
  EXPECT_FALSE(Open(good));
  EXPECT_THAT(error_.message, HasSubstr("animations/x.json"));
  for (size_t cut = 4; cut < good.size(); ++cut) {
    MovieFile file;
    Write("cut", good.substr(0, cut));
    EXPECT_FALSE(file.Open(folder_ + "/cut", host_, error_));
    EXPECT_FALSE(error_.message.empty());
  }
}

TEST_F(MovieFileTest, ReadsFilesBelowItsFolderOnly) {
  Write("picture", "pixels");
  ASSERT_EQ(0, symlink("/etc/passwd", (folder_ + "/link").c_str()));
  const AssetFolder folder(folder_ + "/movie");
  Unpacked bytes;
  std::string error;
  EXPECT_TRUE(folder.Read("./picture", 100, nullptr, bytes, error)) << error;
  EXPECT_EQ("pixels", bytes.Text());
  for (const char* name : {"", "/etc/passwd", "../etc/passwd", "a/../../x", "link", ".", "none"}) {
    error.clear();
    EXPECT_FALSE(folder.Read(name, 100, nullptr, bytes, error)) << name;
    EXPECT_FALSE(error.empty()) << name;
  }
  EXPECT_FALSE(folder.Read("picture", 3, nullptr, bytes, error));
}

TEST(ThemeTest, PutsItsValuesBeforeTheDocuments) {
  Arena arena(nullptr);
  JsonValue theme, document;
  std::string error;
  const auto wanted = [] { return false; };
  ASSERT_TRUE(ReadJson(R"({"rules":[{"id":"c","type":"Color","value":[1,0,0]}]})", {}, wanted,
                       arena, theme, error));
  ASSERT_TRUE(ReadJson(R"({"w":1,"h":1,"fr":1,"ip":0,"op":1,"slots":{"c":{"p":{"a":0,"k":[0,1,0]}}},
    "layers":[{"ty":4,"shapes":[{"ty":"fl","c":{"sid":"c"}}]}]})",
                       {}, wanted, arena, document, error));
  ApplyTheme(theme, arena, document);
  Movie movie(nullptr);
  ASSERT_TRUE(ReadMovie(document, movie, error)) << error;
  EXPECT_EQ(1, movie.root.layers[0].shapes[0].colour->value[0]);
}

}  // namespace
}  // namespace plexion_host::movie
