#include "Jobs.h"

#include <algorithm>
#include <csignal>
#include <pthread.h>
#include <utility>

namespace connector::host {

namespace {

/// While it exists, new threads leave SIGTERM and SIGINT to the thread that reads the input.
class TerminationBlocked {
public:
  TerminationBlocked() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    pthread_sigmask(SIG_BLOCK, &signals, &before_);
  }

  ~TerminationBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

  TerminationBlocked(const TerminationBlocked&) = delete;
  TerminationBlocked& operator=(const TerminationBlocked&) = delete;

private:
  sigset_t before_{};
};

} // namespace

Jobs::Jobs(std::size_t count, std::size_t mostBytes, std::function<void(const Task&)> execute)
    : execute_(std::move(execute))
    , most_(4 * count)
    , mostBytes_(mostBytes) {
  if (count == 1) {
    return;
  }
  const TerminationBlocked blocked;
  try {
    while (threads_.size() < count) {
      threads_.emplace_back([this] { run(); });
    }
  } catch (...) {
    end();
    throw;
  }
}

Jobs::~Jobs() {
  end();
}

void Jobs::add(Task task, std::size_t size) {
  if (threads_.empty()) {
    execute_(task);
    return;
  }
  if (auto* batch = std::get_if<Batch>(&task)) {
    batch->keep();
  }
  std::unique_lock lock(mutex_);
  if (!fits(size, most_)) {
    // Until half of the tasks have begun: to wake for each of them takes longer than a small
    // request.
    hasRoom_.wait(lock, [&] { return fits(size, most_ / 2) || failure_ != nullptr; });
  }
  if (failure_ != nullptr) {
    std::rethrow_exception(failure_);
  }
  waiting_.push_back({std::move(task), size});
  bytes_ += size;
  hasTask_.notify_one();
}

bool Jobs::fits(std::size_t size, std::size_t most) const {
  return waiting_.empty() || (waiting_.size() < most && bytes_ + size <= mostBytes_);
}

std::optional<Task> Jobs::remove(const Request& cancellation, const char* idKey) {
  const std::lock_guard lock(mutex_);
  const auto found = std::find_if(waiting_.begin(), waiting_.end(), [&](const Waiting& waiting) {
    const auto* request = std::get_if<Request>(&waiting.task);
    return request != nullptr && request->isNamedBy(cancellation, idKey);
  });
  if (found == waiting_.end()) {
    return std::nullopt;
  }
  auto task = std::move(found->task);
  bytes_ -= found->size;
  waiting_.erase(found);
  return task;
}

void Jobs::finish() {
  end();
  if (failure_ != nullptr) {
    std::rethrow_exception(failure_);
  }
}

void Jobs::run() {
  while (const auto task = next()) {
    execute(*task);
  }
}

void Jobs::execute(const Task& task) {
  try {
    execute_(task);
  } catch (...) {
    const std::lock_guard lock(mutex_);
    failure_ = std::current_exception();
    hasTask_.notify_all();
    hasRoom_.notify_one();
  }
}

/// Returns nullopt once no further task will come.
std::optional<Task> Jobs::next() {
  std::unique_lock lock(mutex_);
  hasTask_.wait(lock, [this] { return isEnded_ || !waiting_.empty() || failure_ != nullptr; });
  if (waiting_.empty() || failure_ != nullptr) {
    return std::nullopt;
  }
  auto task = std::move(waiting_.front().task);
  bytes_ -= waiting_.front().size;
  waiting_.pop_front();
  if (waiting_.size() <= most_ / 2) {
    hasRoom_.notify_one();
  }
  return task;
}

void Jobs::end() {
  {
    const std::lock_guard lock(mutex_);
    isEnded_ = true;
    hasTask_.notify_all();
  }
  for (auto& thread : threads_) {
    thread.join();
  }
  threads_.clear();
}

} // namespace connector::host
