// One command's way to the plug-in: the library, the logs, the quit event and a decoder.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "blob.h"
#include "decoder_plugin.h"
#include "plugin.h"
#include "system.h"

namespace host {

// Empty texts mean: beside this program, no log of that kind.
struct SessionOptions {
    std::string plugin;
    std::string errorLog;
    std::string traceLog;
};

// What Open tells of a file.
struct OpenedFile {
    DecoderFormat format;
    Entries tags;  // empty unless asked for
    Entries info;
};

class Session {
  public:
    // Throws Failure.
    explicit Session(const SessionOptions& options);

    // The text of a row of one of the plug-in's tables, in UTF-8; nothing behind the last row.
    struct Row {
        std::string text;
        std::string text2;
    };
    std::optional<Row> TableRow(const DecoderChar* key, std::uint32_t index);
    std::string Description();
    bool CanWriteTags(const std::string& file);

    // The rest throws Failure with the reason that the plug-in logged, and Interruption after a request to
    // end.
    OpenedFile Open(const std::string& file, std::uint32_t flags);
    void SetPosition(std::int64_t frame);
    // The samples live until the next call. Shorter than the plug-in's block, or empty: the end.
    DecoderBlockInfo DecodeBlock();
    void Close() { decoder_.Close(); }
    void WriteTags(const std::string& file, const Entries& tags);
    // All of the file's tags when `names` is empty.
    void DeleteTags(const std::string& file, const std::vector<std::string>& names);

  private:
    static std::unique_ptr<system::LogFile> OpenLog(const std::string& path);
    DecoderCreateInfo Logs() const;

    // Runs one call of the plug-in and turns its failure into an exception.
    template <typename Call>
    void Run(const std::string& subject, Call call);
    std::string LoggedReason(std::uint64_t from) const;

    Plugin plugin_;
    std::unique_ptr<system::LogFile> errorLog_;
    std::unique_ptr<system::LogFile> traceLog_;
    system::QuitEvent quit_;
    DecoderHandle decoder_;
    std::string file_;  // the one that was opened last
};

// The messages in a piece of an error log, without the function labels at their ends.
std::vector<std::string> LogMessages(std::u16string_view log);

}  // namespace host
