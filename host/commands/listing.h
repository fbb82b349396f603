// The files of a command, as its options select them.
#pragma once

#include <vector>

#include "host/commands/batch.h"

namespace host {

// Of folders, what looks like audio by its extension; with `taggable` what takes tags.
enum class Wanted { Audio, Taggable };
std::vector<InputFile> FilesOf(const Context& context, const BatchOptions& options, Wanted wanted);

// The files that belong to the part that the options name.
template <typename Item>
std::vector<Item> ShardOf(const BatchOptions& options, std::vector<Item> items) {
    const Shard shard(options.shard);
    std::erase_if(items, [&](const InputFile& file) { return !shard.Holds(file); });
    return items;
}

}  // namespace host
