// From words to parameters: every option, what it refuses, and where the parser stops.

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "qx/plexion/StageWindowParameters.h"
#include "tests/support/ServiceTest.h"

namespace qx {
namespace plexion {
namespace {

using P = StageWindowParameters;
using Argv = const char* const*;

/// A command line and what it makes of the defaults; "plexion" is put before the words.
struct Line {
  std::vector<const char*> words;
  void (*change)(P& parameters, Argv argv);
};

class CommandLine : public ServiceTest {
 protected:
  struct Parsed {
    int result;
    int index;
    P parameters;
  };

  static std::vector<const char*> WithProgram(const std::vector<const char*>& words) {
    std::vector<const char*> argv = {"plexion"};
    argv.insert(argv.end(), words.begin(), words.end());
    argv.push_back(nullptr);
    return argv;
  }

  P Defaults() {
    P parameters;
    memset(static_cast<void*>(&parameters), 0, sizeof(parameters));
    EXPECT_EQ(service->InitParameters(parameters), 0);
    return parameters;
  }

  Parsed Parse(const std::vector<const char*>& argv, bool stopAfterContent = false) {
    Parsed parsed = {0, 1, {}};
    memset(static_cast<void*>(&parsed.parameters), 0, sizeof(parsed.parameters));
    parsed.result = service->ParseCommandLineParametersForOneStageWindow(
        static_cast<int>(argv.size()) - 1, const_cast<const char**>(argv.data()), parsed.index,
        parsed.parameters, stopAfterContent);
    return parsed;
  }

  /// The whole record is compared: an option must not touch what is not its own.
  void ExpectLine(const Line& line, int result, int index) {
    std::string text;
    for (const char* word : line.words) text += std::string(" '") + word + "'";
    SCOPED_TRACE(text);
    const auto argv = WithProgram(line.words);
    P expected = Defaults();
    if (line.change != nullptr) line.change(expected, argv.data());
    const Parsed parsed = Parse(argv);
    EXPECT_EQ(parsed.result, result);
    EXPECT_EQ(parsed.index, index);
    EXPECT_EQ(memcmp(&parsed.parameters, &expected, sizeof(P)), 0) << "another record";
  }

  void ExpectAll(const std::vector<Line>& lines) {
    for (const Line& line : lines) ExpectLine(line, 1, static_cast<int>(line.words.size()) + 1);
  }

