// Puts the framework's errors into sentences that help.

#include "host/player/media/pipeline/MediaFaults.h"

#include <gst/pbutils/pbutils.h>

#include <string_view>

#include "host/player/media/framework/GstPointers.h"

namespace plexion_host::player {

using qx::plexion::StageWindowStatus;

namespace {

struct KnownPackage {
  std::string_view start;  // of the type
  const char* package;
};

// What is not named here: decoders are in the libav package, other parts in the "bad" one.
constexpr KnownPackage kPackages[] = {
    {"image/svg", "gstreamer1.0-plugins-bad"},
    {"image/webp", "gstreamer1.0-plugins-bad"},
    {"video/x-av1", "gstreamer1.0-plugins-bad"},
    {"image/jp2", "gstreamer1.0-plugins-bad"},
    {"image/x-j2c", "gstreamer1.0-plugins-bad"},
    {"audio/midi", "gstreamer1.0-plugins-bad"},
    {"audio/riff-midi", "gstreamer1.0-plugins-bad"},
    {"audio/x-mod", "gstreamer1.0-plugins-bad"},
    {"image/x-tga", "gstreamer1.0-plugins-good"},
    {"video/x-dirac", "gstreamer1.0-plugins-bad"},
    {"video/mpegts", "gstreamer1.0-plugins-bad"},
    {"video/x-ms-asf", "gstreamer1.0-plugins-ugly"},
    {"application/vnd.rn-realmedia", "gstreamer1.0-plugins-ugly"},
    {"audio/x-sid", "gstreamer1.0-plugins-ugly"},
    {"application/x-hls", "gstreamer1.0-plugins-bad"},
    {"application/dash+xml", "gstreamer1.0-plugins-bad"},
    {"http", "gstreamer1.0-plugins-good"},
    {"rtsp", "gstreamer1.0-plugins-good"},
};

const char* PackageOf(const std::string& type, const std::string& details) {
  // A stream of several streams, not a codec's.
  if (details.find("systemstream=(boolean)true") != std::string::npos) {
    return "gstreamer1.0-plugins-bad";
  }
  for (const KnownPackage& known : kPackages) {
    if (std::string_view(type).substr(0, known.start.size()) == known.start) {
      return known.package;
    }
  }
  const bool decoder = type.compare(0, 6, "video/") == 0 || type.compare(0, 6, "audio/") == 0 ||
                       type.compare(0, 6, "image/") == 0;
  return decoder ? "gstreamer1.0-libav" : "gstreamer1.0-plugins-bad";
}

/// A part by which one knows that a package is installed.
constexpr struct {
  std::string_view package;
  const char* part;
} kMarks[] = {
    {"gstreamer1.0-libav", "avdec_h264"},
    {"gstreamer1.0-plugins-bad", "tsdemux"},
    {"gstreamer1.0-plugins-good", "qtdemux"},
    {"gstreamer1.0-plugins-ugly", "asfdemux"},
};

bool IsInstalled(std::string_view package) {
  for (const auto& mark : kMarks) {
    if (mark.package != package) continue;
    GstPluginFeature* part = gst_registry_lookup_feature(gst_registry_get(), mark.part);
    if (part != nullptr) gst_object_unref(part);
    return part != nullptr;
  }
  return false;
}

/// The last line of the framework's details, where the reason stands; its first one is a place in
/// the framework's sources.
std::string LastLine(const GTextPointer& details) {
  std::string text = TextOf(details);
  while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) text.pop_back();
  const size_t line = text.rfind('\n');
  return line == std::string::npos ? std::string() : text.substr(line + 1);
}

std::string WithoutFullStop(std::string text) {
  while (!text.empty() && (text.back() == '.' || text.back() == '\n')) text.pop_back();
  return text;
}

std::string ElementName(GstMessage* message) {
  GstObject* source = GST_MESSAGE_SRC(message);
  if (source == nullptr || !GST_IS_ELEMENT(source)) return "player";
  GstElementFactory* factory = gst_element_get_factory(GST_ELEMENT(source));
  return factory == nullptr ? "player" : GST_OBJECT_NAME(factory);
}

StageWindowStatus StatusOf(const GError& error) {
  if (error.domain == GST_RESOURCE_ERROR) return qx::plexion::kErrorInvalidURL;
  if (error.domain == GST_CORE_ERROR && error.code == GST_CORE_ERROR_MISSING_PLUGIN) {
    return qx::plexion::kErrorUnsupportedVersion;
  }
  if (error.domain != GST_STREAM_ERROR) return qx::plexion::kErrorFatalPlaybackError;
  switch (error.code) {
    case GST_STREAM_ERROR_CODEC_NOT_FOUND:
    case GST_STREAM_ERROR_DECRYPT:
    case GST_STREAM_ERROR_DECRYPT_NOKEY:
      return qx::plexion::kErrorUnsupportedVersion;
    default:
      return qx::plexion::kErrorCorruptMovie;
  }
}

}  // namespace

