// Gives the text layouts the fonts of folders.
#ifndef HOST_PLAYER_APPLICATION_PAINT_LETTERS_FONTFOLDERS_H_
#define HOST_PLAYER_APPLICATION_PAINT_LETTERS_FONTFOLDERS_H_

#include <stddef.h>

#include <functional>
#include <string>

#include "host/player/application/files/BaseFolder.h"
#include "host/player/application/paint/letters/TextLayouts.h"
#include "host/player/application/stage/Notices.h"

namespace plexion_host::player::application {

/// Fonts of an application and its device together; each stays open while the application plays.
constexpr size_t kMostFonts = 200;

class FontFolders {
 public:
  /// `cancelled` is asked before each file: a font may take long to read.
  FontFolders(TextLayouts& texts, Notices& notices, std::function<bool()> cancelled)
      : texts_(texts), notices_(notices), cancelled_(std::move(cancelled)) {}

  /// Of a folder of the application, and of those in it: only files that are there themselves, no
  /// links and no pipes. What is none of these is told.
  void AddBelow(const BaseFolder& base, const std::string& folder);
  /// Of a folder that the operator names, whose links are the operator's own.
  /// Returns  false when no font was found.
  bool AddOfDevice(const std::string& folder);

 private:
  TextLayouts& texts_;
  Notices& notices_;
  const std::function<bool()> cancelled_;
  size_t count_ = 0;
};

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_PAINT_LETTERS_FONTFOLDERS_H_
