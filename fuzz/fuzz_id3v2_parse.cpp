// Any bytes as an ID3v2 tag: parsing ends in frames that came from these bytes or in one exception, and so
// does whatever the frames mean.
#include <algorithm>
#include <vector>

#include "fuzzing.h"
#include "tags/id3v2/parser.h"
#include "tags/id3v2/parser_streams.h"
#include "tags/id3v2/values.h"

using namespace id3parser;

namespace {

bool Parse(id3tag& tag, std::span<const std::byte> bytes, std::size_t cacheBytes) {
    streamInMem memory(bytes);
    std::vector<std::byte> room(cacheBytes);
    streamInCache cache(memory, room);
    parseCallback callback;
    try {
        parseTag(tag, cache, callback);
        return true;
    } catch (const parseError&) {
        return false;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    id3tag tag;
    const bool parsed = Parse(tag, Bytes(data, size), 16384);
    if (!parsed) return 0;
    Require(tag.version >= kVersion22 && tag.version <= kVersion24);
    // A picture of version 2.2 gets a longer name for its format.
    constexpr std::size_t kLongestMime = 16;
    std::size_t total = 0;
    for (const id3frame& frame : tag.frames) total += frame.data.size();
    Require(total <= size + tag.frames.size() * kLongestMime);

    // The buffer in between makes no difference.
    id3tag again;
    Require(Parse(again, Bytes(data, size), 3));
    Require(std::ranges::equal(tag.frames, again.frames, [](const id3frame& a, const id3frame& b) {
        return a.id == b.id && a.data == b.data;
    }));
    for (const bool strict : {false, true}) {
        tag.strict = strict;
        TagValues values;
        framesToValues(tag, values);
        // A short text can stand for long names of genres; a byte becomes up to three.
        constexpr std::size_t kLongestGenre = 6 * 3;
        std::size_t text = 0;
        for (const auto& [name, list] : values) {
            for (const std::string& value : list) text += value.size();
        }
        Require(text <= size * kLongestGenre + tag.frames.size() * 64);
    }
    return 0;
}
