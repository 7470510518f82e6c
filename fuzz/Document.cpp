// An application's document: what passes its checks makes a stage within its limits, which is
// drawn.

#include "host/player/application/document/Document.h"

#include <algorithm>
#include <vector>

#include "fuzz/FuzzInput.h"
#include "host/base/Text.h"
#include "host/player/application/paint/Painter.h"

namespace {

using namespace plexion_host::player;  // NOLINT(google-build-using-namespace): a program
using namespace plexion_host::player::application;  // NOLINT(google-build-using-namespace): of one
                                                    // file

constexpr char kPlainPart[] =
    "<part width='9'><parameter name='a'/><parameter name='n' type='number' default='1'/>"
    "<text id='t' text='{a}' x='{n}' width='{width}'/><script src='{folder}a.lua'/></part>";

class NothingPlays final : public EmbeddedSource {
 public:
  EmbeddedPixels Render(Element&, double, double) override { return {}; }
};

void RequireTree(const Element& element, unsigned depth, size_t& count) {
  Require(depth <= kDeepestNesting, "nesting");
  Require(element.children.empty() || element.kind == ElementKind::kGroup,
          "only groups hold elements");
  ++count;
  for (const auto& child : element.children) {
    Require(child->parent == &element, "parent");
    RequireTree(*child, depth + 1, count);
  }
}

void RequireRefusal(const DocumentError& error, const std::string& text) {
  Require(!error.what.empty(), "a refusal says why");
  // A carriage return alone ends a line as well.
  const auto lines = static_cast<unsigned>(std::count(text.begin(), text.end(), '\n') +
                                           std::count(text.begin(), text.end(), '\r')) +
                     1;
  Require(error.place.line >= 1 && error.place.line <= lines && error.place.column >= 1,
          "a refusal says where");
}

/// Drawn whole, then once more as if nothing had changed: then nothing is drawn.
void Draw(Stage& stage) {
  const DrawingHost host = {[] { return false; }, [](const Element&, const std::string&) {}};
  static TextLayouts texts(host);
  texts.Keep([](uint32_t) { return false; });
  NothingPlays played;
  Painter painter(stage, texts, played, nullptr, host);
  std::vector<uint32_t> pixels(size_t{32} * 32);
  DrawTarget target;
  target.pixels = pixels.data();
  target.pitchBytes = 32 * 4;
  target.dims = {32, 32};
  target.everything = true;
  const StageFit fit =
      StageFit::Of(stage.width, stage.height, target.dims, plexion_host::Fit::kContain);
  Require(painter.Draw(target, fit, {}).drawn, "the first picture is drawn");
  target.everything = false;
  Require(!painter.Draw(target, fit, {}).drawn, "nothing is drawn when nothing changed");
}

}  // namespace

/// The font library keeps what it read of the system's fonts until the process ends.
extern "C" const char* __lsan_default_suppressions() {  // NOLINT(bugprone-reserved-identifier)
  return "leak:libfontconfig";
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  Stage stage;
  std::vector<ScriptReference> scripts;
  DocumentError error;
  // The input is a part as well, and one that uses itself when it says so; "plain.xml" is a good one.
  PartLibrary parts(
      [&](const std::string& name, uint64_t limit, std::string& part, std::string& reason) {
        part = name == "plain.xml" ? kPlainPart : text;
        reason = "it is too large";
        return part.size() <= limit;
      });
  if (!ReadDocument(text, parts, stage, scripts, error)) {
    RequireRefusal(error, error.file == "plain.xml" ? kPlainPart : text);
    return 0;
  }
  Require(plexion_host::IsUtf8(text), "only UTF-8 is read");
  Require(stage.width >= 1 && stage.width <= kLargestStage, "width");
  Require(stage.height >= 1 && stage.height <= kLargestStage, "height");
  Require(stage.framesPerSecond >= kSlowestRate && stage.framesPerSecond <= kFastestRate, "rate");
  Require(stage.CurrentScene() != nullptr, "a scene is shown");
  size_t count = 0;
  RequireTree(stage.Backdrop(), 1, count);
  RequireTree(stage.Overlay(), 1, count);
  for (const auto& scene : stage.Scenes()) RequireTree(*scene, 1, count);
  Require(count == stage.ElementCount() && count <= kMostElements, "number of elements");
  for (const ScriptReference& script : scripts) {
    Require(script.file.empty() != script.text.empty(), "a script is a file or a text");
    Require(script.use == nullptr || stage.FindByHandle(script.use->root) != nullptr,
            "a part's script has a group");
  }
  Draw(stage);
  return 0;
}
