// What a library's file says that it exports.
#pragma once

#include <cstddef>
#include <span>
#include <string_view>
#include <vector>

namespace host::contract {

struct Exports {
    std::vector<std::string_view> names;  // in the bytes that were read
    std::size_t nameless = 0;             // functions that can be found by a number alone
};

// Of a 64-bit little-endian library: for ELF the symbols that others can bind to, for PE the export table.
// Throws std::runtime_error for any other bytes and for tables that lead out of the file.
Exports ReadExports(std::span<const std::byte> file);

}  // namespace host::contract
