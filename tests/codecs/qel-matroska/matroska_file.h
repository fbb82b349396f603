// Matroska files built byte by byte, and a walk over them that shares nothing with the code under test.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "kit/files.h"
#include "tags/idtags.h"

namespace matroska_file {

inline std::string BigEndian(std::uint64_t value, int bytes) {
    std::string text(static_cast<std::size_t>(bytes), '\0');
    for (auto byte = text.rbegin(); byte != text.rend(); ++byte, value >>= 8)
        *byte = static_cast<char>(value & 0xFF);
    return text;
}

// As it stands in a file, marker included.
inline std::string IdBytes(std::uint32_t id) {
    return BigEndian(id, id > 0xFFFFFF ? 4 : id > 0xFFFF ? 3 : id > 0xFF ? 2 : 1);
}

inline std::string SizeField(std::uint64_t size, int width) {
    return BigEndian(size | std::uint64_t{1} << (7 * width), width);
}

inline int SizeWidth(std::uint64_t size) {
    int width = 1;
    while (size >= (std::uint64_t{1} << (7 * width)) - 1) ++width;
    return width;
}

// IDs are given as they stand in a file. A width of 0 is the shortest.
inline std::string Element(std::uint32_t id, const std::string& body, int width = 0) {
    return IdBytes(id) + SizeField(body.size(), width != 0 ? width : SizeWidth(body.size())) + body;
}

inline std::string Number(std::uint32_t id, std::uint64_t value, int bytes = 1) {
    return Element(id, BigEndian(value, bytes));
}

// `size` bytes in all.
inline std::string Void(std::size_t size) {
    return size < 9 ? Element(0xEC, std::string(size - 2, '\0'))
                    : Element(0xEC, std::string(size - 9, '\0'), 8);
}

inline constexpr std::uint32_t kSegment = 0x18538067, kSeekHead = 0x114D9B74, kVoid = 0xEC,
                               kInfo = 0x1549A966, kTracks = 0x1654AE6B, kCues = 0x1C53BB6B,
                               kCluster = 0x1F43B675, kTags = 0x1254C367, kAttachments = 0x1941A469,
                               kChapters = 0x1043A770;

inline std::string Header(const std::string& docType = "matroska") {
    return Element(0x1A45DFA3, Element(0x4282, docType));
}

inline std::string Seek(std::uint32_t id, std::uint64_t position) {
    return Element(0x4DBB, Element(0x53AB, IdBytes(id)) + Number(0x53AC, position, 4));
}

inline std::string SimpleTag(const std::string& name, const std::string& value,
                             const std::string& more = "") {
    return Element(0x67C8, Element(0x45A3, name) + Element(0x4487, value) + more);
}

// A level of 0 is none.
inline std::string Tag(std::uint64_t level, const std::string& simpleTags, const std::string& uids = "") {
    return Element(0x7373, Element(0x63C0, (level != 0 ? Number(0x68CA, level) : "") + uids) + simpleTags);
}

inline std::string AttachedFile(const std::string& name, const std::string& mime, const std::string& data) {
    return Element(0x61A7,
                   Element(0x466E, name) + Element(0x4660, mime) + Element(0x465C, data) + Number(0x46AE, 7));
}

// Enough of a PNG to be taken for one; `filler` makes pictures differ.
inline std::string Png(const std::string& filler) {
    return "\x89PNG\r\n\x1A\n" + BigEndian(13, 4) + "IHDR" + BigEndian(1, 4) + BigEndian(1, 4) + "\x08\x06" +
           std::string(7, '\0') + filler;
}

struct Placed {
    std::uint32_t id;  // as in the file
    std::size_t offset;
    std::size_t bodyOffset;
    std::string body;
};

// The element at a place, and a failure of the test when none stands there that ends at `end` or before.
// Eight bytes of all ones are a size up to the end.
inline Placed ElementAt(const std::string& file, std::size_t at, std::size_t end) {
    const auto number = [&](std::size_t from, std::size_t count) {
        std::uint64_t value = 0;
        for (std::size_t i = from; i < from + count; ++i) {
            value = value << 8 | (i < end ? static_cast<unsigned char>(file[i]) : 0U);
        }
        return value;
    };
    const auto width = [&](std::size_t from) {
        return static_cast<std::size_t>(std::countl_zero(static_cast<unsigned char>(number(from, 1)))) + 1;
    };
    const std::size_t idWidth = width(at);
    const std::size_t sizeWidth = width(at + idWidth);
    const std::size_t body = at + idWidth + sizeWidth;
    const std::uint64_t unknown = (std::uint64_t{1} << (7 * sizeWidth)) - 1;
    std::uint64_t size = number(at + idWidth, sizeWidth) & unknown;
    if (idWidth > 4 || sizeWidth > 8 || body > end) size = unknown + 1;
    if (size == unknown && sizeWidth == 8) size = end - body;
    if (size > end - std::min(body, end)) {
        ADD_FAILURE() << "no element at " << at << " before " << end;
        return {0, at, end, ""};
    }
    return {static_cast<std::uint32_t>(number(at, idWidth)), at, body, file.substr(body, size)};
}

// The elements that fill a stretch of the file.
inline std::vector<Placed> Children(const std::string& file, std::size_t begin, std::size_t end) {
    std::vector<Placed> children;
    for (std::size_t at = begin; at < end;) {
        children.push_back(ElementAt(file, at, end));
        at = children.back().bodyOffset + children.back().body.size();
    }
    return children;
}

struct Segment {
    std::size_t dataBegin = 0;
    std::vector<Placed> children;
    std::vector<std::pair<std::uint32_t, std::size_t>> seeks;  // ID and file offset of what they point at

