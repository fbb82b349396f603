// The reader of each format. Each is called behind the bytes that told the format apart, unless it says
// otherwise, and reads only as far as the answer needs.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "image/image_type.h"

// The beginning of a box of an ISO file or a JPEG XL container.
struct BoxHeader {
    static constexpr std::uint64_t kToTheEnd = ~std::uint64_t{0};

    std::array<char, 4> type;
    unsigned headerBytes;        // 8 or 16
    std::uint64_t payloadBytes;  // or kToTheEnd

    bool Is(std::string_view wanted) const noexcept { return std::string_view(type.data(), 4) == wanted; }
};

BoxHeader ReadBoxHeader(Qel::streamIn& stream);

ImageInfo ReadGif(Qel::streamIn& stream);
ImageInfo ReadJpeg(Qel::streamIn& stream);
ImageInfo ReadPng(Qel::streamIn& stream);
ImageInfo ReadWebP(Qel::streamIn& stream);
ImageInfo ReadBmp(Qel::streamIn& stream);
ImageInfo ReadTiff(ImageSource& stream, bool bigEndian);

// These start at the first byte of the file.
ImageInfo ReadIco(Qel::streamIn& stream);
ImageInfo ReadIsoImage(Qel::streamIn& stream);
ImageInfo ReadJpegXlCodeStream(Qel::streamIn& stream);
ImageInfo ReadJpegXlContainer(Qel::streamIn& stream);
