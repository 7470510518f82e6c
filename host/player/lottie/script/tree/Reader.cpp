// Reads expressions as trees, as long as they are plain.
#include <algorithm>
#include <charconv>
#include <map>

#include "host/player/lottie/script/Tokens.h"
#include "host/player/lottie/script/tree/ExpressionTree.h"

namespace plexion_host::movie {

namespace {

/// Something that only the script engine knows.
struct NotPlain {};

/// Each level costs stack when the tree is walked, too.
constexpr int kDeepestTree = 40;
constexpr size_t kMostTreeNodes = 2000;

struct FunctionName {
  std::string_view name;
  TreeFunction function;
};

constexpr FunctionName kGlobalFunctions[] = {
    {"$bm_sum", TreeFunction::kSum},
    {"sum", TreeFunction::kSum},
    {"add", TreeFunction::kSum},
    {"$bm_sub", TreeFunction::kSubtract},
    {"sub", TreeFunction::kSubtract},
    {"$bm_mul", TreeFunction::kMultiply},
    {"mul", TreeFunction::kMultiply},
    {"$bm_div", TreeFunction::kDivide},
    {"div", TreeFunction::kDivide},
    {"$bm_mod", TreeFunction::kRemainder},
    {"mod", TreeFunction::kRemainder},
    {"$bm_neg", TreeFunction::kNegate},
    {"length", TreeFunction::kLength},
    {"clamp", TreeFunction::kClamp},
    {"linear", TreeFunction::kLinear},
    {"ease", TreeFunction::kEase},
    {"easeIn", TreeFunction::kEaseIn},
    {"easeOut", TreeFunction::kEaseOut},
    {"degreesToRadians", TreeFunction::kToRadians},
    {"degrees_to_radians", TreeFunction::kToRadians},
    {"radiansToDegrees", TreeFunction::kToDegrees},
    {"radians_to_degrees", TreeFunction::kToDegrees},
    {"createPath", TreeFunction::kCreatePath},
    {"comp", TreeFunction::kComposition},
};

/// Of what stands in front of them; the first thirteen, and those of layers, also alone.
constexpr FunctionName kMethods[] = {
    {"valueAtTime", TreeFunction::kValueAtTime},
    {"velocityAtTime", TreeFunction::kVelocityAtTime},
    {"speedAtTime", TreeFunction::kSpeedAtTime},
    {"loopIn", TreeFunction::kLoopIn},
    {"loop_in", TreeFunction::kLoopIn},
    {"loopOut", TreeFunction::kLoopOut},
    {"loop_out", TreeFunction::kLoopOut},
    {"loopInDuration", TreeFunction::kLoopInDuration},
    {"loopOutDuration", TreeFunction::kLoopOutDuration},
    {"key", TreeFunction::kKey},
    {"nearestKey", TreeFunction::kNearestKey},
    {"propertyGroup", TreeFunction::kPropertyGroup},
    {"toWorld", TreeFunction::kToPoint},
    {"toComp", TreeFunction::kToPoint},
    {"fromWorld", TreeFunction::kFromPoint},
    {"fromComp", TreeFunction::kFromPoint},
    {"fromCompToSurface", TreeFunction::kFromPoint},
    {"toWorldVec", TreeFunction::kToVector},
    {"toCompVec", TreeFunction::kToVector},
    {"fromWorldVec", TreeFunction::kFromVector},
    {"fromCompVec", TreeFunction::kFromVector},
    {"layer", TreeFunction::kLayer},
    {"points", TreeFunction::kPoints},
    {"inTangents", TreeFunction::kInTangents},
    {"outTangents", TreeFunction::kOutTangents},
    {"isClosed", TreeFunction::kIsClosed},
    {"pointOnPath", TreeFunction::kPointOnPath},
    {"tangentOnPath", TreeFunction::kTangentOnPath},
    {"normalOnPath", TreeFunction::kNormalOnPath},
    {"push", TreeFunction::kPush},
};

constexpr FunctionName kMath[] = {
    {"sin", TreeFunction::kSine},        {"cos", TreeFunction::kCosine},
    {"tan", TreeFunction::kTangent},     {"atan2", TreeFunction::kArcTangent2},
    {"exp", TreeFunction::kExponential}, {"sqrt", TreeFunction::kSquareRoot},
    {"abs", TreeFunction::kAbsolute},    {"floor", TreeFunction::kFloor},
    {"ceil", TreeFunction::kCeiling},    {"round", TreeFunction::kRound},
    {"pow", TreeFunction::kPower},       {"min", TreeFunction::kLeast},
    {"max", TreeFunction::kMost},
};

template <size_t kCount>
const TreeFunction* FindFunction(const FunctionName (&names)[kCount], std::string_view name) {
  for (const FunctionName& each : names) {
    if (each.name == name) return &each.function;
  }
  return nullptr;
}

/// Whether it can be called without something in front.
bool StandsAlone(TreeFunction function) {
  return function <= TreeFunction::kFromVector || function == TreeFunction::kComposition;
}

TreeFunction FunctionOfSign(std::string_view sign) {
  switch (sign[0]) {
    case '+':
      return TreeFunction::kSum;
    case '-':
      return TreeFunction::kSubtract;
    case '*':
      return TreeFunction::kMultiply;
    case '/':
      return TreeFunction::kDivide;
    default:
      return TreeFunction::kRemainder;
  }
}

class TreeReader {
 public:
  TreeReader(std::string_view source, ExpressionTree& tree)
      : tokens_(source),
        tree_(tree),
        // As the translator for the engine has it.
        lists_(source.find("$bm_rt") == std::string_view::npos) {}