  /// Lines that fail at their first word.
  void ExpectNone(const std::vector<Line>& lines) {
    for (const Line& line : lines) ExpectLine(line, 0, 2);
  }
};

TEST_F(CommandLine, DefaultsAreWrittenAnewButForTheLocale) {
  const auto argv = WithProgram({"--contentdims",
                                 "1,2",
                                 "--outputdims",
                                 "3,4",
                                 "--outputrect",
                                 "1,2,3,4",
                                 "--bgalpha",
                                 "1",
                                 "--gl",
                                 "on",
                                 "--profile",
                                 "extendedTV",
                                 "--gcheaplimit",
                                 "1",
                                 "--graphicsmemthreshold",
                                 "1",
                                 "--mousefeedback",
                                 "1",
                                 "--tracefps",
                                 "1s",
                                 "--keymap",
                                 "k",
                                 "--morvelvars",
                                 "m",
                                 "--qlrargs",
                                 "q",
                                 "--sslclientcerttable",
                                 "s",
                                 "--sslcertsdir",
                                 "d",
                                 "--base",
                                 "b",
                                 "--zorbase",
                                 "z",
                                 "--zorcmdline",
                                 "c",
                                 "--fontdirs",
                                 "f",
                                 "--extensionsdir",
                                 "e",
                                 "--mousestream",
                                 "p",
                                 "--nospeedlimit",
                                 "--keymaster",
                                 "--debugmode",
                                 "--dcts",
                                 "--spdump",
                                 "--instrument",
                                 "--proxy",
                                 "1.2.3.4",
                                 "5",
                                 "--proxyauthentication",
                                 "u",
                                 "w",
                                 "--locale",
                                 "de_DE",
                                 "application.xml"});
  Parsed parsed = Parse(argv);
  ASSERT_EQ(parsed.result, 1);
  P expected = Defaults();
  expected.locale = parsed.parameters.locale;
  parsed.parameters.renderPlane = reinterpret_cast<platform::RenderPlane*>(&parsed);
  parsed.parameters.memoryLimit = parsed.parameters.pixelFormat = 1;
  parsed.parameters.extraFlag = parsed.parameters.scaleToFit = false;
  service->InitParameters(parsed.parameters);
  EXPECT_EQ(memcmp(&parsed.parameters, &expected, sizeof(P)), 0);
  EXPECT_STREQ(expected.extensionsDir, "/mtd_cmmlib/morvelzor30/EDK");
  EXPECT_TRUE(expected.createOutputPlane && expected.scaleToFit && expected.extraFlag);
  EXPECT_EQ(expected.bgAlpha, 255);
  EXPECT_EQ(expected.traceFps + expected.gcHeapLimit + expected.graphicsMemThreshold, 5094u);
  EXPECT_EQ(expected.proxyPort, 80);
}

TEST_F(CommandLine, TakesSizesAndRectangles) {
  ExpectAll({
      {{"--contentdims", "640,480"},
       [](P& p, Argv) {
         p.contentDims = {640, 480};
       }},
      {{"--contentdims", "+640,480"},
       [](P& p, Argv) {
         p.contentDims = {640, 480};
       }},
      {{"--outputdims", "1,+1"},
       [](P& p, Argv) {
         p.outputDims = {1, 1};
       }},
      {{"--outputdims", "4294967296,1"},
       [](P& p, Argv) {
         p.outputDims = {0xFFFFFFFF, 1};
       }},
      {{"--outputrect", "10,20,30,40"},
       [](P& p, Argv) {
         p.outputRect = {10, 20, 30, 40};
       }},
      {{"--outputrect", "-10,+20,+30,40"},
       [](P& p, Argv) {
         p.outputRect = {0xFFFFFFF6, 20, 30, 40};
       }},
      {{"--outputrect", "-99999999999,-1,1,1"},
       [](P& p, Argv) {
         p.outputRect = {0x80000000, 0xFFFFFFFF, 1, 1};
       }},
  });
  for (const char* text :
       {"", ",", "640", "640,", ",480", "640,480x", "640,480,", "640;480", "x,y", " 640,480",
        "640, 480", "0,480", "640,0", "-640,480", "640,-480", "++640,480", "+,1"}) {
    ExpectNone({{{"--contentdims", text}, nullptr}, {{"--outputdims", text}, nullptr}});
  }
}

TEST_F(CommandLine, KeepsTheCoordinatesOfAFailedRectangle) {
  const auto both = [](P& p, Argv) { p.outputRect = {10, 20, 0, 0}; };
  const auto xOnly = [](P& p, Argv) { p.outputRect = {10, 0, 0, 0}; };
  ExpectNone({
      {{"--outputrect", "10,20,0,5"}, both},
      {{"--outputrect", "10,20,5,0"}, both},
      {{"--outputrect", "10,20,5,5,"}, both},
      {{"--outputrect", "10,20"}, both},
      {{"--outputrect", "10,x,5,5"}, xOnly},
      {{"--outputrect", "10x"}, xOnly},
      {{"--outputrect", "x,20,5,5"}, nullptr},
      {{"--outputrect", ""}, nullptr},
  });
}

TEST_F(CommandLine, TakesNumbersAndWords) {
  ExpectAll({
      {{"--bgalpha", "0"}, [](P& p, Argv) { p.bgAlpha = 0; }},
      {{"--bgalpha", "255"}, nullptr},
      {{"--bgalpha", "12abc"}, [](P& p, Argv) { p.bgAlpha = 12; }},
      {{"--gl", "on"}, [](P& p, Argv) { p.gl = 1; }},
      {{"--gl", "off"}, [](P& p, Argv) { p.gl = 2; }},
      {{"--profile", "extendedTV"}, [](P& p, Argv) { p.profile = 1; }},
      {{"--profile", "extendedTV", "--profile", "tv"}, nullptr},
      {{"--gcheaplimit", "65"}, [](P& p, Argv) { p.gcHeapLimit = 65; }},
      {{"--gcheaplimit", "65MB"}, [](P& p, Argv) { p.gcHeapLimit = 65; }},
      {{"--gcheaplimit", "4095"}, [](P& p, Argv) { p.gcHeapLimit = 4095; }},
      {{"--gcheaplimit", "none"}, [](P& p, Argv) { p.gcHeapLimit = 0; }},
      {{"--graphicsmemthreshold", "31"}, [](P& p, Argv) { p.graphicsMemThreshold = 31; }},
      {{"--graphicsmemthreshold", "4095M"}, [](P& p, Argv) { p.graphicsMemThreshold = 4095; }},
      {{"--graphicsmemthreshold", "M"}, [](P& p, Argv) { p.graphicsMemThreshold = 0; }},
      {{"--mousefeedback", "12"}, [](P& p, Argv) { p.mouseFeedback = 12; }},
      {{"--mousefeedback", "-3"}, [](P& p, Argv) { p.mouseFeedback = -3; }},
      {{"--mousefeedback", "soon"}, [](P& p, Argv) { p.mouseFeedback = 0; }},
      {{"--mousefeedback", "99999999999"}, [](P& p, Argv) { p.mouseFeedback = 0x7FFFFFFF; }},
      {{"--mastershellkey", "113"}, nullptr},
      {{"--mastershellkey", "x"}, nullptr},
      {{"--modulemap", "a:b"}, nullptr},
      {{"--modulemap", "a:::b:c"}, nullptr},
  });
  ExpectNone({
      {{"--bgalpha", ""}, nullptr},
      {{"--bgalpha", "256"}, nullptr},
      {{"--bgalpha", "-1"}, nullptr},
      {{"--gl", "ON"}, nullptr},
      {{"--gl", ""}, nullptr},
      {{"--profile", "TV"}, nullptr},
      {{"--gcheaplimit", "64M"}, nullptr},
      {{"--gcheaplimit", "M"}, nullptr},
      {{"--gcheaplimit", ""}, nullptr},
      {{"--gcheaplimit", "4096"}, nullptr},
      {{"--gcheaplimit", "-1"}, nullptr},
      {{"--graphicsmemthreshold", "30MB"}, nullptr},
      {{"--graphicsmemthreshold", "30m"}, nullptr},
      {{"--graphicsmemthreshold", ""}, nullptr},
      {{"--graphicsmemthreshold", "4096"}, nullptr},
      {{"--graphicsmemthreshold", "99999999999999999999"}, nullptr},
      {{"--mastershellkey", ""}, nullptr},
      {{"--mastershellkey", "-5"}, nullptr},
      {{"--mastershellkey", "--useshell"}, nullptr},
      {{"--modulemap", "ab"}, nullptr},
      {{"--modulemap", ":b"}, nullptr},
      {{"--modulemap", "a:"}, nullptr},
      {{"--modulemap", "a::"}, nullptr},
      {{"--modulemap", ""}, nullptr},
  });
}

TEST_F(CommandLine, TakesTheSamplePeriodOnlyWithItsUnit) {
  const struct {
    const char* text;
    unsigned long milliseconds;
  } kGood[] = {{"5s", 5000}, {"5S", 5000}, {"5000MS", 5000}, {"5000ms", 5000},
               {"7mS", 7},   {"+7ms", 7},  {"0s", 0},        {"0099Ms", 99}};
  for (const auto& good : kGood) {
    unsigned long milliseconds = 1;
    EXPECT_TRUE(service->ReadDurationArg(good.text, milliseconds)) << good.text;
    EXPECT_EQ(milliseconds, good.milliseconds) << good.text;
  }
  const auto traced = [](P& p, Argv) { p.traceFlags = kTraceFrameRate; };
  for (const char* text : {"", "5000", "-5s", "+-5s", "5-s", "s", "ms", "+s", " 5s", "5 s", "5m",
                           "5sm", "5mss", "5ss", "5.5s", "x5s"}) {
    unsigned long milliseconds = 17;
    EXPECT_FALSE(service->ReadDurationArg(text, milliseconds)) << text;
    EXPECT_EQ(milliseconds, 17u);
    ExpectNone({{{"--tracefps", text}, traced}});
  }
  ExpectAll({{{"--tracefps", "2s"},
              [](P& p, Argv) {
                p.traceFlags = kTraceFrameRate;
                p.traceFps = 2000;
              }},
             {{"--tracefps", "99999999999s"}, [](P& p, Argv) {
                p.traceFlags = kTraceFrameRate;
                p.traceFps = 0xFFFFFFFF;
              }}});
}

TEST_F(CommandLine, StoresTextsAsTheyStandAndSetsSwitches) {
  const struct {
    const char* option;
    const char* P::*field;
  } kTexts[] = {
      {"--keymap", &P::keymap},           {"--morvelvars", &P::morvelVars},
      {"--qlrargs", &P::qlrArgs},         {"--sslclientcerttable", &P::sslClientCertTable},
      {"--sslcertsdir", &P::sslCertsDir}, {"--base", &P::base},
      {"--zorbase", &P::zorBase},         {"--zorcmdline", &P::zorCmdLine},
      {"--fontdirs", &P::fontDirs},       {"--extensionsdir", &P::extensionsDir},
      {"--mousestream", &P::mouseStream}, {"--locale", &P::locale},
  };
  for (const auto& text : kTexts) {
    for (const char* value : {"some text", "", "--dcts"}) {
      const auto argv = WithProgram({text.option, value});
      P expected = Defaults();
      expected.*text.field = argv[2];
      const Parsed parsed = Parse(argv);
      EXPECT_EQ(parsed.index, 3) << text.option;
      EXPECT_EQ(memcmp(&parsed.parameters, &expected, sizeof(P)), 0) << text.option;
    }
  }
  ExpectAll({
      {{"--nospeedlimit"}, [](P& p, Argv) { p.noSpeedLimit = true; }},
      {{"--keymaster"}, [](P& p, Argv) { p.keyMaster = true; }},
      {{"--dcts"}, [](P& p, Argv) { p.dcts = true; }},
      {{"--spdump"}, [](P& p, Argv) { p.spdump = true; }},
      {{"--instrument"}, [](P& p, Argv) { p.instrument = true; }},
      {{"--useshell", "--noclearscreen", "--pause"}, nullptr},
      {{"--tstrace"}, [](P& p, Argv) { p.traceFlags = kTraceScript; }},
      {{"--debugmode"},
       [](P& p, Argv) {
         p.debugMode = true;
         p.traceFlags = kTraceScript;
       }},
      {{"--debugmode", "--notstrace"}, nullptr},
      {{"--tracefps", "5s", "--tstrace", "--notstrace"},
       [](P& p, Argv) { p.traceFlags = kTraceFrameRate; }},
  });
}

TEST_F(CommandLine, TakesTheProxysPortOnlyWhenItCanBeOne) {
  ExpectAll({
      {{"--proxy", "10.0.0.1"}, [](P& p, Argv a) { p.proxy = a[2]; }},
      {{"--proxy", "10..0.1"}, [](P& p, Argv a) { p.proxy = a[2]; }},
      {{"--proxy", "...255"}, [](P& p, Argv a) { p.proxy = a[2]; }},
      {{"--proxy", "10.0.0.1", "65535"},
       [](P& p, Argv a) {
         p.proxy = a[2];
         p.proxyPort = 65535;
       }},
      {{"--proxy", "10.0.0.1", ""},
       [](P& p, Argv a) {
         p.proxy = a[2];
         p.proxyPort = 0;
       }},
      {{"--proxy", "10.0.0.1", "--dcts"},
       [](P& p, Argv a) {
         p.proxy = a[2];
         p.dcts = true;
       }},
      {{"--proxy", "10.0.0.1", "65536"},
       [](P& p, Argv a) {
         p.proxy = a[2];
         p.contentPath = a[3];
       }},
      {{"--proxyauthentication", "me", ""},
       [](P& p, Argv a) {
         p.proxyUser = a[2];
         p.proxyPassword = a[3];
       }},
  });
  for (const char* address : {"", "10", "10.0.0", "10.0.0.", "10.0.0.256", "256.0.0.1", "10.a.0.1",
                              "1.2.3.4.5", "1.2.3.-4", "1.2.+3.4", "1.2.99999999999999999999.4"}) {
    ExpectNone({{{"--proxy", address, "80"}, nullptr}});
  }
  ExpectNone({{{"--proxyauthentication", "me"}, nullptr}});
  ExpectLine({{"--proxy", "10.0.0.1", "abc", "movie.mvx"},
              [](P& p, Argv a) {
                p.proxy = a[2];
                p.contentPath = a[3];
              }},
             0, 5);
}

TEST_F(CommandLine, FailsBehindTheOptionWhoseValueIsMissing) {
  for (const char* option : {"--contentdims",    "--outputdims",  "--outputrect",
                             "--bgalpha",        "--keymap",      "--gl",
                             "--morvelvars",     "--qlrargs",     "--sslclientcerttable",
                             "--sslcertsdir",    "--gcheaplimit", "--graphicsmemthreshold",
                             "--profile",        "--base",        "--zorbase",
                             "--zorcmdline",     "--proxy",       "--proxyauthentication",
                             "--mastershellkey", "--fontdirs",    "--extensionsdir",
                             "--modulemap",      "--mousestream", "--mousefeedback",
                             "--locale"}) {
    ExpectNone({{{option}, nullptr}});
    ExpectLine({{"--dcts", option}, [](P& p, Argv) { p.dcts = true; }}, 0, 3);
  }
}

TEST_F(CommandLine, FailsBehindAnUnknownWord) {
  for (const char* word : {"--", "--bogus", "--Dcts", "--dcts ", "--dct", "---dcts"}) {
    ExpectNone({{{word, "movie.mvx"}, nullptr}});
  }
  // What came before it stands.
  ExpectLine({{"--spdump", "--bgalpha", "300", "movie.mvx"}, [](P& p, Argv) { p.spdump = true; }},
             0, 3);
}

TEST_F(CommandLine, MatchesContentAndZorBase) {
  for (const char* content : {"movie.mvx", "app", "app.MVX", "app.XML", ".xml", "a.xml/app", "-x",
                              "", "x.xml.gz", "app."}) {
    ExpectAll({{{content}, [](P& p, Argv a) { p.contentPath = a[1]; }}});
    ExpectLine({{"--zorbase", "/zor", content}, [](P& p, Argv a) { p.zorBase = a[2]; }}, 0, 4);
  }
  for (const char* content : {"application.xml", "a.b.xml", "dir/.xml"}) {
    ExpectNone({{{content}, nullptr}});
    ExpectAll({{{"--zorbase", "/zor", content}, [](P& p, Argv a) {
                  p.zorBase = a[2];
                  p.contentPath = a[3];
                }}});
  }
  ExpectLine({{"a.mvx", "b.mvx"}, [](P& p, Argv a) { p.contentPath = a[1]; }}, 0, 3);
}

TEST_F(CommandLine, StopsAfterEachContentAndCarriesOnlyTheLocale) {
  const auto argv = WithProgram({"--locale", "de_DE", "--dcts", "a.mvx", "--spdump", "b.mvx"});
  const int argc = static_cast<int>(argv.size()) - 1;
  P parameters = Defaults();
  int index = 1;
  const auto next = [&] {
    return service->ParseCommandLineParametersForOneStageWindow(
        argc, const_cast<const char**>(argv.data()), index, parameters, true);
  };
  ASSERT_EQ(next(), 1);
  EXPECT_EQ(index, 5);
  EXPECT_STREQ(parameters.contentPath, "a.mvx");
  EXPECT_TRUE(parameters.dcts);
  ASSERT_EQ(next(), 1);
  EXPECT_EQ(index, 7);
  EXPECT_STREQ(parameters.contentPath, "b.mvx");
  EXPECT_FALSE(parameters.dcts);
  EXPECT_TRUE(parameters.spdump);
  EXPECT_STREQ(parameters.locale, "de_DE");
  // Nothing left: a success with the defaults.
  ASSERT_EQ(next(), 1);
  EXPECT_EQ(index, 7);
  EXPECT_EQ(parameters.contentPath, nullptr);
  EXPECT_FALSE(parameters.spdump);
}

TEST_F(CommandLine, WholeLineMustBeConsumed) {
  const auto parse = [&](const std::vector<const char*>& words, P& parameters) {
    const auto argv = WithProgram(words);
    return service->ParseCommandLineParameters(static_cast<int>(argv.size()) - 1,
                                               const_cast<const char**>(argv.data()), parameters);
  };
  P parameters = Defaults();
  EXPECT_TRUE(parse({"--useshell", "movie.mvx"}, parameters));
  EXPECT_TRUE(parse({"movie.mvx", "--dcts"}, parameters));
  EXPECT_TRUE(parse({"--dcts"}, parameters));  // content is not asked for here
  EXPECT_FALSE(parse({"--useshell", "movie.mvx", "extra"}, parameters));
  // A program name alone fails, yet the defaults are written.
  parameters.bgAlpha = 3;
  EXPECT_FALSE(parse({}, parameters));
  EXPECT_EQ(parameters.bgAlpha, 255);
}

}  // namespace
}  // namespace plexion
}  // namespace qx
