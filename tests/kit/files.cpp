#include "kit/files.h"

#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>

namespace kit {

TempFolder::TempFolder() {
    std::random_device random;
    do {
        path_ = std::filesystem::temp_directory_path() / ("decoder_test_" + std::to_string(random()));
    } while (!std::filesystem::create_directory(path_));
}

TempFolder::~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::string ReadFile(const std::filesystem::path& path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

void WriteFile(const std::filesystem::path& path, const std::string& bytes) {
    if (!(std::ofstream(path, std::ios::binary) << bytes))
        throw std::runtime_error("can't write a test's file");
}

}  // namespace kit
