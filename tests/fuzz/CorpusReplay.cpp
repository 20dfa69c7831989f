// Feeds every file of a folder to a fuzz target, without a fuzzer: replay_NAME CORPUS_FOLDER. Prints how many inputs it
// replayed; fails when there is none. What a target forbids ends the program by a signal, as do the sanitizers.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

std::vector<std::filesystem::path> filesBelow(const std::filesystem::path& folder) {
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    if (entry.is_regular_file()) files.push_back(entry.path());
  }
  std::ranges::sort(files);
  return files;
}

}  // namespace

int main(int argumentCount, char** arguments) {
  if (argumentCount != 2 || !std::filesystem::is_directory(arguments[1])) {
    std::fprintf(stderr, "Usage: %s CORPUS_FOLDER\n", arguments[0]);
    return 2;
  }
  const auto files = filesBelow(arguments[1]);
  std::size_t byteCount = 0;
  for (const auto& file : files) {
    std::ifstream stream(file, std::ios::binary);
    const std::vector<char> content((std::istreambuf_iterator<char>(stream)), {});
    // Named before it is tried: the last line before a crash names the input.
    std::printf("%s (%zu bytes)\n", file.filename().c_str(), content.size());
    std::fflush(stdout);
    // Exactly as long as the file, so that a read behind its end is a read outside of this memory.
    const std::vector<std::uint8_t> bytes(content.begin(), content.end());
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    byteCount += bytes.size();
  }
  std::printf("%zu inputs replayed, %zu bytes\n", files.size(), byteCount);
  if (files.empty()) std::fprintf(stderr, "The corpus %s is empty.\n", arguments[1]);
  return files.empty() ? 1 : 0;
}
