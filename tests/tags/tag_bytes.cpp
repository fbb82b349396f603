#include "tag_bytes.h"

#include <ostream>

std::string Little32(std::uint32_t value) {
    std::string bytes;
    for (int shift = 0; shift < 32; shift += 8) bytes += static_cast<char>((value >> shift) & 0xFF);
    return bytes;
}

std::string Ape(const std::vector<ApeItem>& items, const ApeClaims& claims) {
    std::string body;
    for (const ApeItem& item : items) {
        body += Little32(static_cast<std::uint32_t>(item.value.size())) + Little32(item.flags) + item.key +
                kNul + item.value;
    }
    const std::string record = "APETAGEX" + Little32(claims.version) +
                               Little32(claims.size.value_or(static_cast<std::uint32_t>(body.size()) + 32)) +
                               Little32(claims.count.value_or(static_cast<std::uint32_t>(items.size())));
    const std::string reserved(8, '\0');
    const std::string header = claims.header ? record + Little32(0xA0000000) + reserved : "";
    return header + body + record + Little32(claims.flags.value_or(claims.header ? 0x80000000 : 0)) +
           reserved;
}

std::string Id3v1(const Id3v1Fields& fields) {
    std::string tag = "TAG";
    const auto put = [&tag](const std::string& text, std::size_t length) {
        tag += (text + std::string(length, '\0')).substr(0, length);
    };
    put(fields.title, 30);
    put(fields.artist, 30);
    put(fields.album, 30);
    put(fields.year, 4);
    put(fields.comment, 30);
    if (fields.track != 0) tag[125] = '\0', tag[126] = static_cast<char>(fields.track);
    return tag + static_cast<char>(fields.genre);
}

std::vector<kit::Tag> Entries(const IDTags& tags) {
    clBuffer blob;
    tags.Serialise(blob);
    return kit::ParseBlob(blob.data(), blob.size());
}

void Fill(IDTags& tags, const std::vector<kit::Tag>& entries) {
    const std::string blob = kit::MakeBlob(entries);
    tags.Parse(blob.data(), static_cast<std::int32_t>(blob.size()));
}

kit::Tag Text(const std::string& name, const std::string& value) {
    return {name, value, ""};
}

kit::Tag Binary(const std::string& name, const std::string& data) {
    return {name, "", data};
}

void kit::PrintTo(const Tag& tag, std::ostream* stream) {
    *stream << tag.name << "=" << tag.value << "(" << tag.data.size() << " bytes)";
}
