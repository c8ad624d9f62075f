#pragma once

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QThread>
#include <chrono>
#include <functional>

namespace pellum::test {

// Runs the calling thread's event loop until `done` holds or `timeout`
// passes; returns whether it held.
inline bool waitUntil(const std::function<bool()>& done,
                      std::chrono::milliseconds timeout = std::chrono::seconds(10)) {
  QElapsedTimer clock;
  clock.start();
  while (!done()) {
    if (clock.elapsed() > timeout.count()) return false;
    QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    QThread::msleep(1);
  }
  return true;
}

// Runs the event loop for `duration`, whatever happens.
inline void spin(std::chrono::milliseconds duration) {
  waitUntil([] { return false; }, duration);
}

}  // namespace pellum::test
