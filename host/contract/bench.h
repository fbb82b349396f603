// The plug-in as a rule works with it, in a process of that rule's own.
#pragma once

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "decoder_plugin.hpp"
#include "host/contract/journal.h"
#include "host/contract/sound.h"

namespace host::contract {

using Functions = decoder_plugin::Plugin::Functions;

class Bench {
  public:
    // Files are made in `folder`, which goes with the check.
    Bench(std::filesystem::path library, std::filesystem::path folder, unsigned rounds);

    // Loads at the first call, and ends the rule when that fails.
    const Functions& functions();
    void Unload() { plugin_.reset(); }

    const std::filesystem::path& library() const { return library_; }
    const std::filesystem::path& folder() const { return folder_; }
    unsigned rounds() const { return rounds_; }

    // Says in a few words what is being done, for the case that it never comes back.
    void Step(const char* words) { journal_.Step(words); }

    // These end the process at once, from any thread: nothing of a broken plug-in is called any more.
    [[noreturn]] void End(Verdict verdict, const std::string& reason);
    [[noreturn]] void Break(const std::string& what) { End(Verdict::Broken, what); }
    [[noreturn]] void Skip(const std::string& why) { End(Verdict::Skipped, why); }
    // All is well, and the process goes on to its ordinary end.
    void Keep() { journal_.Finish(Verdict::Kept, ""); }
    void Require(bool holds, const char* what) {
        if (!holds) Break(what);
    }

    // A file of that many sample frames in a form that the plug-in decodes; ends the rule where there is
    // none.
    std::filesystem::path MakeSound(std::size_t frames);
    std::filesystem::path MakeFile(const std::string& name, const std::vector<std::byte>& bytes);

  private:
    const SoundForm& Form();

    std::filesystem::path library_;
    std::filesystem::path folder_;
    unsigned rounds_;
    Journal journal_;
    std::optional<decoder_plugin::Plugin> plugin_;
    const SoundForm* form_ = nullptr;
};

// What the journal of a rule is called in its folder.
constexpr const char* kJournalName = "journal";

// A record with room behind it, so that a step beyond its end is no matter of rules about other things.
template <typename Record>
struct Roomy {
    alignas(16) Record record{};
    std::byte room[256]{};
};

// The same byte all over.
template <typename Record>
void Fill(Record& record, int byte) {
    std::memset(static_cast<void*>(&record), byte, sizeof record);
}
constexpr int kPattern = 0xA5;

template <typename Record>
std::string BytesOf(const Record& record) {
    return {reinterpret_cast<const char*>(&record), sizeof record};
}

inline std::string BytesOf(const void* data, std::size_t size) {
    return size == 0 ? std::string() : std::string(static_cast<const char*>(data), size);
}

// One decoder. Every call is noted as a step and tells whether it gave 1.
class Subject {
  public:
    explicit Subject(Bench& bench, DecoderCreateInfo info = {});
    ~Subject() { Destroy(); }
    Subject(const Subject&) = delete;
    Subject& operator=(const Subject&) = delete;

    Decoder* get() const { return decoder_; }
    bool Open(const decoder_plugin::Source& source, std::uint32_t flags = 0);
    bool DecodeBlock();
    bool SetPosition(std::int64_t frame);
    bool Close();
    bool Get(const DecoderChar* key);
    bool Set(const DecoderChar* key);
    bool SetText(const DecoderChar* key, const DecoderChar* text);
    bool SetTags(const std::filesystem::path& path, decoder_plugin::Bytes blob);
    // A series of texts with an empty one behind it; null for all.
    bool DeleteTags(const std::filesystem::path& path, const DecoderChar* names);
    bool Destroy();

    // The same, and the rule ends when it gives 0.
    void MustOpen(const decoder_plugin::Source& source, std::uint32_t flags = 0);
    void MustDecode();
    void MustSeek(std::int64_t frame);

    // The records of the last calls.
    DecoderOpenInfo& open() { return open_.record; }
    DecoderBlockInfo& block() { return block_.record; }
    DecoderParam& param() { return param_.record; }

    // The samples of the last block, and all from here to the end.
    std::string BlockBytes() { return BytesOf(block().samples, block().bytes); }
    std::string ReadAll();

    // Ends the rule unless `bytes` are the sound's samples from `frame` on, `count` sample frames of them.
    void RequireSamples(const std::string& bytes, std::size_t frame, std::size_t count, const char* where);

  private:
    Bench& bench_;
    Decoder* decoder_;
    Roomy<DecoderOpenInfo> open_;
    Roomy<DecoderBlockInfo> block_;
    Roomy<DecoderParam> param_;
};

// Takes and gives back memory of many sizes with another content: what was freed too early is overwritten.
void ChurnMemory();

}  // namespace host::contract
