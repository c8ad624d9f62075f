#pragma once

#include <QCoreApplication>
#include <QMetaObject>
#include <QPointer>
#include <QString>
#include <QThread>
#include <optional>
#include <type_traits>
#include <utility>

// The thread rule of the desktop program and the command line:
//
// - Each thread has one owner and a context object living on it: the main
//   thread (the application object), or a WorkerThread below (a streaming
//   session, the uploads, the sign-in exchange, the keychain). A call from
//   one thread to another is a queued invocation through postTo, never a
//   shared object behind a lock, unless the class comment says otherwise.
// - The Qt objects of the desktop and the command line (controller, views,
//   services, commands) live on the main thread. Work that starts on
//   another thread reaches them only through postToMainThread or
//   runOnMainThread.
// - A QPointer that guards such an object is made on the object's own
//   thread (or before any other thread knows the object), may be copied
//   anywhere, and is tested and followed only on the main thread: its test
//   races with a destruction that happens there.
// - Code on another thread that must call back therefore holds a guard made
//   beforehand, or belongs to an object that joins that thread before it
//   goes.

namespace pellum {

// Whether the caller is on the application's main thread. Without an
// application object there is only one thread that matters: the caller's.
inline bool isMainThread() {
  auto* app = QCoreApplication::instance();
  return !app || QThread::currentThread() == app->thread();
}

// Queues `work` to run on the thread `context` lives on, in that thread's
// event loop, and returns at once. Dropped if `context` is destroyed
// before it runs. Every cross-thread call goes through here.
template <class Work>
void postTo(QObject* context, Work&& work) {
  QMetaObject::invokeMethod(context, std::forward<Work>(work), Qt::QueuedConnection);
}

// Queues `work` to run on the main thread and returns at once; `work` runs
// after the events already queued there, never inside the caller. Without
// an application object (a command-line tool with no event loop) it runs
// at once on the caller's thread.
template <class Work>
void postToMainThread(Work&& work) {
  auto* app = QCoreApplication::instance();
  if (!app) return std::forward<Work>(work)();
  postTo(app, std::forward<Work>(work));
}

// Queues `work(object)` to run on the main thread if `guard`'s object still
// exists by then; otherwise `work` is dropped. Safe from any thread as long
// as `guard` was made as the rule above says.
template <class Object, class Work>
void postToMainThread(QPointer<Object> guard, Work&& work) {
  postToMainThread([guard = std::move(guard), work = std::forward<Work>(work)]() mutable {
    if (Object* object = guard.data()) work(*object);
  });
}

// Runs `work` on the main thread and returns its result: directly when
// already there, otherwise through a blocking queued call. Never call it
// from a thread that the main thread is waiting on.
template <class Work>
auto runOnMainThread(Work&& work) -> decltype(work()) {
  if (isMainThread()) return work();
  using Value = decltype(work());
  if constexpr (std::is_void_v<Value>) {
    QMetaObject::invokeMethod(QCoreApplication::instance(), std::forward<Work>(work),
                              Qt::BlockingQueuedConnection);
  } else {
    std::optional<Value> value;
    QMetaObject::invokeMethod(
        QCoreApplication::instance(), [&] { value.emplace(work()); }, Qt::BlockingQueuedConnection);
    return std::move(*value);
  }
}

// A named thread with an event loop, and the context object that lives on
// it: everything the thread owns (sockets, timers, an access manager) is a
// child of `context()` or made in work posted there.
//
// Made and destroyed by its owner's thread. The destructor deletes the
// context and its children on the worker thread, ends the loop and joins
// it; destroyed from within work running on the worker thread itself, it
// cannot join, and the thread cleans up after its loop ends instead.
class WorkerThread {
 public:
  explicit WorkerThread(const QString& name);
  ~WorkerThread();
  WorkerThread(const WorkerThread&) = delete;
  WorkerThread& operator=(const WorkerThread&) = delete;

  QObject* context() const { return context_; }
  bool isCurrent() const { return QThread::currentThread() == thread_; }

  // Queues `work` to run on the worker thread.
  template <class Work>
  void post(Work&& work) const {
    postTo(context_, std::forward<Work>(work));
  }

 private:
  QThread* thread_;
  QObject* context_;
};

}  // namespace pellum
