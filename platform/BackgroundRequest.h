#pragma once
// One piece of work in the background at a time, with its result in a turn of the requesting thread. A newer request,
// or cancel(), abandons the older one: its result is dropped on the thread that produced it. Everything here is for the
// requesting thread, except the work itself.

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

#include "platform/Background.h"
#include "platform/RunLoop.h"
#include "platform/WeakSelf.h"

namespace tolvane {

template <typename Result>
class BackgroundRequest {
 public:
  /// The work owns everything that it uses.
  using Work = std::function<Result()>;
  using Completion = std::function<void(Result)>;

  /// The run loop outlives the request, but not its work.
  BackgroundRequest(RunLoop& runLoop, Background background)
      : runLoop_(runLoop), background_(std::move(background)), self_(this) {}
  ~BackgroundRequest() { cancel(); }
  BackgroundRequest(const BackgroundRequest&) = delete;
  BackgroundRequest& operator=(const BackgroundRequest&) = delete;

  /// `completion` is called once, unless the request is replaced or cancelled: from within this call if the background
  /// has the result by then, otherwise in a later turn.
  void start(Work work, Completion completion) {
    cancel();
    const auto job = job_ = std::make_shared<Job>();
    job->completion = std::move(completion);
    job->runLoop = &runLoop_;
    background_([job, work = std::move(work), finish = self_.bind(&BackgroundRequest::finish)] {
      auto result = work();
      const std::lock_guard lock(job->mutex);
      if (!job->runLoop) return;
      job->result = std::move(result);
      job->runLoop->post([job, finish] { finish(job); });
    });
    finish(job);
  }

  void cancel() {
    const auto job = std::exchange(job_, nullptr);
    if (!job) return;
    const std::lock_guard lock(job->mutex);
    job->runLoop = nullptr;
  }

  [[nodiscard]] bool isUnderWay() const { return job_ != nullptr; }

 private:
  struct Job {
    Completion completion;  // requesting thread
    std::mutex mutex;
    RunLoop* runLoop = nullptr;    // guarded by mutex; null when the result is no longer wanted
    std::optional<Result> result;  // guarded by mutex
  };

  void finish(const std::shared_ptr<Job>& job) {
    if (job != job_) return;
    std::optional<Result> result;
    {
      const std::lock_guard lock(job->mutex);
      result = std::exchange(job->result, std::nullopt);
    }
    if (!result) return;
    job_.reset();
    job->completion(*std::move(result));
  }

  RunLoop& runLoop_;
  const Background background_;
  std::shared_ptr<Job> job_;  ///< null without a request
  WeakSelf<BackgroundRequest> self_;
};

}  // namespace tolvane
