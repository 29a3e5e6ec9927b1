// Messages to JSON and back, and names to UTF-16 and back, beside the least that either must do.

#include "Compare.h"
#include "platform/liboxconnectorfilecommon/src/Base64.h"

#include <connector/file/v1/FileJsonSerialization.h>
#include <connector/file/v1/Messages.h>

#include <connector/json/MessageRegistry.h>
#include <fl/filesystem/native_name.h>

#include <benchmark/benchmark.h>

#include <memory>
#include <simdjson.h>
#include <stdexcept>
#include <string>

namespace {

using namespace connector::file::v1;
using connector::bench::compare;

constexpr std::size_t LARGEST = 19'999'999;

void require(bool done, const char* what) {
  if (!done) {
    throw std::runtime_error(what);
  }
}

std::string contentsOf(bool isText) {
  std::string contents(LARGEST, 'x');
  for (std::size_t at = 63; at < contents.size(); at += 64) {
    contents[at] = isText ? '\n' : '\xFF';
  }
  return contents;
}

/// The response that carries a file, both ways. Beside it, of text: one validation, one copy into
/// the JSON and one out of it; of other bytes: one encoding and one decoding.
void convertFile(benchmark::State& state, bool isText) {
  const std::string contents = contentsOf(isText);
  const auto registry = std::make_shared<connector::json::MessageRegistry>();
  const FileJsonSerialization serialization(registry);
  const std::unique_ptr<connector::Message> message = std::make_unique<OpenFileResponse>(
      "uuid", File(FileInfo(u"/folder/file", false), DataBuffer(contents)),
      std::vector<connector::common::v1::Fault>(), connector::common::v1::Version());
  compare(
      state, [] {},
      [&] {
        const auto object = registry->toJson(message);
        require(registry->fromJson(OpenFileResponse::TYPE_NAME, object) != nullptr, "fromJson");
      },
      [&] {
        if (isText) {
          require(simdjson::validate_utf8(contents), "validate_utf8");
          std::string in;
          in.assign(contents);
          require(DataBuffer(in).size() == contents.size(), "copy");
        } else {
          std::string text;
          connector::file_common::v1::appendBase64(text, contents);
          require(connector::file_common::v1::fromBase64(text)->size() == contents.size(),
                  "fromBase64");
        }
      });
}

/// Beside a new string of the other width that takes the characters one by one.
void convertName(benchmark::State& state, const std::string& name) {
  namespace native = fl::filesystem::detail;
  constexpr int times = 10'000;
  compare(
      state, [] {},
      [&] {
        for (int time = 0; time < times; ++time) {
          benchmark::DoNotOptimize(native::utf16_to_native(native::native_to_utf16(name)));
        }
      },
      [&] {
        for (int time = 0; time < times; ++time) {
          benchmark::DoNotOptimize(std::u16string(name.begin(), name.end()));
          benchmark::DoNotOptimize(std::string(name));
        }
      });
}

} // namespace

BENCHMARK_CAPTURE(convertFile, text, true)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(convertFile, bytes, false)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(convertName, ascii, "/home/somebody/documents/2024/a-report-of-some-length.txt")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(convertName, other, "/home/jemand/Übersicht/größe-漢字-наименование.txt")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
