#pragma once

#include "Child.h"
#include "Disk.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>

namespace connector::bench {

struct WrongAnswer : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// What an answer tells, decoded.
struct Told {
  std::string contents;                       ///< of an opened file
  std::map<std::string, std::uint64_t> sizes; ///< of a folder's entries, by name
  std::uint64_t size = 0;                     ///< of the file that any other answer describes
};

/// A running service with our client of it. What is measured is the service and the least that any
/// client must do: write the requests, read the whole answers into memory, see that they are no
/// refusals. Nothing is decoded, and no bulk data is copied once it is read.
class Server {
public:
  explicit Server(const char* name)
      : name_(name) {}

  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;
  virtual ~Server() = default;

  [[nodiscard]] const char* name() const { return name_; }

  /// The work to be timed; what can be made ready beforehand is. Refers to `batch`. Throws
  /// WrongAnswer when an answer is a refusal.
  virtual std::function<void()> ready(const Batch& batch) = 0;

  /// For the last file of the work that was done last; not measured.
  [[nodiscard]] virtual Told told(const Batch& batch) const = 0;

private:
  const char* name_;
};

std::unique_ptr<Server> startConnectorHost(Waiting waiting);
std::unique_ptr<Server> startSftpServer(Waiting waiting);
std::unique_ptr<Server> startNodeService(const std::string& script, Waiting waiting);

} // namespace connector::bench
