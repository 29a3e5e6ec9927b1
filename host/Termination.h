#pragma once

namespace connector::host {

/// Ends the input at the first SIGTERM or SIGINT: the null device replaces the descriptor `input`,
/// so that every read returns the end, even one that is waiting. A second signal kills the process,
/// for a user who cannot wait for the current request. Ignores SIGPIPE and SIGXFSZ. Throws
/// std::system_error. Create at most one; its effects last until the process ends.
class Termination {
public:
  explicit Termination(int input);

  /// May be called from any thread.
  [[nodiscard]] bool isRequested() const;
};

} // namespace connector::host
