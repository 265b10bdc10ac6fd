// The main program of a target when it does not search for new inputs: runs it over the named files and over the files
// below the named directories.

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "fuzz/target.h"

namespace {

void replay(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  const std::vector<char> input{std::istreambuf_iterator<char>(file), {}};
  std::cout << path.string() << std::endl;  // flushes at once: the last path shown is the input that ended the program
  fuzz::run({input.data(), input.size()});
}

}  // namespace

int main(int count, char** arguments) {
  std::size_t replayed = 0;
  for (const std::filesystem::path path : std::vector<std::string>(arguments + 1, arguments + count)) {
    std::vector<std::filesystem::path> files{path};
    if (std::filesystem::is_directory(path)) {
      const std::filesystem::recursive_directory_iterator entries(path);
      files.assign(begin(entries), end(entries));
    }
    for (const std::filesystem::path& file : files) {
      if (!std::filesystem::is_regular_file(file)) continue;
      replay(file);
      ++replayed;
    }
  }
  std::cout << replayed << " inputs" << std::endl;
  return replayed == 0 ? 1 : 0;
}
