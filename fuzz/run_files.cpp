// Runs a fuzz target without libFuzzer on files and folders: on a corpus as a test, on a finding to reproduce
// it.
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

void runFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
}

}  // namespace

int main(int count, char** arguments) {
  int files = 0;
  for (int i = 1; i < count; ++i) {
    if (!std::filesystem::is_directory(arguments[i])) {
      runFile(arguments[i]);
      ++files;
      continue;
    }
    for (const auto& entry : std::filesystem::directory_iterator(arguments[i])) {
      runFile(entry.path());
      ++files;
    }
  }
  std::cout << files << " files\n";
  return files > 0 ? 0 : 1;
}
