#pragma once

#include <condition_variable>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

/// Output for a person at a terminal.
namespace connector::host {

/// Whether the descriptor is a terminal with colours, and NO_COLOR is not set.
bool showsColor(int descriptor);

/// Colours the faults in a response that `writePrettyJson` has written.
std::string withColoredFaults(std::string response);

/// Writes each control character as JSON escapes it: "\\u001b". Those in `kept` are unchanged. Text
/// from clients or files could otherwise control the terminal or forge a line.
std::string withEscapedControls(std::string_view text, std::string_view kept);

/// The text for this descriptor: with escaped controls if it is a terminal.
std::string forTerminal(int descriptor, const std::string& text);

/// Prints a line on standard error that begins with the program's name.
void printDiagnostic(const std::string& text);

/// Shows "connector-host: TYPE ... N s" on a terminal once a request takes longer than a second.
/// The destructor erases it. Does nothing if the descriptor is not a terminal.
class Progress {
public:
  Progress(int descriptor, std::string type);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

private:
  void run();
  void show(const std::string& text) const;

  const int descriptor_;
  const std::string type_;
  std::mutex mutex_;
  std::condition_variable end_;
  bool ended_ = false;
  std::thread thread_; // the request blocks its own thread
};

} // namespace connector::host
