#include "tests/crash/StateJournal.h"

#include <sys/mman.h>

#include <array>
#include <cerrno>
#include <functional>
#include <new>
#include <string>
#include <system_error>

namespace tolvane::test {

struct StateJournal::Shared {
  static constexpr std::size_t capacity = 1'000'000;

  std::atomic<std::size_t> count = 0;      // released after the digest it counts; acquired by the reader
  std::atomic<std::size_t> confirmed = 0;  // index of the last state that is stored for certain; likewise
  std::array<std::uint64_t, capacity> digests;
};

StateJournal::StateJournal() {
  void* memory = ::mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) throw std::system_error(errno, std::generic_category(), "shared memory");
  shared_ = new (memory) Shared;
}

StateJournal::~StateJournal() { ::munmap(shared_, sizeof(Shared)); }

std::uint64_t StateJournal::digest(const UserDefaults& defaults) {
  std::string both;
  for (const auto* key : {"TolvanePlayer.SavedPlaylist", "TolvanePlayer.SavedPlaybackState"}) {
    const auto data = defaults.value<UserDefaults::Data>(key);
    both += data ? "+" + *data : "-";
  }
  return std::hash<std::string>{}(both);
}

void StateJournal::beginWith(std::uint64_t digest) {
  shared_->digests[0] = digest;
  shared_->confirmed.store(0, std::memory_order_release);
  shared_->count.store(1, std::memory_order_release);
}

bool StateJournal::announce(std::uint64_t digest) {
  const auto count = shared_->count.load(std::memory_order_relaxed);
  if (count == Shared::capacity) return false;
  shared_->digests[count] = digest;
  shared_->count.store(count + 1, std::memory_order_release);
  return true;
}

void StateJournal::confirm() {
  shared_->confirmed.store(shared_->count.load(std::memory_order_relaxed) - 1, std::memory_order_release);
}

std::span<const std::uint64_t> StateJournal::possibleStates() const {
  const auto first = shared_->confirmed.load(std::memory_order_acquire);
  return std::span(shared_->digests).subspan(first, announcedCount() - first);
}

std::size_t StateJournal::announcedCount() const { return shared_->count.load(std::memory_order_acquire); }

}  // namespace tolvane::test
