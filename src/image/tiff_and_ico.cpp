// TIFF and ICO: formats with a directory.
#include <utility>

#include "image/image_readers.h"
#include "transport/exceptions.h"

namespace {

class TiffReader {
  public:
    TiffReader(ImageSource& stream, bool bigEndian) : stream_(stream), bigEndian_(bigEndian) {}

    ImageInfo Read();

  private:
    enum Tag : unsigned {
        Width = 256,
        Height = 257,
        BitsPerSample = 258,
        Photometric = 262,
        Orientation = 274
    };
    static constexpr unsigned kShort = 3;
    static constexpr unsigned kLong = 4;
    static constexpr std::uint32_t kTransparencyMask = 4;

    std::uint16_t Read16() { return bigEndian_ ? ReadBig16(stream_) : ReadLittle16(stream_); }
    std::uint32_t Read32() { return bigEndian_ ? ReadBig32(stream_) : ReadLittle32(stream_); }
    void ReadEntry();
    void ReadSamples();

    ImageSource& stream_;
    bool bigEndian_;
    ImageInfo info_{.name = "TIFF", .extension = "tiff", .mime = "image/tiff"};
    std::uint32_t orientation_ = 1;
    std::uint32_t samplesOffset_ = 0;
    std::uint32_t samplesCount_ = 0;
};

void TiffReader::ReadEntry() {
    const unsigned tag = Read16();
    const unsigned type = Read16();
    const std::uint32_t count = Read32();
    std::uint32_t first = 0;
    std::uint32_t second = 0;
    if (type == kShort && count <= 2) {
        first = Read16();
        second = Read16();
    } else {
        first = Read32();
    }
    const bool oneNumber = (type == kShort || type == kLong) && count == 1;
    const bool oneShort = type == kShort && count == 1;
    if (tag == Width && oneNumber) info_.width = first;
    if (tag == Height && oneNumber) info_.height = first;
    if (tag == BitsPerSample) {
        if (count > 3) info_.alpha = true;
        if (type == kShort && count < 3) info_.depth = first + second;
        if (type == kShort && count >= 3) {
            samplesOffset_ = first;
            samplesCount_ = count;
        }
    }
    if (tag == Photometric && oneShort && first == kTransparencyMask) info_.alpha = true;
    if (tag == Orientation && oneShort) orientation_ = first;
}

void TiffReader::ReadSamples() {
    if (samplesOffset_ == 0 || samplesCount_ == 0) return;
    stream_.seek(samplesOffset_);
    info_.depth = 0;
    for (std::uint32_t i = 0; i < samplesCount_; ++i) info_.depth += Read16();
}

ImageInfo TiffReader::Read() {
    if (!stream_.seekable() || Read16() != 42) throw Qel::invalid_input();
    const std::uint32_t directory = Read32();
    if (directory < 8) throw Qel::invalid_input();
    stream_.seek(directory);
    const unsigned entries = Read16();
    for (unsigned i = 0; i < entries; ++i) ReadEntry();
    ReadSamples();
    if (orientation_ >= 5 && orientation_ <= 8) std::swap(info_.width, info_.height);
    return info_;
}

}  // namespace

ImageInfo ReadTiff(ImageSource& stream, bool bigEndian) {
    return TiffReader(stream, bigEndian).Read();
}

ImageInfo ReadIco(Qel::streamIn& stream) {
    constexpr unsigned kIcon = 1;
    constexpr unsigned kMostEntries = 100;
    constexpr unsigned kZeroMeans = 256;
    ImageInfo best{.alpha = true, .name = "ICO", .extension = "ico", .mime = "image/x-icon"};
    stream.skipExact(2);
    if (ReadLittle16(stream) != kIcon) throw Qel::invalid_input();
    const unsigned count = ReadLittle16(stream);
    if (count == 0 || count > kMostEntries) throw Qel::invalid_input();
    for (unsigned i = 0; i < count; ++i) {
        const unsigned widthByte = ReadByte(stream);
        const unsigned heightByte = ReadByte(stream);
        stream.skipExact(1);
        if (ReadByte(stream) != 0) throw Qel::invalid_input();
        stream.skipExact(2);
        const unsigned bits = ReadLittle16(stream);
        stream.skipExact(8);
        const unsigned width = widthByte != 0 ? widthByte : kZeroMeans;
        const unsigned height = heightByte != 0 ? heightByte : kZeroMeans;
        if (width < best.width || height < best.height || bits < best.depth) continue;
        best.width = width;
        best.height = height;
        best.depth = bits;
    }
    if (best.width == 0 || best.height == 0) throw Qel::invalid_input();
    return best;
}