  void Run() {
    std::vector<int> statements;
    const int last = lists_ ? Slot("", false) : -1;
    value_ = last;
    while (Current().kind != TokenKind::kEnd) statements.push_back(Statement());
    tree_.body = Group(TreeOp::kBlock, statements);
    tree_.value = lists_ ? last : Slot("$bm_rt", false);
    Resolve();
  }

 private:
  struct Variable {
    int slot = -1;
    bool declared = false;
    bool assigned = false;
  };

  class Deeper {
   public:
    explicit Deeper(TreeReader& reader) : reader_(reader) {
      if (++reader_.depth_ > kDeepestTree) throw NotPlain();
    }
    ~Deeper() { --reader_.depth_; }
    Deeper(const Deeper&) = delete;
    Deeper& operator=(const Deeper&) = delete;

   private:
    TreeReader& reader_;
  };

  const Token& Current() const { return tokens_.Current(); }
  bool At(std::string_view what) const { return Current().Is(what); }
  bool Take(std::string_view what) {
    if (!At(what)) return false;
    tokens_.Next();
    return true;
  }
  void Expect(std::string_view what) {
    if (!Take(what)) throw NotPlain();
  }
  std::string_view TakeName() {
    if (Current().kind != TokenKind::kName || IsReservedWord(Current().text)) throw NotPlain();
    const std::string_view name = Current().text;
    if (name.substr(0, 2) == "$$") throw NotPlain();
    tokens_.Next();
    return name;
  }
  void EndStatement() {
    if (Take(";") || At("}") || Current().kind == TokenKind::kEnd || Current().newLine) return;
    throw NotPlain();
  }

  int Add(TreeNode node) {
    if (tree_.nodes.size() >= kMostTreeNodes) throw NotPlain();
    tree_.nodes.push_back(node);
    return static_cast<int>(tree_.nodes.size()) - 1;
  }
  int Add(TreeOp op, int a = -1, int b = -1, int c = -1, int d = -1) {
    TreeNode node;
    node.op = op;
    node.a = a;
    node.b = b;
    node.c = c;
    node.d = d;
    return Add(node);
  }
  int Group(TreeOp op, const std::vector<int>& items) {
    TreeNode node;
    node.op = op;
    SetItems(node, items);
    return Add(node);
  }
  void SetItems(TreeNode& node, const std::vector<int>& items) {
    node.first = static_cast<int>(tree_.items.size());
    node.count = static_cast<int>(items.size());
    tree_.items.insert(tree_.items.end(), items.begin(), items.end());
  }
  int Slot(std::string_view name, bool declares) {
    Variable& variable = variables_[name];
    if (variable.slot < 0) variable.slot = tree_.slots++;
    if (declares) variable.declared = true;
    return variable.slot;
  }
  int AssignTo(std::string_view name, int value) {
    TreeNode node;
    node.op = TreeOp::kAssign;
    node.slot = Slot(name, false);
    node.a = value;
    variables_[name].assigned = true;
    return Add(node);
  }

