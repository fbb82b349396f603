// Files that the checks make: a tone, as bytes of several formats, and small tags of several kinds.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace host::doctor {

using FileBytes = std::vector<std::byte>;

// A second of two tones, left and right.
inline constexpr std::uint32_t kToneRate = 44100;   // sample frames per second
inline constexpr std::uint16_t kToneFrameSize = 4;  // bytes: two channels of 16 bits, little-endian
FileBytes ToneSamples();

// The tone as a WAV file, and as a Matroska file.
FileBytes ToneAsWav();
FileBytes ToneAsMatroska();

// A tag with this title and nothing else: ID3v1 belongs behind the sound, ID3v2 (version 2.3) in front of it.
constexpr std::size_t kId3v1Size = 128;
FileBytes Id3v1Tag(const std::string& title);
FileBytes Id3v2Tag(const std::string& title);

// What is enough of a PNG file to be known for one.
FileBytes SmallPicture();

}  // namespace host::doctor
