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
#include <string>

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

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const auto registry = std::make_shared<connector::json::MessageRegistry>();
  static const connector::file::v1::FileJsonSerialization serialization(registry);
  if (size < 2) {
    return 0;
  }
  constexpr std::size_t limit = 1000;
  Bytes input(data + 1, size - 1, data[0] % 2 == 0 ? size : 1 + data[0]);
  FrameReader reader(input, limit);
  const JsonRpc protocol(
      [](const auto& type, const auto& params) { return convert(*registry, type, params); });
  while (const auto incoming = reader.next()) {
    if (const auto* text = std::get_if<std::string>(&*incoming)) {
      require(text->size() <= limit, "no text is longer than the limit");
    }
    const auto answer = protocol.answer(*incoming);
    if (answer) {
      require(answer->find('\n') == std::string::npos, "an answer is one line");
      require(!parseJson(*answer).isEmpty(), "an answer is an object or an array");
    }
  }
  return 0;
}
