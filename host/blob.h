// The flat form in which tags cross the plug-in's border.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace host {

// A tag: text in `value`, several values of one name joined by a carriage return; or bytes in `data`.
struct Entry {
    std::string name;   // UTF-8
    std::string value;  // UTF-8
    std::vector<std::byte> data;
};

using Entries = std::vector<Entry>;

// Between several values of one name.
inline constexpr char kValueSeparator = '\r';

// Throws Failure when the bytes aren't a blob. A null pointer is an empty one.
Entries ParseBlob(const void* bytes, std::size_t size);

// Throws Failure when the blob would be larger than the plug-in takes.
std::vector<std::byte> BuildBlob(const Entries& entries);

}  // namespace host
