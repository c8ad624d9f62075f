#include "base/main_thread.h"

#include <gtest/gtest.h>

#include <QObject>
#include <QThread>
#include <atomic>
#include <memory>
#include <thread>

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

}  // namespace
}  // namespace pellum
