#pragma once

#include <Poco/Pipe.h>
#include <Poco/Process.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <poll.h>
#include <stdexcept>
#include <string>
#include <string_view>
#include <sys/uio.h>
#include <system_error>
#include <unistd.h>

namespace connector::bench {

/// How the client waits for a reply. Waking it takes longer than a service needs for a small
/// request, and equally long for every service.
enum class Waiting { asleep, awake };

/// A child process between two pipes. It must end at the end of its input, which the destructor
/// closes.
class Child {
public:
  Child(const std::string& program, const Poco::Process::Args& arguments, Waiting waiting)
      : process_(Poco::Process::launch(program, arguments, &in_, &out_, nullptr))
      , waiting_(waiting) {}

  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  ~Child() {
    in_.close();
    out_.close(); // the process may be blocked in writing a reply
    process_.wait();
  }

  /// Sends both parts in one system call, if the pipe has enough space.
  void send(std::string_view head, std::string_view tail = {}) {
    while (!head.empty() || !tail.empty()) {
      const std::array<iovec, 2> parts{asPart(head), asPart(tail)};
      const std::size_t sent = checked(::writev(in_.writeHandle(), parts.data(), parts.size()));
      const std::size_t ofHead = std::min(sent, head.size());
      head.remove_prefix(ofHead);
      tail.remove_prefix(sent - ofHead);
    }
  }

  /// Receives at least one byte.
  std::size_t receive(char* to, std::size_t size) {
    if (waiting_ == Waiting::awake) {
      poll();
    }
    return checked(::read(out_.readHandle(), to, size));
  }

private:
  void poll() const {
    pollfd output{out_.readHandle(), POLLIN, 0};
    while (::poll(&output, 1, 0) == 0) {
    }
  }

  static iovec asPart(std::string_view bytes) {
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): iovec serves both directions
    return {const_cast<char*>(bytes.data()), bytes.size()};
  }

  static std::size_t checked(ssize_t count) {
    if (count < 0) {
      throw std::system_error(errno, std::generic_category(), "pipe");
    }
    if (count == 0) {
      throw std::runtime_error("has ended");
    }
    return static_cast<std::size_t>(count);
  }

  Poco::Pipe in_;
  Poco::Pipe out_;
  Poco::ProcessHandle process_;
  Waiting waiting_;
};

} // namespace connector::bench
