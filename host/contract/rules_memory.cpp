// Who may touch which memory, and for how long.
#include <array>
#include <functional>
#include <utility>

#include "host/contract/rules.h"
#include "host/system/guarded_memory.h"
#include "host/system/shared_event.h"

namespace host::contract {

namespace {

using decoder_plugin::Source;
using system::GuardedMemory;
using system::GuardedText;

// A record whose last byte lies in front of an inaccessible page.
template <typename Record>
class GuardedRecord {
  public:
    GuardedRecord(const Record& record, std::size_t room) : memory_(sizeof(Record), room) {
        std::memcpy(memory_.data(), &record, sizeof record);
    }
    Record* get() { return reinterpret_cast<Record*>(memory_.data()); }
    GuardedMemory& memory() { return memory_; }

  private:
    GuardedMemory memory_;
};

decoder_plugin::BlobBuilder TitleBlob() {
    decoder_plugin::BlobBuilder blob;
    blob.Add("Title", "Guarded");
    return blob;
}

enum class Guard { Behind, Afterwards };

// Whatever a decoder is given lies in guarded memory of its own; what it is given by pointers to const can't
// be written. With `Behind`, not a byte more can be touched, with `Afterwards`, nothing of it after its call.
void WorkGuarded(Bench& bench, Guard guard) {
    const std::size_t room = guard == Guard::Behind ? 0 : 256;
    const std::filesystem::path sound = bench.MakeSound(3 * kBlockFrames);
    const std::filesystem::path taggable = bench.MakeFile("guarded.tta", {});
    const Functions& plugin = bench.functions();
    const auto done = [&](auto&... given) {
        if (guard == Guard::Afterwards) (given.ForbidAll(), ...);
    };

    bench.Step("Create");
    GuardedRecord<DecoderCreateInfo> info({}, room);
    info.memory().ForbidWrites();
    Decoder* const decoder = plugin.create(info.get());
    done(info.memory());
    bench.Require(decoder != nullptr, "Create gave no decoder");

    bench.Step("Get");
    for (const char16_t* const name : {DECODER_GET_DECODES, DECODER_GET_STREAMING_DECODES,
                                       DECODER_GET_DESCRIPTION, DECODER_GET_CAN_WRITE_TAGS, u"no such key"}) {
        GuardedText key(name, room);
        GuardedText path(u"x.tta", room);
        DecoderParam fields{};
        fields.text = path.get();
        GuardedRecord<DecoderParam> param(fields, room);
        plugin.get(decoder, key.get(), param.get());
        done(key, path, param.memory());
    }

    const system::SharedEvent event(bench.folder());
    const decoder_plugin::BlobBuilder builder = TitleBlob();
    for (const bool tags : {false, true}) {
        bench.Step(tags ? "Set \"IDTags\"" : "Set \"EventQuit\"");
        GuardedText key(tags ? DECODER_SET_TAGS : DECODER_SET_EVENT_QUIT, room);
        GuardedText text(tags ? Source(taggable).c_str() : event.name().c_str(), room);
        GuardedMemory blob(builder.bytes().size(), room);
        std::memcpy(blob.data(), builder.bytes().data(), builder.bytes().size());
        blob.ForbidWrites();
        DecoderParam fields{};
        fields.text = text.get();
        fields.data = tags ? blob.data() : nullptr;
        fields.value = tags ? static_cast<std::int32_t>(builder.bytes().size()) : 0;
        GuardedRecord<DecoderParam> param(fields, room);
        const bool set = plugin.set(decoder, key.get(), param.get()) == 1;
        bench.Require(set || tags, "the quit event wasn't taken");
        done(key, text, blob, param.memory());
    }

    bench.Step("Open");
    GuardedText path(Source(sound).c_str(), room);
    DecoderOpenInfo fields{};
    fields.path = path.get();
    fields.flags = DECODER_OPEN_TAGS | DECODER_OPEN_INFO;
    GuardedRecord<DecoderOpenInfo> open(fields, room);
    bench.Require(plugin.open(decoder, open.get()) == 1, "Open of a sound gave 0");
    done(path, open.memory());
    const auto decode = [&] {
        bench.Step("DecodeBlock");
        GuardedRecord<DecoderBlockInfo> block({}, room);
        bench.Require(plugin.decodeBlock(decoder, block.get()) == 1, "DecodeBlock gave 0 within a sound");
        done(block.memory());
    };
    decode();
    bench.Step("SetPosition");
    bench.Require(plugin.setPosition(decoder, kBlockFrames) == 1, "SetPosition gave 0 within a run");
    decode();
    bench.Step("Close");
    plugin.close(decoder);

    bench.Step("DeleteATag");
    GuardedText file(Source(taggable).c_str(), room);
    GuardedText names(std::u16string_view(u"Title\0", 6), room);
    plugin.deleteATag(decoder, file.get(), names.get());
    done(file, names);
    bench.Step("Destroy");
    plugin.destroy(decoder);
}

// Calls what may happen while `bytes` live, and compares after each.
void RequireUnchanged(Bench& bench, const char* what, const void* data, std::size_t size,
                      const std::vector<std::pair<const char*, std::function<void()>>>& calls) {
    const std::string before = BytesOf(data, size);
    for (const auto& [name, call] : calls) {
        call();
        ChurnMemory();
        bench.Step("reading what a call gave");
        if (BytesOf(data, size) != before) bench.Break(std::string(what) + " changed with " + name);
    }
}

}  // namespace

void CheckRecordBounds(Bench& bench) {
    WorkGuarded(bench, Guard::Behind);
}

void CheckBorrowedMemory(Bench& bench) {
    WorkGuarded(bench, Guard::Afterwards);
}

void CheckTextLifetime(Bench& bench) {
    struct Held {
        const DecoderChar* text;
        std::u16string copy;
    };
    std::vector<Held> held;
    const auto hold = [&](const DecoderChar* text) {
        if (text != nullptr) held.push_back({text, text});
    };
    {
        Subject subject(bench);
        for (const DecoderChar* const key :
             {DECODER_GET_DECODES, DECODER_GET_STREAMING_DECODES, DECODER_GET_DESCRIPTION}) {
            for (std::uint32_t row = 0; row < 1000; ++row) {
                subject.param() = {};
                subject.param().index = row;
                if (!subject.Get(key)) break;
                hold(subject.param().text);
                hold(subject.param().text2);
                if (key == std::u16string_view(DECODER_GET_DESCRIPTION)) break;
            }
        }
    }
    const auto compare = [&] {
        bench.Step("reading texts after Destroy");
        for (const Held& each : held)
            bench.Require(each.copy == each.text, "a text that Get gave changed with the end of its decoder");
    };
    // First without another decoder, whose own texts might lie in the same place and read the same.
    ChurnMemory();
    compare();
    Subject other(bench);
    other.param() = {};
    other.Get(DECODER_GET_DESCRIPTION);
    compare();
}

void CheckBlobLifetime(Bench& bench) {
    const std::filesystem::path sound = bench.MakeSound(3 * kBlockFrames);
    Subject subject(bench);
    subject.MustOpen(sound, DECODER_OPEN_TAGS | DECODER_OPEN_INFO);
    const DecoderOpenInfo open = subject.open();
    // Copies, since a reference to a field of the packed record may be misaligned.
    const std::array blobs = {std::tuple("the tags", +open.tags, +open.tagsSize),
                              std::tuple("the information", +open.info, +open.infoSize)};
    for (const auto& [what, data, size] : blobs) {
        RequireUnchanged(bench, what, data, size,
                         {{"Get", [&] { subject.Get(DECODER_GET_DESCRIPTION); }},
                          {"DecodeBlock", [&] { subject.MustDecode(); }},
                          {"SetPosition", [&] { subject.MustSeek(kBlockFrames); }},
                          {"DecodeBlock after SetPosition", [&] { subject.MustDecode(); }},
                          {"another decoder's Open", [&] {
                               Subject other(bench);
                               other.MustOpen(sound, DECODER_OPEN_TAGS | DECODER_OPEN_INFO);
                           }}});
    }
    for (const auto& [what, data, size] : blobs) {
        RequireUnchanged(bench, what, data, size, {{"Close", [&] { subject.Close(); }}});
    }
}

void CheckSampleLifetime(Bench& bench) {
    const std::filesystem::path sound = bench.MakeSound(3 * kBlockFrames);
    Subject subject(bench);
    subject.MustOpen(sound);
    subject.MustDecode();
    RequireUnchanged(bench, "the samples", subject.block().samples, subject.block().bytes,
                     {{"Get", [&] { subject.Get(DECODER_GET_DESCRIPTION); }},
                      {"SetPosition", [&] { subject.MustSeek(kBlockFrames); }},
                      {"Close", [&] { subject.Close(); }}});
}

}  // namespace host::contract
