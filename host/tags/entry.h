// Tags as the commands hold them: copies, which outlive the decoder's next Open.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "decoder_plugin.hpp"

namespace host {

// A tag: text in `value`, several values of one name joined by kValueSeparator; or bytes in `data`.
struct Entry {
    std::string name;   // UTF-8
    std::string value;  // UTF-8
    std::vector<std::byte> data;
};

using Entries = std::vector<Entry>;

using decoder_plugin::kValueSeparator;

Entries CopyOf(const decoder_plugin::Blob& blob);

// Throws decoder_plugin::Error when a text isn't UTF-8 or the blob would be larger than the plug-in takes.
decoder_plugin::BlobBuilder BlobOf(const Entries& entries);

}  // namespace host