bool MediaFaults::Take(GstMessage* message) {
  if (!gst_is_missing_plugin_message(message)) return false;
  const GTextPointer what(gst_missing_plugin_message_get_description(message));
  MissingPart part;
  part.what = TextOf(what);
  const GstStructure* structure = gst_message_get_structure(message);
  const GValue* detail = gst_structure_get_value(structure, "detail");
  std::string details;
  if (detail != nullptr && GST_VALUE_HOLDS_CAPS(detail)) {
    const GstCaps* caps = gst_value_get_caps(detail);
    part.type = gst_structure_get_name(gst_caps_get_structure(caps, 0));
    const GTextPointer text(gst_caps_to_string(caps));
    details = TextOf(text);
  } else if (detail != nullptr && G_VALUE_HOLDS_STRING(detail)) {
    part.type = g_value_get_string(detail);
  }
  part.package = PackageOf(part.type, details);
  part.picture = part.type.compare(0, 6, "video/") == 0 || part.type.compare(0, 6, "image/") == 0;
  part.sound = part.type.compare(0, 6, "audio/") == 0;
  missing_.push_back(part);
  return true;
}

const MissingPart* MediaFaults::Picture() const {
  for (const MissingPart& part : missing_) {
    if (part.picture) return &part;
  }
  return nullptr;
}

const MissingPart* MediaFaults::Sound() const {
  for (const MissingPart& part : missing_) {
    if (part.sound) return &part;
  }
  return nullptr;
}

EngineError MediaFaults::Unsupported(const MissingPart& part) {
  const std::string missing = "there is no " + part.what + " (" + part.type + ") on this machine; ";
  // A package that is there already would not help.
  return {
      qx::plexion::kErrorUnsupportedVersion,
      missing + (IsInstalled(part.package) ? "the media framework has none"
                                           : "Debian's package \"" + part.package + "\" has one")};
}

EngineError MediaFaults::FromError(GstMessage* message) const {
  GError* rawError = nullptr;
  gchar* rawDetails = nullptr;
  gst_message_parse_error(message, &rawError, &rawDetails);
  const GErrorPointer error(rawError);
  const GTextPointer details(rawDetails);
  if (error == nullptr) {
    return {qx::plexion::kErrorFatalPlaybackError,
            ElementName(message) + " fails without a reason"};
  }
  const StageWindowStatus status = StatusOf(*error);
  if (status != qx::plexion::kErrorInvalidURL && !missing_.empty()) {
    const MissingPart* picture = Picture();
    return Unsupported(picture != nullptr ? *picture : missing_.front());
  }
  std::string text = WithoutFullStop(error->message) + " (" + ElementName(message);
  const std::string reason = WithoutFullStop(LastLine(details));
  if (!reason.empty() && reason != WithoutFullStop(error->message)) text += ": " + reason;
  return {status, text + ")"};
}

}  // namespace plexion_host::player
