// What all sessions of one run of the program share.
#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "decoder_plugin.hpp"
#include "host/system/interruption.h"
#include "host/system/log_file.h"

namespace host {

// Empty texts mean: beside this program, no log of that kind.
struct ContextOptions {
    std::string plugin;
    std::string errorLog;
    std::string traceLog;
    bool verbose = false;  // the plug-in's own lines on standard error
};

// The loaded plug-in, the logs of the user's, and the event that ends all work on request. Sessions in any
// thread may use it at once.
class Context {
  public:
    // Throws Failure.
    explicit Context(const ContextOptions& options);

    const decoder_plugin::Plugin& plugin() const { return plugin_; }
    // Where the plug-in looks for its worker.
    const std::filesystem::path& workerPath() const { return workerPath_; }
    // While it is set, the waits of all sessions end at once.
    const decoder_plugin::QuitEvent& quit() const { return quit_; }
    decoder_plugin::QuitEvent& quit() { return quit_; }

    bool verbose() const { return verbose_; }

    // Null where the user wants none.
    const system::LogFile* errorLog() const { return errorLog_.get(); }
    const system::LogFile* traceLog() const { return traceLog_.get(); }

  private:
    explicit Context(const ContextOptions& options, const std::filesystem::path& pluginPath);

    decoder_plugin::Plugin plugin_;
    std::filesystem::path workerPath_;
    bool verbose_;
    std::unique_ptr<system::LogFile> errorLog_;
    std::unique_ptr<system::LogFile> traceLog_;
    decoder_plugin::QuitEvent quit_;
    system::EndRequests requests_;
};

}  // namespace host
