// A viewer of the pointer stream.

#ifndef TESTS_HOST_POINTER_VNCVIEWER_H_
#define TESTS_HOST_POINTER_VNCVIEWER_H_

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

struct _rfbClient;

namespace plexion_host {

/// A viewer of the pointer stream, on the protocol's own client library.
class VncViewer {
 public:
  VncViewer() = default;
  ~VncViewer() { Disconnect(); }
  VncViewer(const VncViewer&) = delete;
  VncViewer& operator=(const VncViewer&) = delete;

  bool Connect(int port, const std::string& password = "", const char* encodings = "zrle");
  /// Without a word.
  void Disconnect();

  uint32_t GetWidth() const;
  uint32_t GetHeight() const;
  /// 0xFFRRGGBB.
  std::vector<uint32_t> GetPixels() const;
  /// Handles messages until the picture is as wanted, or nothing more comes.
  bool WaitForPicture(const std::function<bool(const std::vector<uint32_t>&)>& wanted);
  /// Asks for the whole picture and waits for the first answer that has pixels in it.
  bool FetchWhole();

  void Point(int x, int y, int buttons);
  void Key(uint32_t keysym, bool down);

 private:
  bool HandleOne();

  _rfbClient* client_ = nullptr;
};

}  // namespace plexion_host

#endif  // TESTS_HOST_POINTER_VNCVIEWER_H_
