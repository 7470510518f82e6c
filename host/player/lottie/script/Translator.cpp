// Reads expressions by recursive descent and writes them for the script engine on the way.
#include "host/player/lottie/script/Translator.h"

#include <algorithm>
#include <optional>
#include <vector>

#include "host/player/lottie/script/Tokens.h"

namespace plexion_host::movie {

namespace {

// Each level costs stack here and in the engine, whose own parser recurses as well.
/// Of brackets, functions and statements inside of each other.
constexpr int kDeepest = 100;
// "a+b+c" becomes sum(sum(a,b),c): a row of a thousand would nest a thousand deep.
/// Operators on lists become calls inside of calls.
constexpr int kMostOperands = 200;

// What authors may do to numbers and lists alike. The engine's operators would make a text of two
// lists.
std::string_view ListFunction(std::string_view sign) {
  if (sign == "+") return "$bm_sum";
  if (sign == "-") return "$bm_sub";
  if (sign == "*") return "$bm_mul";
  if (sign == "/") return "$bm_div";
  if (sign == "%") return "$bm_mod";
  return {};
}

/// As a text of the language in quotes.
std::string Quoted(std::string_view text) {
  std::string quoted = "\"";
  for (const char c : text) {
    if (c == '\n') {
      quoted += "\\n";
    } else if (c == '\r') {
      quoted += "\\r";
    } else {
      if (c == '"' || c == '\\') quoted += '\\';
      quoted += c;
    }
  }
  return quoted + '"';
}

class Translator {
 public:
  Translator(std::string_view source, Translation& translation)
      : tokens_(source),
        out_(translation),
        // Exporters that have translated an expression already say so by their own names in it; its
        // operators are calls then, and its value is where they put it.
        lists_(source.find("$bm_rt") == std::string_view::npos) {}

  void Run();

 private:
  // What stands on the left of "=" must be a name or a member; a name that is assigned to may have
  // to be declared.
  enum class Place : uint8_t { kValue, kName, kMember };
  struct Piece {
    std::string code;
    Place place = Place::kValue;
  };
  struct Function {
    // Names for values that are needed twice. They belong to the function: two calls of it inside
    // of each other must not share one.
    int temporaries = 0;
    bool arrow = false;
    bool usesThis = false;
  };

  class Deeper {
   public:
    explicit Deeper(Translator& translator) : translator_(translator) {
      if (++translator_.depth_ > kDeepest) translator_.Fail("too much inside of each other");
    }
    ~Deeper() { --translator_.depth_; }
    Deeper(const Deeper&) = delete;
    Deeper& operator=(const Deeper&) = delete;

   private:
    Translator& translator_;
  };

  [[noreturn]] void Fail(const std::string& what) {
    throw SourceFault(tokens_.Current().start, what);
  }
  const Token& Current() const { return tokens_.Current(); }
  bool At(std::string_view what) const { return Current().Is(what); }
  bool Take(std::string_view what) {
    if (!At(what)) return false;
    tokens_.Next();
    return true;
  }
  void Expect(std::string_view what) {
    if (!Take(what)) {
      Fail("expected '" + std::string(what) + "', found " +
           (Current().kind == TokenKind::kEnd
                ? "the end"
                : "'" + std::string(Current().text.substr(0, 40)) + "'"));
    }
  }
  std::string TakeName();
  void EndStatement();
  std::string Temporary();

  std::string Statement();
  std::string Block();
  std::string NameStatement();
  // "noIn": in the head of a loop "in" is the loop's word, and no operator.
  std::string Declarations(bool noIn);
  std::string For();
  std::string EachOf(const std::string& binding, const std::string& item);
  std::string Try();
  std::string Switch();
  std::string Leave();

  std::string Expression(bool noIn = false);
  Piece Assignment(bool noIn = false);
  Piece AssignTo(Piece target, bool noIn);
  Piece Conditional(bool noIn);
  Piece Binary(int least, bool noIn);
  Piece Unary();
  Piece Postfix();
  Piece Chain(Piece base, bool calls);
  Piece Call(const std::string& callee, const std::string& owner, const std::string& member);
  Piece OptionalChain(const std::string& base);
  Piece Primary();
  std::string New();
  std::string Group();
  std::string List();
  std::string Record();
  std::string Template();
  /// Between brackets, the first of which is taken. `spread` is set when it has to be built.
  std::string Items(std::string_view closing, bool& spread);

