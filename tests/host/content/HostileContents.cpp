// Writes the table of hostile contents.

#include "tests/host/content/HostileContents.h"

#include <sys/stat.h>
#include <zlib.h>

#include <fstream>
#include <random>

namespace plexion_host::content {

namespace {

namespace fs = std::filesystem;

std::string Repeat(const std::string& text, size_t count) {
  std::string all;
  all.reserve(text.size() * count);
  for (size_t i = 0; i < count; ++i) all += text;
  return all;
}

std::string BigEndian(uint32_t number) {
  return {static_cast<char>(number >> 24), static_cast<char>(number >> 16),
          static_cast<char>(number >> 8), static_cast<char>(number)};
}

class Maker {
 public:
  explicit Maker(const fs::path& folder) : folder_(folder) {}

  void File(const std::string& name, const std::string& bytes) {
    std::ofstream(folder_ / name, std::ios::binary) << bytes;
    Add(name);
  }
  void Link(const std::string& name, const std::string& target) {
    fs::create_symlink(target, folder_ / name);
    Add(name);
  }
  void Pipe(const std::string& name) {
    mkfifo((folder_ / name).c_str(), 0600);
    Add(name);
  }
  /// A folder with a document that has `body` in its scene, and `script`.
  void Application(const std::string& name, const std::string& body, const std::string& script) {
    fs::create_directory(folder_ / name);
    std::ofstream(folder_ / name / "application.xml")
        << "<application width=\"64\" height=\"36\"><scene id=\"s\">" << body
        << "</scene><script src=\"main.lua\"/></application>";
    std::ofstream(folder_ / name / "main.lua") << script;
    Add(name);
  }
  void Document(const std::string& name, const std::string& document) {
    fs::create_directory(folder_ / name);
    std::ofstream(folder_ / name / "application.xml") << document;
    Add(name);
  }
  fs::path In(const std::string& name) const { return folder_ / name; }
  std::vector<HostileContent> Take() { return std::move(contents_); }

 private:
  void Add(const std::string& name) { contents_.push_back({name, (folder_ / name).string()}); }

  const fs::path folder_;
  std::vector<HostileContent> contents_;
};

/// A movie with these parts in the place of the usual ones.
struct Movie {
  std::string size = R"("w":64,"h":36)";
  std::string times = R"("fr":10,"ip":0,"op":20)";
  std::string assets;
  std::string layers;

  std::string Text() const {
    return "{\"v\":\"5\"," + times + "," + size + ",\"assets\":[" + assets + "],\"layers\":[" +
           layers + "]}";
  }
};

constexpr char kTransform[] =
    R"("ks":{"o":{"a":0,"k":100},"r":{"a":0,"k":0},"p":{"a":0,"k":[32,18]},"a":{"a":0,"k":[0,0]},)"
    R"("s":{"a":0,"k":[100,100]}})";

std::string ShapeLayer(const std::string& shapes) {
  return std::string(R"({"ty":4,"ip":0,"op":20,"st":0,"sr":1,"ind":1,)") + kTransform +
         ",\"shapes\":[" + shapes + "]}";
}

constexpr char kRectangle[] =
    R"({"ty":"rc","p":{"a":0,"k":[0,0]},"s":{"a":0,"k":[20,20]},"r":{"a":0,"k":0}})";
constexpr char kFill[] = R"({"ty":"fl","c":{"a":0,"k":[1,0,0,1]},"o":{"a":0,"k":100},"r":1})";
constexpr char kGroupTransform[] =
    R"({"ty":"tr","p":{"a":0,"k":[1,0]},"a":{"a":0,"k":[0,0]},"s":{"a":0,"k":[100,100]},)"
    R"("r":{"a":0,"k":0},"o":{"a":0,"k":100}})";

std::string Group(const std::string& items) {
  return "{\"ty\":\"gr\",\"it\":[" + items + "," + kGroupTransform + "]}";
}

std::string Repeater(const std::string& copies) {
  return "{\"ty\":\"rp\",\"c\":{\"a\":0,\"k\":" + copies +
         "},\"o\":{\"a\":0,\"k\":0},\"m\":1,\"tr\":" + kGroupTransform + "}";
}

/// A rectangle whose rotation is worked out by a script.
std::string Scripted(const std::string& script) {
  const std::string shapes = Group(std::string(kRectangle) + "," + kFill);
  return R"({"ty":4,"ip":0,"op":20,"st":0,"sr":1,"ind":1,"ks":{"o":{"a":0,"k":100},"r":{"a":0,"k":0,"x":")" +
         script +
         R"("},"p":{"a":0,"k":[32,18]},"a":{"a":0,"k":[0,0]},"s":{"a":0,"k":[100,100]}},"shapes":[)" +
         shapes + "]}";
}

