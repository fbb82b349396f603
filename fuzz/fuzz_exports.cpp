// Any bytes as a library: the names that are told lie in them.
#include <stdexcept>

#include "fuzzing.h"
#include "host/contract/exports.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const char* const start = reinterpret_cast<const char*>(data);
    try {
        for (const std::string_view name : host::contract::ReadExports(Bytes(data, size)).names) {
            Require(name.data() >= start && name.data() + name.size() < start + size);
            Require(name.find('\0') == name.npos);
        }
    } catch (const std::runtime_error&) {
        return 0;
    }
    return 0;
}
