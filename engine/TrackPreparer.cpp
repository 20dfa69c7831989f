#include "engine/TrackPreparer.h"

#include <utility>

namespace tolvane {

TrackPreparer::TrackPreparer(TrackPreparation preparation, RunLoop& runLoop, Background background)
    : preparation_(std::move(preparation)), request_(runLoop, std::move(background)) {}

void TrackPreparer::prepare(const FileURL& url, Request::Completion completion) {
  cancel();
  progress_ = std::make_shared<ReadingProgress>();
  request_.start(
      [url, progress = progress_, preparation = preparation_] {
        const auto version = preparation.fileVersion(url);
        return Preparation{version, preparation.prepare(url, *progress)};
      },
      std::move(completion));
}

void TrackPreparer::cancel() {
  if (progress_) progress_->cancel();
  request_.cancel();
}

double TrackPreparer::progress() const { return request_.isUnderWay() ? progress_->fraction() : 0; }

}  // namespace tolvane