std::string Packed(const std::string& bytes) {
  z_stream stream = {};
  deflateInit2(&stream, 9, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY);
  std::string packed(deflateBound(&stream, bytes.size()), '\0');
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
  stream.avail_in = static_cast<uInt>(bytes.size());
  stream.next_out = reinterpret_cast<Bytef*>(packed.data());
  stream.avail_out = static_cast<uInt>(packed.size());
  deflate(&stream, Z_FINISH);
  packed.resize(stream.total_out);
  deflateEnd(&stream);
  return packed;
}

void MakeMovies(Maker& make) {
  Movie plain;
  plain.layers = ShapeLayer(Group(std::string(kRectangle) + "," + kFill));
  const std::string text = plain.Text();
  for (const size_t part : {1, 4, 7}) {
    make.File("movie-cut-" + std::to_string(part), text.substr(0, text.size() * part / 8));
  }
  std::mt19937 random(7);
  for (int i = 0; i < 4; ++i) {
    std::string changed = text;
    for (int k = 0; k < 5; ++k) changed[random() % changed.size()] = static_cast<char>(random());
    make.File("movie-changed-" + std::to_string(i), changed);
  }
  const auto with = [&](const std::string& name, const std::string& size,
                        const std::string& times) {
    Movie movie = plain;
    if (!size.empty()) movie.size = size;
    if (!times.empty()) movie.times = times;
    make.File(name, movie.Text());
  };
  with("movie-huge", R"("w":1000000000,"h":1000000000)", "");
  with("movie-wide", R"("w":16384,"h":16384)", "");
  with("movie-negative", R"("w":-64,"h":36)", "");
  with("movie-fast", "", R"("fr":1e300,"ip":0,"op":20)");
  with("movie-without-time", "", R"("fr":0,"ip":0,"op":20)");
  with("movie-backwards", "", R"("fr":10,"ip":20,"op":-20)");
  with("movie-endless", "", R"("fr":10,"ip":-1e18,"op":1e18)");
  const auto shapes = [&](const std::string& name, const std::string& items) {
    Movie movie = plain;
    movie.layers = ShapeLayer(items);
    make.File(name, movie.Text());
  };
  shapes("movie-repeater", Group(std::string(kRectangle) + "," + kFill + "," + Repeater("1e9")));
  std::string nested = std::string(kRectangle) + "," + kFill;
  for (int i = 0; i < 12; ++i) nested = Group(nested + "," + Repeater("100"));
  shapes("movie-repeaters-of-repeaters", nested);
  shapes("movie-numbers",
         R"({"ty":"rc","p":{"a":0,"k":[1e300,-1e300]},"s":{"a":0,"k":[1e38,1e-300]},)"
         R"("r":{"a":0,"k":1e300}},)" +
             std::string(kFill));
  shapes("movie-dashes", std::string(kRectangle) +
                             R"(,{"ty":"st","c":{"a":0,"k":[1,0,0,1]},"o":{"a":0,"k":100},)"
                             R"("w":{"a":0,"k":1e9},"d":[{"n":"d","v":{"a":0,"k":1e-12}}]})");
  shapes("movie-star", R"({"ty":"sr","sy":1,"pt":{"a":0,"k":1e9},"p":{"a":0,"k":[0,0]},)"
                       R"("r":{"a":0,"k":0},"or":{"a":0,"k":1e6},"os":{"a":0,"k":1e6},)"
                       R"("ir":{"a":0,"k":1},"is":{"a":0,"k":1}},)" +
                           std::string(kFill));
  // Layers as large as can be, with every style as large as can be.
  std::string styles;
  for (int i = 0; i < 32; ++i) {
    styles +=
        (i > 0 ? "," : "") + std::string(R"({"ty":)") + std::to_string(i % 9) +
        R"(,"s":{"a":0,"k":1e9},"d":{"a":0,"k":-1e30},"ch":{"a":0,"k":50},"sr":{"a":0,"k":1e9}})";
  }
  std::string layer = ShapeLayer(Group(std::string(kRectangle) + "," + kFill));
  layer.insert(1, "\"sy\":[" + styles + "],");
  Movie styled = plain;
  styled.layers = layer + Repeat("," + layer, 89);
  make.File("movie-styles", styled.Text());
  layer.insert(layer.find("\"sy\":[") + 6, Repeat(R"({"ty":1},)", 100));
  styled.layers = layer;
  make.File("movie-too-many-styles", styled.Text());
  std::string groups = std::string(kRectangle) + "," + kFill;
  shapes("movie-deep-groups",
         Repeat("{\"ty\":\"gr\",\"it\":[", 20000) + groups + Repeat("]}", 20000));
  make.File("movie-deep-arrays", Repeat("{\"a\":[", 500000));
  make.File("movie-long-text", "{\"v\":\"" + std::string(30 << 20, 'x') + "\"}");

  Movie doubling = plain;
  constexpr int kLevels = 40;
  for (int i = 0; i < kLevels; ++i) {
    const std::string ref =
        i + 1 == kLevels
            ? plain.layers
            : Repeat(R"({"ty":0,"refId":"c)" + std::to_string(i + 1) +
                         R"(","ip":0,"op":20,"st":0,"sr":1,"w":64,"h":36,)" + kTransform + "},",
                     1) +
                  R"({"ty":0,"refId":"c)" + std::to_string(i + 1) +
                  R"(","ip":0,"op":20,"st":0,"sr":1,"w":64,"h":36,)" + kTransform + "}";
    doubling.assets += (i > 0 ? "," : "") + std::string(R"({"id":"c)") + std::to_string(i) +
                       "\",\"layers\":[" + ref + "]}";
  }
  doubling.layers =
      std::string(R"({"ty":0,"refId":"c0","ip":0,"op":20,"st":0,"sr":1,"w":64,"h":36,)") +
      kTransform + "}";
  make.File("movie-doubling", doubling.Text());
  Movie circle = doubling;
  circle.assets = std::string(R"({"id":"c0","layers":[)") + doubling.layers + "]}";
  make.File("movie-in-itself", circle.Text());

  for (const auto& [name, script] : std::vector<std::pair<std::string, std::string>>{
           {"loops", "while(true){} $bm_rt=1;"},
           {"allocates", "var a=[]; while(true){a.push(new Array(1000000).join('x'))} $bm_rt=1;"},
           {"recurses", "function f(x){return f(x+1)+f(x+2)} $bm_rt=f(0);"},
           {"matches", "$bm_rt=/(a+)+$/.test(new Array(60).join('a')+'b')?1:0;"}}) {
    Movie movie = plain;
    movie.layers = Scripted(script);
    make.File("movie-script-" + name, movie.Text());
  }
  for (const auto& [name, asset] : std::vector<std::pair<std::string, std::string>>{
           {"passwd", R"("u":"../../../../../etc/","p":"passwd","e":0)"},
           {"zero", R"("u":"/dev/","p":"zero","e":0)"},
           {"picture-bomb", R"("u":"","p":"bomb.png","e":0)"}}) {
    Movie movie = plain;
    movie.assets = R"({"id":"i","w":100000,"h":100000,)" + asset + "}";
    movie.layers =
        std::string(R"({"ty":2,"refId":"i","ip":0,"op":20,"st":0,"sr":1,)") + kTransform + "}";
    make.File("movie-asset-" + name, movie.Text());
  }
  make.File("movie-packed-bomb", Packed("{\"v\":\"" + std::string(100 << 20, 'x') + "\"}"));
  make.File("movie-archive-lies", "PK\x03\x04" + std::string(200, '\xff'));
}

