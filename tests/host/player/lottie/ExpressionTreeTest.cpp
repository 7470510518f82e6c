// Expressions by their trees against the script engine: the same values to the last bit, the same
// failures, the same steps of time.
#include <gtest/gtest.h>

#include <cstring>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "host/player/lottie/script/Expressions.h"
#include "tests/host/player/lottie/FakeScene.h"

namespace plexion_host::movie {
namespace {

ExpressionLimits ByEngineOnly() {
  ExpressionLimits limits;
  limits.trees = false;
  return limits;
}

/// What came of an evaluation, comparable to the last bit.
struct Answer {
  std::string why;  ///< empty: it is a value
  ScriptValue value;
  bool timeless = false;

  bool operator==(const Answer& other) const {
    const auto same = [](const std::vector<double>& a, const std::vector<double>& b) {
      return a.size() == b.size() &&
             (a.empty() || memcmp(a.data(), b.data(), a.size() * sizeof(double)) == 0);
    };
    // A tree does not look at a time that is not needed: it may know to be timeless where the engine
    // does not, never the other way round.
    return why == other.why && value.kind == other.value.kind &&
           value.closed == other.value.closed && same(value.numbers, other.value.numbers) &&
           same(value.path, other.value.path) && (other.timeless || !timeless || why != "");
  }
};

std::ostream& operator<<(std::ostream& out, const Answer& answer) {
  out << (answer.why.empty() ? "" : answer.why + " ");
  for (const double number : answer.value.numbers) out << number << ' ';
  for (const double number : answer.value.path) out << number << ' ';
  return out << (answer.timeless ? "(timeless)" : "");
}

class ExpressionTreeTest : public ::testing::Test {
 protected:
  Answer Ask(Expressions& expressions, const std::string& source, FakeScene::Thing* property,
             double seconds) {
    Answer answer;
    const int number = expressions.Compile(source, answer.why);
    if (number == Expressions::kNone) return answer;
    scene_.now = seconds;
    ExpressionSite site;
    site.property = FakeScene::Node(property);
    site.layer = FakeScene::Node(scene_.box);
    site.seconds = seconds;
    site.seed = 7;
    ScriptValue keyed;
    scene_.ValueAt(site.property, seconds, false, keyed);
    expressions.BeginFrame();
    if (!expressions.Evaluate(number, scene_, site, keyed, answer.value, &answer.timeless)) {
      int failed = 0;
      if (!expressions.TakeFailure(failed, answer.why)) answer.why = "failed before";
      answer.value = {};
    }
    return answer;
  }

  /// Over many times, before, between and behind the keys. Returns  how often the engine was needed.
  uint64_t Compare(const std::string& source, FakeScene::Thing* property) {
    const uint64_t before = trees_->EngineRuns();
    for (int i = 0; i < 24; ++i) {
      const double seconds = i * 0.37 - 0.2;
      const Answer expected = Ask(*engine_, source, property, seconds);
      const Answer found = Ask(*trees_, source, property, seconds);
      EXPECT_EQ(expected, found) << source << "\nat " << seconds;
    }
    return trees_->EngineRuns() - before;
  }

  /// As if nothing had been compiled, and nothing had failed.
  void Renew() {
    trees_.emplace(nullptr);
    engine_.emplace(nullptr, ByEngineOnly());
  }
  void SetUp() override { Renew(); }

