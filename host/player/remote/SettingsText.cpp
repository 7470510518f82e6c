// One list of the fields, for writing and for reading.

#include "host/player/remote/SettingsText.h"

#include <charconv>
#include <type_traits>

#include "host/player/SettingsFields.h"
#include "host/player/remote/Record.h"

namespace plexion_host::player::remote {

namespace {

/// Every field of the settings; one that is missing here does not reach the content.
// The list stands once, as a template over const and non-const: a field that is written and not
// read, or read in another order, cannot come about.
template <typename Settings, typename Visit>
void EachField(Settings& settings, const Visit& visit) {
  EachSetting([&](const char*, const auto&, const auto&, auto ofPlayer, auto...) {
    visit(settings.*ofPlayer);
  });
  visit(settings.loops, settings.loopsGiven, settings.speed, settings.variables);
}

template <typename Address, typename Visit>
void EachPart(Address& address, const Visit& visit) {
  visit(address.path, address.url, address.name);
}

// Netstrings: a length, a colon, the bytes. Texts may hold anything without an escape, and the
// reader knows the size of each before it copies it.
class Writer {
 public:
  void Put(const std::string& value) {
    text_ += std::to_string(value.size()) + ':';
    text_ += value;
  }
  // By its bits: no text of a double that loses a digit, and no locale with a comma.
  void Put(double value) { Put(BitsOf(value)); }
  template <typename Number, typename = std::enable_if_t<std::is_integral_v<Number>>>
  void Put(Number value) {
    Put(std::to_string(value));
  }
  void Put(const std::vector<std::pair<std::string, std::string>>& values) {
    Put(values.size());
    for (const auto& [name, value] : values) {
      Put(name);
      Put(value);
    }
  }
  template <typename... Values>
  void operator()(const Values&... values) {
    (Put(values), ...);
  }
  std::string Take() { return std::move(text_); }

 private:
  std::string text_;
};

class Reader {
 public:
  explicit Reader(std::string_view text) : rest_(text) {}

  // After the first fault every field stays what it was; IsWhole tells it at the end. So the
  // readers need no early return.
  void Get(std::string& value) {
    size_t length = 0;
    const size_t colon = rest_.find(':');
    if (!good_ || colon == std::string_view::npos || !Number(rest_.substr(0, colon), length) ||
        length > rest_.size() - colon - 1) {
      good_ = false;
      return;
    }
    value = rest_.substr(colon + 1, length);
    rest_.remove_prefix(colon + 1 + length);
  }
  void Get(double& value) {
    uint64_t bits = 0;
    Get(bits);
    value = NumberOf(bits);
  }
  void Get(bool& value) {
    unsigned number = 0;
    Get(number);
    good_ = good_ && number <= 1;
    value = number == 1;
  }
  template <typename Integer, typename = std::enable_if_t<std::is_integral_v<Integer>>>
  void Get(Integer& value) {
    std::string digits;
    Get(digits);
    good_ = good_ && Number(digits, value);
  }
  void Get(std::vector<std::pair<std::string, std::string>>& values) {
    size_t count = 0;
    Get(count);
    // As many as are really there, whatever the count says.
    for (size_t i = 0; good_ && i < count; ++i) {
      values.emplace_back();
      Get(values.back().first);
      Get(values.back().second);
    }
  }
  template <typename... Values>
  void operator()(Values&... values) {
    (Get(values), ...);
  }
  bool IsWhole() const { return good_ && rest_.empty(); }

 private:
  template <typename Integer>
  static bool Number(std::string_view digits, Integer& value) {
    const char* const end = digits.data() + digits.size();
    const auto result = std::from_chars(digits.data(), end, value);
    return !digits.empty() && result.ec == std::errc() && result.ptr == end;
  }

  std::string_view rest_;
  bool good_ = true;
};

template <typename Value, typename Fields>
bool ReadAll(std::string_view text, Value& value, const Fields& fields) {
  // Into a value of its own: what was half read is not handed out.
  if (text.size() > kMostSettingsText) return false;
  Reader reader(text);
  Value read;
  fields(read, reader);
  if (!reader.IsWhole()) return false;
  value = std::move(read);
  return true;
}

}  // namespace

std::string WriteSettings(const PlayerSettings& settings) {
  Writer writer;
  EachField(settings, [&writer](const auto&... values) { writer(values...); });
  return writer.Take();
}

bool ReadSettings(std::string_view text, PlayerSettings& settings) {
  return ReadAll(text, settings, [](PlayerSettings& read, Reader& reader) {
    EachField(read, [&reader](auto&... values) { reader(values...); });
  });
}

std::string WriteAddress(const ContentAddress& address) {
  Writer writer;
  EachPart(address, [&writer](const auto&... values) { writer(values...); });
  return writer.Take();
}

bool ReadAddress(std::string_view text, ContentAddress& address) {
  return ReadAll(text, address, [](ContentAddress& read, Reader& reader) {
    EachPart(read, [&reader](auto&... values) { reader(values...); });
  });
}

std::string WriteProxy(const ProxySettings& proxy) {
  Writer writer;
  writer(proxy.host, proxy.port, proxy.user, proxy.password);
  return writer.Take();
}

bool ReadProxy(std::string_view text, ProxySettings& proxy) {
  return ReadAll(text, proxy, [](ProxySettings& read, Reader& reader) {
    reader(read.host, read.port, read.user, read.password);
  });
}

}  // namespace plexion_host::player::remote
