#include "platform/storage/SqliteUserDefaults.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace tolvane {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view category = "UserDefaults";

/// Locked while a damaged database is set aside, so that a second copy of the player does not set the new one aside.
class FolderLock {
 public:
  FolderLock(const fs::path& folder, std::chrono::milliseconds patience)
      : descriptor_(::open((folder / "defaults.lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600)) {
    constexpr std::chrono::milliseconds step(10);
    if (descriptor_ < 0) return;
    for (auto waited = std::chrono::milliseconds::zero();; waited += step) {
      isHeld_ = ::flock(descriptor_, LOCK_EX | LOCK_NB) == 0;
      if (isHeld_ || waited >= patience) return;
      std::this_thread::sleep_for(step);
    }
  }
  ~FolderLock() {
    if (descriptor_ >= 0) ::close(descriptor_);
  }
  FolderLock(const FolderLock&) = delete;
  FolderLock& operator=(const FolderLock&) = delete;

  [[nodiscard]] bool isHeld() const { return isHeld_; }

 private:
  int descriptor_;
  bool isHeld_ = false;
};

fs::path withSuffix(const fs::path& path, std::string_view suffix) {
  fs::path longer = path;
  longer += suffix;
  return longer;
}

/// The first of "….damaged", "….damaged-2" and so on that is free.
fs::path freeNameFor(const fs::path& damaged) {
  const auto isTaken = [](const fs::path& path) {
    std::error_code error;
    return fs::exists(fs::symlink_status(path, error));
  };
  fs::path name = withSuffix(damaged, ".damaged");
  for (int number = 2; isTaken(name); ++number) name = withSuffix(damaged, fmt::format(".damaged-{}", number));
  return name;
}

/// Removes other users' permissions. Failures show when the database is opened.
void keepFromOthers(const fs::path& path) {
  std::error_code error;
  if (fs::is_symlink(path, error)) return;
  fs::permissions(path, fs::perms::group_all | fs::perms::others_all, fs::perm_options::remove, error);
}

/// The names of a user's files are private: the folder has mode 0700 and the database 0600, whatever the umask is.
void makePrivateFolder(const fs::path& folder) {
  std::error_code error;
  fs::create_directories(folder.parent_path(), error);
  ::mkdir(folder.c_str(), 0700);  // if it fails, opening the database reports the reason
  keepFromOthers(folder);
}

void makePrivateFile(const fs::path& file) {
  // Only a file that is not there is opened: closing one would end the locks that the library holds on it.
  const int descriptor = ::open(file.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (descriptor >= 0) {
    ::close(descriptor);
  } else {
    keepFromOthers(file);
  }
}

}  // namespace

SqliteUserDefaults::SqliteUserDefaults(fs::path folder, Log& log, Waiting waiting)
    : folder_(std::move(folder)), file_(folder_ / "defaults.sqlite"), log_(log), waiting_(std::move(waiting)) {
  writer_ = std::thread([this] { runWriter(); });
  std::unique_lock lock(mutex_);
  const auto end = waiting_.time->now() + waiting_.patience.atStart;
  while (state_ == State::opening && waiting_.time->now() < end) waiting_.time->waitUntil(lock, opened_, end);
  isLate_ = state_ == State::opening || state_ == State::locked;
}

SqliteUserDefaults::~SqliteUserDefaults() {
  {
    const std::scoped_lock lock(mutex_);
    isEnding_ = true;
    openGroups_ = 0;
    hasChanges_ = !pending_.empty();
  }
  changed_.notify_one();
  writer_.join();
}

bool SqliteUserDefaults::isLoaded() const {
  const std::scoped_lock lock(mutex_);
  return state_ == State::loaded;
}

std::optional<UserDefaults::Value> SqliteUserDefaults::object(std::string_view key) const {
  DefaultsDatabase::Value value;
  {
    const std::scoped_lock lock(mutex_);
    if (const auto found = values_.find(key); found != values_.end()) value = found->second;
  }
  return value ? std::optional(*value) : std::nullopt;
}

void SqliteUserDefaults::setObject(std::string_view key, Value value) {
  change(key, std::make_shared<const Value>(std::move(value)));
}

void SqliteUserDefaults::removeObject(std::string_view key) { change(key, nullptr); }

void SqliteUserDefaults::change(std::string_view key, DefaultsDatabase::Value value) {
  const std::scoped_lock lock(mutex_);
  values_.insert_or_assign(std::string(key), value);
  if (state_ == State::unusable) return;
  pending_.insert_or_assign(std::string(key), std::move(value));
  hasChanges_ = true;
  if (openGroups_ == 0) changed_.notify_one();
}

void SqliteUserDefaults::beginGroup() {
  const std::scoped_lock lock(mutex_);
  ++openGroups_;
}

void SqliteUserDefaults::endGroup() {
  const std::scoped_lock lock(mutex_);
  if (--openGroups_ == 0 && hasChanges_) changed_.notify_one();
}

bool SqliteUserDefaults::synchronize() {
  std::unique_lock lock(mutex_);
  if (state_ != State::loaded) return false;
  hasChanges_ = !pending_.empty();
  changed_.notify_one();
  idle_.wait(lock, [this] { return !hasChanges_ && !isWriting_; });
  return pending_.empty();
}

/// Waits until the database is open, cannot be used, or is no longer needed. Returns whether it is open.
bool SqliteUserDefaults::load() {
  makePrivateFolder(folder_);
  while (true) {
    auto values = openAndRead();
    if (!values && values.error().kind == DatabaseError::Kind::damaged) values = setAsideAndBegin(values.error());
    if (values || values.error().kind != DatabaseError::Kind::held) return adopt(std::move(values));
    database_.reset();
    if (!std::exchange(hasReportedFailure_, true))
      report(fmt::format("The settings in {} are locked by another program, and nothing is saved until it lets go: {}",
                         file_.string(), values.error().message));
    std::unique_lock lock(mutex_);
    state_ = State::locked;
    opened_.notify_one();
    const auto end = waiting_.time->now() + waiting_.patience.beforeRetry;
    while (!isEnding_ && waiting_.time->now() < end) waiting_.time->waitUntil(lock, changed_, end);
    if (isEnding_) return false;
  }
}

/// Values that the program has set meanwhile take precedence.
bool SqliteUserDefaults::adopt(std::expected<Values, DatabaseError> stored) {
  if (!stored) {
    // What cannot be read must not be overwritten either.
    database_.reset();
    report(fmt::format("The settings in {} cannot be used, and nothing will be saved: {}", file_.string(),
                       stored.error().message));
  }
  bool isLate = false;
  {
    const std::scoped_lock lock(mutex_);
    if (stored) values_.merge(*stored);
    state_ = stored ? State::loaded : State::unusable;
    if (!stored) pending_.clear();
    opened_.notify_one();
    isLate = isLate_;
  }
  if (stored && std::exchange(hasReportedFailure_, false))
    log_.write(LogLevel::standard, category, fmt::format("The settings in {} can be used now", file_.string()));
  if (stored && isLate && waiting_.onLoadedLate) waiting_.onLoadedLate();
  return stored.has_value();
}

void SqliteUserDefaults::runWriter() {
  if (!load()) return;
  std::unique_lock lock(mutex_);
  while (true) {
    changed_.wait(lock, [this] { return openGroups_ == 0 && (hasChanges_ || isEnding_); });
    if (!hasChanges_) return;
    Values changes = std::exchange(pending_, {});
    const Values everything = values_;
    hasChanges_ = false;
    isWriting_ = true;
    lock.unlock();
    const bool isStored = store(changes, everything);
    lock.lock();
    isWriting_ = false;
    // What could not be stored is tried again together with the next change; newer values stay.
    if (!isStored) pending_.merge(changes);
    if (!hasChanges_) idle_.notify_all();
  }
}

bool SqliteUserDefaults::store(const Values& changes, const Values& everything) {
  auto done = database_ ? database_->write(changes, everything)
                        : std::unexpected(DatabaseError{DatabaseError::Kind::moved, "The database is not open."});
  if (!done && done.error().kind != DatabaseError::Kind::unavailable && done.error().kind != DatabaseError::Kind::held)
    done = beginAgain(done.error(), everything);
  if (done) return true;
  // The player retries with each change, and logs this once.
  if (!std::exchange(hasReportedFailure_, true))
    report(fmt::format("Changes cannot be saved to {} for now: {}", file_.string(), done.error().message));
  return false;
}

/// The file was damaged or set aside while it was in use: everything in memory goes into a new one.
std::expected<void, DatabaseError> SqliteUserDefaults::beginAgain(const DatabaseError& cause,
                                                                  const Values& everything) {
  auto values = cause.kind == DatabaseError::Kind::moved ? openAndRead() : std::unexpected(cause);
  if (!values && values.error().kind == DatabaseError::Kind::damaged) values = setAsideAndBegin(values.error());
  if (!values) {
    database_.reset();
    return std::unexpected(values.error());
  }
  return database_->write(everything, everything);
}

std::expected<SqliteUserDefaults::Values, DatabaseError> SqliteUserDefaults::openAndRead() {
  database_.reset();
  makePrivateFile(file_);
  auto opened = DefaultsDatabase::open(file_, waiting_.patience.withOthers);
  if (!opened) return std::unexpected(opened.error());
  database_.emplace(std::move(*opened));
  return database_->readAll();
}

std::expected<SqliteUserDefaults::Values, DatabaseError> SqliteUserDefaults::setAsideAndBegin(
    const DatabaseError& damage) {
  database_.reset();
  const FolderLock lock(folder_, waiting_.patience.withOthers);
  if (!lock.isHeld()) return std::unexpected(DatabaseError{DatabaseError::Kind::unavailable, damage.message});
  // Another copy of the player may have been faster.
  auto values = openAndRead();
  if (values || values.error().kind != DatabaseError::Kind::damaged) return values;
  database_.reset();

  const fs::path aside = freeNameFor(file_);
  std::error_code error;
  fs::rename(withSuffix(file_, "-journal"), withSuffix(aside, "-journal"), error);  // there is not always one
  fs::rename(file_, aside, error);
  if (error) return std::unexpected(DatabaseError{DatabaseError::Kind::unavailable, error.message()});
  report(fmt::format("The settings in {} were damaged ({}); they are kept as {}, and fresh ones begun", file_.string(),
                     damage.message, aside.filename().string()));
  return openAndRead();
}

void SqliteUserDefaults::report(const std::string& message) { log_.write(LogLevel::error, category, message); }

}  // namespace tolvane
