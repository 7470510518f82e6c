// Figures, QR codes, shadows and blurs as they are seen, and what they may cost.
#include <algorithm>

#include "tests/host/application/ApplicationFixture.h"

namespace plexion_host::player::application {
namespace {

constexpr uint32_t kRed = 0xFFFF0000;
constexpr uint32_t kBlack = 0xFF000000;
constexpr uint32_t kWhite = 0xFFFFFFFF;

class FiguresTest : public ApplicationTest {
 protected:
  void Show(const std::string& elements, const std::string& script = "") {
    ASSERT_TRUE(LoadDocument(
        "<application width='64' height='36' rate='10' background='#000000'><scene id='s'>" +
        elements + "</scene>" +
        (script.empty() ? "" : "<script><![CDATA[" + script + "]]></script>") + "</application>"))
        << error_.message;
    pixels_.clear();
    position_ = 0;
    Visit(0);
  }
};

TEST_F(FiguresTest, LinesAndPolygonsLieAtTheirPoints) {
  Show(
      "<line points='4,10 60,10' stroke='#ff0000' strokeWidth='4'/>"
      "<polygon points='10,20 30,20 30,34 10,34' fill='#ff0000'/>");
  EXPECT_EQ(kRed, At(4, 10));
  EXPECT_EQ(kRed, At(59, 9));
  EXPECT_EQ(kBlack, At(30, 13));
  EXPECT_EQ(kBlack, At(2, 10)) << "its ends are butt";
  EXPECT_EQ(kRed, At(20, 27));
  EXPECT_EQ(kBlack, At(32, 27));
  Show(
      "<line points='20,10 44,10' cap='square' stroke='#ff0000' strokeWidth='8'/>"
      "<line points='10,30' stroke='#ff0000'/><line/><polygon points=''/>");
  EXPECT_EQ(kRed, At(17, 10));
}

TEST_F(FiguresTest, ArcsGoClockwiseFromTheTop) {
  Show(
      "<arc width='36' height='36' to='90' fill='#ff0000'/>"
      "<arc x='28' width='36' height='36' from='-90' to='0' thickness='6' fill='#ff0000'/>");
  EXPECT_EQ(kRed, At(24, 12)) << "from twelve to three";
  EXPECT_EQ(kBlack, At(12, 12));
  EXPECT_EQ(kBlack, At(12, 24));
  EXPECT_EQ(kRed, At(31, 15)) << "the ring, from nine to twelve";
  EXPECT_EQ(kBlack, At(42, 15)) << "and its hole";
}

TEST_F(FiguresTest, ThePointerFindsFigures) {
  Show(
      "<line id='line' points='0,4 64,4' stroke='#fff' strokeWidth='4'/>"
      "<polygon id='polygon' points='0,10 30,10 0,36' fill='#00000000'/>"
      "<arc id='arc' x='34' y='8' width='28' height='28' thickness='5' fill='#fff'/>",
      "local function at(x, y) local e = stage.at(x, y) return e and e.id end\n"
      "trace(at(20, 5), at(20, 8), at(5, 15), at(28, 33), at(36, 22), at(48, 22))");
  EXPECT_EQ("line\tnil\tpolygon\tnil\tarc\tnil", Trace(0));
}

TEST_F(FiguresTest, ScriptsSetPoints) {
  workPerLook_ = 1000;
  Show("<line id='l' stroke='#ff0000' strokeWidth='6' points='1,2 3,4'/>",
       "local l = stage.find('l') trace(table.concat(l.points, ' '))\n"
       "local c = l:clone() l.points = {0, 20, 64, 20} trace(#l.points, #c.points)\n"
       "local function try(v) local ok, why = pcall(function() l.points = v end) trace(ok, why) "
       "end\n"
       "try{1, 2, 3} try{1, 'x'} try('1,2 3') try{0/0, 1} try{1e9, 1}\n"
       "local many = {} for i = 1, 4002 do many[i] = i % 60 end try(many)");
  EXPECT_EQ("1.0 2.0 3.0 4.0", Trace(0));
  EXPECT_EQ("4\t4", Trace(1));
  EXPECT_EQ(kRed, At(30, 20));
  for (size_t i = 2; i < 8; ++i) {
    EXPECT_EQ(0u, Trace(i).find("false")) << i << Trace(i);
    EXPECT_NE(Trace(i).find("expected at most 2000 points"), std::string::npos) << Trace(i);
  }
}

TEST_F(FiguresTest, AQrCodeHasSharpModulesInWholePixels) {
  Show("<qr width='36' height='36' text='PLEXION' quiet='2'/>");
  size_t dark = 0;
  for (uint32_t y = 0; y < 36; ++y) {
    for (uint32_t x = 0; x < 36; ++x) {
      ASSERT_TRUE(At(x, y) == kBlack || At(x, y) == kWhite) << x << "," << y;
      dark += At(x, y) == kBlack ? 1 : 0;
    }
  }
  EXPECT_GT(dark, 150u);
  // Twenty-one modules of a pixel each, in the middle; a finder pattern in its corner.
  for (uint32_t i = 0; i < 7; ++i) {
    EXPECT_EQ(kBlack, At(8 + i, 8)) << i;
    EXPECT_EQ(kBlack, At(8, 8 + i)) << i;
  }
  EXPECT_EQ(kWhite, At(9, 9));
  EXPECT_EQ(kBlack, At(11, 11));
}

TEST_F(FiguresTest, AQrCodeHoldsNoMoreThanItCan) {
  Show("<qr id='q' width='36' height='36' level='high'/>",
       "stage.find('q').text = ('x'):rep(1274)");
  EXPECT_EQ(1u, host_.Notices().size());
  EXPECT_NE(host_.Notices()[0].find("its text has 1274 bytes; expected at most 1273"),
            std::string::npos);
  host_.notes.clear();
  Show("<qr id='q' width='36' height='36' level='low'/>", "stage.find('q').text = ('x'):rep(2953)");
  EXPECT_TRUE(host_.notes.empty());
}

TEST_F(FiguresTest, AShadowLiesBelowAndABlurOverAll) {
  Show(
      "<rectangle width='64' height='36' fill='#ffffff'/>"
      "<rectangle x='20' y='8' width='20' height='10' fill='#ff0000' shadow='#000000' "
      "shadowX='6' shadowY='10' shadowBlur='0'/>");
  EXPECT_EQ(kRed, At(30, 12));
  EXPECT_EQ(kBlack, At(43, 24)) << "moved, and nowhere else";
  EXPECT_EQ(kWhite, At(22, 24));
  EXPECT_EQ(kWhite, At(48, 24));
  Show("<group blur='8'><rectangle x='20' y='8' width='20' height='20' fill='#ffffff'/></group>");
  const uint32_t edge = At(20, 18) & 255;
  EXPECT_GT(edge, 80u);
  EXPECT_LT(edge, 180u);
  EXPECT_GT(At(16, 18) & 255, 5u);
  EXPECT_EQ(kBlack, At(2, 2));
}

TEST_F(FiguresTest, PartsOfShadowsThatAreDrawnAgainMakeTheSamePicture) {
  Show(
      "<rectangle width='64' height='36' fill='#335577'/>"
      "<group id='g' shadow='#000000' shadowBlur='6' shadowX='5'>"
      "<rectangle id='a' x='8' y='8' width='16' height='8' fill='#ff0000'/>"
      "<arc id='b' x='20' y='10' width='14' height='14' fill='#00ff00' blur='4'/></group>"
      "<group id='c' clip='true' x='30' y='4' width='30' height='20'><text id='t' size='12' "
      "font='DejaVu Sans' shadow='#fff' shadowBlur='3'>Abc</text></group>",
      "local seed = 7\n"
      "local function dice(n) seed = (seed * 1103515245 + 12345) % 2147483648\n"
      "  return seed // 65536 % n end\n"
      "local all = {}\n"
      "for i, id in ipairs{'a', 'b', 'c', 'g', 't'} do all[i] = stage.find(id) end\n"
      "on('frame', function() local e = all[dice(5) + 1] local what = dice(7)\n"
      "  if what == 0 then e.blur = dice(2) * dice(10) end\n"
      "  if what == 1 then e.shadow = dice(2) == 0 and 'none' or '#000000a0' end\n"
      "  if what == 2 then e.opacity = dice(10) / 10 end\n"
      "  if what == 3 then e.shadowY = dice(20) - 10 end\n"
      "  if what == 4 then e.scale = dice(4) > 0 and 1 or 1.5 end\n"
      "  e.x = dice(70) - 10 e.y = dice(40) - 8 end)");
  for (uint64_t position = 1; position < 300; ++position) {
    Visit(position);
    const std::vector<uint32_t> parts = pixels_;
    std::fill(pixels_.begin(), pixels_.end(), 0x12345678);
    Draw(true);
    int worst = 0;
    size_t at = 0;
    for (size_t i = 0; i < parts.size(); ++i) {
      for (unsigned shift = 0; shift < 32; shift += 8) {
        const int difference = abs(static_cast<int>(parts[i] >> shift & 255) -
                                   static_cast<int>(pixels_[i] >> shift & 255));
        if (difference > worst) at = i;
        worst = std::max(worst, difference);
      }
    }
    ASSERT_LE(worst, 16) << "at " << position << " in " << at % 64 << "," << at / 64;
  }
}

TEST_F(FiguresTest, EffectsHaveALimit) {
  std::string elements;
  for (int i = 0; i < 70; ++i) elements += "<rectangle width='9' height='9' blur='2' fill='#fff'/>";
  std::string groups;
  std::string ends;
  for (int i = 0; i < 10; ++i) {
    groups += "<group shadow='#000'>";
    ends += "</group>";
  }
  Show(elements);
  ASSERT_EQ(1u, host_.Notices().size());
  EXPECT_NE(host_.Notices()[0].find("more than 64 elements with a shadow or blur"),
            std::string::npos);
  host_.notes.clear();
  Show(groups + "<rectangle width='9' height='9' fill='#fff'/>" + ends);
  EXPECT_EQ(1u, host_.Notices().size()) << "and inside of each other";
}

TEST_F(FiguresTest, WhatIsHugeIsDrawnInTime) {
  std::string points;
  for (int i = 0; i < 2000; ++i) {
    points += std::to_string(i * 7919 % 200000 - 100000) + "," +
              std::to_string(i * 104729 % 200000 - 100000) + " ";
  }
  Show("<line points='" + points +
       "' stroke='#fff' strokeWidth='1000' join='round' cap='round'/>"
       "<polygon points='" +
       points +
       "' fill='#f00' blur='200' scale='50'/>"
       "<arc from='-100000' to='100000' width='100000' height='1' thickness='100000' fill='#fff' "
       "shadow='#fff' shadowX='1000' shadowBlur='200'/>"
       "<qr width='100000' height='100000' text='x' fill='#fff'/>");
  SUCCEED() << "a test that takes minutes has failed";
}

}  // namespace
}  // namespace plexion_host::player::application
