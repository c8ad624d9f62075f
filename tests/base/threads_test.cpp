#include "base/threads.h"

#include <gtest/gtest.h>

#include <QObject>
#include <QThread>
#include <atomic>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "support/event_loop.h"

namespace pellum {
namespace {

using namespace std::chrono_literals;

TEST(PostToMainThread, RunsLaterOnTheMainThreadNeverInsideTheCaller) {
  bool ran = false;
  postToMainThread([&] { ran = true; });
  EXPECT_FALSE(ran);
  EXPECT_TRUE(test::waitUntil([&] { return ran; }, 1s));
}

TEST(PostToMainThread, WorkFromAnotherThreadRunsOnTheMainThread) {
  std::atomic<bool> onMain = false;
  std::atomic<bool> ran = false;
  std::thread worker([&] {
    postToMainThread([&] {
      onMain = isMainThread();
      ran = true;
    });
  });
  worker.join();
  ASSERT_TRUE(test::waitUntil([&] { return ran.load(); }, 1s));
  EXPECT_TRUE(onMain);
}

TEST(PostToMainThread, GuardedWorkGetsTheObject) {
  QObject object;
  object.setObjectName(QStringLiteral("target"));
  QString seen;
  postToMainThread(QPointer<QObject>(&object), [&](QObject& target) { seen = target.objectName(); });
  EXPECT_TRUE(test::waitUntil([&] { return !seen.isEmpty(); }, 1s));
  EXPECT_EQ(seen, QStringLiteral("target"));
}

TEST(PostToMainThread, GuardedWorkIsDroppedWhenTheObjectWentFirst) {
  auto object = std::make_unique<QObject>();
  const QPointer<QObject> guard(object.get());
  bool ran = false;
  std::thread worker([&] { postToMainThread(guard, [&](QObject&) { ran = true; }); });
  worker.join();
  object.reset();
  bool flushed = false;
  postToMainThread([&] { flushed = true; });  // queued behind the guarded work
  ASSERT_TRUE(test::waitUntil([&] { return flushed; }, 1s));
  EXPECT_FALSE(ran);
}

TEST(RunOnMainThread, ReturnsTheMainThreadsAnswerToAnotherThread) {
  std::atomic<int> answer = 0;
  std::atomic<bool> done = false;
  std::thread worker([&] {
    answer = runOnMainThread([] { return isMainThread() ? 42 : -1; });
    done = true;
  });
  ASSERT_TRUE(test::waitUntil([&] { return done.load(); }, 1s));
  worker.join();
  EXPECT_EQ(answer, 42);
}

TEST(WorkerThread, PostedWorkRunsInOrderOnTheNamedThread) {
  WorkerThread worker(QStringLiteral("pellum.test-worker"));
  std::mutex lock;
  std::vector<int> order;
  QString name;
  std::atomic<bool> sameThread = true;
  for (int i = 0; i < 5; ++i) {
    worker.post([&, i] {
      std::lock_guard guard(lock);
      order.push_back(i);
      name = QThread::currentThread()->objectName();
      sameThread = sameThread && worker.isCurrent() && !isMainThread();
    });
  }
  ASSERT_TRUE(test::waitUntil(
      [&] {
        std::lock_guard guard(lock);
        return order.size() == 5;
      },
      1s));
  EXPECT_EQ(order, (std::vector<int>{0, 1, 2, 3, 4}));
  EXPECT_EQ(name, QStringLiteral("pellum.test-worker"));
  EXPECT_TRUE(sameThread);
  EXPECT_FALSE(worker.isCurrent());
}

TEST(WorkerThread, EndingItDeletesTheContextsChildrenOnTheWorkerThread) {
  std::atomic<bool> deletedOnWorker = false;
  std::atomic<bool> deleted = false;
  {
    WorkerThread worker(QStringLiteral("pellum.test-worker"));
    std::atomic<bool> made = false;
    worker.post([&] {
      auto* child = new QObject(worker.context());
      QObject::connect(child, &QObject::destroyed, [&, thread = QThread::currentThread()] {
        deletedOnWorker = QThread::currentThread() == thread;
        deleted = true;
      });
      made = true;
    });
    ASSERT_TRUE(test::waitUntil([&] { return made.load(); }, 1s));
  }
  EXPECT_TRUE(deleted);  // joined: nothing is left running
  EXPECT_TRUE(deletedOnWorker);
}

TEST(WorkerThread, AnOwnerDroppedFromItsOwnWorkerThreadDoesNotWaitForItself) {
  auto worker = std::make_shared<std::unique_ptr<WorkerThread>>(
      std::make_unique<WorkerThread>(QStringLiteral("pellum.test-worker")));
  std::atomic<bool> dropped = false;
  (*worker)->post([worker, &dropped] {
    worker->reset();  // the last owner goes, on the worker thread
    dropped = true;
  });
  EXPECT_TRUE(test::waitUntil([&] { return dropped.load(); }, 2s));
  test::spin(50ms);  // the thread finishes and is deleted on this thread
}

}  // namespace
}  // namespace pellum
