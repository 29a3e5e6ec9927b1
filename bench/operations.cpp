// Compares operations of the library with the bare work: the system calls, checks and copies that
// the operation requires. Both alternate, so that other programs slow down both. The files are in
// TMPDIR, which should be a tmpfs: the time of a disk would hide that of the library.

#include "tests/support/FileContents.h"
#include "tests/support/TemporaryDirectory.h"

#include <connector/file/v1/FileJsonSerialization.h>
#include <connector/file/v1/FileServiceImpl.h>
#include <connector/file/v1/Messages.h>

#include <connector/json/MessageRegistry.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <exception>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <memory>
#include <simdjson.h>
#include <stdexcept>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

using namespace connector::file::v1;

constexpr std::size_t SMALL = 4096;
constexpr std::size_t BIG = 19'999'999;
constexpr std::size_t ENTRIES = 10'000;

void require(bool done, const char* action) {
  if (!done) {
    throw std::runtime_error(action);
  }
}

/// Returns the mean seconds of one execution.
template <typename Work>
double timeOf(const Work& work, int repetitions) {
  const auto start = std::chrono::steady_clock::now();
  for (int index = 0; index < repetitions; ++index) {
    work();
  }
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() /
         repetitions;
}

double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

/// Repeats both `repetitions` times in each round. Prints our median and its ratio to the bare one.
template <typename Ours, typename Bare>
void compare(const char* name, int repetitions, const Ours& ours, const Bare& bare) {
  constexpr int rounds = 21;
  std::vector<double> oursTimes;
  std::vector<double> bareTimes;
  for (int round = 0; round < rounds; ++round) {
    bareTimes.push_back(timeOf(bare, repetitions));
    oursTimes.push_back(timeOf(ours, repetitions));
  }
  std::printf("%-40s %9.1f us, %.2f times the bare work\n", name, median(oursTimes) * 1e6,
              median(oursTimes) / median(bareTimes));
}

/// The two access checks that describing a file needs.
void describeBare(const char* path, int directory = AT_FDCWD) {
  for (const int mode : {F_OK, W_OK}) {
    require(::faccessat(directory, path, mode, AT_EACCESS) == 0, "faccessat");
  }
}

/// Reads the contents into new memory, after seeking to the end for the size.
void readBare(const char* path, std::size_t size) {
  const int file = ::open(path, O_RDONLY | O_CLOEXEC);
  require(file >= 0 && ::lseek(file, 0, SEEK_END) == static_cast<off_t>(size), "open");
  require(::lseek(file, 0, SEEK_SET) == 0, "lseek");
  const std::unique_ptr<char[]> memory(new char[size]); // NOLINT(*-avoid-c-arrays)
  for (std::size_t done = 0; done < size;) {
    const ssize_t more = ::read(file, &memory[done], size - done);
    require(more > 0, "read");
    done += static_cast<std::size_t>(more);
  }
  ::close(file);
}

/// Makes the checks of FileService's `open` and `read`, each with a `stat`. Then reads and
/// describes the file.
void openBare(const char* path, std::size_t size) {
  struct stat st {};

  for (const int mode : {F_OK, R_OK}) {
    require(::stat(path, &st) == 0, "stat");
    require(::faccessat(AT_FDCWD, path, mode, AT_EACCESS) == 0, "faccessat");
  }
  readBare(path, size);
  describeBare(path);
}

/// Describes each entry: its status, existence and access. Looks it up in the open directory, as
/// the library does, or by its path if `byPath`.
void listBare(const std::string& directory, bool byPath) {
  struct stat st {};

  std::size_t count = 0;
  require(::stat(directory.c_str(), &st) == 0, "stat");
  DIR* const entries = ::opendir(directory.c_str());
  if (entries == nullptr) {
    throw std::runtime_error("opendir");
  }
  const int start = byPath ? AT_FDCWD : ::dirfd(entries);
  while (const dirent* entry = ::readdir(entries)) { // NOLINT(concurrency-mt-unsafe): own stream
    if (entry->d_name[0] == '.') {
      continue;
    }
    const std::string name = byPath ? directory + "/" + entry->d_name : entry->d_name;
    require(::fstatat(start, name.c_str(), &st, 0) == 0, "fstatat");
    describeBare(name.c_str(), start);
    ++count;
  }
  ::closedir(entries);
  require(count == ENTRIES, "readdir");
}

void compareFiles(const std::filesystem::path& scratch) {
  FileServiceImpl service;
  const auto make = [&](const char* name, std::size_t size) {
    std::ofstream(scratch / name) << std::string(size, 'x');
    return scratch / name;
  };
  const auto small = make("small", SMALL);
  compare(
      "open 4 KiB", 1000,
      [&] { require(service.open(small.u16string()).get().getContents().size() == SMALL, "open"); },
      [&] { openBare(small.c_str(), SMALL); });
  const auto big = make("big", BIG);
  compare(
      "read 19,999,999 bytes", 1,
      [&] { require(service.read(big.u16string()).get().getContents().size() == BIG, "read"); },
      [&] { readBare(big.c_str(), BIG); });
}

void compareLists(const std::filesystem::path& directory) {
  FileServiceImpl service;
  std::filesystem::create_directory(directory);
  for (std::size_t index = 0; index < ENTRIES; ++index) {
    std::ofstream(directory / ("entry-" + std::to_string(index)));
  }
  for (const bool byPath : {false, true}) {
    compare(
        byPath ? "list 10,000 entries, bare work by path" : "list 10,000 entries", 1,
        [&] { require(service.list(directory.u16string()).get().size() == ENTRIES, "list"); },
        [&] { listBare(directory, byPath); });
  }
}

/// Converts a response with a file's contents to JSON and back. The bare work is one validation of
/// UTF-8, one copy into the JSON and one out of it.
void compareConversion(bool isText) {
  std::string contents(BIG, 'x');
  for (std::size_t at = 63; at < contents.size(); at += 64) {
    contents[at] = isText ? '\n' : '\xFF';
  }
  const auto registry = std::make_shared<connector::json::MessageRegistry>();
  const FileJsonSerialization serialization(registry);
  const std::unique_ptr<connector::Message> message = std::make_unique<OpenFileResponse>(
      "uuid", File(FileInfo(u"/directory/file", false), connector::test::bufferOf(contents)),
      std::vector<connector::common::v1::Fault>(), connector::common::v1::Version());
  compare(
      isText ? "convert 19,999,999 bytes of text" : "convert 19,999,999 bytes, not text", 1,
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

} // namespace

int main() {
  try {
    const connector::test::TemporaryDirectory scratch;
    compareFiles(scratch.path());
    compareLists(scratch.path() / "directory");
    compareConversion(true);
    compareConversion(false);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "operations: %s\n", error.what());
    return EXIT_FAILURE;
  }
}
