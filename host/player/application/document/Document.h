// What an application.xml becomes.
#ifndef HOST_PLAYER_APPLICATION_DOCUMENT_DOCUMENT_H_
#define HOST_PLAYER_APPLICATION_DOCUMENT_DOCUMENT_H_

#include <memory>
#include <string>
#include <vector>

#include "host/player/application/document/PartLibrary.h"
#include "host/player/application/document/XmlReader.h"
#include "host/player/application/stage/Stage.h"

namespace plexion_host::player::application {

constexpr double kSlowestRate = 1;
constexpr double kFastestRate = 120;
constexpr uint32_t kLargestStage = 8192;
constexpr size_t kMostScripts = 1000;

/// A script that belongs to a document: a file, or what stands in the document from a line on.
struct ScriptReference {
  std::string file;
  std::string text;
  unsigned line = 1;
  /// Of a part's script: whose values it sees. All scripts of one use share it.
  std::shared_ptr<const PartUse> use = nullptr;
};

/// Builds the stage that an application.xml describes; its format is in docs/application.md. `parts`
/// are what it may use.
/// Returns  false with `error` at the first thing that is not as described, in the document or a
///          part. The stage is then of no use.
bool ReadDocument(const std::string& text, PartLibrary& parts, Stage& stage,
                  std::vector<ScriptReference>& scripts, DocumentError& error);

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_DOCUMENT_DOCUMENT_H_