  FakeScene scene_;
  std::optional<Expressions> trees_;
  std::optional<Expressions> engine_;
};

// As exporters write them, and authors.
TEST_F(ExpressionTreeTest, PlainExpressionsNeedNoEngineAndAreWorthTheSame) {
  static const char* const kNumbers[] = {
      "var $bm_rt;\n$bm_rt = clamp(value, 0, 100);",
      "var $bm_rt; $bm_rt = loopOut('cycle');",
      "var $bm_rt; $bm_rt = loopOut('pingpong', 1);",
      "var $bm_rt; $bm_rt = loopIn('continue') ;",
      "$bm_rt = loopOut('offset'); var $bm_rt;",
      "loopOut()",
      "loopInDuration('cycle', 0.7)",
      "loopOutDuration('offset', 2)",
      "time * 360",
      "value + 10 * time % 7",
      "var $bm_rt; $bm_rt = $bm_sum($bm_mul(time, 50), $bm_neg(value));",
      "var $bm_rt; $bm_rt = div(effect('Speed')('Slider'), 3);",
      "effect('Speed')(1).value / 2",
      "thisComp.layer('Carrier').transform.position[0]",
      "thisComp.layer(5).position[1] - thisComp.layer('Title').transform.xPosition",
      "thisLayer.transform.opacity + transform.rotation",
      "thisLayer('ADBE Transform Group')('ADBE Opacity') * 2",
      "thisLayer.content('Group 1').content('Rect 1').size[1]",
      "content('Group 1').content('Rect 1')(2)[0]",
      "mask('Mask 1').maskOpacity",
      "comp('Main').layer('Box').index + thisLayer.width + outPoint",
      "linear(time, 1, 3, 0, 100)",
      "linear(time, 3, 1, 10, 20)",
      "ease(time, 0, 2, value, 5)",
      "easeIn(time / 4, 3, 9) + easeOut(time, 0, 4, 1, 0)",
      "thisProperty.valueAtTime(time - 0.5)",
      "valueAtTime(1.2) + velocityAtTime(1.5) + speedAtTime(3)",
      "velocity / 100 + numKeys",
      "key(2).value + key(1).time + nearestKey(time).index",
      "thisProperty.key(2).time",
      "var a = effect('Speed')('Slider'), b = 2; if (a > 10 && time < 2) { a * b } else b",
      "let n = 0; for (let i = 0; i < 5; i++) { n += i * time; } n",
      "var list = [1, 2, 3]; list.push(time); list[0] = list.length; list[0] + list[3]",
      "var list = []; for (var i = 0; i < 4; ++i) list[i] = i * i; list[3] / list.length",
      "var $bm_rt; if (thisProperty.propertyGroup(1)('Opacity') == 80 && thisProperty.numKeys > 1) "
      "{ $bm_rt = thisProperty.loopOut('cycle'); } else { $bm_rt = value; }",
      "effect('Speed')('Slider') == true ? 1 : effect('Speed')('Slider') === 12 ? 2 : 3",
      "try { effect('Nothing')(1) } catch (e) { 7 }",
      "var v; try { v = key(9).time } catch (e) { v = time } v",
      "length([3, 4]) + length(position, [1, 3, 0])",
      "Math.sin(time * Math.PI) * Math.exp(-time) + Math.atan2(time, 2)",
      "Math.round(time * 3) + Math.floor(-time) + Math.ceil(time) + Math.abs(-time)",
      "Math.max(time, 1.5) + Math.min(time, 2) + Math.pow(time + 1, 1.5) + Math.sqrt(2)",
      "degreesToRadians(time) + radiansToDegrees(0.5)",
      "content('Group 1').content('Path 1').path.pointOnPath(time / 9)[0]",
      "content('Group 1')('Contents')('Path 1').path.tangentOnPath(0.3)[1]",
      "thisComp.layer('Carrier').toComp([5, 6])[0] + fromComp([1, 2])[1]",
      "!time ? 1 : -time",
      "hasParent && parent.index == 5 ? thisComp.frameDuration : 0",
      "var $bm_rt; var amp, freq, decay, n, t, v; try { amp = div(effect('Speed')('Slider'), 2.5), "
      "freq = div(effect('Speed')(1), 20), decay = 0.5, n = 0, 0 < numKeys && (n = "
      "nearestKey(time).index, key(n).time > time && n--), t = 0 === n ? 0 : time - key(n).time, "
      "$bm_rt = 0 < n ? (v = velocityAtTime(sub(key(n).time, div(thisComp.frameDuration, 10))), "
      "sum(value, div(mul(mul(div(v, 100), amp), Math.sin(mul(mul(mul(freq, t), 2), Math.PI))), "
      "Math.exp(mul(decay, t))))) : value; } catch (e$$4) { $bm_rt = value = value; }",
  };
  for (const char* source : kNumbers) EXPECT_EQ(Compare(source, scene_.rotation), 0u) << source;
  static const char* const kLists[] = {
      "var $bm_rt; $bm_rt = thisComp.layer('Carrier').transform.position;",
      "var $bm_rt; $bm_rt = $bm_sum(thisComp.layer('Carrier').transform.position, [0, 30]);",
      "value + [time, 2] * 3",
      "[value[0] + 100 * time, value[1]]",
      "position / 2 - 1",
      "linear(time, 0, 3, [1, 2], [3, 4, 5])",
      "clamp(value, 12, 15)",
      "thisComp.layer('Title').transform.position",
      "var p = position; p[1] = time; p",
      "thisComp.layer('Carrier').toComp(anchorPoint || [1, 2])",
      "valueAtTime(time) * -1",
  };
  for (const char* source : kLists) {
    EXPECT_EQ(Compare(source, scene_.position), 0u) << source;
  }
  static const char* const kPaths[] = {
      "var $bm_rt; $bm_rt = content('Group 1').content('Path 1').path;",
      "value",
      "var p = thisProperty.points(); p[0] = [time, 2]; createPath(p, thisProperty.inTangents(), "
      "thisProperty.outTangents(), thisProperty.isClosed())",
      "var $bm_rt; var names = ['Target', 'Nothing']; var found = []; for (var i = 0; i < "
      "names.length; i++) { try { found.push(effect(names[i])('Layer')); } catch (err) { "
      "found.push(null); } } var points = thisProperty.points(); for (var i = 0; i < found.length; "
      "i++) { if (found[i] != null && found[i].index != thisLayer.index) { points[i] = "
      "fromCompToSurface(found[i].toComp(found[i].position)); } } $bm_rt = createPath(points, "
      "thisProperty.inTangents(), thisProperty.outTangents(), true);",
  };
  for (const char* source : kPaths) EXPECT_EQ(Compare(source, scene_.path), 0u) << source;
}

// What is not plain, fails, or has no end, comes out as it does without trees.
TEST_F(ExpressionTreeTest, WhatIsNotPlainIsLeftToTheEngine) {
  static const char* const kSources[] = {
      "'a' + 1",
      "[1, 2] + 'x'",
      "value.toFixed(1) * 1",
      "wiggle(2, 10)",
      "random(5)",
      "(function () { return 4 })()",
      "[1, 2].map(function (x) { return x })[1]",
      "Math.max(1, 2, 3)",
      "Math.floor(0 / 0)",
      "effect('Nothing')(1)",
      "thisComp.layer('Nobody').position",
      "key(99).time",
      "null.x",
      "var a; a.b",
      "nobody",
      "nobody = 3; nobody",
      "var $bm_rt; $bm_rt = nobody;",
      "var $bm_rt; other = 3; $bm_rt = 4;",
      "thisComp",
      "[]",
      "['a']",
      "1 / 0",
      "0 / 0",
      "if (time < 0) 4",
      "for (;;) {}",
      "while (true) {}",
      "var l = []; for (;;) l.push(1)",
      "var l = [1]; l[7] = 1; l.length",
      "var l = [1]; l[0.5]",
      "[1, 2] == [1, 2] ? 1 : 0",
      "position == position ? 1 : 0",
      "1 < 'b' ? 1 : 2",
      "undefined + 1",
      "+value",
      "value ** 2",
      "typeof value == 'number' ? 1 : 0",
      "posterizeTime(2); time",
      "var position = 3; position",
      "value = value * 2; value",
      "effect('Target')('Layer').effect",
      "true",
      "'12'",
      "content('Group 1')('Nothing')",
      "thisLayer('Nothing')",
      "thisLayer(0)",
      "effect('Speed')(-1)",
      "loopOut('cycle', 'a')",
      "010 + 0x10",
      "1; { 2 }",
      "((((((((((((((((((((((((((((((((((((((((((((1))))))))))))))))))))))))))))))))))))))))))))",
  };
  for (FakeScene::Thing* const property : {scene_.rotation, scene_.position, scene_.path}) {
    Renew();
    for (const char* source : kSources) Compare(source, property);
  }
}

/// Expressions out of what trees know, put together at random.
class RandomSource {
 public:
  explicit RandomSource(unsigned seed) : random_(seed) {}
  std::string Any(int depth) {
    static const char* const kLeaves[] = {
        "time",    "value", "1", "0", "2.5", "-3", "a", "numKeys", "effect('Speed')('Slider')",
        "rotation"};
    static const char* const kOdd[] = {"[1,2]",
                                       "[3,4,5]",
                                       "[]",
                                       "b",
                                       "true",
                                       "null",
                                       "position",
                                       "thisProperty",
                                       "'x'",
                                       "undefined",
                                       "thisLayer",
                                       "thisComp.layer('Carrier').position",
                                       "effect('Nothing')",
                                       "content('Group 1').content('Path 1').path"};
    if (depth <= 0) {
      return random_() % 12 != 0 ? kLeaves[random_() % std::size(kLeaves)]
                                 : kOdd[random_() % std::size(kOdd)];
    }
    const auto one = [&] { return Any(depth - 1); };
    static const char* const kSigns[] = {"+",  "-",  "*",   "/",  "%", "<",
                                         ">=", "==", "!==", "&&", "||"};
    static const char* const kTwo[] = {"sum",      "sub",     "mul",        "div",
                                       "mod",      "length",  "Math.atan2", "Math.min",
                                       "Math.pow", "loopOut", "fromComp"};
    static const char* const kOne[] = {"Math.sin", "Math.round", "$bm_neg",    "valueAtTime",
                                       "key",      "Math.sqrt",  "nearestKey", "degreesToRadians",
                                       "!",        "-"};
    static const char* const kMembers[] = {
        ".length", ".value",    "[0]",      "[1]", ".index",
        ".time",   ".points()", ".numKeys", "(1)", ".pointOnPath(0.2)"};
    switch (random_() % 12) {
      case 0:
      case 1:
      case 9:
      case 10:
      case 11:
        return "(" + one() + " " + kSigns[random_() % std::size(kSigns)] + " " + one() + ")";
      case 2:
        return std::string(kTwo[random_() % std::size(kTwo)]) + "(" + one() + ", " + one() + ")";
      case 3:
        return std::string(kOne[random_() % std::size(kOne)]) + "(" + one() + ")";
      case 4:
        return "(" + one() + ")" + kMembers[random_() % std::size(kMembers)];
      case 5:
        return "(" + one() + " ? " + one() + " : " + one() + ")";
      case 6:
        return "linear(" + one() + ", " + one() + ", " + one() + ", " + one() + ", " + one() + ")";
      case 7:
        return "clamp(" + one() + ", " + one() + ", " + one() + ")";
      default:
        return "[" + one() + ", " + one() + "]";
    }
  }
  std::string Whole() {
    const std::string body = "var a = 4, b = [1, time]; try { a = " + Any(2) +
                             " } catch (e) { b = " + Any(0) + " } try { b = " + Any(2) +
                             " } catch (e) { a = 7 } ";
    return random_() % 2 == 0
               ? body + "try { if (" + Any(1) + ") a++; " + Any(2) + " } catch (e) { value }"
               : "var $bm_rt; " + body + "try { $bm_rt = " + Any(2) + " } catch (e) { $bm_rt = a }";
  }

