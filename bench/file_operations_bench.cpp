// Compares the file operations with the bare system calls. The files are in TMPDIR; use a tmpfs to
// measure the service rather than the disk.

#include "Compare.h"
#include "tests/support/TemporaryDirectory.h"

#include <connector/file/v1/FileServiceImpl.h>

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using connector::bench::compare;
using connector::bench::compareGrowth;
using connector::file::v1::FileServiceImpl;

void require(bool done, const char* step) {
  if (!done) {
    throw std::runtime_error(step);
  }
}

class Scratch : public connector::test::TemporaryDirectory {
public:
  [[nodiscard]] std::string at(const std::string& name) const { return path() / name; }
};

std::u16string wide(const std::string& path) {
  return fs::path(path).u16string();
}

void writeFile(const std::string& path, std::size_t size) {
  std::ofstream(path, std::ios::binary) << std::string(size, 'x');
}

void fillDirectory(const std::string& directory, std::size_t entries) {
  fs::create_directory(directory);
  for (std::size_t index = 0; index < entries; ++index) {
    writeFile(directory + "/entry-" + std::to_string(index), 0);
  }
}

void checkBare(const char* path, int mode, int directory = AT_FDCWD) {
  require(faccessat(directory, path, mode, AT_EACCESS) == 0, "faccessat");
}

void describeBare(const char* path, int directory = AT_FDCWD) {
  checkBare(path, F_OK, directory);
  checkBare(path, W_OK, directory);
}

/// Reads the contents into new memory; the end of the file gives the size.
void readBare(const char* path, std::size_t size) {
  const int file = ::open(path, O_RDONLY | O_CLOEXEC);
  require(file >= 0 && lseek(file, 0, SEEK_END) == static_cast<off_t>(size), "open");
  require(lseek(file, 0, SEEK_SET) == 0, "lseek");
  const std::unique_ptr<char, decltype(&std::free)> memory(static_cast<char*>(std::malloc(size)),
                                                           &std::free);
  for (std::size_t done = 0; done < size;) {
    const ssize_t more = ::read(file, memory.get() + done, size - done);
    require(more > 0, "read");
    done += static_cast<std::size_t>(more);
  }
  close(file);
}

/// Makes the checks before reading, reads, and describes the file.
void openBare(const char* path, std::size_t size) {
  struct stat st {};

  require(stat(path, &st) == 0, "stat");
  checkBare(path, F_OK);
  require(stat(path, &st) == 0, "stat");
  checkBare(path, R_OK);
  readBare(path, size);
  describeBare(path);
}

void open(benchmark::State& state) {
  constexpr int times = 1000;
  const Scratch scratch;
  const std::string path = scratch.at("file");
  const auto size = static_cast<std::size_t>(state.range(0));
  writeFile(path, size);
  FileServiceImpl service;
  const std::u16string widePath = wide(path);
  compare(
      state, [] {},
      [&] {
        for (int time = 0; time < times; ++time) {
          require(service.open(widePath).get().getContents().size() == size, "open");
        }
      },
      [&] {
        for (int time = 0; time < times; ++time) {
          openBare(path.c_str(), size);
        }
      });
}

void read(benchmark::State& state) {
  const Scratch scratch;
  const std::string path = scratch.at("file");
  const auto size = static_cast<std::size_t>(state.range(0));
  writeFile(path, size);
  FileServiceImpl service;
  compare(
      state, [] {},
      [&] { require(service.read(wide(path)).get().getContents().size() == size, "read"); },
      [&] { readBare(path.c_str(), size); });
}

/// Per byte. The small file may still be in a CPU cache when it is read again.
void readGrowth(benchmark::State& state) {
  constexpr std::size_t little = 1'000'000;
  constexpr std::size_t much = 19'999'999;
  const Scratch scratch;
  const auto fileOf = [&](std::size_t size) { return scratch.at(std::to_string(size)); };
  writeFile(fileOf(little), little);
  writeFile(fileOf(much), much);
  FileServiceImpl service;
  compareGrowth(
      state, little, much, [](std::size_t) {},
      [&](std::size_t size) {
        require(service.read(wide(fileOf(size))).get().getContents().size() == size, "read");
      },
      [&](std::size_t size) { readBare(fileOf(size).c_str(), size); });
}

/// How the entries of a directory are looked up: by its descriptor, like the service, or by path.
enum class LookUp { inOpenDirectory, byPath };