    std::vector<Placed> All(std::uint32_t id) const {
        std::vector<Placed> all;
        for (const Placed& child : children) {
            if (child.id == id) all.push_back(child);
        }
        return all;
    }
};

// The entries of a SeekHead: IDs and positions in the Segment's body.
inline std::vector<std::pair<std::uint32_t, std::size_t>> SeekEntries(const Placed& seekHead) {
    std::vector<std::pair<std::uint32_t, std::size_t>> entries;
    for (const Placed& seek : Children(seekHead.body, 0, seekHead.body.size())) {
        if (seek.id != 0x4DBB) continue;
        std::uint64_t id = 0, position = 0;
        for (const Placed& part : Children(seek.body, 0, seek.body.size())) {
            std::uint64_t& value = part.id == 0x53AB ? id : position;
            for (const char c : part.body) value = value << 8 | static_cast<unsigned char>(c);
        }
        entries.emplace_back(static_cast<std::uint32_t>(id), position);
    }
    return entries;
}

// Walks the Segment of a file, and the SeekHeads in it. What stands in front of the EBML header and behind
// the Segment isn't looked at.
inline Segment Walk(const std::string& file) {
    Segment segment;
    const std::size_t at = file.find(IdBytes(kSegment), file.find(IdBytes(0x1A45DFA3)));
    const Placed whole = ElementAt(file, at, file.size());
    segment.dataBegin = whole.bodyOffset;
    segment.children = Children(file, segment.dataBegin, segment.dataBegin + whole.body.size());
    for (const Placed& seekHead : segment.All(kSeekHead)) {
        for (const auto& [id, position] : SeekEntries(seekHead))
            segment.seeks.emplace_back(id, segment.dataBegin + position);
    }
    return segment;
}

// A file that goes with the object.
class TemporaryFile {
  public:
    explicit TemporaryFile(const std::string& bytes = "") { Write(bytes); }

    void Write(const std::string& bytes) const { kit::WriteFile(path_, bytes); }
    std::string Bytes() const { return kit::ReadFile(path_); }
    const std::filesystem::path& path() const { return path_; }
    std::u16string Wide() const { return path_.u16string(); }

  private:
    const kit::TempFolder folder_;
    const std::filesystem::path path_ = folder_ / "matroska.mka";
};

// One line for each tag: name=value, or name:bytes of a picture. Several values are joined by "|".
inline std::string Dump(const IDTags& tags) {
    std::string text;
    for (const IDTag* tag : tags) {
        std::string value = tag->Value.Utf8();
        for (char& c : value) c = c == '\r' ? '|' : c;
        text += tag->Name.Utf8();
        if (tag->Name.View().starts_with(u"_")) {
            value.assign(reinterpret_cast<const char*>(tag->Data.data()), tag->Data.size());
            text += ":" + value + "\n";
        } else {
            text += "=" + value + "\n";
        }
    }
    return text;
}

inline void AddPicture(IDTags& tags, std::u16string_view name, const std::string& data) {
    tags.AddBinary(name, std::as_bytes(std::span(data)));
}

}  // namespace matroska_file