void MakeApplications(Maker& make) {
  std::string laughs = "<!DOCTYPE application [<!ENTITY a0 \"ha\">";
  for (int i = 1; i < 12; ++i) {
    laughs += "<!ENTITY a" + std::to_string(i) + " \"" +
              Repeat("&a" + std::to_string(i - 1) + ";", 10) + "\">";
  }
  make.Document("application-entities",
                laughs + "]><application width=\"64\" height=\"36\">&a11;</application>");
  make.Document("application-foreign-entity",
                "<!DOCTYPE application [<!ENTITY x SYSTEM \"file:///etc/passwd\">]>"
                "<application width=\"64\" height=\"36\">&x;</application>");
  make.Document("application-deep",
                "<application width=\"64\" height=\"36\">" + Repeat("<group>", 100000));
  make.Document("application-many", "<application width=\"64\" height=\"36\"><scene id=\"s\">" +
                                        Repeat("<rect/>", 300000) + "</scene></application>");
  make.Document("application-cut", "<application width=\"64\"");
  make.Document("application-huge", "<application width=\"2000000000\" height=\"36\"/>");
  fs::create_directory(make.In("application-empty"));
  make.Application("application-loops", "", "while true do end");
  make.Application("application-loops-at-play", "",
                   "on('frame', function() while true do end end)");
  make.Application("application-allocates", "",
                   "local t = {} while true do t[#t + 1] = string.rep('x', 1000000) .. #t end");
  make.Application("application-recurses", "", "local function f(n) return f(n + 1) + 1 end f(0)");
  make.Application("application-long-text", "", "local s = 'x' for i = 1, 60 do s = s .. s end");
  make.Application("application-pattern", "",
                   "string.find(string.rep('a', 200000), string.rep('a*', 30) .. 'b')");
  make.Application("application-reaches-out", "",
                   "os.execute('touch /tmp/plexion-was-here') io.open('/etc/passwd') "
                   "require('socket') dofile('/etc/passwd')");
  make.Application("application-without-picture", "<image src=\"absent.png\"/>", "");
  make.Application("application-picture-outside", "<image src=\"link.png\"/>", "");
  fs::create_symlink("/etc/passwd", make.In("application-picture-outside") / "link.png");
  make.Application("application-picture-endless", "<image src=\"zero.png\"/>", "");
  fs::create_symlink("/dev/zero", make.In("application-picture-endless") / "zero.png");
  make.Application("application-script-is-a-pipe", "", "");
  fs::remove(make.In("application-script-is-a-pipe") / "main.lua");
  mkfifo((make.In("application-script-is-a-pipe") / "main.lua").c_str(), 0600);
  make.Application("application-in-itself", "<movie src=\".\"/>", "");
}

