// Passes any input through the host as far as the converters; no file operation runs. Every reply
// is well-formed, the reader reaches the end, and rewriting a message twice gives the same text as
// rewriting it once.

#include "host/Framing.h"
#include "host/Json.h"
#include "host/JsonRpc.h"
#include "support/MemoryInput.h"

#include <connector/file/v1/FileJsonSerialization.h>

#include <connector/json/MessageRegistry.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <simdjson.h>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace {

using namespace connector::host;
using Poco::JSON::Object;

/// Ends the process if the property does not hold. The fuzzer reports that.
void require(bool holds, const char* property) {
  if (!holds) {
    std::fprintf(stderr, "does not hold: %s\n", property);
    std::abort();
  }
}

/// Converts requests to messages and back.
class Conversion : public Api {
public:
  [[nodiscard]] Object::Ptr execute(const std::string& type,
                                    const Object::Ptr& params) const override {
    auto object = registry_->toJson(registry_->fromJson(type, params));
    written_.emplace_back(type, writeJson(object));
    return object;
  }

  /// Requires that rewriting a message (read, then write) twice gives the same text as once. The
  /// first time may lose keys. Not called by execute, because the parser may be in the middle of a
  /// batch.
  void requireStable() noexcept {
    for (const auto& [type, text] : std::exchange(written_, {})) {
      const std::string once = rewritten(type, text);
      require(rewritten(type, once) == once,
              "rewriting a message twice gives the same text as once");
    }
  }

private:
  [[nodiscard]] std::string rewritten(const std::string& type, const std::string& text) const {
    return writeJson(registry_->toJson(registry_->fromJson(type, parseObject(Text(text)).object)));
  }

  std::shared_ptr<connector::json::MessageRegistry> registry_ =
      std::make_shared<connector::json::MessageRegistry>();
  connector::file::v1::FileJsonSerialization serialization_{registry_};
  mutable std::vector<std::pair<std::string, std::string>> written_; // types and texts
};

/// Requires that the host's parser and simdjson's DOM parser agree on whether a text is JSON,
/// except for numbers beyond 64 bits and deep nesting.
void compareParsers(const std::string& text) {
  simdjson::dom::parser parser;
  const auto error = parser.parse(text).error();
  if (error == simdjson::NUMBER_ERROR || error == simdjson::DEPTH_ERROR) {
    return;
  }
  bool isJson = true;
  try {
    parseObject(Text(text));
  } catch (const JsonError& e) {
    if (std::string_view(e.what()) == "nested too deep") {
      return; // without parsing the rest
    }
    isJson = false;
  }
  require(isJson == (error == simdjson::SUCCESS), "parsers agree on what is JSON");
}

} // namespace

// NOLINTNEXTLINE(readability-identifier-naming): libFuzzer calls this name.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Conversion api;
  static const ExecutionLimits limits{10'000, [] { return false; }};
  constexpr std::size_t limit = 1000;
  MemoryInput input({data, data + size}, size % 2 == 0 ? size : 7);
  FrameReader reader(input, limit);
  while (const auto incoming = reader.next()) {
    if (const auto* text = std::get_if<Text>(&*incoming)) {
      require(text->bytes().size() <= limit, "no text is longer than the limit");
      compareParsers(std::string(text->bytes()));
    }
    const auto reply = execute(api, parse(*incoming), limits);
    const auto text = reply ? reply->text() : "";
    api.requireStable();
    require(text.find('\n') == std::string::npos, "a reply is one line");
    if (!text.empty()) {
      parseObject(Text(text));
    }
  }
  return 0;
}