/// Describes each entry, with a status, an existence test and an access test.
std::size_t listBare(const std::string& directory, LookUp lookUp) {
  std::size_t count = 0;

  struct stat st {};

  require(stat(directory.c_str(), &st) == 0, "stat");
  DIR* const entries = opendir(directory.c_str());
  require(entries != nullptr, "opendir");
  const bool byPath = lookUp == LookUp::byPath;
  const int start = byPath ? AT_FDCWD : dirfd(entries);
  while (const dirent* entry = readdir(entries)) { // NOLINT(concurrency-mt-unsafe): own stream
    if (entry->d_name[0] == '.') {
      continue;
    }
    const std::string name = byPath ? directory + "/" + entry->d_name : entry->d_name;
    require(fstatat(start, name.c_str(), &st, 0) == 0, "fstatat");
    describeBare(name.c_str(), start);
    ++count;
  }
  closedir(entries);
  return count;
}

void list(benchmark::State& state, LookUp bare) {
  const Scratch scratch;
  const std::string directory = scratch.at("directory");
  const auto entries = static_cast<std::size_t>(state.range(0));
  fillDirectory(directory, entries);
  FileServiceImpl service;
  compare(
      state, [] {}, [&] { require(service.list(wide(directory)).get().size() == entries, "list"); },
      [&] { require(listBare(directory, bare) == entries, "listBare"); });
}

constexpr std::size_t LITTLE = 100;
constexpr std::size_t MUCH = 100'000;

void listGrowth(benchmark::State& state) {
  const Scratch scratch;
  const auto directoryOf = [&](std::size_t entries) { return scratch.at(std::to_string(entries)); };
  fillDirectory(directoryOf(LITTLE), LITTLE);
  fillDirectory(directoryOf(MUCH), MUCH);
  FileServiceImpl service;
  compareGrowth(
      state, LITTLE, MUCH, [](std::size_t) {},
      [&](std::size_t entries) {
        require(service.list(wide(directoryOf(entries))).get().size() == entries, "list");
      },
      [&](std::size_t entries) {
        require(listBare(directoryOf(entries), LookUp::inOpenDirectory) == entries, "listBare");
      });
}

void removeBare(const std::string& directory) {
  DIR* const entries = opendir(directory.c_str());
  require(entries != nullptr, "opendir");
  while (const dirent* entry = readdir(entries)) { // NOLINT(concurrency-mt-unsafe): own stream
    const std::string name = entry->d_name;
    require(name == "." || name == ".." || unlinkat(dirfd(entries), name.c_str(), 0) == 0,
            "unlinkat");
  }
  closedir(entries);
  require(rmdir(directory.c_str()) == 0, "rmdir");
}

void removeGrowth(benchmark::State& state) {
  const Scratch scratch;
  const std::string directory = scratch.at("directory");
  FileServiceImpl service;
  compareGrowth(
      state, LITTLE, MUCH, [&](std::size_t entries) { fillDirectory(directory, entries); },
      [&](std::size_t) { service.remove(wide(directory)).get(); },
      [&](std::size_t) { removeBare(directory); });
}

void moveBare(const std::string& from, const std::string& to) {
  struct stat st {};

  const int source = ::open(from.c_str(), O_RDONLY | O_CLOEXEC);
  require(source >= 0 && fstat(source, &st) == 0, "open");
  const int target = ::open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  require(target >= 0, "create");
  for (auto left = static_cast<std::size_t>(st.st_size); left > 0;) {
    const ssize_t copied = copy_file_range(source, nullptr, target, nullptr, left, 0);
    require(copied > 0, "copy_file_range");
    left -= static_cast<std::size_t>(copied);
  }
  const timespec times[] = {st.st_atim, st.st_mtim}; // NOLINT(modernize-avoid-c-arrays): the API's
  require(fchmod(target, st.st_mode) == 0 && futimens(target, times) == 0, "attributes");
  close(source);
  close(target);
  require(unlink(from.c_str()) == 0, "unlink");
}

void move(benchmark::State& state) {
  const Scratch scratch;
  const std::string source = scratch.at("file");
  const std::string directory = scratch.at("directory");
  fs::create_directory(directory);
  FileServiceImpl service;
  compare(
      state,
      [&] {
        fs::remove(directory + "/file");
        writeFile(source, static_cast<std::size_t>(state.range(0)));
      },
      [&] { service.move(wide(source), wide(directory)).get(); },
      [&] { moveBare(source, directory + "/file"); });
}

} // namespace

BENCHMARK(open)->Arg(4096)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(read)->Arg(19999999)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(readGrowth)->UseManualTime()->Iterations(15)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(list, in_open_directory, LookUp::inOpenDirectory)
    ->Arg(100)
    ->Arg(10000)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(list, by_path, LookUp::byPath)
    ->Arg(10000)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(listGrowth)->UseManualTime()->Iterations(7)->Unit(benchmark::kMillisecond);
BENCHMARK(removeGrowth)->UseManualTime()->Iterations(5)->Unit(benchmark::kMillisecond);
BENCHMARK(move)->Arg(19999999)->UseManualTime()->Unit(benchmark::kMillisecond);
