// JPEG XL, as a bare code stream and in its container.
#include <algorithm>
#include <array>
#include <utility>

#include "image/image_readers.h"
#include "transport/exceptions.h"
#include "transport/waitable.h"

namespace {

// Of the four distributions of a number the first two bits choose one. With bit 31 it is the constant in the
// lower bits, else bits 24 to 31 are a count of bits to read and the lower ones what to add.
using Distributions = std::array<std::uint32_t, 4>;
// The same choice among counts of bits to skip.
using BitCounts = std::array<unsigned, 4>;

constexpr std::uint32_t kConstant = 0x80000000;

// Bits of the code stream, least significant first.
class BitReader {
  public:
    explicit BitReader(Qel::streamIn& stream) noexcept : stream_(stream) {}

    // The first bit read is the lowest; of more than 32 the upper ones are lost.
    std::uint32_t Read(unsigned count) {
        std::uint32_t value = 0;
        for (unsigned i = 0; i < count; ++i) {
            const std::uint32_t bit = ReadBit();
            if (i < 32) value |= bit << i;
        }
        return value;
    }

    std::uint32_t Read(const Distributions& distributions) {
        const std::uint32_t chosen = distributions[Read(2)];
        if ((chosen & kConstant) != 0) return chosen & ~kConstant;
        return (chosen & 0xFFFFFF) + Read(chosen >> 24);
    }

    void Skip(const BitCounts& counts) { Read(counts[Read(2)]); }

  private:
    std::uint32_t ReadBit() {
        if (left_ == 0) {
            byte_ = ReadByte(stream_);
            left_ = 8;
        }
        const std::uint32_t bit = byte_ & 1U;
        byte_ >>= 1;
        --left_;
        return bit;
    }

    Qel::streamIn& stream_;
    unsigned byte_ = 0;
    unsigned left_ = 0;
};

// The code stream inside the boxes of a container.
class JxlBoxReader final : public Qel::streamIn {
  public:
    explicit JxlBoxReader(Qel::streamIn& stream) noexcept : stream_(stream) {}

    std::size_t read(void* buffer, std::size_t count) override {
        std::size_t total = 0;
        while (total < count) {
            Qel::CheckAbort();
            if (left_ == 0) {
                NextBox();
                continue;
            }
            const std::size_t now = ReadInBox(static_cast<char*>(buffer) + total, count - total);
            if (now == 0) break;
            total += now;
        }
        return total;
    }

  private:
    // 0 only at the end of a box that has no other end than the stream's.
    std::size_t ReadInBox(void* buffer, std::size_t count) {
        if (left_ == BoxHeader::kToTheEnd) return stream_.read(buffer, count);
        const auto now = static_cast<std::size_t>(std::min<std::uint64_t>(count, left_));
        stream_.readExact(buffer, now);
        left_ -= now;
        return now;
    }

    void NextBox() {
        constexpr std::uint64_t kPartNumberBytes = 4;
        const BoxHeader box = ReadBoxHeader(stream_);
        if (box.Is("jxlc")) {
            left_ = box.payloadBytes;
        } else if (box.Is("jxlp")) {
            if (box.payloadBytes < kPartNumberBytes) throw Qel::invalid_input();
            stream_.skipExact(kPartNumberBytes);
            left_ = box.payloadBytes - kPartNumberBytes;
        } else {
            if (box.payloadBytes == BoxHeader::kToTheEnd) throw Qel::invalid_input();
            stream_.skipExact(box.payloadBytes);
        }
    }

