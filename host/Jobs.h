#pragma once

#include "JsonRpc.h"

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <exception>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace connector::host {

/// Executes tasks: one at a time in `add` itself, or several at once on threads of their own, in
/// any order. Only one thread may call the functions.
class Jobs {
public:
  /// `execute` is called from all threads. `mostBytes` limits the texts of the tasks that wait.
  Jobs(std::size_t count, std::size_t mostBytes, std::function<void(const Task&)> execute);
  ~Jobs();
  Jobs(const Jobs&) = delete;
  Jobs& operator=(const Jobs&) = delete;

  /// Waits until the tasks that wait are few and short enough. `size` is that of the task's text.
  /// Throws the first exception of an execution.
  void add(Task task, std::size_t size);

  /// Removes the request that a cancellation names, unless it has begun, and returns it.
  std::optional<Task> remove(const Request& cancellation, const char* idKey);

  /// Waits until all tasks are executed. Throws the first exception of an execution.
  void finish();

private:
  struct Waiting {
    Task task;
    std::size_t size;
  };

  [[nodiscard]] bool fits(std::size_t size, std::size_t most) const;
  void run();
  void execute(const Task& task);
  std::optional<Task> next();
  void end();

  const std::function<void(const Task&)> execute_;
  const std::size_t most_;
  const std::size_t mostBytes_;

  std::mutex mutex_;                // guards the members below
  std::condition_variable hasTask_; // or the end, or a failure
  std::condition_variable hasRoom_; // or a failure
  std::deque<Waiting> waiting_;
  std::size_t bytes_ = 0; // of the tasks that wait
  bool isEnded_ = false;
  std::exception_ptr failure_;

  std::vector<std::thread> threads_;
};

} // namespace connector::host
