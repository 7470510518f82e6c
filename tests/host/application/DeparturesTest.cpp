// The departures board with whatever its data file may hold.
#include <algorithm>

#include "tests/host/application/ApplicationFixture.h"

namespace plexion_host::player::application {
namespace {

class DeparturesTest : public ApplicationTest {
 protected:
  DeparturesTest() {
    std::filesystem::copy(std::string(PLEXION_EXAMPLES) + "/departures", folder_,
                          std::filesystem::copy_options::recursive |
                              std::filesystem::copy_options::overwrite_existing);
    host_.settings.variables = {{"at", "18:00:00"}};
    workPerLook_ = 100000;
  }

  /// What the board shows, without its clock and its foot.
  std::vector<uint32_t> Rows() {
    Draw(true);
    return {pixels_.begin() + size_t{64} * 8, pixels_.begin() + size_t{64} * 33};
  }
  bool IsBlack(const std::vector<uint32_t>& rows) {
    // The ground is dark blue, rows are bright.
    return std::none_of(rows.begin(), rows.end(),
                        [](uint32_t pixel) { return (pixel >> 8 & 255) > 90; });
  }
  /// Puts a file in place, and plays until the board has looked at it.
  void Publish(const std::string& text) {
    Write("next", text);
    std::filesystem::rename(folder_ / "next", folder_ / "departures.json");
    ASSERT_TRUE(host_.WaitForRequest());
    Visit(position_);
    // The watch may tell of the two steps one by one.
    RunTo(position_ + 2);
  }
};

constexpr char kGood[] =
    R"([{"time":"18:05","to":"Wien","gate":"B1","flight":"OS 1","remark":"Boarding"}])";

TEST_F(DeparturesTest, WhateverTheFileHoldsTheBoardStays) {
  ASSERT_TRUE(Load()) << error_.message;
  RunTo(1);
  const std::vector<uint32_t> first = Rows();
  ASSERT_FALSE(IsBlack(first));
  Publish(kGood);
  const std::vector<uint32_t> good = Rows();
  EXPECT_NE(first, good);

  const struct {
    const char* name;
    std::string text;
    bool keeps;  ///< the rows are those of before
  } cases[] = {
      {"an empty file", "", true},
      {"half a file", std::string(kGood).substr(0, 40), true},
      {"no list", "\"closed\"", true},
      {"no text at all", std::string("\xff\xfe\x00\x01", 4), true},
      {"nested without end", std::string(100000, '['), true},
      {"more than eight megabytes", "[" + std::string(9000000, ' ') + "]", true},
      {"without a gate", R"([{"time":"18:05","to":"Wien"}])", false},
      {"without a destination", R"([{"time":"18:05"},{"time":"18:10","to":"Oslo"}])", false},
      {"fields of other kinds",
       R"([{"time":1805,"to":["Wien"],"gate":{}},{"time":7,"to":8,"gate":9,"remark":true},5,null])",
       false},
      {"an empty list", "[]", false},
  };
  for (const auto& each : cases) {
    Publish(each.text);
    EXPECT_EQ(each.keeps, Rows() == good) << each.name;
    Publish(kGood);
    EXPECT_EQ(good, Rows()) << "after " << each.name;
    EXPECT_EQ(kStatusUnconfigured, host_.failure.status) << each.name << host_.failure.message;
  }
  EXPECT_TRUE(host_.Notices().empty()) << host_.Notices()[0];
}

TEST_F(DeparturesTest, AMillionRowsCostNoMoreThanItsLimits) {
  ASSERT_TRUE(Load()) << error_.message;
  RunTo(1);
  Publish(kGood);
  const std::vector<uint32_t> good = Rows();
  host_.settings.gcHeapLimitMegabytes = 64;
  std::string rows = "[";
  for (int i = 0; i < 1000000; ++i) rows += "[7],[]";
  Publish(rows);
  EXPECT_EQ(good, Rows()) << "not even JSON";
  // As many as eight megabytes hold: more than the script's memory does.
  rows = "[";
  while (rows.size() < 8 * 1000 * 1000) rows += R"({"time":"18:05","to":"W","a":1,"b":2},)";
  rows.back() = ']';
  Publish(rows);
  EXPECT_EQ(kStatusUnconfigured, host_.failure.status) << host_.failure.message;
  for (const std::string& notice : host_.Notices()) {
    EXPECT_NE(notice.find("64 MB (--gcheaplimit)"), std::string::npos) << notice;
  }
  EXPECT_FALSE(IsBlack(Rows()));
  Publish(kGood);
  EXPECT_EQ(good, Rows()) << "and then goes on";
}

TEST_F(DeparturesTest, AFileThatChangesAllTheTimeIsFollowed) {
  ASSERT_TRUE(Load()) << error_.message;
  for (int i = 0; i < 40; ++i) {
    // Not put in place but written over, as careless feeds do; half of it may be read.
    Write("departures.json", R"([{"time":"18:05","to":"Wien )" + std::to_string(i) + "\"}]");
    Visit(position_ + 3);
  }
  Publish(kGood);
  EXPECT_EQ(kStatusUnconfigured, host_.failure.status);
  EXPECT_TRUE(host_.Notices().empty());
  EXPECT_FALSE(IsBlack(Rows()));
}

TEST_F(DeparturesTest, WithoutItsScriptGuestsAreSentToThePrintedTimetable) {
  Write("departures.lua", "on('start', function() error('no') end)");
  ASSERT_TRUE(Load()) << error_.message;
  RunTo(1);
  EXPECT_FALSE(IsBlack(Rows()));
  ASSERT_EQ(2u, host_.Notices().size());
  EXPECT_NE(host_.Notices()[1].find("its scene \"closed\" is shown"), std::string::npos);
}

}  // namespace
}  // namespace plexion_host::player::application
