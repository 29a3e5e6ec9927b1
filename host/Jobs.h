#pragma once

#include "JsonRpc.h"

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <exception>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace connector::host {

/// Executes tasks. With a count of 1, `add` executes the task itself. Otherwise that many threads
/// execute queued tasks, in any order. Call all functions from one thread.
class Jobs {
public:
  /// `execute` is called from several threads at once if `count` is above 1. The texts of queued
  /// tasks have at most `maxBytes` bytes together, those of queued and executing tasks at most
  /// `count * maxBytes`.
  Jobs(std::size_t count, std::size_t maxBytes, std::function<void(const Task&)> execute);

  /// As `finish`, but drops an exception.
  ~Jobs();
  Jobs(const Jobs&) = delete;
  Jobs& operator=(const Jobs&) = delete;

  /// Executes or queues a task, whose text has `textSize` bytes. Waits while the queue is full.
  /// Throws the exception of a failed execution; a failure ends all threads.
  void add(Task task, std::size_t textSize);

  /// Removes the queued request that a cancellation names, and returns it. Returns nullopt if it is
  /// unknown, has begun or is part of a batch.
  std::optional<Task> remove(const Request& cancellation, const char* idKey);

  /// Executes the queued tasks, unless one failed, and ends the threads. Throws the first exception
  /// of an execution.
  void finish();

private:
  struct Queued {
    Task task;
    std::size_t textSize;
  };

  [[nodiscard]] bool fits(std::size_t textSize, std::size_t maxTasks) const;
  void run();
  std::optional<Queued> next(std::size_t executedBytes);
  void stopAndJoin();

  const std::function<void(const Task&)> execute_;
  const std::size_t count_;
  const std::size_t maxBytes_;
  std::vector<std::thread> threads_;

  std::mutex mutex_;                   // guards all members below
  std::condition_variable taskQueued_; // notified at the end and after a failure, too
  // The queue is less than half full; notified after a failure, too.
  std::condition_variable queueDrained_;
  std::deque<Queued> queue_;
  std::size_t queuedBytes_ = 0;
  std::size_t executingBytes_ = 0;
  bool isEnding_ = false;
  std::exception_ptr failure_; // the first one
};

} // namespace connector::host
