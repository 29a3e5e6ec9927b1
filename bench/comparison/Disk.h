#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace connector::bench {

/// What is done to each file of a batch. `openTogether` is `open` by a client that is ready to
/// guess: where it can, it sends what may turn out to be needless along with the request before.
enum class Verb { open, openTogether, list, create, update, rename, move, remove };

struct Job {
  std::string path;
  std::string after; ///< where the file is afterwards; empty when it is gone
};

struct Batch {
  Verb verb = Verb::open;
  std::vector<Job> jobs;
  std::string contents; ///< of each file, before or afterwards
  bool isText = true;
  std::map<std::string, std::uint64_t> entries; ///< of each folder: size by name
};

/// As many files of `size` bytes, or for `list` folders of as many entries, beneath `folder`.
Batch makeBatch(Verb verb, const std::filesystem::path& folder, std::size_t files, std::size_t size,
                bool isText);

/// Brings the folder, and nothing else in it, into the state before the work.
void prepareDisk(const Batch& batch, const std::filesystem::path& folder);

/// Whether the disk is in the state after the work.
bool isDone(const Batch& batch);

} // namespace connector::bench
