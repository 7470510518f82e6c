// Texts and parameter records, as they stand in recordings.

#include <algorithm>
#include <cstring>
#include <string>

#include "kit/record/Crossing.h"

namespace plexion_record {
namespace {

using morvellib::MorvelInstanceParameters;
using plexion::StageWindowParameters;

/// The fields of the record that are passed on as they are, in the order in
/// which they are recorded.
template <typename Parameters, typename Each>
void ForEachStageField(Parameters& p, const Each& each) {
  each(p.contentPath);
  each(p.keymap);
  each(p.contentDims);
  each(p.outputDims);
  each(p.outputRect);
  each(p.pixelFormat);
  each(p.extraWord);
  each(p.createOutputPlane);
  each(p.scaleToFit);
  each(p.outputPlaneName);
  each(p.bgAlpha);
  each(p.profile);
  each(p.morvelVars);
  each(p.qlrArgs);
  each(p.sslClientCertTable);
  each(p.sslCertsDir);
  each(p.morvelModuleName);
  each(p.hasRectProvider);
  each(p.noSpeedLimit);
  each(p.traceFlags);
  each(p.traceFps);
  each(p.memoryLimit);
  each(p.gcHeapLimit);
  each(p.extraFlag);
  each(p.base);
  each(p.zorBase);
  each(p.zorCmdLine);
  each(p.keyMaster);
  each(p.debugMode);
  each(p.graphicsMemThreshold);
  each(p.proxy);
  each(p.proxyPort);
  each(p.proxyUser);
  each(p.fontDirs);
  each(p.extensionsDir);
  each(p.gl);
  each(p.dcts);
  each(p.spdump);
  each(p.instrument);
  each(p.mouseStream);
  each(p.mouseFeedback);
  each(p.locale);
}

template <typename Parameters, typename Each>
void ForEachPlayerField(Parameters& p, const Each& each) {
  each(p.moduleName);
  each(p.contentUrl);
  each(p.base);
  each(p.zorBase);
  each(p.zorCmdLine);
  each(p.keymap);
  each(p.morvelVars);
  each(p.qlrArgs);
  each(p.sslClientCertTable);
  each(p.sslCertsDir);
  each(p.fontDirs);
  each(p.extensionsDir);
  each(p.proxy);
  each(p.proxyUser);
  each(p.locale);
  each(p.proxyPort);
  each(p.contentWidth);
  each(p.contentHeight);
  each(p.bgAlpha);
  each(p.profile);
  each(p.gl);
  each(p.traceFlags);
  each(p.traceFpsMs);
  each(p.gcHeapLimitMegabytes);
  each(p.graphicsMemThresholdMegabytes);
  each(p.extraWord);
  each(p.extraFlag);
  each(p.noSpeedLimit);
  each(p.debugMode);
  each(p.dcts);
  each(p.spdump);
  each(p.instrument);
}

/// UTF-16 as UTF-8, without the text's own cache, which is the module's to
/// fill.
std::string Utf8Of(const QXString& text) {
  std::string utf8;
  const unsigned short* const units = text.Units();
  // A pair of halves is one character. A half without the other goes as it is: a recording must
  // give back just what crossed.
  for (unsigned i = 0; i < text.Length() && utf8.size() < kLongestTextBytes; ++i) {
    uint32_t code = units[i];
    if (code >= 0xD800 && code < 0xDC00 && i + 1 < text.Length() && units[i + 1] >= 0xDC00 &&
        units[i + 1] < 0xE000) {
      code = 0x10000 + ((code - 0xD800) << 10) + (units[++i] - 0xDC00U);
    }
    if (code < 0x80) {
      utf8 += static_cast<char>(code);
    } else if (code < 0x800) {
      utf8 += {static_cast<char>(0xC0 | code >> 6), static_cast<char>(0x80 | (code & 63))};
    } else if (code < 0x10000) {
      utf8 += {static_cast<char>(0xE0 | code >> 12), static_cast<char>(0x80 | (code >> 6 & 63)),
               static_cast<char>(0x80 | (code & 63))};
    } else {
      utf8 += {static_cast<char>(0xF0 | code >> 18), static_cast<char>(0x80 | (code >> 12 & 63)),
               static_cast<char>(0x80 | (code >> 6 & 63)), static_cast<char>(0x80 | (code & 63))};
    }
  }
  return utf8;
}

/// Copies the record, with the pointers of the other side in it.
template <bool kOutward>
StageWindowParameters Translated(Border& border, const StageWindowParameters& from) {
  StageWindowParameters to = from;
  to.renderPlane = ForCallee<kOutward>(border, from.renderPlane);
  to.outputPlane = ForCallee<kOutward>(border, from.outputPlane);
  to.notifier = ForCallee<kOutward>(border, from.notifier);
  to.rectProvider = ForCallee<kOutward>(border, from.rectProvider);
  return to;
}

}  // namespace

StageWindowParameters Inward(Border& border, const StageWindowParameters& from) {
  return Translated<false>(border, from);
}

StageWindowParameters Outward(Border& border, const StageWindowParameters& from) {
  return Translated<true>(border, from);
}

void PutString(Border& border, Encoder& to, const QXString& text) {
  border.PutText(to, Utf8Of(text).c_str());
  // Whether the text had its UTF-8 ready is seen from outside (by an allocation), so a replay must
  // do the same.
  to.Bool(text.utf8 != nullptr);
}

void TakeString(Decoder& from, QXString& text) {
  Field field;
  Field read;
  if (!from.Take('t', field) || !from.Take('b', read)) return;
  text.Assign(std::string(field.text).c_str());
  if (read.number != 0) text.Utf8();
}

void PutRead(Encoder& to, const MorvelInstanceParameters& from) {
  to.Bool(from.proxyPassword.utf8 != nullptr);
  ForEachPlayerField(from, [&](const auto& field) {
    if constexpr (std::is_same_v<std::decay_t<decltype(field)>, QXString>) {
      to.Bool(field.utf8 != nullptr);
    }
  });
}

void TakeRead(Decoder& from, const MorvelInstanceParameters& to) {
  const auto take = [&](const QXString& text) {
    Field read;
    if (from.Take('b', read) && read.number != 0) text.Utf8();
  };
  take(to.proxyPassword);
  ForEachPlayerField(to, [&](const auto& field) {
    if constexpr (std::is_same_v<std::decay_t<decltype(field)>, QXString>) take(field);
  });
}

const char* TakeText(Border& border, Decoder& from) {
  Field field;
  if (!from.Take('t', field, true) || field.tag == '0') return nullptr;
  return border.InReplay()->Keep(field.text);
}

std::vector<const char*> TakeWords(Border& border, Decoder& from) {
  std::vector<const char*> words;
  Field field;
  if (!from.Take('l', field)) return words;
  // A list's length is the file's word: the loop ends with the fields that are there.
  for (uint64_t i = 0; i < field.numbers[0]; ++i) {
    const char* const word = TakeText(border, from);
    if (from.Failed()) break;
    words.push_back(word);
  }
  return words;
}

void PutStageParameters(Border& border, Encoder& to, const StageWindowParameters& from) {
  border.PutObject(to, WrapperOf(from.renderPlane));
  border.PutObject(to, WrapperOf(from.outputPlane));
  border.PutObject(to, WrapperOf(from.notifier));
  border.PutObject(to, WrapperOf(from.rectProvider));
  // Apart from the other texts, and first hidden: a value that was hidden once is hidden wherever it comes again.
  border.PutSecret(to, from.proxyPassword);
  ForEachStageField(from, [&](const auto& field) { PutValue(border, to, field); });
}

StageWindowParameters TakeStageParameters(Border& border, Decoder& from) {
  StageWindowParameters to{};
  // In the order in which PutStageParameters writes them; nothing in the file names a field.
  to.renderPlane = TakeObject<platform::RenderPlane>(border, from);
  to.outputPlane = TakeObject<platform::OutputPlane>(border, from);
  to.notifier = TakeObject<plexion::StageWindowNotifier>(border, from);
  to.rectProvider = TakeObject<plexion::StageWindowRectProvider>(border, from);
  to.proxyPassword = TakeText(border, from);
  ForEachStageField(to, [&](auto& field) {
    field = TakeValue<std::remove_reference_t<decltype(field)>>(border, from);
  });
  return to;
}

void PutPlayerParameters(Border& border, Encoder& to, const MorvelInstanceParameters& from) {
  border.PutObject(to, WrapperOf(Wrap(border, from.notifier)));
  border.PutSecret(to, Utf8Of(from.proxyPassword).c_str());
  to.Bool(from.proxyPassword.utf8 != nullptr);
  ForEachPlayerField(from, [&](const auto& field) { PutValue(border, to, field); });
}

void TakePlayerParameters(Decoder& from, MorvelInstanceParameters& to) {
  // The module hands its own notifier out; a replay has that itself, and the recording only says
  // that there was one.
  Field field;
  from.Take('0', field);
  TakeString(from, to.proxyPassword);
  if (from.Failed()) return;
  ForEachPlayerField(to, [&](auto& value) {
    using T = std::remove_reference_t<decltype(value)>;
    Field taken;
    if constexpr (std::is_same_v<T, QXString>) {
      TakeString(from, value);
    } else if constexpr (std::is_same_v<T, bool>) {
      if (from.Take('b', taken)) value = taken.number != 0;
    } else if constexpr (std::is_signed_v<T>) {
      if (from.Take('i', taken)) value = static_cast<T>(taken.number);
    } else {
      if (from.Take('u', taken)) value = static_cast<T>(taken.numbers[0]);
    }
  });
}

void PutStatusData(Border& border, Encoder& to, const plexion::StageWindowStatusData* data) {
  if (data == nullptr) {
    to.Null();
    return;
  }
  to.List(4);
  if (data->rect != nullptr) {
    to.Rect(*data->rect);
  } else {
    to.Null();
  }
  border.PutText(to, data->message);
  to.Unsigned(data->percent);
  to.Double(data->framesPerSecond);
}

const plexion::StageWindowStatusData* TakeStatusData(Border& border, Decoder& from,
                                                     plexion::StageWindowStatusData& data,
                                                     plexion::Rect& rect) {
  Field field;
  if (!from.Take('l', field, true) || field.tag == '0') return nullptr;
  data = plexion::StageWindowStatusData();
  Field at;
  // A rectangle is there or not, and says so itself.
  if (from.Take('r', at, true) && at.tag == 'r') {
    rect = {static_cast<uint32_t>(at.numbers[0]), static_cast<uint32_t>(at.numbers[1]),
            static_cast<uint32_t>(at.numbers[2]), static_cast<uint32_t>(at.numbers[3])};
    data.rect = &rect;
  }
  data.message = TakeText(border, from);
  data.percent = TakeValue<uint32_t>(border, from);
  data.framesPerSecond = TakeValue<double>(border, from);
  return &data;
}

/// In a replay: what the recording names first is what the host had made.
Wrapped* MakeHostObject(Border& border, ObjectKind kind) {
  switch (kind) {
    case ObjectKind::kMutex:
      return ObjectOf<IQXKernel::Mutex>::Make(border, nullptr);
    case ObjectKind::kEvent:
      return ObjectOf<IQXKernel::Event>::Make(border, nullptr);
    case ObjectKind::kThread:
      return ObjectOf<IQXKernel::Thread>::Make(border, nullptr);
    case ObjectKind::kFile:
      return ObjectOf<platform::IFileObject>::Make(border, nullptr);
    case ObjectKind::kRenderPlane:
      return ObjectOf<platform::RenderPlane>::Make(border, nullptr);
    case ObjectKind::kOutputPlane:
      return ObjectOf<platform::OutputPlane>::Make(border, nullptr);
    case ObjectKind::kContext:
      return ObjectOf<platform::DrawingContext>::Make(border, nullptr);
    case ObjectKind::kInstance:
      return ObjectOf<morvellib::MorvelInstance>::Make(border, nullptr);
    case ObjectKind::kObserver:
      return ObjectOf<plexion::StageWindowNotifier>::Make(border, nullptr);
    case ObjectKind::kRectProvider:
      return ObjectOf<plexion::StageWindowRectProvider>::Make(border, nullptr);
    default:
      return nullptr;  // the module's own, which only the module makes
  }
}

}  // namespace plexion_record
