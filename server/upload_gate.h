#pragma once

#include <atomic>
#include <memory>

namespace pellum::server {

// Counts the uploads being served, so their number (and with the body limit
// their memory) stays bounded, and the ones decoding, so a shutdown knows
// what it leaves behind. Thread-safe.
class UploadGate {
 public:
  // Holds one upload's place until it goes.
  class Ticket {
   public:
    explicit Ticket(UploadGate& gate) : gate_(gate) {}
    ~Ticket() { gate_.active_.fetch_sub(1); }
    Ticket(const Ticket&) = delete;
    Ticket& operator=(const Ticket&) = delete;

   private:
    UploadGate& gate_;
  };

  // Marks one upload decoding while it lives.
  class Decoding {
   public:
    explicit Decoding(UploadGate& gate) : gate_(gate) { gate_.decoding_.fetch_add(1); }
    ~Decoding() { gate_.decoding_.fetch_sub(1); }
    Decoding(const Decoding&) = delete;
    Decoding& operator=(const Decoding&) = delete;

   private:
    UploadGate& gate_;
  };

  explicit UploadGate(int capacity) : capacity_(capacity) {}

  // A place for one more upload, or nothing when `capacity` are being served.
  std::unique_ptr<Ticket> enter() {
    int active = active_.load();
    do {
      if (active >= capacity_) return nullptr;
    } while (!active_.compare_exchange_weak(active, active + 1));
    return std::make_unique<Ticket>(*this);
  }

  int decoding() const { return decoding_.load(); }
  // Uploads being received or decoded.
  int active() const { return active_.load(); }

  // Shutting down: a decode not yet started is not started.
  void close() { closed_.store(true); }
  bool closed() const { return closed_.load(); }

 private:
  const int capacity_;
  std::atomic<int> active_{0};
  std::atomic<int> decoding_{0};
  std::atomic<bool> closed_{false};
};

}  // namespace pellum::server
