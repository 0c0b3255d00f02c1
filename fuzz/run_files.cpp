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

// Returns the number of files.
int run(const std::filesystem::path& path) {
  int files = 0;
  if (std::filesystem::is_directory(path)) {
    for (const auto& entry : std::filesystem::directory_iterator(path)) files += run(entry.path());
    return files;
  }
  std::ifstream file(path, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  return 1;
}

}  // namespace

int main(int count, char** arguments) {
  int files = 0;
  for (int i = 1; i < count; ++i) files += run(arguments[i]);
  std::cout << files << " files\n";
  return files > 0 ? 0 : 1;
}
