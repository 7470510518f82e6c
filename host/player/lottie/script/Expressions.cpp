// The engine's heap and budgets, and the evaluation of one expression.
#include "host/player/lottie/script/Expressions.h"

#include <time.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "host/base/Check.h"
#include "host/base/ThreadTime.h"
#include "host/player/WatchedMemory.h"
#include "host/player/lottie/script/Machine.h"
#include "host/player/lottie/script/Translator.h"

namespace plexion_host::movie {

namespace {

/// No list or text of one expression needs more at once.
constexpr size_t kLargestBlock = 1u << 20;
constexpr double kStepsForByte = 1.0 / 256;
/// Between two looks at the clock.
// Asking for the clock costs as much as some hundred steps.
constexpr double kStepsOfClock = 512;
constexpr int kMostStrikes = 3;
/// Of all expressions of a movie: some megabytes. What comes behind them is the engine's.
constexpr size_t kMostTreeNodesTogether = 20000;
constexpr size_t kLongestFailure = 200;
constexpr double kLargestNumber = 1e9;

// Of this thread: a busy machine must not make movies lose their expressions.
double WorkingSeconds() { return static_cast<double>(ThreadTimeNs()) * 1e-9; }

/// In front of each block, so that freeing knows what it had; the block is aligned as the head is.
struct alignas(8) BlockHead {
  size_t bytes;
};

}  // namespace

const char* const kNodeKey = DUK_HIDDEN_SYMBOL("node");

// --- The heap ---

void* ScriptMachine::Allocate(void* data, duk_size_t bytes) {
  auto& machine = *static_cast<ScriptMachine*>(data);
  if (bytes == 0 || !machine.Affords(bytes)) return nullptr;
  void* block = player::AllocateWatched(machine.watchdog_, bytes + sizeof(BlockHead));
  if (block == nullptr) return nullptr;
  static_cast<BlockHead*>(block)->bytes = bytes;
  machine.liveBytes_ += bytes;
  return static_cast<char*>(block) + sizeof(BlockHead);
}

void* ScriptMachine::Reallocate(void* data, void* block, duk_size_t bytes) {
  if (block == nullptr) return Allocate(data, bytes);
  if (bytes == 0) {
    Free(data, block);
    return nullptr;
  }
  // Never in place: the engine frees the old block itself in its own heap only when it has the new
  // one.
  void* larger = Allocate(data, bytes);
  if (larger == nullptr) return nullptr;
  const size_t before =
      reinterpret_cast<BlockHead*>(static_cast<char*>(block) - sizeof(BlockHead))->bytes;
  std::memcpy(larger, block, std::min<size_t>(before, bytes));
  Free(data, block);
  return larger;
}

void ScriptMachine::Free(void* data, void* block) {
  if (block == nullptr) return;
  char* start = static_cast<char*>(block) - sizeof(BlockHead);
  static_cast<ScriptMachine*>(data)->liveBytes_ -= reinterpret_cast<BlockHead*>(start)->bytes;
  player::FreeWatched(start);
}

bool ScriptMachine::Affords(size_t bytes) {
  // While the engine is built, or garbage is collected behind an evaluation, nobody is charged.
  if (counting_) {
    // What is made costs as much as what is done: a script that doubles a text comes to its end.
    const double cost = static_cast<double>(bytes) * kStepsForByte;
    steps_ += cost;
    frameSteps_ += cost;
    sinceClock_ += cost;
    // The failure itself needs some memory, so it is the next step that ends the script.
    if (steps_ > 2.0 * limits_.stepsPerEvaluation) return false;
  }
  return bytes <= kLargestBlock && liveBytes_ + bytes <= limits_.memoryBytes;
}

ScriptMachine& ScriptMachine::Of(duk_context* context) {
  duk_memory_functions functions;
  duk_get_memory_functions(context, &functions);
  return *static_cast<ScriptMachine*>(functions.udata);
}

ScriptMachine::ScriptMachine(qx::plexion::MemoryWatchdog* watchdog, const ExpressionLimits& limits)
    : watchdog_(watchdog), limits_(limits) {}

ScriptMachine::~ScriptMachine() {
  // Finalizers may run in there, on nobody's account.
  counting_ = false;
  if (context_ != nullptr) duk_destroy_heap(context_);
}

void ScriptMachine::Build() {
  context_ = duk_create_heap(Allocate, Reallocate, Free, this, nullptr);
  if (context_ == nullptr) {
    broken_ = "there is no memory for the script engine";
    return;
  }
  // Everything that can throw in the engine runs inside of a safe call: outside of one a throw
  // would end the process.
  if (duk_safe_call(context_, BuildSafely, nullptr, 0, 1) != DUK_EXEC_SUCCESS) {
    broken_ = std::string("the script engine did not start: ") + duk_safe_to_string(context_, -1);
  }
  duk_pop(context_);
}

duk_ret_t ScriptMachine::BuildSafely(duk_context* context, void*) {
  // The stash is out of reach of scripts: what lies there lives as long as the heap, and nobody
  // changes it.
  duk_push_global_stash(context);
  duk_push_array(context);
  duk_put_prop_string(context, -2, "nodes");
  duk_push_object(context);
  duk_put_prop_string(context, -2, "programs");
  duk_pop(context);
  AddVectorFunctions(context);
  AddTimeFunctions(context);
  AddPaths(context);
  AddObjects(context);
  duk_push_string(context, "prelude");
  duk_compile_string_filename(context, DUK_COMPILE_FUNCTION, kPrelude);
  duk_push_global_object(context);
  duk_call(context, 1);
  return 1;
}

// --- Budgets ---

bool ScriptMachine::SpentTime() {
  sinceClock_ = 0;
  const double now = WorkingSeconds();
  if (startSeconds_ == 0) startSeconds_ = now;
  return now - startSeconds_ > limits_.secondsPerEvaluation;
}

void ScriptMachine::Charge(duk_context* context, double steps) {
  // NaN is neither more nor less than one.
  if (!(steps >= 1)) steps = 1;
  steps_ += steps;
  frameSteps_ += steps;
  sinceClock_ += steps;
  if (spent_ == nullptr) {
    const bool own = steps_ > limits_.stepsPerEvaluation;
    if (!own && frameSteps_ > limits_.stepsPerFrame) {
      spent_ = "the expressions of one frame take too long";
    } else if (own || (sinceClock_ > kStepsOfClock && SpentTime())) {
      spent_ = "it takes too long";
    }
  }
  // Again and again, should the script catch it.
  if (spent_ != nullptr) (void)duk_error(context, DUK_ERR_RANGE_ERROR, "%s", spent_);
}

bool ScriptMachine::Spend(double steps) {
  steps = std::max(steps, 1.0);
  steps_ += steps;
  frameSteps_ += steps;
  sinceClock_ += steps;
  return steps_ <= limits_.stepsPerEvaluation && frameSteps_ <= limits_.stepsPerFrame &&
         (sinceClock_ <= kStepsOfClock || !SpentTime());
}

double ScriptMachine::NextRandom() {
  timed_ = timed_ || !steadyChance_;
  // The generator is splitmix64: by a counter, so that the same site and time give the same numbers
  // again, in whatever order frames are drawn.
  chance_ += 0x9E3779B97F4A7C15u;
  uint64_t mixed = chance_;
  mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9u;
  mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EBu;
  mixed ^= mixed >> 31;
  // The 53 bits that a double holds, as a share of one.
  return static_cast<double>(mixed >> 11) / 9007199254740992.0;
}

void ScriptMachine::SeedRandom(double seed, bool timeless) {
  uint64_t time = 0;
  std::memcpy(&time, &time_, sizeof(time));
  uint64_t own = 0;
  std::memcpy(&own, &seed, sizeof(own));
  // The site's, so that ten layers with one expression do not shake alike.
  variation_ = (uint64_t{site_->seed} << 32) ^ own * 0xD6E8FEB86659FD93u;
  chance_ = variation_;
  if (!timeless) chance_ ^= time * 0xA0761D6478BD642Fu;
  steadyChance_ = true;
  NextRandom();  // neighbours' first numbers resemble each other
  steadyChance_ = timeless;
}

// --- Reading the scene ---

const ScriptValue* ScriptMachine::Read(const SceneNode& property, double seconds,
                                       bool scripted) noexcept {
  PLEXION_CHECK(scene_ != nullptr && !busy_.empty(), "only an expression reads");
  try {
    // By depth: reading a property may evaluate its expression, which reads in turn. A deque, so
    // that values of outer readings stay where they are.
    while (values_.size() <= reading_) values_.emplace_back();
    ScriptValue& value = values_[reading_];
    value.kind = ScriptValue::Kind::kNone;
    ++reading_;
    // One that is being worked out answers with its keys: otherwise two that look at each other
    // would never end.
    const bool busy = scripted && IsBusy(property);
    if (busy && !(property == site_->property)) ++cuts_;
    const bool found = scene_->ValueAt(property, seconds, scripted && !busy, value);
    --reading_;
    return found && value.kind != ScriptValue::Kind::kNone ? &value : nullptr;
  } catch (...) {
    if (reading_ > 0) --reading_;
    return nullptr;
  }
}

const ScriptValue* ScriptMachine::ReadKey(const SceneNode& property, int key) noexcept {
  try {
    while (values_.size() <= reading_) values_.emplace_back();
    values_[reading_].kind = ScriptValue::Kind::kNone;
    scene_->KeyValue(property, key, values_[reading_]);
    return &values_[reading_];
  } catch (...) {
    return nullptr;
  }
}

double ScriptMachine::ReadingTimeOf(const SceneNode& node) noexcept {
  if (node == site_->property || node == site_->layer) return time_;
  return scene_->NowOf(node);
}

bool ScriptMachine::IsBusy(const SceneNode& property) const {
  return std::find(busy_.begin(), busy_.end(), property) != busy_.end();
}

// Objects of the script are made once for each node and found again by it: "==" of two of them
// works.
ScriptMachine::KeptNode* ScriptMachine::Keep(const SceneNode& node) noexcept {
  try {
    const auto number = static_cast<unsigned>(nodes_.size());
    const auto [entry, fresh] = nodes_.try_emplace(node);
    if (fresh) entry->second = {node, number, nullptr};
    return &entry->second;
  } catch (...) {
    return nullptr;
  }
}

void ScriptMachine::PushStored(duk_context* context, const char* name, void*& known) {
  if (known == nullptr) {
    duk_push_global_stash(context);
    duk_get_prop_string(context, -1, name);
    duk_remove(context, -2);
    known = duk_get_heapptr(context, -1);
  } else {
    duk_push_heapptr(context, known);
  }
}

// --- Compiling ---

int ScriptMachine::Compile(std::string_view source, std::string& error) {
  // The same text in a hundred layers is compiled once.
  const auto known = bySource_.find(source);
  if (known != bySource_.end()) return known->second;
  if (source.size() > limits_.sourceBytes) {
    error = "an expression of " + std::to_string(source.size()) + " bytes; at most " +
            std::to_string(limits_.sourceBytes) + " are allowed";
    return Expressions::kNone;
  }
  if (context_ == nullptr && broken_.empty()) Build();
  if (!broken_.empty()) {
    error = broken_;
    return Expressions::kNone;
  }
  Translation translation;
  if (!TranslateExpression(source, translation, error)) return Expressions::kNone;

  Program program;
  program.source = source;
  program.usesThis = translation.usesThis;
  // What surrounds an expression comes as parameters: only the names that it uses are made for it.
  std::string head = "(function($$t,$$this";
  for (const std::string& name : translation.names) {
    program.timed = program.timed || name == "Date";
    if (!IsSurrounding(name)) continue;  // the language's own, or the author's
    program.arguments.push_back(name);
    head += "," + name;
  }
  // Strict: an assignment to a name that nobody declared is an error, and "this" is nothing but
  // what is given.
  const std::string code = head + "){'use strict';" + translation.code + "})";
  CompileRun run{&code, nullptr};
  if (duk_safe_call(context_, CompileSafely, &run, 0, 1) != DUK_EXEC_SUCCESS) {
    error = duk_safe_to_string(context_, -1);
    error.resize(std::min(error.size(), kLongestFailure));
    duk_pop(context_);
    return Expressions::kNone;
  }
  duk_pop(context_);
  program.function = run.function;
  programs_.push_back(std::move(program));
  if (limits_.trees && treeNodes_ < kMostTreeNodesTogether) {
    // Of the source where it stays.
    Program& made = programs_.back();
    made.tree = ReadTree(made.source);
    if (made.tree != nullptr) treeNodes_ += made.tree->nodes.size();
  }
  const int number = static_cast<int>(programs_.size()) - 1;
  bySource_.emplace(source, number);
  return number;
}

duk_ret_t ScriptMachine::CompileSafely(duk_context* context, void* data) {
  auto& run = *static_cast<CompileRun*>(data);
  duk_push_global_stash(context);
  duk_get_prop_string(context, -1, "programs");
  duk_push_string(context, "expression");
  duk_compile_lstring_filename(context, DUK_COMPILE_EVAL, run.code->data(), run.code->size());
  duk_call(context, 0);
  run.function = duk_get_heapptr(context, -1);
  // By its address as a key: the engine moves no objects, and this one must not be collected.
  // Kept for as long as the heap lives.
  duk_push_pointer(context, run.function);
  duk_safe_to_string(context, -1);
  duk_swap_top(context, -2);
  duk_put_prop(context, -3);
  duk_push_undefined(context);
  return 1;
}

// --- Evaluating ---

bool ScriptMachine::Evaluate(int expression, IScriptScene& scene, const ExpressionSite& site,
                             const ScriptValue& keyed, ScriptValue& result, bool* timeless) {
  if (expression == Expressions::kNone) return false;
  PLEXION_CHECK(expression >= 0 && expression < static_cast<int>(programs_.size()),
                "the number comes from Compile");
  PLEXION_CHECK(site.textIndex >= 0 && site.textIndex <= site.textTotal,
                "a part is one of its text's");
  Program& program = programs_[static_cast<size_t>(expression)];
  const bool selector = site.textTotal > 0;
  // Failed ones rest for good; the depth and the circle are ends that every movie may meet.
  if (program.failed || static_cast<int>(busy_.size()) >= limits_.nesting ||
      (!selector && IsBusy(site.property))) {
    return false;
  }
  if (frameSteps_ > limits_.stepsPerFrame) return false;

  // An evaluation inside of another, when that reads a property: all that belongs to the outer one
  // is put aside on this stack.
  IScriptScene* const outerScene = scene_;
  const ExpressionSite* const outerSite = site_;
  const double outerTime = time_;
  const uint64_t outerChance = chance_;
  const uint64_t outerVariation = variation_;
  const bool outerSteady = steadyChance_;
  const bool outerTimed = timed_;
  const double outerSteps = steps_;
  const char* const outerSpent = spent_;
  const double outerStart = startSeconds_;
  const size_t outerReading = reading_;
  scene_ = &scene;
  site_ = &site;
  time_ = site.seconds;
  steps_ = 0;
  spent_ = nullptr;
  // One clock for all that is read on behalf of the outermost.
  if (busy_.empty()) startSeconds_ = 0;
  busy_.push_back(site.property);
  counting_ = true;
  SeedRandom(0, false);
  timed_ = program.timed;

  std::string why;
  if (!WalkTree(program, keyed, result)) why = RunScript(program, keyed, result);

  // It had used less than half of its own: the frame's budget went to others.
  const bool frameSpent = spent_ != nullptr && steps_ <= limits_.stepsPerEvaluation / 2.0;

  busy_.pop_back();
  counting_ = !busy_.empty();
  scene_ = outerScene;
  site_ = outerSite;
  time_ = outerTime;
  chance_ = outerChance;
  variation_ = outerVariation;
  steadyChance_ = outerSteady;
  if (timeless != nullptr) *timeless = !timed_;
  timed_ = outerTimed;
  steps_ = outerSteps + steps_;  // what is read on behalf of another is its cost as well
  spent_ = outerSpent;
  startSeconds_ = outerStart;
  reading_ = outerReading;
  if (why.empty()) return true;
  // Others may have spent the frame's budget; who is there each time is the reason.
  // One that is there three times when the frame's budget ends is taken to be the one that spends
  // it.
  if (!frameSpent || ++program.strikes >= kMostStrikes) Fail(expression, std::move(why));
  return false;
}

/// Returns  why it has failed; empty when it has not.
std::string ScriptMachine::RunScript(const Program& program, const ScriptValue& keyed,
                                     ScriptValue& result) {
  ++engineRuns_;
  Run run{this, &program, &keyed, &result, nullptr};
  const bool ran = duk_check_stack(context_, 8) != 0 &&
                   duk_safe_call(context_, RunSafely, &run, 0, 1) == DUK_EXEC_SUCCESS;
  std::string why;
  if (!ran) {
    why = spent_ != nullptr ? spent_ : duk_safe_to_string(context_, -1);
    // A script may have caught the budget's error and thrown one of its own.
    if (steps_ > limits_.stepsPerEvaluation) why = "it takes too long";
    if (why.find("alloc failed") != std::string::npos) why = "it takes too much memory";
  } else if (run.fault != nullptr) {
    why = run.fault;
  }
  duk_pop(context_);
  return why;
}

duk_ret_t ScriptMachine::RunSafely(duk_context* context, void* data) {
  Run& run = *static_cast<Run*>(data);
  ScriptMachine& machine = *run.machine;
  const Program& program = *run.program;
  // The engine does not check this by itself, and would write beyond its stack.
  duk_require_stack(context, static_cast<duk_idx_t>(program.arguments.size()) + 16);
  duk_push_heapptr(context, program.function);
  PushStored(context, "step", machine.step_);
  if (program.usesThis) {
    machine.PushProperty(context, machine.site_->property, machine.time_, false);
  } else {
    duk_push_undefined(context);
  }
  for (const std::string& name : program.arguments) {
    machine.PushArgument(context, name, *run.keyed);
  }
  duk_call(context, static_cast<duk_idx_t>(program.arguments.size()) + 2);
  // A property or a boxed number stands for its value; what it is now is asked of the scene.
  const SceneNode node = NodeAt(context, -1);
  if (node.kind == NodeKind::kProperty && (duk_is_function(context, -1) != 0)) {
    duk_pop(context);
    machine.PushProperty(context, node, machine.ReadingTimeOf(node), true);
  }
  if (run.keyed->kind == ScriptValue::Kind::kText && !duk_is_undefined(context, -1)) {
    duk_to_string(context, -1);
  }
  run.fault = TakeResult(context, *run.keyed, machine.site_->textTotal > 0, *run.result);
  return 1;
}

/// The expression's value by its tree. Returns  false when only the engine can say it.
bool ScriptMachine::WalkTree(Program& program, const ScriptValue& keyed,
                             ScriptValue& result) noexcept {
  // One that leads nowhere each time costs twice as much as none.
  constexpr int kMostWalks = 4;
  if (program.tree == nullptr || program.givenUp >= kMostWalks) return false;
  const double frameSteps = frameSteps_;
  const uint64_t cuts = cuts_;
  try {
    if (trees_.Evaluate(*program.tree, keyed, result)) {
      program.givenUp = 0;
      return true;
    }
  } catch (...) {  // no memory: the engine says so
  }
  ++program.givenUp;
  // As if nothing had been done.
  steps_ = 0;
  frameSteps_ = frameSteps;
  cuts_ = cuts;
  timed_ = program.timed;
  return false;
}

const char* TakePath(const double* numbers, size_t count, bool closed, ScriptValue& result) {
  result.kind = ScriptValue::Kind::kPath;
  result.closed = closed;
  result.path.assign(numbers, numbers + count);
  // NaN would travel into transforms and boxes, where "<" and ">" both say no.
  for (double& number : result.path) {
    if (!std::isfinite(number)) return "it gives a path with a point that is no number";
    number = std::clamp(number, -kLargestNumber, kLargestNumber);
  }
  return nullptr;
}

const char* TakeNumbers(const ScriptOperand& operand, const ScriptValue& keyed, bool spread,
                        ScriptValue& result) {
  result.kind = keyed.kind;
  result.numbers = keyed.numbers;
  const bool all = !operand.list && spread;  // a selector's number is for all its directions
  if (!operand.list && !spread && keyed.kind == ScriptValue::Kind::kVector &&
      keyed.numbers.size() > 1) {
    return "it gives a number where a list is expected";
  }
  // Fewer numbers than the property has: the others keep their keyed values.
  const size_t count =
      std::min<size_t>(all ? keyed.numbers.size() : operand.count, result.numbers.size());
  if (count == 0) return "it gives an empty list";
  for (size_t i = 0; i < count; ++i) {
    const double number = operand.numbers[all ? 0 : i];
    if (!std::isfinite(number)) return "it gives something that is no number";
    result.numbers[i] = std::clamp(number, -kLargestNumber, kLargestNumber);
  }
  return nullptr;
}

// Into `result` only what a property of this kind can hold; what is wrong is said in the words of
// the movie's author.
const char* ScriptMachine::TakeResult(duk_context* context, const ScriptValue& keyed, bool spread,
                                      ScriptValue& result) noexcept {
  try {
    if (duk_is_null_or_undefined(context, -1)) return "it gives no value";
    result.kind = keyed.kind;
    switch (keyed.kind) {
      case ScriptValue::Kind::kText: {
        size_t bytes = 0;
        const char* text = duk_get_lstring(context, -1, &bytes);
        if (text == nullptr) return "it gives no text";
        result.text.assign(text, bytes);
        return nullptr;
      }
      case ScriptValue::Kind::kPath: {
        size_t count = 0;
        const double* numbers = PathAt(context, -1, count, result.closed);
        if (numbers == nullptr) return "it gives no path";
        return TakePath(numbers, count, result.closed, result);
      }
      case ScriptValue::Kind::kNumber:
      case ScriptValue::Kind::kVector:
        break;
      case ScriptValue::Kind::kNone:
        return "its property cannot have an expression";
    }
    ScriptOperand operand;
    if (!ReadOperand(context, -1, operand)) return "it gives neither a number nor a list of them";
    return TakeNumbers(operand, keyed, spread, result);
  } catch (...) {
    return "there is no memory for its value";
  }
}

void ScriptMachine::Fail(int expression, std::string why) {
  PLEXION_CHECK(!why.empty(), "a failure has a reason");
  programs_[static_cast<size_t>(expression)].failed = true;
  why.resize(std::min(why.size(), kLongestFailure));
  failures_.emplace_back(expression, std::move(why));
}

bool ScriptMachine::TakeFailure(int& expression, std::string& why) {
  if (failures_.empty()) return false;
  expression = failures_.back().first;
  why = std::move(failures_.back().second);
  failures_.pop_back();
  return true;
}

// --- The front ---

Expressions::Expressions(qx::plexion::MemoryWatchdog* watchdog, const ExpressionLimits& limits)
    : machine_(std::make_unique<ScriptMachine>(watchdog, limits)) {}

Expressions::~Expressions() = default;

int Expressions::Compile(std::string_view source, std::string& error) {
  return machine_->Compile(source, error);
}

void Expressions::BeginFrame() { machine_->BeginFrame(); }

bool Expressions::Evaluate(int expression, IScriptScene& scene, const ExpressionSite& site,
                           const ScriptValue& keyed, ScriptValue& result, bool* timeless) {
  return machine_->Evaluate(expression, scene, site, keyed, result, timeless);
}

bool Expressions::TakeFailure(int& expression, std::string& why) {
  return machine_->TakeFailure(expression, why);
}

uint64_t Expressions::Cuts() const { return machine_->Cuts(); }

uint64_t Expressions::EngineRuns() const { return machine_->EngineRuns(); }

size_t Expressions::TreeBytes() const { return machine_->TreeBytes(); }

size_t Expressions::MemoryBytes() const { return machine_->MemoryBytes(); }

}  // namespace plexion_host::movie