std::string PngOf(uint32_t width, uint32_t height) {
  std::string head =
      "IHDR" + BigEndian(width) + BigEndian(height) + std::string("\x08\x06\0\0\0", 5);
  const auto sum =
      crc32(0, reinterpret_cast<const Bytef*>(head.data()), static_cast<uInt>(head.size()));
  return "\x89PNG\r\n\x1a\n" + BigEndian(13) + head + BigEndian(static_cast<uint32_t>(sum)) +
         BigEndian(100) + "IDAT" + std::string(100, 'x');
}

void MakeMedia(Maker& make) {
  make.File("picture-bomb.png", PngOf(100000, 100000));
  make.File("picture-wrong.png", PngOf(64, 36));
  make.File("picture-nothing.png", PngOf(0, 36));
  make.File("picture-bomb.gif",
            std::string("GIF89a\xff\xff\xff\xff\xf7\0\0", 13) + std::string(768, 'x'));
  make.File("picture-lying.gif",
            std::string(
                "GIF89a\x10\0\x10\0\x80\0\0\0\0\0\xff\xff\xff,\0\0\0\0\xff\xff\xff\xff\0\x08", 29) +
                std::string(500, '\xff'));
  make.File(
      "picture-bomb.jpg",
      std::string(
          "\xff\xd8\xff\xc0\0\x11\x08\xff\xff\xff\xff\x03\x01\x22\0\x02\x11\x01\x03\x11\x01", 21));
  make.File("picture-cut.jpg", std::string("\xff\xd8\xff\xe0\xff\xff", 6));
  make.File("picture-lying.webp", std::string("RIFF\xff\xff\xff\x7fWEBPVP8X\xff\xff\xff\xff", 20) +
                                      std::string(50, '\xff'));
  make.File("picture-bomb.bmp", std::string("BM\xff\xff\xff\x7f\0\0\0\0\x36\0\0\0\x28\0\0\0\xff\xff"
                                            "\xff\x7f\xff\xff\xff\x7f\x01\0\x20\0",
                                            30) +
                                    std::string(64, '\0'));
  make.File("picture-lying.tif", std::string("II*\0\xff\xff\xff\xff", 8));
  make.File("picture-filters.svg",
            "<svg xmlns='http://www.w3.org/2000/svg' width='2000' height='2000'><filter id='f'>" +
                Repeat("<feGaussianBlur stdDeviation='500'/>", 500) +
                "</filter><rect width='2000' height='2000' filter='url(#f)'/></svg>");
  std::string uses =
      "<svg xmlns='http://www.w3.org/2000/svg' width='64' height='36'><g id='a0'><rect width='9' "
      "height='9'/></g>";
  for (int i = 1; i < 30; ++i) {
    uses += "<g id='a" + std::to_string(i) + "'>" +
            Repeat("<use href='#a" + std::to_string(i - 1) + "'/>", 10) + "</g>";
  }
  make.File("picture-uses.svg", uses + "</svg>");
  make.File("picture-foreign.svg",
            "<svg xmlns='http://www.w3.org/2000/svg' width='64' height='36'><image "
            "href='file:///etc/passwd' width='9' height='9'/></svg>");
  make.File(
      "sound-lying.wav",
      std::string(
          "RIFF\xff\xff\xff\xff"
          "WAVEfmt "
          "\x10\0\0\0\x01\0\xff\xff\xff\xff\xff\xff\0\0\0\0\xff\xff\x20\0data\xff\xff\xff\xff",
          44));
  make.File("video-lying.mp4", BigEndian(24) + "ftypisom" + BigEndian(0) + "isomavc1" +
                                   BigEndian(0xfffffff0) + "moov" + std::string(300, '\xff'));
  make.File("video-cut.mp4", BigEndian(24) + "ftypisom");
  make.File("video-wrong.mkv", "\x1a\x45\xdf\xa3" + std::string(4000, '\xff'));
  make.File("video-wrong.avi", std::string("RIFF\xff\xff\xff\xff"
                                           "AVI LIST\xff\xff\xff\xffhdrlavih",
                                           28) +
                                   std::string(400, '\xff'));
  make.File("video-wrong.flv", "FLV\x01" + std::string(4000, '\xff'));
  make.File("video-wrong.ts", Repeat("G" + std::string(187, '\xff'), 200));
  make.File("sound-wrong.ogg", "OggS" + std::string(4000, '\xff'));
  make.File("sound-wrong.flac", "fLaC" + std::string(4000, '\xff'));
  make.File("sound-wrong.mp3", "ID3" + std::string(4000, '\xff'));
  std::mt19937 random(9);
  std::string noise(100000, '\0');
  for (char& c : noise) c = static_cast<char>(random());
  make.File("noise", noise);
  make.File("nothing", "");
  make.File("blanks", std::string(5000, ' '));
  make.File("list.m3u8", "#EXTM3U\nfile:///etc/passwd\nhttp://127.0.0.1:9/x\n");
  make.Pipe("pipe.mvx");
  make.Link("zero.mvx", "/dev/zero");
  make.Link("random.mp4", "/dev/urandom");
  make.Link("absent.mvx", "/absent");
  make.Link("circle.mvx", "circle.mvx");
  make.Link("memory.mvx", "/proc/self/mem");
  // What movies in the same folder name as their picture.
  make.File("bomb.png", PngOf(100000, 100000));
}

}  // namespace

std::vector<HostileContent> MakeHostileContents(const fs::path& folder) {
  Maker make(folder);
  MakeMovies(make);
  MakeApplications(make);
  MakeMedia(make);
  return make.Take();
}

}  // namespace plexion_host::content
