// Expressions: what the language gives, and that none of them can take more than its share.
#include <gtest/gtest.h>

#include <string>

#include "host/player/lottie/script/Expressions.h"
#include "tests/host/player/lottie/FakeScene.h"

namespace plexion_host::movie {
namespace {

class ExpressionsTest : public ::testing::Test {
 protected:
  /// The value of an expression of "Box", in words; what is wrong with it otherwise.
  std::string Value(const std::string& source, FakeScene::Thing* property, double seconds = 1.5) {
    std::string error;
    const int number = expressions_.Compile(source, error);
    if (number == Expressions::kNone) return error;
    scene_.now = seconds;
    ExpressionSite site;
    site.property = FakeScene::Node(property);
    site.layer = FakeScene::Node(scene_.box);
    site.seconds = seconds;
    site.seed = 7;
    ScriptValue keyed;
    scene_.ValueAt(site.property, seconds, false, keyed);
    expressions_.BeginFrame();
    ScriptValue result;
    if (!expressions_.Evaluate(number, scene_, site, keyed, result)) {
      int failed = 0;
      std::string why;
      return expressions_.TakeFailure(failed, why) ? why : "failed in silence";
    }
    return Words(result);
  }
  std::string Number(const std::string& source, double seconds = 1.5) {
    return Value(source, scene_.rotation, seconds);
  }
  std::string List(const std::string& source) { return Value(source, scene_.position); }

  static std::string Words(const ScriptValue& value) {
    if (value.kind == ScriptValue::Kind::kText) return value.text;
    std::string words;
    for (const double number :
         value.kind == ScriptValue::Kind::kPath ? value.path : value.numbers) {
      char text[40];
      snprintf(text, sizeof(text), "%.4g", number);
      words += (words.empty() ? "" : " ") + std::string(text);
    }
    return words;
  }

