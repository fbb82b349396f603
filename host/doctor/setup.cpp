#include "host/doctor/setup.h"

#include <algorithm>
#include <chrono>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "decoder_plugin.hpp"
#include "host/session/places.h"
#include "host/system/program.h"
#include "host/text/text.h"

namespace host::doctor {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kVersionStart = "ffmpeg version ";

std::string LineThatBeginsWith(const std::string& text, std::string_view start) {
    for (const std::string& line : Split(text, '\n')) {
        if (line.compare(0, start.size(), start) == 0) return WithoutBlanks(line.substr(start.size()));
    }
    return {};
}

// FFmpeg's own rule: what was configured decides which licence the build has.
std::string LicenceOf(const std::string& configuration) {
    const std::vector<std::string> options = Split(configuration, ' ');
    const auto has = [&](const char* option) {
        return std::find(options.begin(), options.end(), option) != options.end();
    };
    const bool version3 = has("--enable-version3");
    if (has("--enable-nonfree")) return "nonfree: it may not be passed on to others";
    if (has("--enable-gpl")) return version3 ? "GPL, version 3 or later" : "GPL, version 2 or later";
    return version3 ? "LGPL, version 3 or later" : "LGPL, version 2.1 or later";
}

Finding Licence(const std::string& said) {
    constexpr std::string_view kConfigurationStart = "configuration:";
    if (said.find(kConfigurationStart) == std::string::npos) {
        return {"licence", Verdict::Ok, "unknown: the worker doesn't say how it was configured"};
    }
    const std::string licence = LicenceOf(LineThatBeginsWith(said, kConfigurationStart));
    return {"licence", Verdict::Ok, licence, {{"licence", licence}}};
}

Finding Start(const fs::path& worker) {
    using Clock = std::chrono::steady_clock;
    constexpr int kRuns = 3;
    constexpr auto kFast = std::chrono::milliseconds(30);
    auto best = Clock::duration::max();
    for (int run = 0; run < kRuns; ++run) {
        const Clock::time_point before = Clock::now();
        system::OutputOf(worker, {"-version"});
        best = std::min(best, Clock::now() - before);
    }
    const auto milliseconds = std::chrono::ceil<std::chrono::milliseconds>(best).count();
    std::string words = "takes " + std::to_string(milliseconds) + " ms";
    if (best > kFast) {
        words +=
            ", and every file and seek waits for one; a static build is faster (for Linux, "
            "scripts/fetch-fast-ffmpeg of the sources fetches one)";
    }
    return {"start", Verdict::Ok, words, {{"milliseconds", milliseconds}}};
}

}  // namespace

Finding CheckPlugin(const fs::path& plugin) {
    const std::string shown = PathText(plugin);
    const nlohmann::ordered_json fields = {{"path", shown}};
    std::error_code ignored;
    if (!fs::is_regular_file(plugin, ignored)) {
        return {"plug-in", Verdict::Wrong,
                "none at " + shown + ": install decoder_ffmpeg, or name the plug-in with --plugin", fields};
    }
    try {
        const decoder_plugin::Plugin loaded(plugin);
        decoder_plugin::Decoder decoder(loaded);
        const auto version = decoder.Version();
        Finding finding = {"plug-in", Verdict::Ok, shown, fields};
        finding.words += version ? ", version " + version->text : ", of a version without extensions";
        finding.words += ", loads and has the nine functions";
        if (version) finding.fields["version"] = version->text;
        return finding;
    } catch (const decoder_plugin::Error& error) {
        return {"plug-in", Verdict::Wrong,
                shown + ": " + error.what() + "; install decoder_ffmpeg anew, for this system", fields};
    }
}

std::vector<Finding> CheckWorker(const fs::path& worker) {
    const std::string shown = PathText(worker);
    const nlohmann::ordered_json fields = {{"path", shown}};
    std::error_code ignored;
    if (!fs::exists(worker, ignored)) return {{"worker", Verdict::Wrong, MissingWorker(worker), fields}};
    const std::string said = system::OutputOf(worker, {"-version"});
    const std::string version = LineThatBeginsWith(said, kVersionStart);
    if (version.empty()) {
        const std::string what = said.empty() ? " can't be run, or gives no answer"
                                              : " isn't FFmpeg; it says " + Split(said, '\n').front();
        return {{"worker", Verdict::Wrong,
                 shown + what + ": install FFmpeg and put it, or a link to it, there", fields}};
    }
    Finding found = {"worker", Verdict::Ok, shown + ", FFmpeg " + version.substr(0, version.find(' ')),
                     fields};
    found.fields["version"] = version;
    return {found, Licence(said), Start(worker)};
}

}  // namespace host::doctor
