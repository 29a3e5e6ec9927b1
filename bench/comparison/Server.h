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

struct WrongReply : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// A decoded reply.
struct Decoded {
  std::string contents;                       ///< of an opened file
  std::map<std::string, std::uint64_t> sizes; ///< of a directory's entries, by name
  std::uint64_t size = 0;                     ///< of the file that any other reply describes
};

/// A running service and our client for it. The measured time includes the service and the least
/// work of a client: it writes the requests, reads the complete replies into memory and checks that
/// none is a refusal. It does not decode the replies or copy their contents.
class Server {
public:
  explicit Server(const char* name)
      : name_(name) {}

  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;
  virtual ~Server() = default;

  [[nodiscard]] const char* name() const { return name_; }

  /// Does everything that can be done in advance, and returns the work to be timed. `batch` must
  /// outlive it. The work throws WrongReply if a request is refused.
  virtual std::function<void()> prepare(const Batch& batch) = 0;

  /// Decodes the last reply that the work received.
  [[nodiscard]] virtual Decoded decode(const Batch& batch) const = 0;

private:
  const char* name_;
};

std::unique_ptr<Server> startConnectorHost(Waiting waiting);
std::unique_ptr<Server> startSftpServer(Waiting waiting);
std::unique_ptr<Server> startNodeService(const std::string& script, Waiting waiting);

} // namespace connector::bench
