#pragma once

namespace connector::host {

/// Ends the open descriptor `input` at the first SIGTERM or SIGINT: the null device replaces it, so
/// that a present or later read returns the end. A second signal kills the process, for a user who
/// cannot wait for the current request. SIGPIPE and SIGXFSZ are ignored. Failures are a
/// std::system_error. Create at most one; its effects last until the process ends.
class Termination {
public:
  explicit Termination(int input);

  /// May be called from any thread.
  [[nodiscard]] bool isRequested() const;
};

} // namespace connector::host
