#include "decode_workers.h"

#include <atomic>
#include <utility>

#include <boost/asio/post.hpp>
#include <boost/asio/strand.hpp>
#include <boost/asio/thread_pool.hpp>

namespace pellum::server {
namespace net = boost::asio;

struct DecodeWorkers::Impl {
  explicit Impl(int threads) : pool(static_cast<std::size_t>(threads)) {}
  net::thread_pool pool;
  std::shared_ptr<std::atomic<std::size_t>> queued = std::make_shared<std::atomic<std::size_t>>(0);
};

namespace {

// `task`, counted as queued until a worker starts it.
std::function<void()> counted(std::shared_ptr<std::atomic<std::size_t>> queued, std::function<void()> task) {
  queued->fetch_add(1);
  return [queued = std::move(queued), task = std::move(task)] {
    queued->fetch_sub(1);
    task();
  };
}

class StrandQueue : public WorkQueue {
 public:
  StrandQueue(net::thread_pool& pool, std::shared_ptr<std::atomic<std::size_t>> queued)
      : strand_(net::make_strand(pool)), queued_(std::move(queued)) {}
  void post(std::function<void()> task) override { net::post(strand_, counted(queued_, std::move(task))); }

 private:
  net::strand<net::thread_pool::executor_type> strand_;
  std::shared_ptr<std::atomic<std::size_t>> queued_;
};

}  // namespace

DecodeWorkers::DecodeWorkers(int threads) : impl_(std::make_unique<Impl>(threads)) {}
DecodeWorkers::~DecodeWorkers() { impl_->pool.join(); }

std::shared_ptr<WorkQueue> DecodeWorkers::serialQueue() {
  return std::make_shared<StrandQueue>(impl_->pool, impl_->queued);
}
void DecodeWorkers::post(std::function<void()> task) {
  net::post(impl_->pool, counted(impl_->queued, std::move(task)));
}
std::size_t DecodeWorkers::queued() const { return impl_->queued->load(); }
void DecodeWorkers::join() { impl_->pool.join(); }

}  // namespace pellum::server
