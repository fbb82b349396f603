#include "host/session/context.h"

#include <filesystem>
#include <system_error>

#include "host/session/places.h"
#include "host/text/failure.h"
#include "host/text/text.h"

namespace host {

namespace {

std::filesystem::path PresentPlugin(const std::string& given) {
    std::filesystem::path path = PluginPath(given);
    std::error_code ignored;
    if (!std::filesystem::is_regular_file(path, ignored)) throw Failure("no plug-in at " + PathText(path));
    return path;
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

Context::Context(const ContextOptions& options) : Context(options, PresentPlugin(options.plugin)) {}

Context::Context(const ContextOptions& options, const std::filesystem::path& pluginPath)
    : plugin_(pluginPath),
      workerPath_(WorkerPath(pluginPath)),
      verbose_(options.verbose),
      errorLog_(OpenLog(options.errorLog)),
      traceLog_(OpenLog(options.traceLog)),
      requests_(quit_) {}

}  // namespace host
