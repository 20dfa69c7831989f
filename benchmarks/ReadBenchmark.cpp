// The least that preparing a PCM file can cost: reads the file into fresh memory in huge pages, in the pieces in which
// the player reads it, and prints the milliseconds from opening it to the last byte. Usage: bench_read FILE

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>

int main(int argc, char* argv[]) {
  constexpr std::size_t hugePage = std::size_t{2} << 20U;
  constexpr std::size_t piece = std::size_t{1} << 20U;
  if (argc != 2) return 2;
  const auto begin = std::chrono::steady_clock::now();
  const int file = open(argv[1], O_RDONLY | O_CLOEXEC);
  struct stat status{};
  if (file < 0 || fstat(file, &status) != 0) return 1;
  const auto size = static_cast<std::size_t>(status.st_size);
  auto* const memory = static_cast<char*>(std::aligned_alloc(hugePage, (size + hugePage - 1) / hugePage * hugePage));
  if (memory == nullptr) return 1;
  madvise(memory, size, MADV_HUGEPAGE);
  std::size_t at = 0;
  while (at < size) {
    const ssize_t count = read(file, memory + at, std::min(piece, size - at));
    if (count <= 0) return 1;
    at += static_cast<std::size_t>(count);
  }
  const std::chrono::duration<double, std::milli> taken = std::chrono::steady_clock::now() - begin;
  std::printf("%.3f\n", taken.count());
}
