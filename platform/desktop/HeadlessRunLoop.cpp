#include "platform/desktop/HeadlessRunLoop.h"

#include <QCoreApplication>

#include "platform/desktop/QtRunLoop.h"

namespace tolvane {

struct HeadlessRunLoop::Implementation {
  // Qt keeps references to these: they stand before the application object and outlive it.
  char name[8] = "tolvane";
  char* arguments[2] = {name, nullptr};
  int argumentCount = 1;
  QCoreApplication application{argumentCount, arguments};
  QtRunLoop loop;
};

HeadlessRunLoop::HeadlessRunLoop() : implementation_(std::make_unique<Implementation>()) {}

HeadlessRunLoop::~HeadlessRunLoop() = default;

int HeadlessRunLoop::run() { return QCoreApplication::exec(); }

void HeadlessRunLoop::quit(int exitCode) {
  // Posted, because Qt ignores exit() while no loop runs.
  post([exitCode] { QCoreApplication::exit(exitCode); });
}

RunLoop::TimePoint HeadlessRunLoop::now() const { return implementation_->loop.now(); }

RunLoop::Timer HeadlessRunLoop::scheduleTimer(Duration interval, bool repeats, Action action) {
  return implementation_->loop.scheduleTimer(interval, repeats, std::move(action));
}

void HeadlessRunLoop::post(Action action) { implementation_->loop.post(std::move(action)); }

void HeadlessRunLoop::sleepFor(Duration duration) { implementation_->loop.sleepFor(duration); }

RunLoop::Watch HeadlessRunLoop::watchDescriptor(int descriptor, Action action) {
  return implementation_->loop.watchDescriptor(descriptor, std::move(action));
}

}  // namespace tolvane