  bool IsArrow();
  std::string Arrow();
  std::string FunctionFrom(const std::string& name, bool arrow);
  /// Parameters up to the closing bracket; what must be done first goes to `prologue`.
  std::string Parameters(std::string& prologue);
  std::string FunctionBody(bool expression, const std::string& parameters,
                           const std::string& prologue, const std::string& name, bool arrow);
  /// Goes behind a name or a pattern. Patterns are read once: reading them twice, inside of each
  /// other, would take time without end.
  void SkipPattern();
  /// Reads a name or a pattern and writes ",name=from" for each name in it.
  void Bind(const std::string& from, std::string& declarations);
  void BindDefault(std::string from, std::string& declarations);

  Tokens tokens_;
  Translation& out_;
  /// The author's own text: operators work on lists, and the last statement is the value.
  bool lists_;
  std::vector<Function> functions_{Function{}};
  std::set<std::string, std::less<>> declared_;
  std::set<std::string, std::less<>> assigned_;
  int depth_ = 0;
  int temporaries_ = 0;
};

void Translator::Run() {
  std::string body;
  while (Current().kind != TokenKind::kEnd) body += Statement();
  std::string variables = "var $$r";
  // Exporters declare what they find; a name that they did not is an error where movies are watched.
  for (const std::string& name : assigned_) {
    if (lists_ && declared_.count(name) == 0) variables += "," + name;
  }
  for (int i = 1; i <= functions_.back().temporaries; ++i) variables += ",$$0_" + std::to_string(i);
  out_.code = variables + ";" + body + (lists_ ? "return $$r;" : "return $bm_rt;");
  out_.usesThis = functions_.back().usesThis;
}

std::string Translator::TakeName() {
  if (Current().kind != TokenKind::kName || IsReservedWord(Current().text)) Fail("expected a name");
  // Temporaries and the guard against endless loops have these names.
  if (Current().text.substr(0, 2) == "$$") Fail("names that begin with $$ are taken");
  std::string name(Current().text);
  tokens_.Next();
  return name;
}

void Translator::EndStatement() {
  // As the language has it: a semicolon may be left out before a bracket that closes, at the end,
  // and at a new line.
  if (Take(";") || At("}") || Current().kind == TokenKind::kEnd || Current().newLine) return;
  Fail("expected the end of the statement, found '" + std::string(Current().text.substr(0, 40)) +
       "'");
}

/// A variable of the function that is being read.
std::string Translator::Temporary() {
  return "$$" + std::to_string(functions_.size() - 1) + "_" +
         std::to_string(++functions_.back().temporaries);
}

// --- Statements ---

std::string Translator::Statement() {
  const Deeper deeper(*this);
  if (At("{")) return Block();
  if (Take(";")) return ";";
  if (Current().kind == TokenKind::kName) return NameStatement();
  std::string code = Expression();
  EndStatement();
  // The value of an expression is the value of the last statement that was one; "$$r" holds it
  // until the end.
  return (lists_ && functions_.size() == 1 ? "$$r=(" + code + ")" : code) + ";";
}

std::string Translator::Block() {
  Expect("{");
  std::string code = "{";
  while (!At("}")) {
    if (Current().kind == TokenKind::kEnd) Fail("expected '}', found the end");
    code += Statement();
  }
  tokens_.Next();
  return code + "}";
}

std::string Translator::NameStatement() {
  if (At("var") || At("const") || At("let")) {
    tokens_.Next();
    std::string code = Declarations(false);
    EndStatement();
    return code + ";";
  }
  if (Take("function")) {
    const std::string name = TakeName();
    declared_.insert(name);
    return FunctionFrom(name, false) + ";";
  }
  if (Take("if")) {
    Expect("(");
    std::string code = "if(" + Expression() + ")";
    Expect(")");
    // In brackets of our own: a statement may become several.
    code += "{" + Statement() + "}";
    if (Take("else")) code += "else{" + Statement() + "}";
    return code;
  }
  if (Take("for")) return For();
  if (Take("while")) {
    Expect("(");
    // "$$t()" counts a step and throws when there were too many. It stands in every loop's
    // condition and at every function's beginning, so nothing runs for ever without passing it.
    std::string code = "while($$t(),(" + Expression() + "))";
    Expect(")");
    return code + "{" + Statement() + "}";
  }
  if (Take("do")) {
    std::string code = "do{" + Statement() + "}while($$t(),(";
    Expect("while");
    Expect("(");
    code += Expression() + "));";
    Expect(")");
    Take(";");
    return code;
  }
  if (At("return") || At("throw") || At("break") || At("continue")) return Leave();
  if (Take("try")) return Try();
  if (Take("switch")) return Switch();
  // Named, and not left to the engine: its message would be of a text that the author never wrote.
  if (At("class") || At("with") || At("import") || At("export") || At("async")) {
    Fail("'" + std::string(Current().text) + "' is not supported");
  }
  const Token name = Current();
  if (!IsReservedWord(name.text)) {
    tokens_.Next();
    // A label; else the reader goes back to the name.
    if (Take(":")) return std::string(name.text) + ":" + Statement();
    tokens_.MoveTo(name.start);
  }
  std::string code = Expression();
  EndStatement();
  return (lists_ && functions_.size() == 1 ? "$$r=(" + code + ")" : code) + ";";
}

std::string Translator::Declarations(bool noIn) {
  std::string list;
  do {
    if (At("{") || At("[")) {
      const size_t pattern = Current().start;
      // What it is taken from stands behind it.
      SkipPattern();
      Expect("=");
      const std::string value = Assignment(noIn).code;
      const size_t after = Current().start;
      tokens_.MoveTo(pattern);
      // The pattern is read a second time, now with what it takes its values from.
      Bind(value, list);
      tokens_.MoveTo(after);
    } else {
      const std::string name = TakeName();
      declared_.insert(name);
      list += "," + name;
      if (Take("=")) list += "=" + Assignment(noIn).code;
    }
  } while (Take(","));
  // "let" and "const" become "var": the engine knows no others. What a block would have hidden is
  // seen in the whole function, which is no harm where names are used as declared.
  return "var " + list.substr(1);
}

std::string Translator::For() {
  Expect("(");
  std::string first;
  if (At("var") || At("let") || At("const")) {
    tokens_.Next();
    const size_t start = Current().start;
    // Whether it is a loop over something is known behind the pattern only.
    SkipPattern();
    const bool each = At("of") || At("in");
    tokens_.MoveTo(start);
    if (each) {
      const std::string item = "$$i" + std::to_string(++temporaries_);
      std::string binding;
      Bind(item, binding);
      return EachOf("var " + binding.substr(1), item);
    }
    first = Declarations(true);
  } else if (!At(";")) {
    const std::string item = "$$i" + std::to_string(++temporaries_);
    Piece target = Assignment(true);
    if ((At("of") || At("in")) && target.place != Place::kValue) {
      if (target.place == Place::kName) assigned_.insert(target.code);
      return EachOf(target.code + "=" + item, item);
    }
    first = std::move(target.code);
    while (Take(",")) first += "," + Assignment(true).code;
  }
  Expect(";");
  std::string code = "for(" + first + ";$$t(),(";
  // A loop without a condition has one here, for the step to stand in.
  code += At(";") ? "true" : Expression();
  Expect(";");
  code += ");";
  if (!At(")")) code += Expression();
  Expect(")");
  return code + "){" + Statement() + "}";
}

/// for (... of list) and for (... in object), from the word in the middle on: both go through a list
/// that was charged when it was made.
std::string Translator::EachOf(const std::string& binding, const std::string& item) {
  const bool keys = At("in");
  tokens_.Next();
  const std::string list = "$$l" + std::to_string(temporaries_);
  const std::string at = "$$n" + std::to_string(temporaries_);
  const std::string values = keys ? Expression() : Assignment().code;
  // A copy of keys or items is made before the first round, so that a loop which adds to what it
  // goes through ends.
  Expect(")");
  std::string code = "for(var " + at + "=0," + item + "," + list + "=" +
                     (keys ? "$$keys(" : "$$list(") + values + ");$$t()," + at + "<" + list +
                     ".length;++" + at + "){" + item + "=" + list + "[" + at + "];" + binding + ";";
  return code + Statement() + "}";
}

std::string Translator::Try() {
  std::string code = "try" + Block();
  bool ended = false;
  if (Take("catch")) {
    ended = true;
    if (Take("(")) {
      const std::string name = TakeName();
      declared_.insert(name);
      Expect(")");
      code += "catch(" + name + ")" + Block();
    } else {
      // The engine wants a name.
      code += "catch($$e)" + Block();
    }
  }
  if (Take("finally")) {
    ended = true;
    code += "finally" + Block();
  }
  if (!ended) Fail("expected 'catch' or 'finally'");
  return code;
}

std::string Translator::Switch() {
  Expect("(");
  std::string code = "switch(" + Expression() + "){";
  Expect(")");
  Expect("{");
  while (!Take("}")) {
    if (Take("case")) {
      code += "case " + Expression() + ":";
      Expect(":");
    } else if (Take("default")) {
      code += "default:";
      Expect(":");
    } else if (Current().kind == TokenKind::kEnd) {
      Fail("expected '}', found the end");
    } else {
      code += Statement();
    }
  }
  return code + "}";
}

std::string Translator::Leave() {
  const std::string word(Current().text);
  tokens_.Next();
  const bool bare = At(";") || At("}") || Current().kind == TokenKind::kEnd || Current().newLine;
  std::string code = word;
  if (word == "break" || word == "continue") {
    if (!bare) code += " " + TakeName();
  } else if (!bare) {
    code += " " + Expression();
  } else if (word == "throw") {
    Fail("expected what is thrown");
  }
  if (word == "return" && functions_.size() == 1 && !lists_) {
    // A return at the outermost level ends the expression, whose value the translated ones keep in
    // $bm_rt.
    code = bare ? "return $bm_rt" : "return (" + code.substr(7) + "),$bm_rt";
  }
  EndStatement();
  return code + ";";
}

// --- Expressions ---

std::string Translator::Expression(bool noIn) {
  std::string code = Assignment(noIn).code;
  while (Take(",")) code += "," + Assignment(noIn).code;
  return code;
}

Translator::Piece Translator::Assignment(bool noIn) {
  const Deeper deeper(*this);
  if (IsArrow()) return {Arrow()};
  return AssignTo(Conditional(noIn), noIn);
}

Translator::Piece Translator::AssignTo(Piece target, bool noIn) {
  static constexpr std::string_view kSigns[] = {
      "=",   "+=",   "-=", "*=", "/=", "%=",  "**=", "<<=",
      ">>=", ">>>=", "&=", "|=", "^=", "&&=", "||=", "?\?="};
  if (Current().kind != TokenKind::kSign ||
      std::find(std::begin(kSigns), std::end(kSigns), Current().text) == std::end(kSigns)) {
    return target;
  }
  if (target.place == Place::kValue) Fail("only a variable or a member can be assigned to");
  if (target.place == Place::kName) assigned_.insert(target.code);
  const std::string sign(Current().text);
  tokens_.Next();
  const std::string value = Assignment(noIn).code;
  const std::string& name = target.code;
  const std::string_view list = ListFunction(sign.substr(0, sign.size() - 1));
  // Short circuits stay: the right side is not evaluated unless it is needed.
  if (sign == "&&=" || sign == "||=") {
    return {name + "=(" + name + sign.substr(0, 2) + "(" + value + "))"};
  }
  if (sign == "?\?=") return {name + "=(" + name + "!=null?" + name + ":(" + value + "))"};
  if (sign == "**=") return {name + "=Math.pow(" + name + "," + value + ")"};
  // Only for variables. A member's own expression would be evaluated twice, and authors do
  // arithmetic on lists by name.
  if (lists_ && !list.empty() && target.place == Place::kName) {
    return {name + "=" + std::string(list) + "(" + name + "," + value + ")"};
  }
  return {name + sign + value};
}

Translator::Piece Translator::Conditional(bool noIn) {
  Piece piece = Binary(1, noIn);
  if (!Take("?")) return piece;
  std::string code = piece.code + "?" + Assignment().code + ":";
  Expect(":");
  return {"(" + code + Assignment(noIn).code + ")"};
}

Translator::Piece Translator::Binary(int least, bool noIn) {
  Piece left = Unary();
  int operands = 1;
  for (;;) {
    const int precedence = PrecedenceOf(Current());
    // Climbs: what binds less than asked for is the caller's.
    if (precedence < least || precedence == 0 || (noIn && At("in"))) return left;
    const std::string sign(Current().text);
    tokens_.Next();
    const Deeper deeper(*this);
    // "**" is the only one that groups from the right.
    Piece right = Binary(sign == "**" ? precedence : precedence + 1, noIn);
    const std::string_view list = lists_ ? ListFunction(sign) : std::string_view();
    if (!list.empty()) {
      if (++operands > kMostOperands) Fail("too many operands in a row");
      left.code = std::string(list) + "(" + left.code + "," + right.code + ")";
    } else if (sign == "**") {
      left.code = "Math.pow(" + left.code + "," + right.code + ")";
    } else if (sign == "??") {
      // The left side once: it may be a call.
      const std::string value = Temporary();
      if (++operands > kMostOperands) Fail("too many operands in a row");
      left.code = "((" + value + "=" + left.code + ")!=null?" + value + ":(" + right.code + "))";
    } else {
      left.code += " " + sign + " " + right.code;
    }
    left.place = Place::kValue;
  }
}

Translator::Piece Translator::Unary() {
  const Deeper deeper(*this);
  if (At("++") || At("--")) {
    const std::string sign(Current().text);
    tokens_.Next();
    Piece piece = Unary();
    if (piece.place == Place::kValue) Fail("only a variable or a member can be counted");
    if (piece.place == Place::kName) assigned_.insert(piece.code);
    return {sign + piece.code};
  }
  for (const std::string_view sign : {"typeof", "void", "delete", "!", "~", "+", "-"}) {
    if (!At(sign)) continue;
    tokens_.Next();
    const bool number = Current().kind == TokenKind::kNumber;
    std::string operand = Unary().code;
    // A plain number needs no call to be negated.
    if (sign == "-" && lists_ && !number) return {"$bm_neg(" + operand + ")"};
    return {std::string(sign) + " " + operand};
  }
  if (At("await") || At("yield")) Fail("'" + std::string(Current().text) + "' is not supported");
  return Postfix();
}

Translator::Piece Translator::Postfix() {
  Piece piece = Chain(Primary(), true);
  if ((At("++") || At("--")) && !Current().newLine) {
    if (piece.place == Place::kValue) Fail("only a variable or a member can be counted");
    if (piece.place == Place::kName) assigned_.insert(piece.code);
    piece.code += Current().text;
    piece.place = Place::kValue;
    tokens_.Next();
  }
  return piece;
}

/// Members and calls that follow a value.
Translator::Piece Translator::Chain(Piece base, bool calls) {
  for (;;) {
    if (Take(".")) {
      if (Current().kind != TokenKind::kName) Fail("expected the name of a member");
      const std::string member(Current().text);
      tokens_.Next();
      if (calls && At("(")) {
        base = Call(base.code + "." + member, base.code, Quoted(member));
      } else {
        base = {base.code + "." + member, Place::kMember};
      }
    } else if (Take("[")) {
      const std::string member = Expression();
      Expect("]");
      base = {base.code + "[" + member + "]", Place::kMember};
    } else if (calls && At("?.")) {
      return OptionalChain(base.code);
    } else if (calls && At("(")) {
      base = Call(base.code, "", "");
    } else if (Current().kind == TokenKind::kTemplate) {
      Fail("a function in front of a template is not supported");  // it would be called
    } else {
      return base;
    }
  }
}

Translator::Piece Translator::Call(const std::string& callee, const std::string& owner,
                                   const std::string& member) {
  Expect("(");
  bool spread = false;
  const std::string items = Items(")", spread);
  // Changes the time for all that follows, so the two variables that hang on it are set anew.
  if (callee == "posterizeTime") {
    out_.names.insert({"time", "value", "valueAtTime"});
    return {"(time=posterizeTime(" + items + "),value=valueAtTime(time))"};
  }
  // The engine's own eval would run text that was never translated, without its guards; this one
  // translates.
  if (callee == "eval") {
    out_.names.insert({"thisLayer", "thisComp", "thisProperty"});
    return {"$$named([" + items +
            "][0],{thisLayer:thisLayer,thisComp:thisComp,thisProperty:thisProperty})"};
  }
  if (!spread) return {callee + "(" + items + ")"};
  if (owner.empty()) return {"$$call(" + callee + "," + items + ")"};
  return {"$$invoke(" + owner + "," + member + "," + items + ")"};
}

/// From "?." on: the whole rest of the chain stands or falls with it.
Translator::Piece Translator::OptionalChain(const std::string& base) {
  const Deeper deeper(*this);
  const std::string value = Temporary();
  Expect("?.");
  Piece rest{value};
  if (!At("(") && !At("[")) {
    if (Current().kind != TokenKind::kName) Fail("expected the name of a member");
    rest.code += "." + std::string(Current().text);
    tokens_.Next();
  }
  rest = Chain(rest, true);
  // Null and what is undefined end the chain; the value is asked for once.
  return {"((" + value + "=" + base + ")==null?void 0:" + rest.code + ")"};
}

Translator::Piece Translator::Primary() {
  const Token token = Current();
  switch (token.kind) {
    case TokenKind::kEnd:
      Fail("expected a value, found the end");
    case TokenKind::kString:
      tokens_.Next();
      return {std::string(token.text)};
    case TokenKind::kNumber: {
      std::string number(token.text);
      number.erase(std::remove(number.begin(), number.end(), '_'), number.end());
      tokens_.Next();
      // A member of a number must not look like its fraction.
      return {At(".") ? "(" + number + ")" : number};
    }
    case TokenKind::kTemplate:
      return {Template()};
    case TokenKind::kSign:
      if (token.text == "(") return {Group()};
      if (token.text == "[") return {List()};
      if (token.text == "{") return {Record()};
      // Only here, where a value must come, a slash begins a regular expression; anywhere else it
      // divides.
      if (token.text == "/" || token.text == "/=") {
        std::string_view flags;
        const std::string pattern = Quoted(tokens_.TakeRegularExpression(flags));
        return {"$$regexp(" + pattern + "," + Quoted(flags) + ")"};
      }
      Fail("expected a value, found '" + std::string(token.text) + "'");
    case TokenKind::kName:
      break;
  }
  if (Take("function")) {
    if (At("*")) Fail("generators are not supported");
    return {"(" + FunctionFrom(At("(") ? std::string() : TakeName(), false) + ")"};
  }
  if (Take("new")) return {New()};
  if (Take("this")) {
    // An arrow has the "this" of what is around it, up to the next function of the other kind.
    for (auto function = functions_.rbegin(); function != functions_.rend(); ++function) {
      function->usesThis = true;
      if (!function->arrow) break;
    }
    bool outermost = true;
    for (size_t i = 1; i < functions_.size(); ++i) outermost = outermost && functions_[i].arrow;
    // At the outermost level "this" is the layer, which the engine's own functions would not see.
    return {outermost ? "$$this" : "this"};
  }
  if (token.text == "null" || token.text == "true" || token.text == "false") {
    tokens_.Next();
    return {std::string(token.text)};
  }
  std::string name = TakeName();
  // Which names the expression asks for: only those are made for it, each moment.
  out_.names.insert(name);
  return {std::move(name), Place::kName};
}

std::string Translator::New() {
  if (At(".")) Fail("'new.target' is not supported");
  const Deeper deeper(*this);
  const Piece type = At("(") ? Piece{Group()} : Chain(Primary(), false);
  if (!Take("(")) return "new " + type.code + "()";
  bool spread = false;
  const std::string items = Items(")", spread);
  if (spread) Fail("'...' is not supported here");
  return "(new " + type.code + "(" + items + "))";
}

std::string Translator::Group() {
  Expect("(");
  std::string code = "(" + Expression() + ")";
  Expect(")");
  return code;
}

std::string Translator::Items(std::string_view closing, bool& spread) {
  const Deeper deeper(*this);
  // Collected first: whether one of them is spread is known at the end only, and changes how all
  // are written.
  std::vector<std::pair<bool, std::string>> items;
  while (!Take(closing)) {
    if (At(",")) {  // a hole
      items.emplace_back(false, "undefined");
    } else {
      const bool all = Take("...");
      spread = spread || all;
      items.emplace_back(all, Assignment().code);
    }
    if (!At(closing)) Expect(",");
  }
  std::string code;
  for (const auto& [all, item] : items) {
    if (!code.empty()) code += ",";
    code += !spread ? item : all ? "$$list(" + item + ")" : "[" + item + "]";
  }
  return spread ? "[].concat(" + code + ")" : code;
}

std::string Translator::List() {
  Expect("[");
  bool spread = false;
  const std::string items = Items("]", spread);
  return spread ? items : "[" + items + "]";
}

std::string Translator::Record() {
  Expect("{");
  const Deeper deeper(*this);
  // Plain members, and between them what must be worked out in order (spreads, names in brackets):
  // later ones win.
  std::vector<std::string> parts;
  std::string plain;
  const auto endPlain = [&] {
    if (!plain.empty()) parts.push_back("{" + plain.substr(1) + "}");
    plain.clear();
  };
  while (!Take("}")) {
    if (Take("...")) {
      endPlain();
      parts.push_back(Assignment().code);
    } else if (Take("[")) {
      endPlain();
      std::string pair = "$$pair(" + Assignment().code + ",";
      Expect("]");
      if (At("(")) {
        pair += FunctionFrom("", false);
      } else {
        Expect(":");
        pair += Assignment().code;
      }
      parts.push_back(pair + ")");
    } else {
      const Token key = Current();
      if (key.kind != TokenKind::kName && key.kind != TokenKind::kString &&
          key.kind != TokenKind::kNumber) {
        Fail("expected the name of a member");
      }
      tokens_.Next();
      const std::string name =
          key.kind == TokenKind::kName ? Quoted(key.text) : std::string(key.text);
      if (Take(":")) {
        plain += "," + name + ":" + Assignment().code;
      } else if (At("(")) {
        plain += "," + name + ":" + FunctionFrom("", false);
      } else if (key.kind == TokenKind::kName && (At(",") || At("}")) &&
                 !IsReservedWord(key.text)) {
        out_.names.insert(std::string(key.text));
        plain += "," + name + ":" + std::string(key.text);
      } else {
        Fail("expected ':' (functions that stand for members are not supported)");
      }
    }
    if (!At("}")) Expect(",");
  }
  if (parts.empty()) return "{" + (plain.empty() ? plain : plain.substr(1)) + "}";
  endPlain();
  std::string code = "$$assign({}";
  for (const std::string& part : parts) code += "," + part;
  return code + ")";
}

/// From behind the first back quote. Becomes a sum of texts.
std::string Translator::Template() {
  const Deeper deeper(*this);
  const size_t start = Current().start;
  const std::string_view source = tokens_.Source();
  size_t position = start + 1;
  std::string code = "(\"";
  for (;; ++position) {
    if (position >= source.size()) throw SourceFault(start, "a template without an end");
    const char c = source[position];
    if (c == '`') break;
    if (c == '$' && source.substr(position, 2) == "${") {
      tokens_.MoveTo(position + 2);
      code += "\"+(" + Expression() + ")+\"";
      // The bracket is looked at, not taken: behind it text goes on, which is no token.
      if (!At("}")) Expect("}");
      position = Current().start;
    } else if (c == '\n') {
      code += "\\n";
    } else if (c == '"') {
      code += "\\\"";
    } else if (c == '\\' && position + 1 < source.size()) {
      const char next = source[++position];
      // What the language would leave away goes; the rest is the engine's to understand.
      if (next == '`' || next == '$' || next == '{') {
        code += next;
      } else if (next != '\n' && next != '\r') {
        code += '\\';
        code += next;
      }
    } else if (c != '\r') {
      code += c;
    }
  }
  tokens_.MoveTo(position + 1);
  return code + "\")";
}

// --- Functions ---

/// Whether "name =>" or "(...) =>" comes: then the reader stays where it is.
bool Translator::IsArrow() {
  if (Current().kind == TokenKind::kName && !IsReservedWord(Current().text)) {
    const size_t start = Current().start;
    tokens_.Next();
    const bool arrow = At("=>");
    tokens_.MoveTo(start);
    return arrow;
  }
  if (!At("(")) return false;
  const size_t start = Current().start;
  // Parameters have no regular expressions, so brackets can be counted; texts are skipped.
  int open = 0;
  bool arrow = false;
  // A text that does not end is an error only if these are parameters.
  try {
    do {
      if (At("(") || At("[") || At("{")) ++open;
      if (At(")") || At("]") || At("}")) --open;
      if (Current().kind == TokenKind::kTemplate || Current().kind == TokenKind::kEnd) break;
      tokens_.Next();
    } while (open > 0);
    arrow = open == 0 && At("=>");
  } catch (const SourceFault&) {  // something else than parameters, which is read again
  }
  tokens_.MoveTo(start);
  return arrow;
}

std::string Translator::Arrow() {
  const Deeper deeper(*this);
  functions_.push_back({0, true, false});
  std::string prologue;
  std::string parameters;
  if (Take("(")) {
    parameters = Parameters(prologue);
  } else {
    parameters = TakeName();
    declared_.insert(parameters);
  }
  Expect("=>");
  return FunctionBody(!At("{"), parameters, prologue, "", true);
}

std::string Translator::FunctionFrom(const std::string& name, bool arrow) {
  const Deeper deeper(*this);
  functions_.push_back({0, arrow, false});
  Expect("(");
  std::string prologue;
  const std::string parameters = Parameters(prologue);
  return FunctionBody(false, parameters, prologue, name, arrow);
}

std::string Translator::Parameters(std::string& prologue) {
  std::string names;
  std::string declarations;
  int count = 0;
  while (!Take(")")) {
    if (Take("...")) {
      const std::string name = TakeName();
      declared_.insert(name);
      // The engine has no rest parameters; "arguments" holds the same.
      declarations += "," + name + "=[].slice.call(arguments," + std::to_string(count) + ")";
      if (!At(")")) Expect(")");
      continue;
    }
    ++count;
    std::string name = "$$p" + std::to_string(++temporaries_);
    if (Current().kind == TokenKind::kName) {
      name = TakeName();
      declared_.insert(name);
      if (Take("=")) {
        declarations +=
            "," + name + "=" + name + "===undefined?(" + Assignment().code + "):" + name;
      }
    } else {
      BindDefault(name, declarations);
    }
    names += (names.empty() ? "" : ",") + name;
    if (!At(")")) Expect(",");
  }
  if (!declarations.empty()) prologue = "var " + declarations.substr(1) + ";";
  return names;
}

std::string Translator::FunctionBody(bool expression, const std::string& parameters,
                                     const std::string& prologue, const std::string& name,
                                     bool arrow) {
  std::string body = expression ? "return " + Assignment().code + ";" : Block();
  const Function function = functions_.back();
  const size_t number = functions_.size() - 1;
  functions_.pop_back();
  std::string code = "function " + name + "(" + parameters + "){$$t();";
  // Declared once the body is known, since it has made them.
  for (int i = 1; i <= function.temporaries; ++i) {
    code += "var $$" + std::to_string(number) + "_" + std::to_string(i) + ";";
  }
  code += prologue + body + "}";
  if (!arrow) return code;
  if (function.usesThis) functions_.back().usesThis = true;
  // Bound only where "this" is used: a binding costs at each call.
  return function.usesThis && functions_.size() > 1 ? "(" + code + ").bind(this)"
                                                    : "(" + code + ")";
}

void Translator::SkipPattern() {
  // Counts brackets: what is inside is looked at when it is read.
  int open = 0;
  do {
    if (Current().kind == TokenKind::kEnd) Fail("expected a name, found the end");
    if (Current().kind == TokenKind::kTemplate) Fail("a template is not supported here");
    if (At("(") || At("[") || At("{")) ++open;
    if (At(")") || At("]") || At("}")) --open;
    tokens_.Next();
  } while (open > 0);
}

void Translator::BindDefault(std::string from, std::string& declarations) {
  // A pattern's default stands behind it.
  const size_t pattern = Current().start;
  // Defaults apply to what is undefined, not to null.
  SkipPattern();
  size_t after = Current().start;
  if (Take("=")) {
    const std::string value = "$$d" + std::to_string(++temporaries_);
    declarations += "," + value + "=" + from;
    declarations += "," + value + "=" + value + "===undefined?(" + Assignment().code + "):" + value;
    after = Current().start;
    from = value;
  }
  tokens_.MoveTo(pattern);
  Bind(from, declarations);
  tokens_.MoveTo(after);
}

void Translator::Bind(const std::string& from, std::string& declarations) {
  const Deeper deeper(*this);
  if (!At("{") && !At("[")) {
    const std::string name = TakeName();
    declared_.insert(name);
    declarations += "," + name + "=" + from;
    return;
  }
  const bool list = At("[");
  const std::string_view closing = list ? "]" : "}";
  tokens_.Next();
  const std::string whole = "$$d" + std::to_string(++temporaries_);
  // A list by index from a real list: texts and array-likes may be taken apart as well.
  declarations += "," + whole + "=" + (list ? "$$list(" + from + ")" : from);
  for (int i = 0; !Take(closing); ++i) {
    if (list) {
      if (Take(",")) continue;  // a hole
      if (Take("...")) {
        Bind(whole + ".slice(" + std::to_string(i) + ")", declarations);
      } else {
        BindDefault(whole + "[" + std::to_string(i) + "]", declarations);
      }
    } else {
      const Token key = Current();
      if (key.kind != TokenKind::kName && key.kind != TokenKind::kString) {
        Fail("expected the name of a member");
      }
      tokens_.Next();
      const std::string member =
          whole + "[" + (key.kind == TokenKind::kName ? Quoted(key.text) : std::string(key.text)) +
          "]";
      // The short form: the member's name is the variable's.
      if (!Take(":")) tokens_.MoveTo(key.start);
      BindDefault(member, declarations);
    }
    if (!At(closing)) Expect(",");
  }
}

}  // namespace

bool TranslateExpression(std::string_view source, Translation& translation, std::string& error) {
  translation = {};
  try {
    Translator translator(source, translation);
    translator.Run();
    return true;
  } catch (const SourceFault& fault) {
    const auto lines =
        1 + std::count(
                source.begin(),
                source.begin() + static_cast<ptrdiff_t>(std::min(fault.Position(), source.size())),
                '\n');
    error = "line " + std::to_string(lines) + ": " + fault.what();
    return false;
  }
}

}  // namespace plexion_host::movie
