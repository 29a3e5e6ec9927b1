// The bytes that enter the host, up to the converters; no request is carried out. Whatever comes
// in, each answer is well-formed, and the reader makes progress to the end.

#include "Check.h"
#include "host/Framing.h"
#include "host/Json.h"
#include "host/JsonRpc.h"

#include <connector/file/v1/FileJsonSerialization.h>

#include <connector/json/MessageRegistry.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <exception>
#include <memory>
#include <optional>
#include <simdjson.h>
#include <string>
#include <string_view>

namespace {

using namespace connector::host;
using connector::fuzz::require;

class Bytes : public Input {
public:
  Bytes(const std::uint8_t* data, std::size_t size, std::size_t piece)
      : data_(data)
      , size_(size)
      , piece_(piece) {}

  std::size_t read(char* buffer, std::size_t size) override {
    const auto count = std::min({size, piece_, size_});
    std::memcpy(buffer, data_, count);
    data_ += count;
    size_ -= count;
    return count;
  }

  [[nodiscard]] bool stopped() const override { return false; }

private:
  const std::uint8_t* data_;
  std::size_t size_;
  std::size_t piece_;
};

Outcome convert(const connector::json::MessageRegistry& registry, const std::string& type,
                const Poco::JSON::Object::Ptr& params) {
  try {
    return registry.toJson(registry.fromJson(type, params));
  } catch (const std::exception& e) {
    return Refusal{Refusal::Reason::params, e.what()};
  }
}

/// Nothing for a text that is nested deeper than the host allows: what follows was not looked at.
std::optional<bool> isJson(const std::string& text) {
  try {
    parseObject(Text(text));
    return true;
  } catch (const JsonError& e) {
    return std::string_view(e.what()) == "nested too deep" ? std::nullopt : std::optional(false);
  }
}

/// The host reads values one after the other; another reader, which takes a text as a whole, must
/// have the same opinion of it, but for numbers beyond 64 bits.
void compareOpinions(const std::string& text) {
  simdjson::dom::parser parser;
  const auto error = parser.parse(text).error();
  if (error == simdjson::NUMBER_ERROR || error == simdjson::DEPTH_ERROR) {
    return;
  }
  const bool expected = error == simdjson::SUCCESS;
  require(isJson(text).value_or(expected) == expected, "readers agree on what is JSON");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const auto registry = std::make_shared<connector::json::MessageRegistry>();
  static const connector::file::v1::FileJsonSerialization serialization(registry);
  constexpr std::size_t limit = 1000;
  Bytes input(data, size, size % 2 == 0 ? size : 7);
  FrameReader reader(input, limit);
  const JsonRpc protocol(
      [](const auto& type, const auto& params) { return convert(*registry, type, params); });
  while (const auto incoming = reader.next()) {
    if (const auto* text = std::get_if<Text>(&*incoming)) {
      require(text->bytes.size() <= limit, "no text is longer than the limit");
      compareOpinions(std::string(text->bytes));
    }
    if (const auto answer = protocol.answer(*incoming)) {
      StringOutput out;
      std::visit([&out](const auto& kind) { static_cast<void>(kind.writeTo(out)); }, *answer);
      out.flush();
      require(out.text().find('\n') == std::string::npos, "an answer is one line");
      if (!out.text().empty()) {
        parseObject(Text(out.text()));
      }
    }
  }
  return 0;
}
