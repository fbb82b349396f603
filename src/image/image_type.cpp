#include "image/image_type.h"

#include <array>
#include <span>
#include <string_view>

#include "image/image_readers.h"
#include "transport/exceptions.h"

namespace {

using TwoBytes = std::array<std::byte, 2>;

constexpr std::size_t kBoxPrefixBytes = 8;

bool Begins(const TwoBytes& first, unsigned b0, unsigned b1) noexcept {
    return first == TwoBytes{static_cast<std::byte>(b0), static_cast<std::byte>(b1)};
}

// Two zeros begin icons and the files that consist of boxes.
ImageInfo ReadBehindTwoZeros(Qel::streamIn& stream) {
    std::array<std::byte, kBoxPrefixBytes> prefix{};
    stream.readExact(prefix.data() + 2, prefix.size() - 2);
    PrefixReader whole(prefix, stream);
    const std::string_view type(reinterpret_cast<const char*>(prefix.data()) + 4, 4);
    if (type == "JXL ") return ReadJpegXlContainer(whole);
    if (type == "ftyp") return ReadIsoImage(whole);
    return ReadIco(whole);
}

}  // namespace

ImageInfo DetectImageType(ImageSource& stream) {
    if (stream.seekable()) stream.seek(0);
    TwoBytes first;
    stream.readExact(first.data(), first.size());
    if (Begins(first, 'G', 'I')) return ReadGif(stream);
    if (Begins(first, 0xFF, 0xD8)) return ReadJpeg(stream);
    if (Begins(first, 0xFF, 0x0A)) {
        PrefixReader whole(first, stream);
        return ReadJpegXlCodeStream(whole);
    }
    if (Begins(first, 0x89, 'P')) return ReadPng(stream);
    if (Begins(first, 'R', 'I')) return ReadWebP(stream);
    if (Begins(first, 'B', 'M')) return ReadBmp(stream);
    if (Begins(first, 'M', 'M')) return ReadTiff(stream, true);
    if (Begins(first, 'I', 'I')) return ReadTiff(stream, false);
    if (Begins(first, 0, 0)) return ReadBehindTwoZeros(stream);
    throw Qel::invalid_input();
}
