#pragma once

namespace connector::host {

/// SIGTERM and SIGINT as a descriptor that becomes readable and stays so. The first of each only
/// asks; a second one ends the process at once, for whoever cannot wait for the request in hand.
/// SIGPIPE is ignored. Failures are a std::system_error. One object in a process, for good.
class Termination {
public:
  Termination();

  [[nodiscard]] int descriptor() const { return descriptor_; }

private:
  int descriptor_;
};

} // namespace connector::host
