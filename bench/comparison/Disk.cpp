#include "Disk.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>

namespace connector::bench {

namespace {

namespace fs = std::filesystem;

void writeFile(const fs::path& path, const std::string& contents) {
  if (!(std::ofstream(path, std::ios::binary) << contents).flush()) {
    throw std::runtime_error("cannot write " + path.string());
  }
}

bool holds(const std::string& path, const std::string& contents) {
  std::ifstream file(path, std::ios::binary);
  return file && std::equal(contents.begin(), contents.end(), std::istreambuf_iterator<char>(file),
                            std::istreambuf_iterator<char>());
}

/// Lines of text without quotes, or random bytes, which are not UTF-8.
std::string makeContents(std::size_t size, bool isText) {
  constexpr std::size_t lineLength = 64;
  std::string contents(size, '\n');
  std::minstd_rand random(1); // NOLINT(cert-msc32-c,cert-msc51-cpp): the same bytes in every run
  std::uniform_int_distribution<int> byte(isText ? 'a' : 0, isText ? 'z' : 255);
  for (std::size_t at = 0; at < size; ++at) {
    if (!isText || (at + 1) % lineLength != 0) {
      contents[at] = static_cast<char>(byte(random));
    }
  }
  return contents;
}

Job makeJob(Verb verb, const fs::path& directory, const std::string& name) {
  const std::string path = directory / name;
  switch (verb) {
  case Verb::rename:
    return {path, path + ".renamed"};
  case Verb::move:
    return {path, directory / "target" / name};
  case Verb::remove:
    return {path, {}};
  default:
    return {path, path};
  }
}

void makeDirectory(const fs::path& path, const std::map<std::string, std::uint64_t>& entries) {
  fs::create_directory(path);
  for (const auto& [name, size] : entries) {
    writeFile(path / name, std::string(size, 'x'));
  }
}

} // namespace

Batch makeBatch(Verb verb, const fs::path& directory, std::size_t files, std::size_t size,
                bool isText) {
  Batch batch{verb, {}, {}, isText, {}};
  for (std::size_t index = 0; index < files; ++index) {
    batch.jobs.push_back(makeJob(verb, directory, "file-" + std::to_string(index)));
  }
  if (verb != Verb::list) {
    batch.contents = makeContents(size, isText);
    return batch;
  }
  for (std::size_t index = 0; index < size; ++index) {
    batch.entries["entry-" + std::to_string(index)] = index % 100;
  }
  return batch;
}

void prepareDisk(const Batch& batch, const fs::path& directory) {
  fs::remove_all(directory);
  fs::create_directories(directory / "target");
  for (const Job& job : batch.jobs) {
    if (batch.verb == Verb::list) {
      makeDirectory(job.path, batch.entries);
    } else if (batch.verb != Verb::create) {
      writeFile(job.path, batch.verb == Verb::update ? "before" : batch.contents);
    }
  }
}

bool isDone(const Batch& batch) {
  return std::all_of(batch.jobs.begin(), batch.jobs.end(), [&](const Job& job) {
    return (job.after == job.path || !fs::exists(job.path)) &&
           (job.after.empty() || fs::is_directory(job.after) || holds(job.after, batch.contents));
  });
}

} // namespace connector::bench
