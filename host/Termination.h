#pragma once

namespace connector::host {

/// SIGTERM and SIGINT end `input`, an open descriptor: the null device takes its place, so that
/// whoever waits for input or is about to finds the end of it. The first one only does that; a
/// second one, of either, ends the process at once, for whoever cannot wait for the request in
/// hand. SIGPIPE and SIGXFSZ are ignored. Failures are a std::system_error. One object in a
/// process, for good.
class Termination {
public:
  explicit Termination(int input);

  [[nodiscard]] int input() const { return input_; }

  [[nodiscard]] bool isRequested() const;

private:
  int input_;
};

} // namespace connector::host
