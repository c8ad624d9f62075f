#pragma once

#include <cstddef>
#include <functional>
#include <memory>

namespace pellum::server {

// Runs tasks one at a time, in order, on the decode workers.
class WorkQueue {
 public:
  virtual ~WorkQueue() = default;
  virtual void post(std::function<void()> task) = 0;
};

// The threads that decode speech and run translations, kept apart from the
// I/O threads so a slow decode never stalls a socket. Thread-safe.
class DecodeWorkers {
 public:
  explicit DecodeWorkers(int threads);
  ~DecodeWorkers();  // waits for queued tasks
  DecodeWorkers(const DecodeWorkers&) = delete;
  DecodeWorkers& operator=(const DecodeWorkers&) = delete;

  // A new serial queue: one per session, since a decoder is not thread-safe.
  std::shared_ptr<WorkQueue> serialQueue();
  void post(std::function<void()> task);
  // Tasks posted that no worker has started yet.
  std::size_t queued() const;
  // Waits until every task posted so far has run and refuses new ones.
  void join();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace pellum::server