  FakeScene scene_;
  Expressions expressions_{nullptr};
};

TEST_F(ExpressionsTest, GivesWhatTheLanguageSays) {
  const struct {
    const char* source;
    const char* value;
  } kTable[] = {
      {"var $bm_rt; $bm_rt = time * 100;", "150"},
      {"var $bm_rt;\n$bm_rt = $bm_sum(value, $bm_mul(2, $bm_neg(3)));", "39"},
      {"value", "45"},
      {"time * 2; value + 1", "46"},
      {"if (time > 1) { 5 } else { 6 }", "5"},
      {"const f = (a, b = 2) => a * b; f(4)", "8"},
      {"let [a, ...rest] = [1, 2, 3]; a + rest.length * 10", "21"},
      {"const {x, y: {z = 4} = {}} = {x: 3}; x * z", "12"},
      {"let n = 0; for (const v of [1, 2, 3]) { if (v == 2) continue; n += v } n", "4"},
      {"let n = 0; for (let i = 0; i < 5; i++) n += i; n", "10"},
      {"let n = ''; for (const k in {a: 1, b: 2}) n += k; n == 'ab' ? 1 : 0", "1"},
      {"let i = 0; do { i += 2 } while (i < 7)\ni", "8"},
      {"outer: for (;;) { for (;;) { break outer } } 3", "3"},
      {"`${1 + 1}${'`'.length}` * 1", "21"},
      {"Math.max(...[3, 9, 4])", "9"},
      {"[...[1, 2], 3].length", "3"},
      {"const o = {...{a: 1}, ['b']: 2}; o.a + o.b", "3"},
      {"const o = {a: null}; (o.a?.b.c ?? 7) + (o?.a == null ? 1 : 0)", "8"},
      {"2 ** 3 ** 2", "512"},
      {"switch (index) { case 1: 11; break; default: 12 }", "11"},
      {"try { nothing.at.all } catch (e) { 4 }", "4"},
      {"'a1b22'.replace(/[a-z]/g, '') * 1", "122"},
      {"function f(n) { return n < 2 ? 1 : n * f(n - 1) } f(5)", "120"},
      {"[3, 1, 2].sort(function (a, b) { return a - b })[0]", "1"},
      {"thisComp.width / thisComp.height", "1.333"},
      {"thisComp.layer('Carrier').transform.position[0]", "100"},
      {"thisComp.layer(5).position[1]", "50"},
      {"thisComp.layer(thisLayer, 1).transform.xPosition", "7"},
      {"comp('Main').numLayers + thisComp.frameDuration", "3.04"},
      {"parent.index", "5"},
      {"effect('Speed')('Slider') * 2", "24"},
      {"effect(1)('ADBE Slider Control-0001') == null",
       "ReferenceError: there is no ADBE Slider Control-0001 here"},
      {"effect('Speed')(1).value", "12"},
      {"effect('Target')('Layer').position[0]", "100"},
      {"content('Group 1').content('Rect 1').size[1]", "40"},
      {"thisLayer('ADBE Root Vectors Group')('Group 1')('Contents')(1)(2)[0]", "60"},
      {"transform.opacity + thisLayer('Transform')('ADBE Opacity')", "160"},
      {"mask('Mask 1').maskOpacity", "50"},
      {"width + inPoint + outPoint", "72.5"},
      {"numKeys + key(2).value + key(3).time + nearestKey(1.9).index", "99"},
      {"thisProperty.key(1).index", "1"},
      {"let chain = 'thisLayer'; while (eval([chain][0]).hasParent) chain += '.parent'; "
       "eval(chain).index + eval(chain)('ADBE Transform Group')('ADBE Position')[1]",
       "55"},
      {"eval(` thisComp . layer( 'Box' )[\"effect\"]('Speed')(1)`) + eval(3)", "15"},
      {"eval('nothing.parent')", "TypeError: eval() takes"},
      {"eval('thisLayer.constructor.constructor(\"while(1);\")')", "it gives "},
      {"valueAtTime(1.2)", "18"},
      {"velocity", "90"},
      {"speedAtTime(3)", "30"},
      {"linear(time, 1, 2, 0, 10)", "5"},
      {"linear(0.25, 0, 8)", "2"},
      {"ease(0.5, 0, 100)", "50"},
      {"easeIn(0, 1, 3)", "1"},
      {"clamp(12, 10, 0)", "10"},
      {"length([3, 4]) + length([1, 1], [1, 3])", "7"},
      {"dot([1, 2, 3], [4, 5, 6])", "32"},
      {"degreesToRadians(180) / Math.PI", "1"},
      {"timeToFrames(2) + framesToTime(50)", "52"},
      {"posterizeTime(2); time * 10 + value", "60"},
      {"sourceRectAtTime().width", "10"},
      {"thisComp.marker.key('end').time + thisComp.marker.nearestKey(2).duration", "6.5"},
      {"thisLayer.toComp([1, 1])[0] + fromComp([104, 54])[1]", "104"},
      {"thisProperty.propertyGroup(2).name == 'Box' ? 1 : 0", "1"},
      {"rgbToHsl([1, 0, 0, 1])[2] + hslToRgb([0, 1, 0.5, 1])[0]", "1.5"},
      {"hexToRgb('#336699')[1]", "0.4"},
  };
  for (const auto& row : kTable) {
    SCOPED_TRACE(row.source);
    EXPECT_EQ(Number(row.source).substr(0, std::string(row.value).size()), row.value);
  }
}

TEST_F(ExpressionsTest, ExportersHaveToDeclareWhatIsAssigned) {
  // Where movies are watched such a name is an error, so their authors see the value of the keys.
  EXPECT_EQ(Number("var $bm_rt; try { v = 3; $bm_rt = v; } catch (e) { $bm_rt = 4; }"), "4");
  EXPECT_EQ(Number("v = 3; v"), "3") << "as the author typed it";
}

TEST_F(ExpressionsTest, CountsListsAsAuthorsDo) {
  const struct {
    const char* source;
    const char* value;
  } kTable[] = {
      {"value + [1, 2]", "11 22 0"},
      {"value * 2 - [1, 1, 1]", "19 39 -1"},
      {"-value / 2", "-5 -10 -0"},
      {"value + 5", "15 20 0"},
      {"let v = value; v += [1, 1]; v", "11 21 0"},
      {"transform.position", "10 20 0"},
      {"[value[0], 5]", "10 5 0"},
      {"normalize([3, 4])", "0.6 0.8 0"},
      {"cross([1, 0, 0], [0, 1, 0])", "0 0 1"},
      {"linear(0.5, [0, 0, 0], [2, 4, 6])", "1 2 3"},
      {"var $bm_rt; $bm_rt = [value[0] + 1, value[1], value[2]]", "11 20 0"},
      {"thisComp.layer('Title').transform.position", "7 8 0"},
      {"toComp([0, 0, 0])", "100 50 0"},
      {"5", "it gives a number where a list is expected"},
      {"[0/0, 1]", "it gives something that is no number"},
  };
  for (const auto& row : kTable) EXPECT_EQ(List(row.source), row.value) << row.source;
}

TEST_F(ExpressionsTest, LoopsKeysBeforeTheFirstAndBehindTheLast) {
  // Keys at 1, 2 and 4 seconds: 0, 90, 30.
  const struct {
    const char* source;
    double seconds;
    const char* value;
  } kTable[] = {
      {"loopOut()", 4.5, "45"},
      {"loopOut('cycle', 1)", 5, "60"},
      {"loopOut('pingpong')", 5, "60"},
      {"loopOut('pingpong')", 7.5, "45"},
      {"loopOut('offset')", 4.5, "75"},
      {"loopOut('offset')", 7.5, "105"},
      {"loopOut('continue')", 4.5, "15"},
      {"loopOutDuration('cycle', 3)", 4.5, "45"},
      {"loopIn()", 0, "60"},
      {"loopIn('pingpong')", 0.5, "45"},
      {"loopIn('offset')", 0, "30"},
      {"loopIn('continue')", 0.5, "-45"},
      {"loopOut('cycle')", 3, "60"},
      {"loopInDuration('cycle', 1)", 0.5, "45"},
      {"smooth(0.2, 5)", 2, "86.4"},
  };
  for (const auto& row : kTable) {
    EXPECT_EQ(Number(row.source, row.seconds), row.value) << row.source << " at " << row.seconds;
  }
}

TEST_F(ExpressionsTest, GivesTextsAndPaths) {
  EXPECT_EQ(Value("value.toUpperCase() + ' ' + time.toFixed(1)", scene_.sourceText),
            "HELLO WORLD 1.5");
  EXPECT_EQ(Value("thisComp.layer('Title').text.sourceText.split(' ')[1]", scene_.sourceText),
            "world");
  EXPECT_EQ(Value("Math.round(3.7)", scene_.sourceText), "4");
  EXPECT_EQ(Value("createPath([[1, 2], [3, 4]], [[0, 0], [-1, 0]], [[1, 0], [0, 0]], false)",
                  scene_.path),
            "1 2 1 2 2 2 3 4 2 4 3 4");
  EXPECT_EQ(Value("thisProperty", scene_.path).substr(0, 16), "0 0 0 0 0 0 10 0");
  EXPECT_EQ(Number("const p = content('Group 1').content('Path 1').path;"
                   "p.points()[2][1] + p.pointOnPath(0.5)[0] + (p.isClosed() ? 100 : 0)"),
            "120");
  EXPECT_EQ(Value("5", scene_.path), "it gives no path");
  scene_.path->keys = {{1, scene_.path->value}};
  EXPECT_EQ(Value("key(1).index == 1 && key(1).time == 1 ? key(1).value : 0", scene_.path).size(),
            Value("value", scene_.path).size());
}

TEST_F(ExpressionsTest, HasTheSameChanceEachTime) {
  const std::string first = Number("random(100) + gaussRandom()");
  EXPECT_EQ(Number("random(100) + gaussRandom()"), first);
  EXPECT_NE(Number("random(100) + gaussRandom()", 2), first);
  EXPECT_EQ(Number("seedRandom(3, true); random()", 1), Number("seedRandom(3, true); random()", 2));
  EXPECT_EQ(Number("Math.abs(wiggle(2, 10) - value) <= 10 ? 1 : 0"), "1");
  EXPECT_NE(Number("wiggle(2, 10)"), Number("value"));
  EXPECT_EQ(
      Number("Math.abs(wiggle(1, 10, 1, 0.5, 1.5) - wiggle(1, 10, 1, 0.5, 1.5001)) < 0.1 ? 1 : 0"),
      "1");
  EXPECT_EQ(Number("noise(3)"), "0");
}

TEST_F(ExpressionsTest, SaysWhatIsWrongWithASource) {
  const struct {
    const char* source;
    const char* error;
  } kTable[] = {
      {"1 +", "line 1: expected a value, found the end"},
      {"var a = 1;\nvar b = (2", "line 2: expected ')', found the end"},
      {"'abc", "line 1: a text without an end"},
      {"a\n= class {}", "line 2: expected a name"},
      {"({get length() { return 1 }})",
       "line 1: expected ':' (functions that stand for members are not supported)"},
      {"1 2", "line 1: expected the end of the statement, found '2'"},
      {"3 = 4", "line 1: only a variable or a member can be assigned to"},
      {"$$t = 1", "line 1: names that begin with $$ are taken"},
  };
  for (const auto& row : kTable) EXPECT_EQ(Number(row.source), row.error) << row.source;
  EXPECT_EQ(Number(std::string(200, '(') + "1" + std::string(200, ')')),
            "line 1: too much inside of each other");
  EXPECT_NE(Number(std::string(70000, ' ')).find("bytes; at most 65536"), std::string::npos);
}

TEST_F(ExpressionsTest, EndsWhatNeverEnds) {
  // Each within its steps, its memory or its nesting; none may leave the engine unusable.
  const char* const kHostile[] = {
      "while (true) {}",
      "for (;;) ;",
      "do {} while (1)",
      "function f() { return f() + f() } f()",
      "const f = () => f(); f()",
      "while (true) { try { while (true) {} } catch (e) {} }",
      "for (;;) { try { throw 1 } finally { continue } }",
      "let s = 'x'; while (true) s += s",
      "let s = 'x'; for (let i = 0; i < 18; i++) s += s; for (;;) s.indexOf(s + 'y')",
      "const a = []; while (true) a.push(a)",
      "const a = []; a.length = 4294967295; a.indexOf(1)",
      "const a = []; a.length = 4294967295; a.sort()",
      "Array.prototype.forEach.call({length: 4e9}, x => x)",
      "[].concat.call(undefined).length",
      "'x'.repeat(1e9).length",
      "/(a+)+$/.test('aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa!')",
      "/a*a*a*a*b/.test(new Array(500).join('a'))",
      "new RegExp('(a{1,30}){1,30}').test('a')",
      "'aaaa'.replace(/(?:a|aa)+b/, '')",
      "let n = 0; for (const a in new Array(1e6).join('x').split('')) for (;;) n++",
      "JSON.stringify([1,2,3].map(function f(x) { return [1,2,3].map(f) }))",
      "eval('while(1);')",
      "new Function('while(1);')()",
      "(function () {}).constructor('while(1);')()",
      "Object.defineProperty([], 'length', {value: 1})",
      "let o = {}; for (;;) o = {o}",
      "[3, 2, 1].sort(function f() { return [3, 2, 1].sort(f) })",
      "throw {}",
      "undefinedThing",
      "(function () { return this.$$t })() === undefined ? nothing : 1",
      "let x = 0; for (let i = 0; i < 1e9; i++) x += wiggle(5, 5)[0]",
  };
  for (const char* source : kHostile) {
    SCOPED_TRACE(source);
    std::string error;
    const int number = expressions_.Compile(source, error);
    if (number == Expressions::kNone) continue;
    const std::string why = Number(source);
    EXPECT_NE(why, "failed in silence");
    EXPECT_NE(why.find_first_of("abcdefghijklmnopqrstuvwxyz"), std::string::npos) << why;
    EXPECT_EQ(Number(source), "failed in silence") << "evaluated again: " << why;
    EXPECT_EQ(Number("time"), "1.5");
    EXPECT_LE(expressions_.MemoryBytes(), ExpressionLimits().memoryBytes);
  }
}

TEST_F(ExpressionsTest, ReadsPropertiesThatHaveExpressionsOfTheirOwn) {
  std::string error;
  const int inner = expressions_.Compile("value * 2", error);
  scene_.scripted = [&](FakeScene::Thing* thing, ScriptValue& value) {
    if (thing != scene_.amount) return false;
    ExpressionSite site;
    site.property = FakeScene::Node(thing);
    site.layer = FakeScene::Node(scene_.box);
    return expressions_.Evaluate(inner, scene_, site, thing->value, value);
  };
  EXPECT_EQ(Number("effect('Speed')('Slider') + 1"), "25");

  // Two that read each other come to an end: the second sees the keyframes' value of the first.
  const int loop = expressions_.Compile("transform.rotation + 1", error);
  scene_.scripted = [&](FakeScene::Thing* thing, ScriptValue& value) {
    if (thing != scene_.amount && thing != scene_.rotation) return false;
    ExpressionSite site;
    site.property = FakeScene::Node(thing);
    site.layer = FakeScene::Node(scene_.box);
    site.seconds = 1.5;
    return expressions_.Evaluate(loop, scene_, site, thing->value, value);
  };
  EXPECT_EQ(Number("effect('Speed')('Slider') + 1"), "47");
}

}  // namespace
}  // namespace plexion_host::movie
