#include "kit/files.h"

#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>

namespace kit {

namespace {

constexpr const char* kPrefix = "decoder_test_";

bool HoldsNothingBut(const std::filesystem::path& folder, const std::filesystem::path& name) {
    int found = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        if (entry.is_directory()) continue;
        if (entry.path().filename() != name) return false;
        ++found;
    }
    return found > 0;
}

}  // namespace

TempFolder::TempFolder() {
    std::random_device random;
    do {
        path_ = std::filesystem::temp_directory_path() / (kPrefix + std::to_string(random()));
    } while (!std::filesystem::create_directory(path_));
}

TempFolder::~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

void RemoveFoldersWithNothingBut(const std::filesystem::path& name) {
    for (const auto& entry : std::filesystem::directory_iterator(std::filesystem::temp_directory_path())) {
        if (!entry.path().filename().string().starts_with(kPrefix)) continue;
        // Another test may be removing it at this moment, or still be using what is in it.
        try {
            if (HoldsNothingBut(entry.path(), name)) std::filesystem::remove_all(entry.path());
        } catch (const std::filesystem::filesystem_error&) {
        }
    }
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