 private:
  std::mt19937 random_;
};

TEST_F(ExpressionTreeTest, RandomExpressionsAreWorthWhatTheEngineSays) {
  RandomSource sources(5);
  int values = 0;
  uint64_t byTree = 0;
  for (int round = 0; round < 600; ++round) {
    // What was compiled stays, and would fill the engine's memory up.
    if (round % 100 == 0) Renew();
    const std::string source = sources.Whole();
    FakeScene::Thing* const property = round % 8 == 0 ? scene_.position : scene_.rotation;
    for (const double seconds : {0.3, 1.4, 5.0}) {
      const uint64_t before = trees_->EngineRuns();
      const Answer expected = Ask(*engine_, source, property, seconds);
      const Answer found = Ask(*trees_, source, property, seconds);
      ASSERT_EQ(expected, found) << source << "\nat " << seconds;
      values += expected.why.empty() ? 1 : 0;
      byTree += expected.why.empty() && trees_->EngineRuns() == before ? 1 : 0;
    }
  }
  // Otherwise nothing much was compared.
  EXPECT_GT(values, 400);
  EXPECT_GT(byTree, 150u);
}

// A walk that was given up leaves nothing behind, and one that always is is not tried for ever.
TEST_F(ExpressionTreeTest, GivingUpCostsNoBudgetAndEnds) {
  ExpressionLimits limits;
  limits.stepsPerEvaluation = 400;
  Expressions expressions(nullptr, limits);
  // 300 steps of a tree, then a text that only the engine can add.
  const std::string source = "var n = 0; for (var i = 0; i < 100; i++) n += i; ('' + n) * 1";
  for (int i = 0; i < 10; ++i) {
    const Answer answer = Ask(expressions, source, scene_.rotation, 1);
    EXPECT_EQ(answer.why, "");
    ASSERT_EQ(answer.value.numbers.size(), 1u);
    EXPECT_EQ(answer.value.numbers[0], 4950);
  }
  EXPECT_EQ(expressions.EngineRuns(), 10u);
}

// Two that read each other, and each itself: the inner one has lists of its own.
TEST_F(ExpressionTreeTest, ReadingsInsideOfReadingsKeepTheirListsApart) {
  Expressions expressions(nullptr);
  std::string error;
  const int inner = expressions.Compile("var l = [7, 8, 9]; l.push(time); [l[0], l[3]]", error);
  ASSERT_NE(inner, Expressions::kNone);
  scene_.scripted = [&](FakeScene::Thing* thing, ScriptValue& value) {
    if (thing != scene_.position) return false;
    ExpressionSite site;
    site.property = FakeScene::Node(thing);
    site.layer = FakeScene::Node(scene_.box);
    site.seconds = 2;
    ScriptValue keyed = thing->value;
    return expressions.Evaluate(inner, scene_, site, keyed, value);
  };
  const Answer answer =
      Ask(expressions, "var l = [1, 2]; var p = position; l.push(p[1]); l[0] + l[1] + l[2] + p[0]",
          scene_.rotation, 1);
  ASSERT_EQ(answer.value.numbers.size(), 1u) << answer.why;
  EXPECT_EQ(answer.value.numbers[0], 1 + 2 + 2 + 7);
  EXPECT_EQ(expressions.EngineRuns(), 0u);
}

}  // namespace
}  // namespace plexion_host::movie
