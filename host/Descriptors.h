#pragma once

#include "Termination.h"

#include <cstddef>
#include <string_view>

namespace connector::host {

/// Where bytes come from.
class Input {
public:
  Input() = default;
  virtual ~Input() = default;
  Input(const Input&) = delete;
  Input& operator=(const Input&) = delete;

  /// Waits for bytes and returns how many came. 0 at the end, or when told to stop.
  virtual std::size_t read(char* buffer, std::size_t size) = 0;

  /// Whether whoever runs the process wants no further request to be begun.
  [[nodiscard]] virtual bool stopped() const = 0;
};

/// The input that a requested termination ends. Failures are a std::system_error.
class DescriptorInput : public Input {
public:
  explicit DescriptorInput(const Termination& termination)
      : termination_(termination) {}

  std::size_t read(char* buffer, std::size_t size) override;

  [[nodiscard]] bool stopped() const override { return termination_.isRequested(); }

private:
  const Termination& termination_;
};

/// Writes all of `bytes`, in one call where the system takes them so. False when the reader has
/// gone away; any other failure is a std::system_error. SIGPIPE must be ignored.
[[nodiscard]] bool writeAll(int descriptor, std::string_view bytes);

/// Lets a pipe hold more at once than usual, so that the two ends wait less for each other.
void widenPipe(int descriptor);

/// Opens the null device in place of a standard stream that the process was started without, so
/// that no file opened later is taken for one.
void reserveStandardDescriptors();

} // namespace connector::host
