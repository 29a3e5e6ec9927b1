// Compares the conversion of messages and of paths with the least work that each must do.

#include "Compare.h"
#include "tests/support/FileContents.h"

#include <connector/file/v1/FileJsonSerialization.h>
#include <connector/file/v1/Messages.h>

#include <connector/json/MessageRegistry.h>
#include <fl/filesystem/path.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <memory>
#include <simdjson.h>
#include <stdexcept>
#include <string>

namespace {

using namespace connector::file::v1;
using connector::bench::compare;

constexpr std::size_t LARGEST = 19'999'999;

void require(bool done, const char* step) {
  if (!done) {
    throw std::runtime_error(step);
  }
}

std::string contentsOf(bool isText) {
  std::string contents(LARGEST, 'x');
  for (std::size_t at = 63; at < contents.size(); at += 64) {
    contents[at] = isText ? '\n' : '\xFF';
  }
  return contents;
}

/// Converts a response with a file to JSON and back. The least work is one UTF-8 validation, one
/// copy into the JSON and one out of it.
void convertFile(benchmark::State& state, bool isText) {
  const std::string contents = contentsOf(isText);
  const auto registry = std::make_shared<connector::json::MessageRegistry>();
  const FileJsonSerialization serialization(registry);
  const std::unique_ptr<connector::Message> message = std::make_unique<OpenFileResponse>(
      "uuid", File(FileInfo(u"/folder/file", false), connector::test::bufferOf(contents)),
      std::vector<connector::common::v1::Fault>(), connector::common::v1::Version());
  compare(
      state, [] {},
      [&] {
        const auto object = registry->toJson(message);
        require(registry->fromJson(OpenFileResponse::TYPE_NAME, object) != nullptr, "fromJson");
      },
      [&] {
        require(simdjson::validate_utf8(contents) == isText, "validate_utf8");
        // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): the copy is measured
        const std::string in(contents);
        require(connector::test::bufferOf(in).size() == contents.size(), "copy");
      });
}

/// The least work is a new string that gets the characters one by one.
void convertName(benchmark::State& state, const std::u16string& name) {
  constexpr int times = 10'000;
  compare(
      state, [] {},
      [&] {
        for (int time = 0; time < times; ++time) {
          benchmark::DoNotOptimize(fl::filesystem::detail::make_native_access_form_i18n(name));
        }
      },
      [&] {
        for (int time = 0; time < times; ++time) {
          std::string bytes(name.size(), '\0');
          std::transform(name.begin(), name.end(), bytes.begin(),
                         [](char16_t unit) { return static_cast<char>(unit); });
          benchmark::DoNotOptimize(bytes);
        }
      });
}

} // namespace

BENCHMARK_CAPTURE(convertFile, text, true)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(convertFile, bytes, false)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(convertName, ascii, u"/home/somebody/documents/2024/a-report-of-some-length.txt")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(convertName, other, u"/home/jemand/Übersicht/größe-漢字-наименование.txt")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
