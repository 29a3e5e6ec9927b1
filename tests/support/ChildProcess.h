#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <exception>
#include <fcntl.h>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace connector::test {

namespace detail {

/// Sends each failure and skip of the child to its parent, in place of printing it.
class ResultSender : public ::testing::EmptyTestEventListener {
public:
  explicit ResultSender(int pipe)
      : pipe_(pipe) {}

  void OnTestPartResult(const ::testing::TestPartResult& result) override {
    if (result.passed()) {
      return;
    }
    std::ostringstream record;
    record << (result.skipped() ? 'S' : 'F') << result.line_number() << ' '
           << (result.file_name() != nullptr ? result.file_name() : "") << '\n'
           << result.message() << '\0';
    const std::string bytes = record.str();
    if (::write(pipe_, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) {
      _exit(1);
    }
  }

private:
  int pipe_;
};

/// Gives one record of the child to the current test as if it had happened here.
inline void replay(const std::string& record) {
  char kind = 'F';
  int line = 0;
  std::string file;
  std::istringstream stream(record);
  (stream >> kind >> line).ignore();
  std::getline(stream, file);
  const std::string message(std::istreambuf_iterator<char>(stream), {});
  if (kind == 'S') {
    GTEST_SKIP() << message;
  }
  ADD_FAILURE_AT(file.c_str(), line) << message;
}

[[noreturn]] inline void runAndExit(const std::function<void()>& body, int pipe) {
  auto& listeners = ::testing::UnitTest::GetInstance()->listeners();
  delete listeners.Release(listeners.default_result_printer());
  listeners.Append(new ResultSender(pipe));
  try {
    body();
  } catch (const std::exception& error) {
    ADD_FAILURE() << "exception in the child process: " << error.what();
  } catch (...) {
    ADD_FAILURE() << "unknown exception in the child process";
  }
  _exit(0);
}

} // namespace detail

/// Runs `body` in a forked child. Its gtest failures become those of the current test, and so does
/// a child that does not reach its end.
inline void inChildProcess(const std::function<void()>& body) {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) {
    throw std::system_error(errno, std::generic_category(), "pipe");
  }
  const pid_t child = fork();
  if (child < 0) {
    throw std::system_error(errno, std::generic_category(), "fork");
  }
  if (child == 0) {
    close(ends[0]);
    detail::runAndExit(body, ends[1]);
  }
  close(ends[1]);
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> pipe(fdopen(ends[0], "r"), &std::fclose);
  std::string record;
  for (int byte = std::fgetc(pipe.get()); byte != EOF; byte = std::fgetc(pipe.get())) {
    if (byte != 0) {
      record += static_cast<char>(byte);
      continue;
    }
    detail::replay(record);
    record.clear();
  }
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0)
      << "the child process ended with wait status " << status;
}

} // namespace connector::test
