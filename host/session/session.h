// One decoder, its failures turned into words.
#pragma once

#include <cstdint>
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
    void SetPosition(std::int64_t frame);
    // The samples live until the next call.
    decoder_plugin::Block DecodeBlock();
    void Close() { decoder_.Close(); }
    void WriteTags(const std::string& file, const Entries& tags);
    // All of the file's tags when `names` is empty.
    void DeleteTags(const std::string& file, const std::vector<std::string>& names);

  private:
    decoder_plugin::Decoder::Logs Logs() const;

    // Gives what one call of the plug-in gave, and turns its failure into an exception.
    template <typename Call>
    auto Run(const std::string& subject, Call call);
    // What the call that began at this length of the log said.
    std::string LoggedReason(std::uint64_t from) const;

    const Context& context_;
    // Its own, so that the reasons of sessions that run side by side don't mix.
    system::LogFile log_;
    decoder_plugin::Decoder decoder_;
    std::string file_;  // the one that was opened last
};

}  // namespace host
