#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

/// What a person at a terminal gets on top of what a program reads.
namespace connector::host {

/// Whether it is a terminal that shows colours, to somebody who has not set NO_COLOR.
bool showsColor(int descriptor);

/// A response as `writePrettyJson` writes it, with its faults in colour.
std::string withColoredFaults(std::string response);

/// While it lives, a terminal shows what is going on and for how long, once that is a second; the
/// line goes away with it. Anything else than a terminal is left alone.
class Progress {
public:
  Progress(int descriptor, std::string what,
           std::chrono::milliseconds second = std::chrono::seconds(1));
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

private:
  void run();
  void show(const std::string& text) const;

  const int descriptor_;
  const std::string what_;
  const std::chrono::milliseconds second_;
  std::mutex mutex_;
  std::condition_variable end_;
  bool ended_ = false;
  std::thread thread_; // the work itself knows nothing of time and cannot be asked
};

} // namespace connector::host
