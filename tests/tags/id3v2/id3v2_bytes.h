// ID3v2 tags as bytes, made by hand, and tags in a form that fits on one line.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kit/plugin.h"

namespace id3v2 {

inline std::string Big(std::uint32_t value, int bytes = 4) {
    std::string text;
    for (int i = bytes - 1; i >= 0; --i) text += static_cast<char>((value >> (8 * i)) & 0xFF);
    return text;
}

inline std::string Synchsafe(std::size_t value) {
    std::string text;
    for (int shift = 21; shift >= 0; shift -= 7) text += static_cast<char>((value >> shift) & 0x7F);
    return text;
}

// A frame as the version lays it out; version 2.2 has no flags.
inline std::string Frame(int version, const std::string& id, const std::string& body, int status = 0,
                         int format = 0) {
    const auto size = static_cast<std::uint32_t>(body.size());
    if (version == 2) return id + Big(size, 3) + body;
    const std::string flags{static_cast<char>(status), static_cast<char>(format)};
    return id + (version == 3 ? Big(size) : Synchsafe(size)) + flags + body;
}

inline std::string Tag(int version, const std::string& frames, int flags = 0) {
    return std::string("ID3") + static_cast<char>(version) + '\0' + static_cast<char>(flags) +
           Synchsafe(frames.size()) + frames;
}

// Text in which "^" stands for a NUL, so that bodies can be literals.
inline std::string Nul(std::string text) {
    for (char& letter : text) {
        if (letter == '^') letter = '\0';
    }
    return text;
}

// A text frame in the single-byte encoding.
inline std::string Text(int version, const std::string& id, const std::string& text) {
    return Frame(version, id, Nul("^" + text));
}

// "Name=value;..." with "|" between the values of one name, and "Name(bytes)" for binary entries.
inline std::string Shown(const std::vector<kit::Tag>& tags) {
    std::string text;
    for (const kit::Tag& tag : tags) {
        text += (text.empty() ? "" : ";") + tag.name;
        text += tag.data.empty() ? "=" + tag.value : "(" + std::to_string(tag.data.size()) + ")";
    }
    for (char& letter : text) {
        if (letter == '\r') letter = '|';
    }
    return text;
}

// The frames of a written tag, version 2.3 or 2.4, as "ID=body" with "^" for NUL.
inline std::vector<std::string> Frames(const std::string& file) {
    const auto at = [&file](std::size_t index) {
        return std::size_t{static_cast<unsigned char>(file[index])};
    };
    const unsigned bits = at(3) == 4 ? 7 : 8;
    std::vector<std::string> frames;
    if (file.substr(0, 3) != "ID3") return frames;
    const std::size_t end = 10 + (((((at(6) << 7) | at(7)) << 7) | at(8)) << 7 | at(9));
    for (std::size_t i = 10; i + 10 <= end && file[i] != '\0';) {
        std::size_t size = 0;
        for (std::size_t k = 4; k < 8; ++k) size = (size << bits) | at(i + k);
        std::string body = file.substr(i + 10, size);
        for (char& letter : body) {
            if (letter == '\0') letter = '^';
        }
        frames.push_back(file.substr(i, 4) + "=" + body);
        i += 10 + size;
    }
    return frames;
}

}  // namespace id3v2
