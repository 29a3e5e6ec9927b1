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

/// The decoded contents of an answer.
struct Decoded {
  std::string contents;                       ///< of an opened file
  std::map<std::string, std::uint64_t> sizes; ///< of a directory's entries, by name
  std::uint64_t size = 0;                     ///< of the file that any other answer describes
};

/// A running service with our client of it. The times contain the service and the least work of any
/// client: it writes the requests, reads the whole answers into memory and checks that they are not
/// refusals. It does not decode them, and does not copy bulk data after reading it.
class Server {
public:
  explicit Server(const char* name)
      : name_(name) {}

  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;
  virtual ~Server() = default;

  [[nodiscard]] const char* name() const { return name_; }

  /// Returns the work to be timed, after preparing what it can. Refers to `batch`. The work throws
  /// WrongAnswer if an answer is a refusal.
  virtual std::function<void()> ready(const Batch& batch) = 0;

  /// Decodes the answer about the last file of the last work; not measured.
  [[nodiscard]] virtual Decoded decode(const Batch& batch) const = 0;

private:
  const char* name_;
};

std::unique_ptr<Server> startConnectorHost(Waiting waiting);
std::unique_ptr<Server> startSftpServer(Waiting waiting);
std::unique_ptr<Server> startNodeService(const std::string& script, Waiting waiting);

} // namespace connector::bench
