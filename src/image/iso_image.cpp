// AVIF and HEIC: ISO files of nested boxes.
#include "image/image_readers.h"
#include "transport/exceptions.h"

namespace {

constexpr std::uint64_t kVersionAndFlagsBytes = 4;
constexpr unsigned kShortHeader = 8;
constexpr unsigned kLongHeader = 16;

void Require(bool condition) {
    if (!condition) throw Qel::invalid_input();
}

// Calls the function for each child of the box that the view holds; what it leaves unread is skipped.
template <typename Function>
void ForEachBox(BoundedReader& view, Function function) {
    while (view.budget() != 0) {
        const BoxHeader box = ReadBoxHeader(view);
        const std::uint64_t behind = view.Enter(box.payloadBytes);
        function(box);
        view.Leave(behind);
    }
}

// A property of an image of the file; the last one of its kind counts.
void ReadProperty(const BoxHeader& box, BoundedReader& view, ImageInfo& info) {
    if (box.Is("ispe")) {
        Require(box.payloadBytes >= kVersionAndFlagsBytes);
        view.skipExact(kVersionAndFlagsBytes);
        info.width = ReadBig32(view);
        info.height = ReadBig32(view);
        info.depth = 24;
    } else if (box.Is("av1C")) {
        info.name = "AVIF";
        info.extension = "avif";
        info.mime = "image/avif";
    } else if (box.Is("hvcC")) {
        info.name = "HEIC";
        info.extension = "heic";
        info.mime = "image/heic";
    }
}

// Goes to the payload of the box "meta", which has to stand before the image data.
std::uint64_t FindMeta(Qel::streamIn& stream) {
    for (;;) {
        const BoxHeader box = ReadBoxHeader(stream);
        if (box.Is("meta")) return box.payloadBytes;
        Require(!box.Is("mdat") && box.payloadBytes != BoxHeader::kToTheEnd);
        stream.skipExact(box.payloadBytes);
    }
}

}  // namespace

BoxHeader ReadBoxHeader(Qel::streamIn& stream) {
    const std::uint32_t size = ReadBig32(stream);
    BoxHeader box{};
    stream.readExact(box.type.data(), box.type.size());
    box.headerBytes = kShortHeader;
    if (size == 0) {
        box.payloadBytes = BoxHeader::kToTheEnd;
    } else if (size == 1) {
        const std::uint64_t longSize = ReadBig64(stream);
        Require(longSize >= kLongHeader);
        box.headerBytes = kLongHeader;
        box.payloadBytes = longSize - kLongHeader;
    } else {
        Require(size >= kShortHeader);
        box.payloadBytes = size - kShortHeader;
    }
    return box;
}

ImageInfo ReadIsoImage(Qel::streamIn& stream) {
    BoundedReader meta(FindMeta(stream), stream);
    Require(meta.budget() >= kVersionAndFlagsBytes);
    meta.skipExact(kVersionAndFlagsBytes);
    ImageInfo info;
    ForEachBox(meta, [&](const BoxHeader& box) {
        if (!box.Is("iprp")) return;
        ForEachBox(meta, [&](const BoxHeader& child) {
            if (!child.Is("ipco")) return;
            ForEachBox(meta, [&](const BoxHeader& property) { ReadProperty(property, meta, info); });
        });
    });
    Require(info.name != nullptr && info.width != 0 && info.height != 0);
    return info;
}
