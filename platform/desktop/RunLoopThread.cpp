#include "platform/desktop/RunLoopThread.h"

#include <QDeadlineTimer>
#include <QThread>
#include <exception>
#include <mutex>
#include <utility>

#include "platform/desktop/QtRunLoop.h"

namespace tolvane {

class RunLoopThread::Thread final : public QThread {
 public:
  Thread(Make make, Failed failed) : make_(std::move(make)), failed_(std::move(failed)) {}

  void requestEnd() {
    const std::lock_guard lock(mutex_);
    if (loop_)
      loop_->post([this] { quit(); });
    else
      quit();  // without a loop, before it or after it, there is nothing to end
  }

 protected:
  void run() override {
    QtRunLoop loop;
    {
      const std::lock_guard lock(mutex_);
      loop_ = &loop;
    }
    try {
      const auto made = make_(loop);
      exec();
    } catch (const std::exception& failure) {
      failed_(failure.what());
    }
    const std::lock_guard lock(mutex_);
    loop_ = nullptr;
  }

 private:
  const Make make_;
  const Failed failed_;
  std::mutex mutex_;
  QtRunLoop* loop_ = nullptr;  // guarded by mutex_; null before and after the loop
};

RunLoopThread::RunLoopThread(const char* name, Make make, Failed failed)
    : thread_(std::make_unique<Thread>(std::move(make), std::move(failed))) {
  thread_->setObjectName(QString::fromLatin1(name));
  thread_->start();
}

RunLoopThread::~RunLoopThread() {
  if (!thread_) return;
  thread_->requestEnd();
  thread_->wait();
}

bool RunLoopThread::end(std::chrono::milliseconds limit) {
  if (!thread_) return true;
  thread_->requestEnd();
  const bool hasEnded = thread_->wait(QDeadlineTimer(limit));
  if (!hasEnded) std::ignore = thread_.release();  // a running thread must not be destroyed
  thread_.reset();
  return hasEnded;
}

}  // namespace tolvane
