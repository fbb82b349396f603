#include "host/files/temporary_folder.h"

#include <random>
#include <system_error>

#include "host/text/failure.h"
#include "host/text/text.h"

namespace host {

namespace fs = std::filesystem;

TemporaryFolder::TemporaryFolder() {
    constexpr int kAttempts = 100;
    std::error_code code;
    const fs::path place = fs::temp_directory_path(code);
    if (code) throw Failure("the system's folder for temporary files can't be used: " + code.message());
    std::random_device random;
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        const fs::path path = place / ("decoder-host-" + std::to_string(random()));
        if (fs::create_directory(path, code)) {
            path_ = path;
            fs::permissions(path_, fs::perms::owner_all, code);
            return;
        }
        // A name that is taken is no error.
        if (code) break;
    }
    throw Failure("no folder can be made in " + PathText(place) + ": " + code.message());
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

std::string TemporaryFolder::File(const std::string& name) const {
    return PathText(path_ / ToPath(name));
}

}  // namespace host
