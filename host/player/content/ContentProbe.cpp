// The one table of signatures.

#include "host/player/content/ContentProbe.h"

#include <stdio.h>
#include <string.h>

#include <string_view>

#include "host/player/content/ContentFile.h"

namespace plexion_host::player {

namespace {

constexpr size_t kProbedBytes = 4096;

struct Signature {
  size_t offset;
  std::string_view bytes;
  const char* name;
  ContentKind kind = ContentKind::kMedia;
};

using namespace std::string_view_literals;

constexpr Signature kSignatures[] = {
    {0, "\x89PNG\r\n\x1a\n"sv, "PNG picture", ContentKind::kPicture},
    {0, "\xff\xd8\xff"sv, "JPEG picture", ContentKind::kPicture},
    {0, "GIF8"sv, "GIF picture", ContentKind::kPicture},
    {0, "BM"sv, "BMP picture"},
    {0, "II*\0"sv, "TIFF picture"},
    {0, "MM\0*"sv, "TIFF picture"},
    {8, "WEBP"sv, "WebP picture", ContentKind::kPicture},
    {8, "AVI "sv, "AVI video"},
    {8, "WAVE"sv, "WAV sound"},
    {4, "ftyp"sv, "MP4 video"},
    {4, "moov"sv, "QuickTime video"},
    {4, "mdat"sv, "QuickTime video"},
    {0, "\x1a\x45\xdf\xa3"sv, "Matroska video"},
    {0, "OggS"sv, "Ogg stream"},
    {0, "fLaC"sv, "FLAC sound"},
    {0, "ID3"sv, "MP3 sound"},
    {0, "\xff\xfb"sv, "MP3 sound"},
    {0, "\xff\xf3"sv, "MP3 sound"},
    {0, "\xff\xf1"sv, "AAC sound"},
    {0, "\xff\xf9"sv, "AAC sound"},
    {0, "FLV\x01"sv, "FLV video"},
    {0, "\0\0\x01\xba"sv, "MPEG program stream"},
    {0, "\0\0\x01\xb3"sv, "MPEG video"},
    {0, "\x30\x26\xb2\x75"sv, "ASF video"},
    {0, ".snd"sv, "AU sound"},
    {0, "FORM"sv, "AIFF sound"},
};

/// Of an unknown kind when the bytes are no media.
ProbeResult MediaOf(std::string_view head) {
  for (const Signature& signature : kSignatures) {
    if (head.size() >= signature.offset + signature.bytes.size() &&
        head.compare(signature.offset, signature.bytes.size(), signature.bytes) == 0) {
      return {signature.kind, signature.name};
    }
  }
  // A transport stream has nothing but its sync byte, once a packet.
  constexpr size_t kPacket = 188;
  if (head.size() > 2 * kPacket && head[0] == 'G' && head[kPacket] == 'G' &&
      head[2 * kPacket] == 'G') {
    return {ContentKind::kMedia, "MPEG transport stream"};
  }
  return {};
}

std::string Shown(unsigned char byte) {
  char text[8];
  snprintf(text, sizeof text, byte > 0x20 && byte < 0x7F ? "'%c'" : "0x%02X", byte);
  return text;
}

}  // namespace

ProbeResult ProbeBytes(const unsigned char* bytes, size_t count) {
  const std::string_view head(reinterpret_cast<const char*>(bytes), count);
  // A movie may come packed: alone, or in an archive with its pictures.
  if (head.compare(0, 2, "\x1f\x8b"sv) == 0) return {ContentKind::kMovie, "packed movie"};
  if (head.compare(0, 4, "PK\x03\x04"sv) == 0) return {ContentKind::kMovie, "movie archive"};
  // Before texts: bytes of media may begin with anything that a text begins with, but not the other
  // way round.
  const ProbeResult media = MediaOf(head);
  if (media.kind != ContentKind::kUnknown) return media;

  size_t first = head.compare(0, 3, "\xef\xbb\xbf") == 0 ? 3 : 0;
  size_t line = 1;
  while (first < count && strchr(" \t\r\n", bytes[first]) != nullptr && bytes[first] != 0) {
    line += bytes[first] == '\n' ? 1 : 0;
    ++first;
  }
  if (first == count) {
    return {ContentKind::kUnknown, "nothing but blanks; expected a movie, which starts with '{'"};
  }
  if (head[first] == '{') return {ContentKind::kMovie, "movie"};
  if (head[first] == '<' && head.find("<application") != std::string_view::npos) {
    return {ContentKind::kApplication, "application"};
  }
  if (head[first] == '<' && head.find("<svg") != std::string_view::npos) {
    return {ContentKind::kPicture, kSvgFormat};
  }
  return {ContentKind::kUnknown,
          "unknown format: it starts with " + Shown(bytes[first]) + " at byte " +
              std::to_string(first) + " (line " + std::to_string(line) +
              "); expected a movie, which starts with '{', or a known media format"};
}

bool ProbeContent(const ContentAddress& content, ProbeResult& result, EngineError& error) {
  if (!content.url.empty()) {
    // Only the media engine speaks to servers; it finds out what it gets when it gets it.
    result = {ContentKind::kMedia, "remote content"};
    return true;
  }
  ContentFile file;
  if (!file.Open(content.path, error)) return false;
  if (file.IsDirectory()) {
    result = {ContentKind::kApplication, "folder"};
    return true;
  }
  unsigned char head[kProbedBytes];
  const long count = file.Read(head, sizeof head, error);
  if (count < 0) return false;
  if (count == 0) {
    error = {qx::plexion::kErrorCorruptMovie, "the file is empty (0 bytes)"};
    return false;
  }
  result = ProbeBytes(head, static_cast<size_t>(count));
  return true;
}

}  // namespace plexion_host::player
