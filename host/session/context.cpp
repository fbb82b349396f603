#include "host/session/context.h"

#include <filesystem>
#include <system_error>

#include "host/system/console.h"
#include "host/text/failure.h"
#include "host/text/text.h"

namespace host {

namespace {

std::filesystem::path PluginPath(const std::string& given) {
    using decoder_plugin::Plugin;
    std::error_code ignored;
    std::filesystem::path path = ToPath(given);
    if (given.empty()) {
        // Where a build leaves it, then where an installation has it.
        const std::string name = std::string("decoder_ffmpeg") + Plugin::Suffix();
        const std::filesystem::path own = system::OwnFolder();
        path = own / "decoders" / name;
        const std::filesystem::path installed = (own / DECODER_PLUGIN_FROM_PROGRAM / name).lexically_normal();
        if (!std::filesystem::exists(path, ignored) && std::filesystem::exists(installed, ignored))
            path = installed;
    }
    if (!std::filesystem::is_regular_file(path, ignored)) throw Failure("no plug-in at " + PathText(path));
    return path;
}

std::filesystem::path WorkerPath(const std::filesystem::path& plugin) {
    return std::filesystem::absolute(plugin).lexically_normal().parent_path().parent_path() /
           "ffmpeg-lgpl.exe";
}

std::unique_ptr<system::LogFile> OpenLog(const std::string& path) {
    if (path.empty()) return nullptr;
    try {
        return std::make_unique<system::LogFile>(ToPath(path));
    } catch (const std::system_error& error) {
        throw Failure("can't open the log " + path + ": " + error.code().message());
    }
}

}  // namespace

Context::Context(const ContextOptions& options) : Context(options, PluginPath(options.plugin)) {}

Context::Context(const ContextOptions& options, const std::filesystem::path& pluginPath)
    : plugin_(pluginPath),
      workerPath_(WorkerPath(pluginPath)),
      verbose_(options.verbose),
      errorLog_(OpenLog(options.errorLog)),
      traceLog_(OpenLog(options.traceLog)),
      requests_(quit_) {}

}  // namespace host
