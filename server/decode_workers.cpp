#include "decode_workers.h"

#include <utility>

#include <boost/asio/post.hpp>
#include <boost/asio/strand.hpp>
#include <boost/asio/thread_pool.hpp>

namespace pellum::server {
namespace net = boost::asio;

struct DecodeWorkers::Impl {
  explicit Impl(int threads) : pool(static_cast<std::size_t>(threads)) {}
  net::thread_pool pool;
};

namespace {

class StrandQueue : public WorkQueue {
 public:
  explicit StrandQueue(net::thread_pool& pool) : strand_(net::make_strand(pool)) {}
  void post(std::function<void()> task) override { net::post(strand_, std::move(task)); }

 private:
  net::strand<net::thread_pool::executor_type> strand_;
};

}  // namespace

DecodeWorkers::DecodeWorkers(int threads) : impl_(std::make_unique<Impl>(threads)) {}
DecodeWorkers::~DecodeWorkers() { impl_->pool.join(); }

std::shared_ptr<WorkQueue> DecodeWorkers::serialQueue() { return std::make_shared<StrandQueue>(impl_->pool); }
void DecodeWorkers::post(std::function<void()> task) { net::post(impl_->pool, std::move(task)); }
void DecodeWorkers::join() { impl_->pool.join(); }

}  // namespace pellum::server
