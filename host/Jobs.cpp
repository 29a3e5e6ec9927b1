#include "Jobs.h"

#include <algorithm>
#include <csignal>
#include <pthread.h>
#include <utility>

namespace connector::host {

namespace {

/// Blocks SIGTERM and SIGINT in this thread and in those that it starts. Returns the signals that
/// were blocked before.
sigset_t blockTermination() {
  sigset_t signals{};
  sigset_t before{};
  sigemptyset(&signals);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, SIGINT);
  pthread_sigmask(SIG_BLOCK, &signals, &before);
  return before;
}

} // namespace

Jobs::Jobs(std::size_t count, std::size_t maxBytes, std::function<void(const Task&)> execute)
    : execute_(std::move(execute))
    , count_(count)
    , maxBytes_(maxBytes) {
  if (count == 1) {
    return;
  }
  const auto before = blockTermination(); // only the reading thread receives these signals
  try {
    while (threads_.size() < count) {
      threads_.emplace_back([this] { run(); });
    }
  } catch (...) {
    stopAndJoin();
    throw;
  }
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

Jobs::~Jobs() {
  stopAndJoin();
}

void Jobs::add(Task task, std::size_t textSize) {
  if (threads_.empty()) {
    execute_(task);
    return;
  }
  if (auto* batch = std::get_if<Batch>(&task)) {
    batch->text = Text(batch->text.bytes()); // the reader reuses the memory of the original
  }
  std::unique_lock lock(mutex_);
  if (!fits(textSize, 4 * count_)) {
    // Waits for many free places, because waking this thread takes longer than a small request.
    queueDrained_.wait(lock, [&] { return fits(textSize, 2 * count_) || failure_ != nullptr; });
  }
  if (failure_ != nullptr) {
    std::rethrow_exception(failure_);
  }
  queue_.push_back({std::move(task), textSize});
  queuedBytes_ += textSize;
  taskQueued_.notify_one();
}

bool Jobs::fits(std::size_t textSize, std::size_t maxTasks) const {
  return queue_.size() < maxTasks && queuedBytes_ + textSize <= maxBytes_ &&
         queuedBytes_ + textSize + executingBytes_ <= count_ * maxBytes_;
}

std::optional<Task> Jobs::remove(const Request& cancellation, const char* idKey) {
  const std::lock_guard lock(mutex_);
  const auto found = std::find_if(queue_.begin(), queue_.end(), [&](const Queued& queued) {
    const auto* request = std::get_if<Request>(&queued.task);
    return request != nullptr && request->isNamedBy(cancellation, idKey);
  });
  if (found == queue_.end()) {
    return std::nullopt;
  }
  auto task = std::move(found->task);
  queuedBytes_ -= found->textSize;
  queue_.erase(found);
  return task;
}

void Jobs::finish() {
  stopAndJoin();
  if (failure_ != nullptr) {
    std::rethrow_exception(failure_);
  }
}

void Jobs::run() {
  std::size_t executedBytes = 0;
  while (const auto queued = next(executedBytes)) {
    executedBytes = queued->textSize;
    try {
      execute_(queued->task);
    } catch (...) {
      const std::lock_guard lock(mutex_);
      if (failure_ == nullptr) {
        failure_ = std::current_exception();
      }
      taskQueued_.notify_all();
      queueDrained_.notify_one();
    }
  }
}

/// Waits for a task. Returns nullopt at the end or after a failure. `executedBytes` is the size of
/// the thread's previous task.
std::optional<Jobs::Queued> Jobs::next(std::size_t executedBytes) {
  std::unique_lock lock(mutex_);
  executingBytes_ -= executedBytes;
  if (queue_.size() < 2 * count_) {
    queueDrained_.notify_one();
  }
  taskQueued_.wait(lock, [this] { return isEnding_ || !queue_.empty() || failure_ != nullptr; });
  if (queue_.empty() || failure_ != nullptr) {
    return std::nullopt;
  }
  auto queued = std::move(queue_.front());
  queue_.pop_front();
  queuedBytes_ -= queued.textSize;
  executingBytes_ += queued.textSize;
  return queued;
}

void Jobs::stopAndJoin() {
  {
    const std::lock_guard lock(mutex_);
    isEnding_ = true;
    taskQueued_.notify_all();
  }
  for (auto& thread : threads_) {
    thread.join();
  }
  threads_.clear();
}

} // namespace connector::host
