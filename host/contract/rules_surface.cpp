// What holds of the library and its functions before anything is decoded.
#include <algorithm>
#include <stdexcept>

#include "host/contract/exports.h"
#include "host/contract/rules.h"
#include "host/files/whole_file.h"
#include "host/text/text.h"

namespace host::contract {

namespace {

constexpr std::string_view kFunctions[] = {
    DECODER_EXPORT_CREATE,       DECODER_EXPORT_DESTROY,      DECODER_EXPORT_GET,
    DECODER_EXPORT_SET,          DECODER_EXPORT_OPEN,         DECODER_EXPORT_CLOSE,
    DECODER_EXPORT_DECODE_BLOCK, DECODER_EXPORT_SET_POSITION, DECODER_EXPORT_DELETE_A_TAG};

// Rows from 0 on until one gives 0, which is where the table ends.
std::uint32_t CountRows(Bench& bench, Subject& subject, const DecoderChar* key) {
    constexpr std::uint32_t kMostRows = 100000;
    std::uint32_t rows = 0;
    subject.param() = {};
    for (; subject.Get(key); subject.param() = {}, subject.param().index = rows) {
        const DecoderChar* const text = subject.param().text;
        if (text == nullptr || *text == 0) bench.Break("a row of a table without a text");
        if (key == std::u16string_view(DECODER_GET_DECODES)) {
            bench.Require(*text == u'.', "an extension of \"Decodes\" without its dot");
            bench.Require(subject.param().text2 != nullptr, "a row of \"Decodes\" without a description");
        }
        if (++rows == kMostRows) bench.Break("a table without an end");
    }
    for (const std::uint32_t behind : {rows + 1, rows + 1000, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
        subject.param() = {};
        subject.param().index = behind;
        bench.Require(!subject.Get(key), "a row behind the end of a table");
    }
    return rows;
}

}  // namespace

void CheckExports(Bench& bench) {
    constexpr std::uintmax_t kLargestLibrary = 1u << 30;
    bench.Step("reading the exports");
    const std::vector<std::byte> file = ReadWholeFile(PathText(bench.library()), kLargestLibrary);
    Exports exports;
    try {
        exports = ReadExports(file);
    } catch (const std::runtime_error& error) {
        bench.Break(std::string("the library's file can't be read: ") + error.what());
    }
    const auto has = [](const auto& list, std::string_view name) {
        return std::find(std::begin(list), std::end(list), name) != std::end(list);
    };
    for (const std::string_view name : kFunctions) {
        if (!has(exports.names, name)) bench.Break(std::string(name) + " isn't exported");
    }
    for (const std::string_view name : exports.names) {
        if (!has(kFunctions, name)) bench.Break(std::string(name) + " is exported besides");
    }
    bench.Require(exports.nameless == 0, "functions without a name are exported besides");
    bench.Step("loading the library");
    try {
        const decoder_plugin::Plugin plugin(bench.library());
        bench.Step("unloading the library");
    } catch (const decoder_plugin::Error& error) {
        bench.Break(error.what());
    }
}

void CheckNullArguments(Bench& bench) {
    const Functions& plugin = bench.functions();
    Roomy<DecoderParam> param;
    Roomy<DecoderOpenInfo> open;
    Roomy<DecoderBlockInfo> block;
    const std::filesystem::path file = bench.folder() / "none.tta";
    const decoder_plugin::Source path(file);
    open.record.path = path.c_str();
    Subject subject(bench);
    Decoder* const decoder = subject.get();
    bench.Step("Create(null)");
    bench.Require(plugin.create(nullptr) == nullptr, "Create gave a decoder for a null record");
    struct Case {
        const char* call;
        std::int64_t expected;
        std::int64_t result;
    };
    // Each is noted before it is made.
    const auto check = [&](const char* call, std::int64_t expected, auto function) {
        bench.Step(call);
        if (function() != expected)
            bench.Break(std::string(call) + " didn't give " + std::to_string(expected));
    };
    check("Destroy(null)", 1, [&] { return plugin.destroy(nullptr); });
    check("Get of a null decoder", 0,
          [&] { return plugin.get(nullptr, DECODER_GET_DESCRIPTION, &param.record); });
    check("Set of a null decoder", 0,
          [&] { return plugin.set(nullptr, DECODER_SET_EVENT_QUIT, &param.record); });
    check("Open of a null decoder", 0, [&] { return plugin.open(nullptr, &open.record); });
    check("Close of a null decoder", 0, [&] { return plugin.close(nullptr); });
    check("DecodeBlock of a null decoder", 0, [&] { return plugin.decodeBlock(nullptr, &block.record); });
    check("SetPosition of a null decoder", 0, [&] { return plugin.setPosition(nullptr, 0); });
    check("DeleteATag of a null decoder", 0,
          [&] { return plugin.deleteATag(nullptr, path.c_str(), nullptr); });
    check("Get of a null key", 0, [&] { return plugin.get(decoder, nullptr, &param.record); });
    check("Set of a null key", 0, [&] { return plugin.set(decoder, nullptr, &param.record); });
    for (const DecoderChar* const key : {DECODER_GET_DECODES, DECODER_GET_STREAMING_DECODES,
                                         DECODER_GET_DESCRIPTION, DECODER_GET_CAN_WRITE_TAGS}) {
        check("Get of a null record", 0, [&] { return plugin.get(decoder, key, nullptr); });
    }
    for (const DecoderChar* const key : {DECODER_SET_EVENT_QUIT, DECODER_SET_TAGS})
        check("Set of a null record", 0, [&] { return plugin.set(decoder, key, nullptr); });
    check("Open of a null record", 0, [&] { return plugin.open(decoder, nullptr); });
    check("DecodeBlock of a null record", 0, [&] { return plugin.decodeBlock(decoder, nullptr); });
    check("Get \"CanWriteIDTags\" of a null path", 0,
          [&] { return plugin.get(decoder, DECODER_GET_CAN_WRITE_TAGS, &param.record); });
    check("Set \"IDTags\" of a null path", 0,
          [&] { return plugin.set(decoder, DECODER_SET_TAGS, &param.record); });
    check("DeleteATag of a null path", 0, [&] { return plugin.deleteATag(decoder, nullptr, nullptr); });
    check("Set \"EventQuit\" of a null name", 1,
          [&] { return plugin.set(decoder, DECODER_SET_EVENT_QUIT, &param.record); });
    open.record.path = nullptr;
    check("Open of a null path", 0, [&] { return plugin.open(decoder, &open.record); });
}

void CheckTables(Bench& bench) {
    Subject subject(bench);
    const std::uint32_t decodes = CountRows(bench, subject, DECODER_GET_DECODES);
    const std::uint32_t streams = CountRows(bench, subject, DECODER_GET_STREAMING_DECODES);
    Subject other(bench);
    bench.Require(CountRows(bench, other, DECODER_GET_DECODES) == decodes &&
                      CountRows(bench, other, DECODER_GET_STREAMING_DECODES) == streams,
                  "another decoder has other tables");
    subject.param() = {};
    bench.Require(subject.Get(DECODER_GET_DESCRIPTION), "\"Decoder Description\" gave 0");
    bench.Require(subject.param().text != nullptr, "\"Decoder Description\" gave no text");
    for (const char16_t* const path : {u"x.tta", u"x", u"", u".", u"a.b/c", u"x.no such extension"}) {
        subject.param() = {};
        subject.param().text = path;
        subject.param().value = -1;
        bench.Require(subject.Get(DECODER_GET_CAN_WRITE_TAGS), "\"CanWriteIDTags\" gave 0 for a path");
        bench.Require(subject.param().value == 0 || subject.param().value == 1,
                      "\"CanWriteIDTags\" has another value than 0 and 1");
    }
    for (const char16_t* const key :
         {u"", u"decodes", u"Decodes ", u"Decode", u"EventQuit", u"no such key"}) {
        subject.param() = {};
        bench.Require(!subject.Get(key), "Get gave 1 for an unknown key");
    }
    for (const char16_t* const key : {u"", u"eventquit", u"EventQuit ", u"Decodes", u"no such key"}) {
        bench.Require(!subject.SetText(key, u"x"), "Set gave 1 for an unknown key");
    }
}

void CheckParamFields(Bench& bench) {
    Subject subject(bench);
    const std::uint32_t last = CountRows(bench, subject, DECODER_GET_DECODES);
    struct Case {
        bool set;
        const DecoderChar* key;
        std::uint32_t index;
        const DecoderChar* text;
        bool writesText, writesText2, writesValue;
    };
    const Case cases[] = {
        {false, DECODER_GET_DECODES, 0, u"in", true, true, false},
        {false, DECODER_GET_DECODES, last, u"in", false, false, false},
        {false, DECODER_GET_STREAMING_DECODES, 0, u"in", true, false, false},
        {false, DECODER_GET_DESCRIPTION, 7, u"in", true, false, false},
        {false, DECODER_GET_CAN_WRITE_TAGS, 7, u"x.tta", false, false, true},
        {false, DECODER_GET_CAN_WRITE_TAGS, 7, nullptr, false, false, false},
        {false, u"no such key", 0, u"in", false, false, false},
        {true, u"no such key", 0, u"in", false, false, false},
        {true, DECODER_SET_EVENT_QUIT, 0, nullptr, false, false, false},
    };
    for (const Case& each : cases) {
        DecoderParam& param = subject.param();
        Fill(param, kPattern);
        param.index = each.index;
        param.text = each.text;
        DecoderParam expected = param;
        const bool done = each.set ? subject.Set(each.key) : subject.Get(each.key);
        if (done && each.writesText) expected.text = param.text;
        if (done && each.writesText2) expected.text2 = param.text2;
        if (done && each.writesValue) expected.value = param.value;
        if (BytesOf(expected) != BytesOf(param)) {
            bench.Break(std::string(each.set ? "Set" : "Get") + " of the key \"" +
                        decoder_plugin::ToUtf8(each.key) + "\" gave " + (done ? "1" : "0") +
                        " and changed another field");
        }
    }
}

void CheckOrder(Bench& bench) {
    const std::filesystem::path sound = bench.MakeSound(3 * kBlockFrames);
    Subject subject(bench);
    bench.Require(subject.Close() && subject.Close(), "Close without a run didn't give 1");
    bench.Require(!subject.DecodeBlock(), "DecodeBlock gave 1 before the first Open");
    for (const bool closes : {true, false, true}) {
        subject.MustOpen(sound);
        subject.MustDecode();
        subject.MustSeek(kBlockFrames);
        subject.MustDecode();
        if (!closes) continue;
        bench.Require(subject.Close() && subject.Close(), "Close of a run, or the second one, didn't give 1");
        bench.Require(!subject.DecodeBlock(), "DecodeBlock gave 1 after Close");
    }
    subject.MustOpen(sound);
    bench.Require(subject.Destroy(), "Destroy within a run didn't give 1");
}

}  // namespace host::contract
