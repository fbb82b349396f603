// One decoder, its failures turned into words.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "decoder_plugin.hpp"
#include "host/session/context.h"
#include "host/tags/entry.h"

namespace host {

// What Open tells of a file.
struct OpenedFile {
    DecoderFormat format;
    Entries tags;  // empty unless asked for
    Entries info;
};

// Belongs to one thread.
class Session {
  public:
    // The context must outlive the session. Throws Failure.
    explicit Session(const Context& context);

    std::vector<decoder_plugin::TableRow> Decodes() { return decoder_.Decodes(); }
    std::vector<decoder_plugin::TableRow> StreamingDecodes() { return decoder_.StreamingDecodes(); }
    std::string Description() { return decoder_.Description(); }
    bool CanWriteTags(const std::string& file);

    // The rest throws Failure with the reason that the plug-in gave, and Interruption after a request to end.
    OpenedFile Open(const std::string& file, std::uint32_t flags);
    // For the opens to come, as far as the plug-in can: a depth as in its "SampleFormat", an audio stream
    // from 0 on or -1.
    void ChooseSamples(const std::string& depth, int stream);

    // Of the file that was opened last: what it has of audio, empty where the plug-in can't tell, and whether
    // its duration is a guess.
    using SourceStream = decoder_plugin::Decoder::SourceStream;
    std::vector<SourceStream> SourceStreams() { return decoder_.SourceStreams(); }
    bool DurationIsEstimated() const { return decoder_.DurationIsEstimated(); }

    void SetPosition(std::int64_t frame);
    // The samples live until the next call.
    decoder_plugin::Block DecodeBlock();
    // How the worker ended, and what it complained of last; behind the last block.
    struct WorkerEnd {
        std::optional<int> code;
        std::string words;
    };
    WorkerEnd EndOfWorker();
    void Close() { decoder_.Close(); }
    void WriteTags(const std::string& file, const Entries& tags);
    // All of the file's tags when `names` is empty.
    void DeleteTags(const std::string& file, const std::vector<std::string>& names);

  private:
    decoder_plugin::Decoder::Logs Logs() const;

    // What the plug-in opens for a file or URL. Throws Failure when it could only fail.
    decoder_plugin::Source SourceOf(const std::string& file) const;

    // Gives what one call of the plug-in gave, and turns its failure into an exception.
    template <typename Call>
    auto Run(const std::string& subject, Call call);
    // Why a call failed that logged these lines.
    std::string Reason(const std::string& subject, std::u16string_view logged) const;
    void ShowLines(std::u16string_view errors, std::u16string_view trace) const;

    const Context& context_;
    // Its own, so that the reasons of sessions that run side by side don't mix.
    system::LogFile errors_;
    std::unique_ptr<system::LogFile> trace_;  // null where nobody wants one
    decoder_plugin::Decoder decoder_;
    std::string file_;  // the one that was opened last
};

}  // namespace host
