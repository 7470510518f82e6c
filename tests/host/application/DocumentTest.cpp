// What an application.xml may not be, and what the author is told.
#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <sstream>

#include "host/player/application/document/Document.h"

namespace plexion_host::player::application {
namespace {

PartLibrary::Reader NoParts() {
  return [](const std::string&, uint64_t, std::string&, std::string& reason) {
    reason = "there are none";
    return false;
  };
}

std::string Wrong(const std::string& text) {
  Stage stage;
  std::vector<ScriptReference> scripts;
  DocumentError error;
  PartLibrary parts(NoParts());
  if (ReadDocument(text, parts, stage, scripts, error)) return "(accepted)";
  return Describe("a.xml", error);
}

std::string InScene(const std::string& text) {
  return "<application>\n<scene id='s'>\n" + text + "\n</scene>\n</application>";
}

TEST(Document, TellsFileLineElementAndWhatWasExpected) {
  const std::string deep = [] {
    std::string text;
    for (int i = 0; i < 40; ++i) text += "<group>";
    return text;
  }();
  const struct {
    std::string document;
    std::string message;
  } cases[] = {
      {"", "a.xml:1:1: there is no element; expected <application>"},
      {"hello", "a.xml:1:1: text outside of the root element"},
      {"<menu/>", "a.xml:1:1: <menu>: the root element is <menu>; expected <application>"},
      {"<application/>", "a.xml:1:15: <application>: there is no scene"},
      {"<application><scene id='s'/></application><x/>",
       "a.xml:1:43: <x> is a second root element"},
      {"<application>\n<scene id='s'>\n</application>",
       "a.xml:3:3: <scene>: </application> where </scene> was expected (opened in line 2)"},
      {"<application>\n<scene id='s'>", "a.xml:2:15: <scene>: the element is never closed"},
      {"<!DOCTYPE application><application/>", "document types are not allowed"},
      {"<application width='0'><scene id='s'/></application>",
       "attribute \"width\" is \"0\"; expected a whole number from 1 to 8192"},
      {"<application rate='500'><scene id='s'/></application>", "from 1 to 120"},
      {"<application colour='red'><scene id='s'/></application>", "unknown attribute \"colour\""},
      {"<application timezone='Europe/Rom'><scene id='s'/></application>",
       "attribute \"timezone\" is \"Europe/Rom\"; expected a time zone of this device"},
      {"<application timezone='../../etc/passwd'><scene id='s'/></application>", "a time zone of"},
      {"<application><scene/></application>", "<scene>: has no id"},
      {"<application><scene id='s'/><scene id='s'/></application>", "id \"s\" is taken"},
      {"<application><scene id='s'/><overlay/><overlay/></application>", "a second <overlay>"},
      {InScene("<text size='big'/>"),
       "a.xml:3:1: <text>: attribute \"size\" is \"big\"; expected a number from 1 to 2000"},
      {InScene("<text size='1e3'/>"), "attribute \"size\" is \"1e3\""},
      {InScene("<text size='nan'/>"), "attribute \"size\" is \"nan\""},
      {InScene("<text x='1' x='2'/>"), "a.xml:3:13: <text>: attribute \"x\" stands twice"},
      {InScene("<text x=1/>"),
       "a.xml:3:9: <text>: the tag is wrong at '1'; expected NAME=\"VALUE\" after a blank"},
      {InScene("<text x='1'y='2'/>"), "a.xml:3:12: <text>: the tag is wrong at 'y'"},
      {InScene("<text align='middle'/>"), "expected one of left, center, right, start, end"},
      {InScene("<line points='1,2 3'/>"),
       "attribute \"points\" is \"1,2 3\"; expected at most 2000 points"},
      {InScene("<polygon points='1,2;3,4'/>"), "attribute \"points\" is \"1,2;3,4\""},
      {InScene("<rectangle blur='201'/>"), "expected a number from 0 to 200"},
      {InScene("<qr level='best'/>"), "expected one of low, medium, quartile, high"},
      {InScene("<rectangle colour='#fff'/>"), "unknown attribute \"colour\"; expected one of id"},
      {InScene("<rectangle strokewidth='2'/>"), "did you mean \"strokeWidth\"?"},
      {InScene("<text visible='yes'/>"), "expected true or false"},
      {InScene("<rectangle fill='red'/>"), "expected a colour (#rgb, #rrggbb, #rrggbbaa) or none"},
      {InScene("<rectangle text='a'/>"),
       "<rectangle>: unknown attribute \"text\"; expected one of id"},
      {InScene("<circle/>"), "<circle> is not known in <scene>; expected use, group, rectangle"},
      {InScene("<group>words</group>"), "<group>: text outside of a <text> element"},
      {InScene("<text text='a'>b</text>"), "text both as an attribute and between the tags"},
      {InScene("<text><group/></text>"),
       "<group> inside of <text>; expected no element there but <span>"},
      {InScene("<text><span colour='#fff'>a</span></text>"),
       "a.xml:3:7: <span>: unknown attribute \"colour\"; did you mean \"color\"?"},
      {InScene("<text><span weight='50'>a</span></text>"),
       "attribute \"weight\" is \"50\"; expected a number from 100 to 1000"},
      {InScene("<group><span/></group>"), "<span> is not known in <group>"},
      {"<application fallback='sory'><scene id='s'/><scene id='sorry'/></application>",
       "fallback is \"sory\", which is no scene; did you mean \"sorry\"?"},
      {InScene("<text>a & b</text>"), "a.xml:3:10: <text>: a lone &; expected &amp;"},
      {InScene("<text>a &b c</text>"), "a.xml:3:11: <text>: a lone &"},
      {InScene("<text>a < 1</text>"), "a lone <; expected an element or &lt;"},
      {InScene("<text>&lol;</text>"), "entity &lol; is not expanded"},
      {InScene("<text text='&lol;'/>"), "entity &lol; is not expanded"},
      {InScene("<text>\x01</text>"), "is a control character; expected text"},
      {InScene("<text font='" + std::string(1001, 'f') + "'/>"), "text of at most 1000 bytes"},
      {InScene("<text id='" + std::string(1001, 'i') + "'/>"), "expected at most 1000"},
      {"<application><scene id='s'/>", "the element is never closed; expected </application>"},
      {"<application><scene id='s'", "what begins here is never closed"},
      {"</application>", "a lone <; expected an element"},
      {InScene("<text>&#1;</text>"), "&#1; is no character"},
      {InScene("<text text='a<b'/>"), "<text>: a < where none may stand; expected &lt;"},
      {InScene("<text>caf\xe9</text>"), "is not valid UTF-8"},
      {InScene("<text>\xed\xa0\x80</text>"), "is not valid UTF-8"},
      {InScene(deep), "a.xml:3:211: <group>: nested deeper than 32 levels"},
      {InScene("<script>on()</script>"), "<script> is not known in <scene>"},
      {"<application><scene id='s'/><script/></application>", "expected either src"},
      {InScene("<use/>"), "<use>: has no part; expected part="},
      {InScene("<use part='a.xml'/>"), "a.xml:3:1: <use>: part: there are none"},
      {"<application><data id='d'/></application>", "<data>: has no address; expected address="},
      {"<application><data address='http://a/'/></application>", "<data>: has no id"},
      {"<application><data id='d' address='file:///etc/passwd'/></application>",
       "expected http:// or https:// with a host"},
      {"<application><data id='d' address='http://me:secret@a/'/></application>", "without a user"},
      {"<application><data id='d' address='http:///x'/></application>", "with a host"},
      {"<application><data id='d' address='http://a/' every='0'/></application>",
       "attribute \"every\" is \"0\"; expected seconds from 1 to 86400"},
      {"<application><data id='d' address='http://a/' timeout='61'/></application>",
       "expected seconds from 1 to 60"},
      {"<application><stream id='d' address='http://a/' every='9'/></application>",
       "<stream>: unknown attribute \"every\"; expected one of id, address"},
      {"<application><data id='d' address='http://a/'/><data id='d' address='http://b/'/>"
       "<scene id='s'/></application>",
       "id \"d\" is taken"},
      {"<application><data id='d' address='http://a/'><group/></data></application>",
       "<group> where none may stand"},
      {"<application>" + std::string(kLargestDocument, ' ') + "</application>",
       "at most 1048576 are allowed"},
  };
  for (const auto& each : cases) {
    EXPECT_NE(Wrong(each.document).find(each.message), std::string::npos)
        << each.document.substr(0, 100) << "\n  said: " << Wrong(each.document)
        << "\n  expected: " << each.message;
  }
}

TEST(Document, NeverExpandsEntitiesIntoManyMore) {
  const std::string document =
      "<!DOCTYPE a [<!ENTITY x \"xxxxxxxxxx\"><!ENTITY y \"&x;&x;&x;\">]>" +
      InScene("<text>&y;</text>");
  EXPECT_NE(Wrong(document).find("document types are not allowed"), std::string::npos);
}

TEST(Document, ReadsAMegabyteOfTagsAtOnce) {
  // Each of them once made the reader count the lines before it.
  std::string groups;
  while (groups.size() < kLargestDocument - 200) groups += "<group/>";
  EXPECT_NE(Wrong(InScene(groups)).find("10000 elements already, which is the limit"),
            std::string::npos);
  std::string comments;
  while (comments.size() < kLargestDocument - 200) comments += "<!---->\n";
  EXPECT_EQ("(accepted)", Wrong(InScene(comments)));
}

TEST(Document, ReadsWhatItDescribes) {
  Stage stage;
  std::vector<ScriptReference> scripts;
  DocumentError error;
  PartLibrary parts(NoParts());
  ASSERT_TRUE(
      ReadDocument("\xef\xbb\xbf<?xml version='1.0'?>\n"
                   "<application width='320' height='200' rate='25' background='#102030'>\n"
                   "<!-- a comment <with> tags -->\n"
                   "<scene id='s'><group id='g' x='-5.5'>"
                   "<text id='t' color='#abc'>\n  two\n  lines &amp; &#x20AC; </text>"
                   "</group></scene>\n"
                   "<script><![CDATA[\nif 1 < 2 then end]]></script></application>",
                   parts, stage, scripts, error))
      << Describe("a.xml", error);
  EXPECT_EQ(320u, stage.width);
  EXPECT_EQ(25, stage.framesPerSecond);
  const Element* text = stage.FindById("t");
  ASSERT_NE(nullptr, text);
  EXPECT_EQ("two lines & \xe2\x82\xac", text->text);
  EXPECT_EQ((Colour{0xaa, 0xbb, 0xcc, 255, false}), text->color);
  EXPECT_EQ(-5.5, text->parent->x);
  EXPECT_TRUE(text->spans.empty());
  ASSERT_EQ(1u, scripts.size());
  EXPECT_EQ(7u, scripts[0].line) << "so that messages of the script lead to the document";
}

TEST(Document, SpansKeepTheirWordsWhenLinesAreFolded) {
  Stage stage;
  std::vector<ScriptReference> scripts;
  DocumentError error;
  PartLibrary parts(NoParts());
  ASSERT_TRUE(
      ReadDocument("<application><scene id='s'><text id='t'>\n  Gate\n"
                   "  <span weight='700'>B<span italic='true'>1\n   2</span></span>\n"
                   "  now</text></scene></application>",
                   parts, stage, scripts, error))
      << Describe("a.xml", error);
  const Element* text = stage.FindById("t");
  EXPECT_EQ("Gate B1 2 now", text->text);
  ASSERT_EQ(2u, text->spans.size());
  EXPECT_EQ("B1 2",
            text->text.substr(text->spans[0].begin, text->spans[0].end - text->spans[0].begin));
  EXPECT_EQ("1 2",
            text->text.substr(text->spans[1].begin, text->spans[1].end - text->spans[1].begin));
}

TEST(Document, SchemaAndGuideKnowEveryAttribute) {
  for (const char* file : {"/application.xsd", "/application.md"}) {
    std::ifstream stream(std::string(PLEXION_DOCS) + file);
    ASSERT_TRUE(stream) << file;
    std::stringstream text;
    text << stream.rdbuf();
    for (const Property* property = kProperties; property->name != nullptr; ++property) {
      const std::regex name("\\b" + std::string(property->name) + "\\b");
      EXPECT_TRUE(std::regex_search(text.str(), name)) << property->name << " is not in " << file;
    }
  }
}

TEST(Stage, RefusesWhatWouldGrowWithoutEnd) {
  Stage stage;
  std::string error;
  Element* scene = stage.AddScene("s", error);
  Element* inner = scene;
  for (unsigned depth = 1; depth < kDeepestNesting; ++depth) {
    inner = stage.Create(ElementKind::kGroup, *inner, error);
    ASSERT_NE(nullptr, inner) << error;
  }
  EXPECT_EQ(nullptr, stage.Create(ElementKind::kText, *inner, error));
  EXPECT_EQ("nested deeper than 32 levels", error);
  const size_t before = stage.ElementCount();
  EXPECT_EQ(nullptr, stage.Clone(*scene->children[0], *inner, error));
  EXPECT_EQ(before, stage.ElementCount()) << "a copy that fails leaves nothing behind";

  Element* wide = stage.AddScene("wide", error);
  while (stage.Create(ElementKind::kRectangle, *wide, error) != nullptr) {
  }
  EXPECT_EQ(kMostElements, stage.ElementCount());
}

TEST(Stage, HoldsNoMoreTextThanItsLimit) {
  Stage stage;
  std::string error;
  Element* scene = stage.AddScene("s", error);
  const Property& property = *FindProperty(ElementKind::kText, "text");
  const std::string longest(65536, 'w');
  Element* text = stage.Create(ElementKind::kText, *scene, error);
  ASSERT_TRUE(stage.SetFromText(*text, property, longest, error));
  size_t copies = 0;
  while (stage.Clone(*text, *scene, error) != nullptr) ++copies;
  EXPECT_EQ(62u, copies) << "with ids and fonts, 64 are more than 4 MB";
  EXPECT_NE(error.find("more than the 4194304 bytes"), std::string::npos) << error;
  Element* other = stage.Create(ElementKind::kText, *scene, error);
  EXPECT_FALSE(stage.SetFromText(*other, property, longest, error));
  ASSERT_TRUE(stage.Remove(*text));
  EXPECT_TRUE(stage.SetFromText(*other, property, longest, error)) << "what is gone makes room";
}

TEST(Stage, CopiesAnElementIntoItselfOnce) {
  Stage stage;
  std::string error;
  Element* scene = stage.AddScene("s", error);
  Element* group = stage.Create(ElementKind::kGroup, *scene, error);
  ASSERT_TRUE(stage.SetId(*stage.Create(ElementKind::kText, *group, error), "t", error));
  Element* copy = stage.Clone(*group, *group, error);
  ASSERT_NE(nullptr, copy);
  EXPECT_EQ(1u, copy->children.size());
  EXPECT_EQ(group->children[0].get(), stage.FindById("t")) << "a copy's ids are not the stage's";
  ASSERT_TRUE(stage.Remove(*group));
  EXPECT_EQ(nullptr, stage.FindById("t"));
}

}  // namespace
}  // namespace plexion_host::player::application
