#pragma once

#include <QCoreApplication>
#include <QMetaObject>
#include <QThread>
#include <optional>
#include <utility>

namespace pellum {

// Whether the caller is on the application's main (GUI) thread. Without an
// application object there is only one thread that matters: the caller's.
inline bool isMainThread() {
  auto* app = QCoreApplication::instance();
  return !app || QThread::currentThread() == app->thread();
}

// Runs `work` on the main thread and returns its result: directly when
// already there, otherwise through a blocking queued call. Never call it
// from a thread that the main thread is waiting on.
template <class Work>
auto runOnMainThread(Work&& work) -> decltype(work()) {
  if (isMainThread()) return work();
  using Value = decltype(work());
  std::optional<Value> value;
  QMetaObject::invokeMethod(
      QCoreApplication::instance(), [&] { value.emplace(work()); }, Qt::BlockingQueuedConnection);
  return std::move(*value);
}

}  // namespace pellum