  int Statement();
  int Declarations();
  int For();
  int Expression();
  int Assignment();
  int Conditional();
  int Binary(int least);
  int Unary();
  int Counted(int target, double by, bool before);
  int Chain(int node);
  int Member(int object, std::string_view name);
  int Primary();
  std::vector<int> Items(std::string_view closing);
  void Resolve();
  void ResolveName(TreeNode& node);

  Tokens tokens_;
  ExpressionTree& tree_;
  bool lists_;
  int value_ = -1;  ///< the slot of the last statement's value
  int depth_ = 0;
  std::map<std::string_view, Variable> variables_;
  std::vector<int> names_;  ///< nodes that name something
  std::vector<int> calls_;  ///< calls of a name
};

int TreeReader::Statement() {
  const Deeper deeper(*this);
  if (Take(";")) return Add(TreeOp::kUndefined);
  if (Take("{")) {
    std::vector<int> statements;
    while (!Take("}")) {
      if (Current().kind == TokenKind::kEnd) throw NotPlain();
      statements.push_back(Statement());
    }
    return Group(TreeOp::kBlock, statements);
  }
  if (At("var") || At("let") || At("const")) {
    tokens_.Next();
    const int declarations = Declarations();
    EndStatement();
    return declarations;
  }
  if (Take("if")) {
    Expect("(");
    const int condition = Expression();
    Expect(")");
    const int then = Statement();
    return Add(TreeOp::kIf, condition, then, Take("else") ? Statement() : -1);
  }
  if (Take("for")) return For();
  if (Take("try")) {
    const int body = Statement();
    Expect("catch");
    if (Take("(")) {
      // What was thrown is the engine's: nobody may look at it.
      const std::string_view name = TakeName();
      Expect(")");
      if (variables_.count(name) != 0) throw NotPlain();
      const int handler = Statement();
      if (variables_.count(name) != 0) throw NotPlain();
      return Add(TreeOp::kTry, body, handler);
    }
    return Add(TreeOp::kTry, body, Statement());
  }
  if (Current().kind == TokenKind::kName && IsReservedWord(Current().text) && !At("true") &&
      !At("false") && !At("null")) {
    throw NotPlain();
  }
  const int expression = Expression();
  EndStatement();
  if (!lists_) return expression;
  TreeNode node;
  node.op = TreeOp::kValue;
  node.slot = value_;
  node.a = expression;
  return Add(node);
}

int TreeReader::Declarations() {
  std::vector<int> assignments;
  do {
    const std::string_view name = TakeName();
    Slot(name, true);
    if (Take("=")) assignments.push_back(AssignTo(name, Assignment()));
  } while (Take(","));
  return Group(TreeOp::kBlock, assignments);
}

int TreeReader::For() {
  Expect("(");
  int first = -1;
  if (At("var") || At("let") || At("const")) {
    tokens_.Next();
    first = Declarations();
  } else if (!At(";")) {
    first = Expression();
  }
  Expect(";");
  const int condition = At(";") ? -1 : Expression();
  Expect(";");
  const int step = At(")") ? -1 : Expression();
  Expect(")");
  return Add(TreeOp::kLoop, first, condition, step, Statement());
}

int TreeReader::Expression() {
  int node = Assignment();
  while (Take(",")) node = Add(TreeOp::kSequence, node, Assignment());
  return node;
}

int TreeReader::Assignment() {
  const Deeper deeper(*this);
  const int target = Conditional();
  static constexpr std::string_view kSigns[] = {"=", "+=", "-=", "*=", "/="};
  if (Current().kind != TokenKind::kSign) return target;
  const auto* const sign = std::find(std::begin(kSigns), std::end(kSigns), Current().text);
  // Any other is found where the statement has to end.
  if (sign == std::end(kSigns)) return target;
  tokens_.Next();
  int value = Assignment();
  const TreeNode left = tree_.nodes[static_cast<size_t>(target)];
  if (left.op == TreeOp::kItem && *sign == "=") {
    return Add(TreeOp::kSetItem, left.a, left.b, value);
  }
  if (left.op != TreeOp::kVariable) throw NotPlain();
  if (*sign != "=") {
    TreeNode sum;
    sum.op = lists_ ? TreeOp::kFunction : TreeOp::kCalculate;
    sum.function = FunctionOfSign(*sign);
    sum.a = target;
    sum.b = value;
    if (lists_) SetItems(sum, {target, value});
    value = Add(sum);
  }
  return AssignTo(left.text, value);
}

int TreeReader::Conditional() {
  const int condition = Binary(1);
  if (!Take("?")) return condition;
  const int then = Assignment();
  Expect(":");
  return Add(TreeOp::kChoice, condition, then, Assignment());
}

int TreeReader::Binary(int least) {
  int left = Unary();
  for (;;) {
    const int precedence = PrecedenceOf(Current());
    if (precedence < least || precedence == 0) return left;
    const std::string_view sign = Current().text;
    tokens_.Next();
    const Deeper deeper(*this);
    TreeNode node;
    node.a = left;
    node.b = Binary(precedence + 1);
    if (sign == "&&" || sign == "||") {
      node.op = sign == "&&" ? TreeOp::kAnd : TreeOp::kOr;
    } else if (sign == "==" || sign == "!=" || sign == "===" || sign == "!==") {
      node.op = TreeOp::kEqual;
      node.detail = sign.size() == 3 ? 's' : '=';
      node.negated = sign[0] == '!';
    } else if (sign == "<" || sign == ">" || sign == "<=" || sign == ">=") {
      node.op = TreeOp::kCompare;
      node.detail = sign.size() == 1 ? sign[0] : sign[0] == '<' ? 'l' : 'g';
    } else if (sign.size() == 1 && std::string_view("+-*/%").find(sign) != std::string_view::npos) {
      node.op = lists_ ? TreeOp::kFunction : TreeOp::kCalculate;
      node.function = FunctionOfSign(sign);
      if (lists_) SetItems(node, {node.a, node.b});
    } else {
      throw NotPlain();
    }
    left = Add(node);
  }
}

int TreeReader::Counted(int target, double by, bool before) {
  const TreeNode left = tree_.nodes[static_cast<size_t>(target)];
  if (left.op != TreeOp::kVariable) throw NotPlain();
  TreeNode node;
  node.op = TreeOp::kCount;
  node.slot = Slot(left.text, false);
  variables_[left.text].assigned = true;
  node.number = by;
  node.negated = before;
  return Add(node);
}

int TreeReader::Unary() {
  const Deeper deeper(*this);
  if (At("++") || At("--")) {
    const double by = At("++") ? 1 : -1;
    tokens_.Next();
    return Counted(Unary(), by, false);
  }
  if (Take("!")) return Add(TreeOp::kNot, Unary());
  if (Take("-")) {
    const bool number = Current().kind == TokenKind::kNumber;
    const int operand = Unary();
    if (!lists_ || number) return Add(TreeOp::kNegate, operand);
    TreeNode node;
    node.op = TreeOp::kFunction;
    node.function = TreeFunction::kNegate;
    SetItems(node, {operand});
    return Add(node);
  }
  int node = Chain(Primary());
  if ((At("++") || At("--")) && !Current().newLine) {
    const double by = At("++") ? 1 : -1;
    tokens_.Next();
    node = Counted(node, by, true);
  }
  return node;
}

std::vector<int> TreeReader::Items(std::string_view closing) {
  std::vector<int> items;
  while (!Take(closing)) {
    if (At(",")) throw NotPlain();
    items.push_back(Assignment());
    if (!At(closing)) Expect(",");
  }
  return items;
}

int TreeReader::Member(int object, std::string_view name) {
  TreeNode node;
  node.op = TreeOp::kMember;
  node.a = object;
  node.text = name;
  return Add(node);
}

/// Members, items and calls behind a value.
int TreeReader::Chain(int node) {
  const Deeper deeper(*this);
  for (;;) {
    if (Take(".")) {
      if (Current().kind != TokenKind::kName) throw NotPlain();
      const std::string_view name = Current().text;
      tokens_.Next();
      const TreeFunction* const method = FindFunction(kMethods, name);
      if (method != nullptr && Take("(")) {
        TreeNode call;
        call.op = TreeOp::kMethod;
        call.function = *method;
        call.a = node;
        SetItems(call, Items(")"));
        node = Add(call);
      } else {
        node = Member(node, name);
      }
    } else if (Take("[")) {
      const int index = Expression();
      Expect("]");
      node = Add(TreeOp::kItem, node, index);
    } else if (Take("(")) {
      TreeNode call;
      call.op = TreeOp::kCall;
      call.a = node;
      const bool named = tree_.nodes[static_cast<size_t>(node)].op == TreeOp::kVariable;
      SetItems(call, Items(")"));
      node = Add(call);
      if (named) calls_.push_back(node);
    } else if (Current().kind == TokenKind::kTemplate || At("?.")) {
      throw NotPlain();
    } else {
      return node;
    }
  }
}

int TreeReader::Primary() {
  const Token token = Current();
  TreeNode node;
  switch (token.kind) {
    case TokenKind::kString:
      if (token.text.find('\\') != std::string_view::npos) throw NotPlain();
      tokens_.Next();
      node.op = TreeOp::kText;
      node.text = token.text.substr(1, token.text.size() - 2);
      return Add(node);
    case TokenKind::kNumber: {
      // Of decimal digits only; the engine has other ways to write them.
      const char* const end = token.text.data() + token.text.size();
      const auto [read, failure] = std::from_chars(token.text.data(), end, node.number);
      const bool octal = token.text.size() > 1 && token.text[0] == '0' && token.text[1] != '.';
      if (failure != std::errc() || read != end || octal) throw NotPlain();
      tokens_.Next();
      node.op = TreeOp::kNumber;
      return Add(node);
    }
    case TokenKind::kSign: {
      if (Take("(")) {
        const int inside = Expression();
        Expect(")");
        return inside;
      }
      if (Take("[")) return Group(TreeOp::kList, Items("]"));
      throw NotPlain();
    }
    case TokenKind::kName:
      break;
    default:
      throw NotPlain();
  }
  if (At("true") || At("false")) {
    node.op = TreeOp::kBoolean;
    node.number = At("true") ? 1 : 0;
    tokens_.Next();
    return Add(node);
  }
  if (Take("null")) return Add(TreeOp::kNull);
  node.text = TakeName();
  if (node.text == "Math") {
    Expect(".");
    const std::string_view name = Current().text;
    tokens_.Next();
    if (name == "PI") {
      node.op = TreeOp::kNumber;
      node.number = 3.14159265358979323846;
      return Add(node);
    }
    const TreeFunction* const function = FindFunction(kMath, name);
    if (function == nullptr) throw NotPlain();
    Expect("(");
    node.op = TreeOp::kFunction;
    node.function = *function;
    SetItems(node, Items(")"));
    return Add(node);
  }
  node.op = TreeOp::kVariable;
  const int named = Add(node);
  names_.push_back(named);
  return named;
}

/// A name is a variable wherever in the expression it is declared: so this comes last.
void TreeReader::Resolve() {
  if (variables_.count("Math") != 0) throw NotPlain();
  for (const int index : calls_) {
    TreeNode& call = tree_.nodes[static_cast<size_t>(index)];
    TreeNode& callee = tree_.nodes[static_cast<size_t>(call.a)];
    const auto known = variables_.find(callee.text);
    if (known != variables_.end()) continue;
    const TreeFunction* function = FindFunction(kGlobalFunctions, callee.text);
    if (function == nullptr) function = FindFunction(kMethods, callee.text);
    if (function == nullptr || !StandsAlone(*function)) continue;
    call.op = TreeOp::kFunction;
    call.function = *function;
    callee.op = TreeOp::kUndefined;
  }
  for (const int index : names_) {
    TreeNode& node = tree_.nodes[static_cast<size_t>(index)];
    if (node.op == TreeOp::kVariable) ResolveName(node);
  }
  for (const auto& [name, variable] : variables_) {
    const SurroundingName* const surrounding = FindSurrounding(name);
    if (surrounding != nullptr) {
      tree_.given.push_back({variable.slot, surrounding});
    } else if (!lists_ && !variable.declared && !name.empty()) {
      throw NotPlain();  // nobody has declared it: an error
    }
  }
}

void TreeReader::ResolveName(TreeNode& node) {
  const auto known = variables_.find(node.text);
  if (known != variables_.end()) {
    node.slot = known->second.slot;
  } else if (node.text == "undefined") {
    node.op = TreeOp::kUndefined;
  } else {
    node.op = TreeOp::kSurrounding;
    node.surrounding = FindSurrounding(node.text);
    if (node.surrounding == nullptr) throw NotPlain();
  }
}

}  // namespace

std::unique_ptr<ExpressionTree> ReadTree(std::string_view source) {
  auto tree = std::make_unique<ExpressionTree>();
  try {
    TreeReader(source, *tree).Run();
    return tree;
  } catch (const NotPlain&) {
  } catch (const SourceFault&) {  // the translator says what is wrong with it
  }
  return nullptr;
}

}  // namespace plexion_host::movie