    Qel::streamIn& stream_;
    std::uint64_t left_ = 0;  // in the present box
};

struct Size {
    std::uint32_t width;
    std::uint32_t height;
};

struct Ratio {
    std::uint32_t numerator;
    std::uint32_t denominator;
};

std::uint32_t ReadSide(BitReader& bits, bool small) {
    if (small) return bits.Read(5) * 8 + 8;
    return bits.Read(Distributions{0x09000001, 0x0D000001, 0x12000001, 0x1E000001});
}

Size ReadSizeHeader(BitReader& bits) {
    constexpr std::array<Ratio, 7> kRatios{{{1, 1}, {12, 10}, {4, 3}, {3, 2}, {16, 9}, {5, 4}, {2, 1}}};
    const bool small = bits.Read(1) != 0;
    const std::uint32_t height = ReadSide(bits, small);
    const std::uint32_t ratio = bits.Read(3);
    if (ratio == 0) return {ReadSide(bits, small), height};
    const Ratio& row = kRatios[ratio - 1];
    return {height * row.numerator / row.denominator, height};
}

std::uint32_t ReadBitDepth(BitReader& bits) {
    if (bits.Read(1) == 0) {
        return bits.Read(Distributions{kConstant | 8, kConstant | 10, kConstant | 12, 0x06000001});
    }
    const std::uint32_t depth =
        bits.Read(Distributions{kConstant | 32, kConstant | 16, kConstant | 24, 0x06000001});
    bits.Read(4);
    return depth;
}

void SkipPreview(BitReader& bits) {
    const bool div8 = bits.Read(1) != 0;
    const BitCounts side = div8 ? BitCounts{0, 0, 5, 9} : BitCounts{6, 8, 10, 12};
    bits.Skip(side);
    if (bits.Read(3) == 0) bits.Skip(side);
}

void SkipAnimation(BitReader& bits) {
    bits.Skip({0, 0, 10, 30});
    bits.Skip({0, 0, 8, 10});
    bits.Skip({0, 0, 16, 32});
    bits.Read(1);
}

void ReadExtraFields(BitReader& bits, ImageInfo& info) {
    constexpr std::uint32_t kLastUpright = 3;  // behind it the sides are exchanged
    if (bits.Read(3) > kLastUpright) std::swap(info.width, info.height);
    if (bits.Read(1) != 0) ReadSizeHeader(bits);
    if (bits.Read(1) != 0) SkipPreview(bits);
    if (bits.Read(1) != 0) SkipAnimation(bits);
}

void ReadExtraChannel(BitReader& bits, ImageInfo& info) {
    enum : std::uint32_t { Alpha = 0, SpotColour = 2, ColourFilter = 5 };
    // One that is all defaults counts for nothing.
    if (bits.Read(1) != 0) return;
    const std::uint32_t type = bits.Read(Distributions{kConstant, kConstant | 1, 0x04000002, 0x06000012});
    const std::uint32_t depth = ReadBitDepth(bits);
    bits.Skip({0, 0, 0, 3});
    const std::uint32_t nameBytes = bits.Read(Distributions{kConstant, 0x04000000, 0x05000010, 0x0A000030});
    bits.Read(nameBytes * 8);
    if (type == Alpha) bits.Read(1);
    if (type == SpotColour) bits.Read(64);
    if (type == ColourFilter) bits.Skip({0, 2, 4, 8});
    info.depth += depth;
    if (type == Alpha) info.alpha = true;
}

}  // namespace

ImageInfo ReadJpegXlCodeStream(Qel::streamIn& stream) {
    if (ReadByte(stream) != 0xFF || ReadByte(stream) != 0x0A) throw Qel::invalid_input();
    ImageInfo info{.name = "JPEG XL", .extension = "jxl", .mime = "image/jxl"};
    BitReader bits(stream);
    const Size size = ReadSizeHeader(bits);
    info.width = size.width;
    info.height = size.height;
    info.depth = 24;
    const bool allDefaults = bits.Read(1) != 0;
    if (allDefaults) return info;
    if (bits.Read(1) != 0) ReadExtraFields(bits, info);
    info.depth = ReadBitDepth(bits) * 3;
    bits.Read(1);
    const std::uint32_t channels = bits.Read(Distributions{kConstant, kConstant | 1, 0x04000002, 0x0C000001});
    for (std::uint32_t i = 0; i < channels; ++i) ReadExtraChannel(bits, info);
    return info;
}

ImageInfo ReadJpegXlContainer(Qel::streamIn& stream) {
    JxlBoxReader codeStream(stream);
    return ReadJpegXlCodeStream(codeStream);
}
