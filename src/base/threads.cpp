#include "base/threads.h"

namespace pellum {

WorkerThread::WorkerThread(const QString& name) : thread_(new QThread), context_(new QObject) {
  thread_->setObjectName(name);
  context_->moveToThread(thread_);
  thread_->start();
}

WorkerThread::~WorkerThread() {
  // Queued before the loop ends; Qt runs deferred deletions of a finishing
  // thread too, so the context never outlives it.
  context_->deleteLater();
  thread_->quit();
  if (isCurrent()) {
    QObject::connect(thread_, &QThread::finished, thread_, &QObject::deleteLater);
    return;
  }
  thread_->wait();
  delete thread_;
}

}  // namespace pellum
