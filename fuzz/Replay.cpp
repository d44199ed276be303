// Stands in for the fuzzer in an ordinary build: runs a target once on each file of a directory.
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

void Try(const std::string& input);

int main(int, char** argv) {
  for (const auto& seed : std::filesystem::directory_iterator(argv[1])) {
    std::ifstream file(seed.path(), std::ios::binary);
    Try({std::istreambuf_iterator<char>(file), {}});
  }
}
