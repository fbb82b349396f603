// Lets a script use the ID3v2 engine with its options, which no host can set.
//
//   id3v2_tool read FILE                            one "name=value" or "name#bytes" a line, CR as "|"
//   id3v2_tool write FILE OPTION NAME=VALUE...      "-" for no option, "|" between values; NAME@FILE is
//   binary id3v2_tool delete FILE
#include <algorithm>
#include <iostream>
#include <string>

#include "kit/files.h"
#include "support/clfile.h"
#include "tag_bytes.h"
#include "tags/id3v2/tag_id3v2.h"

namespace {

kit::Tag Parsed(const std::string& word) {
    const std::size_t split = word.find_first_of("=@");
    std::string value = word.substr(split + 1);
    if (word[split] == '@') return Binary(word.substr(0, split), kit::ReadFile(value));
    std::replace(value.begin(), value.end(), '|', '\r');
    return Text(word.substr(0, split), value);
}

void Print(const IDTags& tags) {
    for (kit::Tag& tag : Entries(tags)) {
        std::replace(tag.value.begin(), tag.value.end(), '\r', '|');
        std::cout << tag.name << (tag.data.empty() ? "=" + tag.value : "#" + std::to_string(tag.data.size()))
                  << "\n";
    }
}

}  // namespace

int main(int count, char** words) {
    if (count < 3) return 2;
    const std::string job = words[1];
    clFile file(std::filesystem::path(words[2]).u16string());
    if (!file.Open(clFile::kRead | clFile::kWrite)) return 1;
    TagID3v2 engine(file);
    IDTags tags;
    if (job == "read") {
        engine.Read(tags, true);
        Print(tags);
        return 0;
    }
    if (job == "delete") {
        engine.Delete();
        return 0;
    }
    std::vector<kit::Tag> entries;
    for (int i = 4; i < count; ++i) entries.push_back(Parsed(words[i]));
    Fill(tags, entries);
    clString option;
    option.SetFromUtf8(words[3]);
    engine.SetOption(option);
    return engine.Write(tags, false) ? 0 : 1;
}
