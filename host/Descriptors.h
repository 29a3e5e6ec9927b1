#pragma once

#include "Streams.h"

#include <atomic>
#include <cstddef>
#include <posix/Descriptor.h>
#include <string_view>

/// Input and output through file descriptors. Failures throw std::system_error.
namespace connector::host {

/// Ends the input at the first SIGTERM or SIGINT: the null device replaces the descriptor `input`,
/// so that every read returns the end, even one that is waiting. A second signal kills the process,
/// for a user who cannot wait for the current request. Ignores SIGPIPE and SIGXFSZ. Create at
/// most one; its effects last until the process ends.
class Termination {
public:
  explicit Termination(int input);

  /// May be called from any thread.
  [[nodiscard]] bool isRequested() const;
};

/// Reads a descriptor until one of these events:
/// - its end, which `termination` causes, too;
/// - a call of `stop`;
/// - nobody reads from the descriptor `output` any more, unless that is negative.
class DescriptorInput : public Input {
public:
  DescriptorInput(int descriptor, const Termination& termination, int output = -1);

  std::size_t read(char* buffer, std::size_t size) override;

  [[nodiscard]] bool stopped() const override;

  /// Ends the input and wakes a waiting `read`. May be called from any thread.
  void stop();

private:
  bool awaitInput();

  int descriptor_;
  int output_;
  const Termination& termination_;
  posix::Descriptor wakeUp_; // readable once stopped
  std::atomic<bool> isStopped_ = false;
};

/// Writes to a descriptor until nobody reads from it, and discards all further bytes. SIGPIPE must
/// be ignored.
class DescriptorOutput : public Output {
public:
  explicit DescriptorOutput(int descriptor)
      : Output(64UL * 1024, [this](std::string_view bytes) { write(bytes); })
      , descriptor_(descriptor) {}

  /// False once a write found no reader, or after `close`. May be called from any thread.
  [[nodiscard]] bool isOpen() const { return open_; }

  /// Discards all further bytes, after a reply was cut short.
  void close() { open_ = false; }

private:
  void write(std::string_view bytes);

  int descriptor_;
  std::atomic<bool> open_ = true;
};

/// Raises the capacity of a pipe, so that its two ends wait less often for each other. Without
/// this, an OpenFile of 20 MB of base64 takes 1.7 times as long if client and host run on two cores
/// (bench/compare), and a CreateFile 1.18 times.
void widenPipe(int descriptor);

/// Opens the null device for each standard stream that the process was started without. Otherwise
/// a file that is opened later would get the number of a standard stream.
void reserveStandardDescriptors();

} // namespace connector::host
