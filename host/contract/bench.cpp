#include "host/contract/bench.h"

#include <memory>
#include <utility>

#include "host/files/whole_file.h"
#include "host/system/own_process.h"
#include "host/text/text.h"

namespace host::contract {

Bench::Bench(std::filesystem::path library, std::filesystem::path folder, unsigned rounds)
    : library_(std::move(library)),
      folder_(std::move(folder)),
      rounds_(rounds),
      journal_(folder_ / kJournalName) {}

const Functions& Bench::functions() {
    if (!plugin_) {
        Step("loading the library");
        try {
            plugin_.emplace(library_);
        } catch (const decoder_plugin::Error& error) {
            Skip(error.what());
        }
    }
    return plugin_->functions();
}

void Bench::End(Verdict verdict, const std::string& reason) {
    journal_.Finish(verdict, reason);
    system::EndAtOnce();
}

std::filesystem::path Bench::MakeSound(std::size_t frames) {
    const SoundForm& form = Form();
    return MakeFile("sound" + std::to_string(frames) + std::string(form.extension), form.file(frames));
}

std::filesystem::path Bench::MakeFile(const std::string& name, const std::vector<std::byte>& bytes) {
    std::filesystem::path path = folder_ / name;
    WriteWholeFile(PathText(path), bytes);
    return path;
}

// The first one that the plug-in says it decodes, else the first one that it does decode.
const SoundForm& Bench::Form() {
    if (form_ != nullptr) return *form_;
    Subject subject(*this);
    std::vector<std::string> extensions;
    while (subject.Get(DECODER_GET_DECODES) && subject.param().text != nullptr && extensions.size() < 1000) {
        extensions.push_back(decoder_plugin::ToUtf8(subject.param().text));
        subject.param().index = static_cast<std::uint32_t>(extensions.size());
    }
    for (const SoundForm& form : SoundForms()) {
        for (const std::string& extension : extensions) {
            if (EqualIgnoringCase(extension, form.extension)) return *(form_ = &form);
        }
    }
    for (const SoundForm& form : SoundForms()) {
        const std::string name = "trial" + std::string(form.extension);
        if (subject.Open(MakeFile(name, form.file(kBlockFrames)))) return *(form_ = &form);
    }
    Skip("the plug-in decodes none of the forms of sound that this check makes: AU, WAV, AIFF");
}

Subject::Subject(Bench& bench, DecoderCreateInfo info) : bench_(bench) {
    const Functions& functions = bench.functions();
    bench.Step("Create");
    const Roomy<DecoderCreateInfo> roomy{info, {}};
    decoder_ = functions.create(&roomy.record);
    bench.Require(decoder_ != nullptr, "Create gave no decoder");
}

bool Subject::Open(const decoder_plugin::Source& source, std::uint32_t flags) {
    bench_.Step("Open");
    Fill(open(), kPattern);
    open().path = source.c_str();
    open().flags = flags;
    return bench_.functions().open(decoder_, &open()) == 1;
}

bool Subject::DecodeBlock() {
    bench_.Step("DecodeBlock");
    Fill(block(), kPattern);
    return bench_.functions().decodeBlock(decoder_, &block()) == 1;
}

bool Subject::SetPosition(std::int64_t frame) {
    bench_.Step("SetPosition");
    return bench_.functions().setPosition(decoder_, frame) == 1;
}

bool Subject::Close() {
    bench_.Step("Close");
    return bench_.functions().close(decoder_) == 1;
}

bool Subject::Get(const DecoderChar* key) {
    bench_.Step("Get");
    return bench_.functions().get(decoder_, key, &param()) == 1;
}

bool Subject::Set(const DecoderChar* key) {
    bench_.Step("Set");
    return bench_.functions().set(decoder_, key, &param()) == 1;
}

bool Subject::SetText(const DecoderChar* key, const DecoderChar* text) {
    param() = {};
    param().text = text;
    return Set(key);
}

bool Subject::SetTags(const std::filesystem::path& path, decoder_plugin::Bytes blob) {
    const decoder_plugin::Source source(path);
    param() = {};
    param().text = source.c_str();
    param().data = blob.data();
    param().value = static_cast<std::int32_t>(blob.size());
    return Set(DECODER_SET_TAGS);
}

bool Subject::DeleteTags(const std::filesystem::path& path, const DecoderChar* names) {
    bench_.Step("DeleteATag");
    return bench_.functions().deleteATag(decoder_, decoder_plugin::Source(path).c_str(), names) == 1;
}

bool Subject::Destroy() {
    if (decoder_ == nullptr) return true;
    bench_.Step("Destroy");
    return bench_.functions().destroy(std::exchange(decoder_, nullptr)) == 1;
}

void Subject::MustOpen(const decoder_plugin::Source& source, std::uint32_t flags) {
    bench_.Require(Open(source, flags), "Open of a sound gave 0");
}

void Subject::MustDecode() {
    bench_.Require(DecodeBlock(), "DecodeBlock gave 0 within a sound");
}

void Subject::MustSeek(std::int64_t frame) {
    bench_.Require(SetPosition(frame), "SetPosition gave 0 within a run");
}

std::string Subject::ReadAll() {
    constexpr std::size_t kMost = 64 << 20;
    std::string all;
    do {
        MustDecode();
        all += BlockBytes();
        if (all.size() > kMost) bench_.Break("a short sound has no end");
    } while (block().endOfStream == 0 && block().bytes > 0);
    return all;
}

void Subject::RequireSamples(const std::string& bytes, std::size_t frame, std::size_t count,
                             const char* where) {
    const std::vector<std::int16_t> samples = SamplesFrom(frame, count);
    const std::size_t size = samples.size() * sizeof samples.front();
    if (bytes.size() != size) {
        bench_.Break(std::to_string(bytes.size()) + " bytes came in place of " + std::to_string(size) + " " +
                     where);
    }
    if (BytesOf(samples.data(), size) != bytes)
        bench_.Break(std::string("other samples than the file's ") + where);
}

void ChurnMemory() {
    constexpr std::size_t kLargest = 0x10000;
    constexpr int kEach = 2048;  // more than an allocator has at hand of one size, and chooses from
    for (std::size_t size = 16; size <= kLargest; size += size / 4) {
        std::vector<std::unique_ptr<std::byte[]>> pieces;
        for (int index = 0; index < kEach && pieces.size() * size < 4 * kLargest; ++index) {
            pieces.push_back(std::make_unique<std::byte[]>(size));
            // Volatile, or a compiler sees that nobody reads it and leaves it out.
            volatile std::byte* const piece = pieces.back().get();
            for (std::size_t at = 0; at < size; ++at) piece[at] = std::byte{0xDB};
        }
    }
}

}  // namespace host::contract
