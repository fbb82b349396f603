// Tags as bytes, made by hand, and the collections that they are compared with.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "kit/plugin.h"
#include "tags/idtags.h"

inline const std::string kNul(1, '\0');

struct ApeItem {
    std::string key;
    std::string value;
    std::uint32_t flags = 0;  // 0 text, 2 binary, 4 locator
};

// What an APE tag says of itself; by default the truth.
struct ApeClaims {
    std::uint32_t version = 2000;
    bool header = true;
    std::optional<std::uint32_t> size = {};
    std::optional<std::uint32_t> count = {};
    std::optional<std::uint32_t> flags = {};  // of the footer
};

std::string Little32(std::uint32_t value);
std::string Ape(const std::vector<ApeItem>& items, const ApeClaims& claims = {});

struct Id3v1Fields {
    std::string title = {}, artist = {}, album = {}, year = {}, comment = {};
    int track = 0;
    int genre = 255;
};
std::string Id3v1(const Id3v1Fields& fields);

std::vector<kit::Tag> Entries(const IDTags& tags);
void Fill(IDTags& tags, const std::vector<kit::Tag>& entries);
kit::Tag Text(const std::string& name, const std::string& value);
kit::Tag Binary(const std::string& name, const std::string& data);

namespace kit {
void PrintTo(const Tag& tag, std::ostream* stream);
}
