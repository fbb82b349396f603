#include "host/tags/entry.h"

namespace host {

Entries CopyOf(const decoder_plugin::Blob& blob) {
    Entries entries;
    for (const decoder_plugin::Entry& entry : blob) {
        entries.push_back({entry.name, entry.value, {entry.data.begin(), entry.data.end()}});
    }
    return entries;
}

decoder_plugin::BlobBuilder BlobOf(const Entries& entries) {
    decoder_plugin::BlobBuilder blob;
    for (const Entry& entry : entries) blob.Add(entry.name, entry.value, entry.data);
    return blob;
}

}  // namespace host
