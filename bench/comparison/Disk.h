#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace connector::bench {

/// The operation on each file of a batch. `openTogether` is `open` by a client that guesses: where
/// it can, it sends a request that may be unnecessary together with the one before it.
enum class Verb { open, openTogether, list, create, update, rename, move, remove };

struct Job {
  std::string path;
  std::string after; ///< the path of the file after the work; empty if it is deleted
};

struct Batch {
  Verb verb = Verb::open;
  std::vector<Job> jobs;
  std::string contents; ///< of each file, before or after the work
  bool isText = true;
  std::map<std::string, std::uint64_t> entries; ///< of each directory: size by name
};

/// Plans `files` files of `size` bytes in `directory`, or for `list` directories of `size` entries.
Batch makeBatch(Verb verb, const std::filesystem::path& directory, std::size_t files,
                std::size_t size, bool isText);

/// Empties the directory and brings it into the state before the work.
void prepareDisk(const Batch& batch, const std::filesystem::path& directory);

/// Returns whether the disk is in the state after the work.
bool isDone(const Batch& batch);

} // namespace connector::bench
