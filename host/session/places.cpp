#include "host/session/places.h"

#include <system_error>

#include "decoder_plugin.hpp"
#include "host/system/console.h"
#include "host/text/text.h"

namespace host {

namespace fs = std::filesystem;

fs::path PluginPath(const std::string& given) {
    if (!given.empty()) return ToPath(given);
    const std::string name = std::string("decoder_ffmpeg") + decoder_plugin::Plugin::Suffix();
    const fs::path own = system::OwnFolder();
    const fs::path built = own / "decoders" / name;
    const fs::path installed = (own / DECODER_PLUGIN_FROM_PROGRAM / name).lexically_normal();
    std::error_code ignored;
    const bool isInstalled =
        !fs::exists(built, ignored) && fs::is_directory(installed.parent_path(), ignored);
    return isInstalled ? installed : built;
}

fs::path WorkerPath(const fs::path& plugin) {
    return fs::absolute(plugin).lexically_normal().parent_path().parent_path() / "ffmpeg-lgpl.exe";
}

std::string MissingWorker(const fs::path& worker) {
    return "the worker " + PathText(worker) +
           " is missing: install FFmpeg and put it, or a link to it, there";
}

}  // namespace host
