// Tag blobs come from the host and are parsed as far as they make sense; what was parsed has to survive a
// round trip.
#include <algorithm>

#include "fuzzing.h"
#include "tags/idtags.h"

namespace {

void RequireEqual(IDTags& a, IDTags& b) {
    Require(a.count() == b.count());
    for (int i = 0; i < a.count(); ++i) {
        Require(a[i].Name == b[i].Name);
        Require(a[i].Value == b[i].Value);
        Require(std::ranges::equal(a[i].Data.bytes(), b[i].Data.bytes()));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    IDTags parsed;
    parsed.Parse(data, static_cast<std::int32_t>(size));

    clBuffer written;
    Require(parsed.Serialise(written));
    // Every entry was there with at least its length; a terminator that was missing is written.
    Require(static_cast<std::size_t>(parsed.count()) * 4 <= size);
    Require(written.size() <= size + 4 + static_cast<std::size_t>(parsed.count()) * 4);

    IDTags again;
    again.Parse(written.data(), static_cast<std::int32_t>(written.size()));
    RequireEqual(parsed, again);
    clBuffer rewritten;
    Require(again.Serialise(rewritten));
    Require(std::ranges::equal(written.bytes(), rewritten.bytes()));

    // Adding and removing keep the collection in one piece.
    if (parsed.count() > 0) {
        const clString name = parsed[0].Name;
        Require(parsed.Remove(name));
        Require(parsed.Find(name, false) == nullptr);
    }
    return 0;
}
