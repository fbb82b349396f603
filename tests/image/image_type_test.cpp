// Headers built byte by byte, one for each branch and boundary of each format.
#include "image/image_type.h"

#include <gtest/gtest.h>

#include <string>

#include "image/image_streams.h"
#include "transport/exceptions.h"
#include "transport/waitable.h"

namespace {

using namespace std::string_literals;

std::string Little(std::uint64_t value, int bytes) {
    std::string text;
    for (int i = 0; i < bytes; ++i, value >>= 8) text += static_cast<char>(value & 0xFF);
    return text;
}

std::string Big(std::uint64_t value, int bytes) {
    const std::string little = Little(value, bytes);
    return {little.rbegin(), little.rend()};
}

std::string Zeros(std::size_t count) {
    return std::string(count, '\0');
}

// Width, height, depth, alpha and name; "invalid input" and the like after a failure.
std::string Detect(const std::string& file) {
    try {
        MemorySource source(std::as_bytes(std::span(file)));
        const ImageInfo info = DetectImageType(source);
        return std::to_string(info.width) + "x" + std::to_string(info.height) + "x" +
               std::to_string(info.depth) + (info.alpha ? " alpha " : " ") + info.name + " " +
               info.extension + " " + info.mime;
    } catch (const std::exception& failure) {
        return failure.what();
    }
}

constexpr std::uint64_t kOnes = ~0ULL;  // what is skipped shows when it is read
const std::string kInvalid = "invalid input";

std::string Box(const std::string& type, const std::string& payload) {
    return Big(payload.size() + 8, 4) + type + payload;
}

std::string Ico(unsigned type, unsigned count, const std::string& entries) {
    return Little(0, 2) + Little(type, 2) + Little(count, 2) + entries;
}

std::string IcoEntry(unsigned width, unsigned height, unsigned bits, unsigned reserved = 0) {
    return Little(width, 1) + Little(height, 1) + Little(0, 1) + Little(reserved, 1) + Little(1, 2) +
           Little(bits, 2) + Zeros(8);
}

std::string TiffEntry(unsigned tag, unsigned type, unsigned count, const std::string& value) {
    return Big(tag, 2) + Big(type, 2) + Big(count, 4) + value;
}

std::string Png(unsigned colourType, const std::string& chunks) {
    return "\x89PNG\r\n\x1A\n" + Big(13, 4) + "IHDR" + Big(300, 4) + Big(200, 4) + Big(8, 1) +
           Big(colourType, 1) + Zeros(7) + chunks;
}

// Bits from the least significant one of each byte on.
class Bits {
  public:
    Bits& Put(std::uint64_t value, int count) {
        for (int i = 0; i < count; ++i, ++bits_) {
            if (bits_ % 8 == 0) bytes_ += '\0';
            if ((value >> i & 1) != 0) bytes_.back() = static_cast<char>(bytes_.back() | 1 << bits_ % 8);
        }
        return *this;
    }
    std::string Bytes() const { return "\xFF\x0A" + bytes_ + Zeros(4); }

  private:
    std::string bytes_;
    int bits_ = 0;
};

// Small size of 64 lines and a ratio.
Bits JxlSize(unsigned ratio) {
    return Bits().Put(1, 1).Put(7, 5).Put(ratio, 3);
}

// 8-bit colour and one extra channel, of which the bits follow.
Bits JxlWithChannel() {
    return JxlSize(1).Put(0, 1).Put(0, 1).Put(0, 1).Put(0, 2).Put(0, 1).Put(1, 2);
}

TEST(ImageType, ReadsEveryFormatToItsLimits) {
    const std::string jpegFrame =
        "\xFF\xC0"s + Big(17, 2) + Big(8, 1) + Big(200, 2) + Big(300, 2) + Big(3, 1);
    const std::string riff = "RIFF"s + Zeros(4) + "WEBP";
    const std::string ispe = Box("ispe", Zeros(4) + Big(300, 4) + Big(200, 4));
    const auto iso = [](const std::string& properties) {
        return Box("ftyp", "avif") +
               Box("meta", Zeros(4) + Box("hdlr", Zeros(20)) + Box("iprp", Box("ipco", properties)));
    };
    const std::string tiffEntries =
        TiffEntry(256, 3, 1, Big(300, 2) + Zeros(2)) + TiffEntry(257, 4, 1, Big(200, 4)) +
        TiffEntry(274, 3, 1, Big(6, 2) + Zeros(2)) + TiffEntry(258, 3, 4, Big(62, 4));
    const std::string tiffHead = "MM"s + Big(42, 2) + Big(8, 4);
    const std::string tiff =
        tiffHead + Big(4, 2) + tiffEntries + Zeros(4) + Big(8, 2) + Big(8, 2) + Big(8, 2) + Big(8, 2);
    const std::string jxl = JxlSize(7).Put(1, 1).Bytes();
    std::string hundred;
    for (int i = 0; i < 100; ++i) hundred += IcoEntry(16, 16, 8);
    const std::string jpegTail = " JPEG jpg image/jpeg";
    const std::string pngTail = " PNG png image/png";
    const std::string webpTail = " WebP webp image/webp";
    const std::string jxlTail = " JPEG XL jxl image/jxl";
    const std::string icoTail = " alpha ICO ico image/x-icon";

    const struct {
        const char* what;
        std::string file;
        std::string expected;
    } cases[] = {
        {"empty", "", kInvalid},
        {"wrong second byte", "GX", kInvalid},

        {"GIF, first extension",
         "GIF89a"s + Little(300, 2) + Little(200, 2) + "\x80\0\0"s + "\x21\xF9\x04\x01"s + Zeros(3) + "\x2C",
         "300x200x8 alpha GIF gif image/gif"},
        {"GIF, zero width", "GIF89a"s + Little(0, 2) + Little(200, 2) + Zeros(20), kInvalid},
        {"GIF, shortened colour table skip",
         "GIF89a"s + Little(1, 2) + Little(1, 2) + "\x87\0\0"s + Zeros(21) + ",", "1x1x8 GIF gif image/gif"},
        {"GIF, no colour table",
         "GIF89a"s + Little(1, 2) + Little(1, 2) + "\x01\0\0"s + "\x21\xF9\x04\x01"s + Zeros(3) + ",",
         "1x1x8 alpha GIF gif image/gif"},

        {"JPEG behind an empty segment", "\xFF\xD8\xFF\xFE\0\x02"s + jpegFrame, "300x200x24" + jpegTail},
        {"JPEG behind segments", "\xFF\xD8\xFF\xE0\0\x04xx\xFF\xDD\0\x04xx"s + jpegFrame,
         "300x200x24" + jpegTail},
        {"JPEG, end before the frame", "\xFF\xD8\xFF\xD9"s + jpegFrame, kInvalid},
        {"JPEG, the last frame header", "\xFF\xD8\xFF\xCF"s + jpegFrame.substr(2), "300x200x24" + jpegTail},
        {"JPEG, fill byte", "\xFF\xD8\xFF\xFF"s + jpegFrame, kInvalid},
        {"JPEG, segment of length 1", "\xFF\xD8\xFF\xE0\0\x01"s + jpegFrame, kInvalid},
        {"JPEG, DAC", "\xFF\xD8\xFF\xCC\0\x02"s + jpegFrame, kInvalid},
        {"JPEG, scan before the frame", "\xFF\xD8\xFF\xDA\0\x02\x12\x34"s + jpegFrame, kInvalid},

        {"PNG with alpha", Png(6, ""), "300x200x32 alpha" + pngTail},
        {"PNG, tRNS in front of IDAT", Png(2, Big(0, 4) + "tRNS" + Zeros(4)), "300x200x24 alpha" + pngTail},
        {"PNG, tRNS behind another", Png(3, Big(3, 4) + "PLTE" + Zeros(7) + Big(0, 4) + "tRNS" + Zeros(4)),
         "300x200x8 alpha" + pngTail},
        {"PNG, other signature", "\x89PNG\r\n\x1A\r" + Png(6, "").substr(8), kInvalid},
        {"PNG, tRNS behind IDAT", Png(2, Big(0, 4) + "IDAT" + Zeros(4) + Big(0, 4) + "tRNS"),
         "300x200x24" + pngTail},
        {"PNG, palette, cut off", Png(3, Big(70, 4) + "PLTE"), "300x200x8" + pngTail},
        {"PNG, cut inside its header", Png(2, "").substr(0, 30), kInvalid},
        {"PNG, other first chunk", "\x89PNG\r\n\x1A\n" + Big(13, 4) + "IDAT" + Zeros(30), kInvalid},

        {"WebP, lossy", riff + "VP8 " + Zeros(7) + "\x9D\x01\x2A" + Little(0xC000 + 300, 2) + Little(200, 2),
         "300x200x24" + webpTail},
        {"WebP, lossy, wrong start code",
         riff + "VP8 " + Zeros(7) + "\x9D\x01\x2B" + Little(300, 2) + Little(200, 2), kInvalid},
        {"WebP, extended", riff + "VP8X" + Zeros(4) + "\x10" + Zeros(3) + Little(299, 3) + Little(199, 3),
         "300x200x32 alpha" + webpTail},
        {"WebP, lossless",
         riff + "VP8L" + Zeros(4) + "\x2F" + Little(299 | 199 << 14 | 1 << 28, 4) + Zeros(5),
         "300x200x32 alpha" + webpTail},
        {"WebP, lossless, opaque", riff + "VP8L" + Zeros(4) + "\x2F" + Little(299 | 199 << 14, 4) + Zeros(5),
         "300x200x24" + webpTail},
        {"WebP, other chunk", riff + "ALPH" + Zeros(20), kInvalid},

        {"BMP, old header",
         "BM"s + Zeros(12) + Little(12, 4) + Little(300, 2) + Little(200, 2) + Zeros(2) + Little(24, 2),
         "300x200x24 BMP bmp image/x-portable-bitmap"},
        {"BMP, negative height as it stands",
         "BM"s + Zeros(12) + Little(40, 4) + Little(300, 4) + Little(0xFFFFFFFF, 4) + Zeros(2) +
             Little(32, 2),
         "300x4294967295x32 BMP bmp image/x-portable-bitmap"},
        {"BMP, header of 11", "BM"s + Zeros(12) + Little(11, 4) + Zeros(20), kInvalid},

        {"TIFF, turned, four samples", tiff, "200x300x32 alpha TIFF tiff image/tiff"},
        {"TIFF, two samples in place, a mask",
         tiffHead + Big(5, 2) + TiffEntry(256, 4, 1, Big(300, 4)) + TiffEntry(257, 3, 1, Big(200, 2) + "xx") +
             TiffEntry(258, 3, 2, Big(7, 2) + Big(9, 2)) + TiffEntry(262, 3, 1, Big(4, 2) + Zeros(2)) +
             TiffEntry(274, 3, 1, Big(9, 2) + Zeros(2)),
         "300x200x16 alpha TIFF tiff image/tiff"},
        {"TIFF, other types and counts count for nothing",
         tiffHead + Big(7, 2) + TiffEntry(256, 3, 2, Big(300, 2) + Zeros(2)) +
             TiffEntry(257, 1, 1, Big(200, 4)) + TiffEntry(258, 4, 3, Big(62, 4)) +
             TiffEntry(262, 4, 1, Big(4, 4)) + TiffEntry(262, 3, 1, Big(5, 2) + Zeros(2)) +
             TiffEntry(257, 4, 1, Big(100, 4)) + TiffEntry(274, 4, 1, Big(6, 4)),
         "0x100x0 TIFF tiff image/tiff"},
        {"TIFF, the last turned orientation",
         tiffHead + Big(3, 2) + TiffEntry(256, 3, 1, Big(300, 2) + Zeros(2)) +
             TiffEntry(258, 3, 3, Big(50, 4)) + TiffEntry(274, 3, 1, Big(8, 2) + Zeros(2)) + Zeros(4) +
             Big(5, 2) + Big(6, 2) + Big(7, 2),
         "0x300x18 TIFF tiff image/tiff"},
        {"TIFF, upright",
         tiffHead + Big(2, 2) + TiffEntry(256, 3, 1, Big(300, 2) + Zeros(2)) +
             TiffEntry(274, 3, 1, Big(4, 2) + Zeros(2)),
         "300x0x0 TIFF tiff image/tiff"},
        {"TIFF, little-endian, no entries", "II"s + Little(42, 2) + Little(8, 4) + Little(0, 2),
         "0x0x0 TIFF tiff image/tiff"},
        {"TIFF, directory at 7", "II"s + Little(42, 2) + Little(7, 4) + Zeros(9), kInvalid},
        {"TIFF, directory behind the end", "II"s + Little(42, 2) + Little(99, 4), kInvalid},

        {"ICO, 256 and the deepest", Ico(1, 3, IcoEntry(16, 16, 8) + IcoEntry(0, 0, 32) + IcoEntry(0, 0, 8)),
         "256x256x32" + icoTail},
        {"ICO, 100 entries", Ico(1, 100, hundred), "16x16x8" + icoTail},
        {"ICO, 101 entries", Ico(1, 101, hundred + IcoEntry(16, 16, 8)), kInvalid},
        {"ICO, none", Ico(1, 0, Zeros(8)), kInvalid},
        {"ICO, reserved byte", Ico(1, 1, IcoEntry(16, 16, 8, 1)), kInvalid},
        {"cursor", Ico(2, 1, IcoEntry(16, 16, 8)), kInvalid},

        {"AVIF", iso(ispe + Box("av1C", "x")), "300x200x24 AVIF avif image/avif"},
        {"the last configuration counts", iso(ispe + Box("av1C", "x") + Box("hvcC", "x")),
         "300x200x24 HEIC heic image/heic"},
        {"ISO, data in front", Box("ftyp", "avif") + Box("mdat", "x") + iso(ispe + Box("av1C", "x")),
         kInvalid},
        {"ISO, child larger than its parent",
         Box("ftyp", "avif") + Box("meta", Zeros(4) + Big(99, 4) + "iprp" + Zeros(99)), kInvalid},
        {"ISO, no configuration", iso(ispe), kInvalid},
        {"ISO, no size", iso(Box("av1C", "x")), kInvalid},
        {"ISO, no width", iso(Box("ispe", Zeros(8) + Big(200, 4)) + Box("av1C", "")), kInvalid},
        {"ISO, no height", iso(Box("ispe", Zeros(4) + Big(300, 4) + Zeros(4)) + Box("av1C", "")), kInvalid},
        {"ISO, size without its version", iso(Box("ispe", "xxx") + ispe + Box("av1C", "")), kInvalid},
        {"ISO, box smaller than its header",
         Box("ftyp", "avif") + Big(7, 4) + "free" + iso(ispe + Box("av1C", "")), kInvalid},
        {"ISO, long size smaller than its header",
         Box("ftyp", "avif") + Big(1, 4) + "free" + Big(15, 8) + iso(ispe + Box("av1C", "")), kInvalid},
        {"ISO, properties elsewhere",
         Box("ftyp", "avif") + Box("meta", Zeros(4) + Box("free", Box("ipco", ispe + Box("av1C", ""))) +
                                               Box("iprp", Box("free", ispe + Box("av1C", "")))),
         kInvalid},
        {"ISO, long box size",
         Box("ftyp", "avif") + Big(1, 4) + "free" + Big(16, 8) + iso(ispe + Box("hvcC", "")).substr(12),
         "300x200x24 HEIC heic image/heic"},

        {"JXL, all defaults", jxl, "128x64x24" + jxlTail},
        {"JXL, explicit sides",
         Bits().Put(0, 1).Put(0, 2).Put(199, 9).Put(0, 3).Put(1, 2).Put(299, 13).Put(1, 1).Bytes(),
         "300x200x24" + jxlTail},
        {"JXL, explicit alpha",
         JxlWithChannel().Put(0, 1).Put(0, 2).Put(0, 1).Put(0, 2).Put(0, 2).Put(0, 2).Put(0, 1).Bytes(),
         "64x64x32 alpha" + jxlTail},
        {"JXL, channel of defaults", JxlWithChannel().Put(1, 1).Bytes(), "64x64x24" + jxlTail},
        {"JXL, float and turned",
         JxlSize(7)
             .Put(0, 1)
             .Put(1, 1)
             .Put(5, 3)
             .Put(0, 3)
             .Put(1, 1)
             .Put(1, 2)
             .Put(0, 4)
             .Put(0, 1)
             .Put(0, 2)
             .Bytes(),
         "64x128x48" + jxlTail},
        {"JXL, sides of more bits",
         Bits().Put(0, 1).Put(2, 2).Put(99999, 18).Put(0, 3).Put(3, 2).Put(1000000, 30).Put(1, 1).Bytes(),
         "1000001x100000x24" + jxlTail},
        {"JXL, two small sides", Bits().Put(1, 1).Put(7, 5).Put(0, 3).Put(3, 5).Put(1, 1).Bytes(),
         "32x64x24" + jxlTail},
        {"JXL, upright, with a size of its own, a preview in eighths and an animation",
         JxlSize(7)
             .Put(0, 1)
             .Put(1, 1)
             .Put(3, 3)
             .Put(1, 1)
             .Put(1, 1)
             .Put(7, 5)
             .Put(1, 3)
             .Put(1, 1)
             .Put(1, 1)
             .Put(2, 2)
             .Put(kOnes, 5)
             .Put(0, 3)
             .Put(3, 2)
             .Put(kOnes, 9)
             .Put(1, 1)
             .Put(2, 2)
             .Put(kOnes, 10)
             .Put(3, 2)
             .Put(kOnes, 10)
             .Put(3, 2)
             .Put(kOnes, 32)
             .Put(1, 1)
             .Put(0, 1)
             .Put(3, 2)
             .Put(15, 6)
             .Put(1, 1)
             .Put(0, 2)
             .Bytes(),
         "128x64x48" + jxlTail},
        {"JXL, turned, a preview with a ratio and an animation",
         JxlSize(7)
             .Put(0, 1)
             .Put(1, 1)
             .Put(4, 3)
             .Put(0, 1)
             .Put(1, 1)
             .Put(0, 1)
             .Put(1, 2)
             .Put(kOnes, 8)
             .Put(1, 3)
             .Put(1, 1)
             .Put(3, 2)
             .Put(kOnes, 30)
             .Put(2, 2)
             .Put(kOnes, 8)
             .Put(2, 2)
             .Put(kOnes, 16)
             .Put(1, 1)
             .Put(1, 1)
             .Put(3, 2)
             .Put(18, 6)
             .Put(kOnes, 4)
             .Put(1, 1)
             .Put(0, 2)
             .Bytes(),
         "64x128x57" + jxlTail},
        {"JXL, channels of a spot colour, a filter, a depth and alpha",
         JxlSize(1)
             .Put(0, 1)
             .Put(0, 1)
             .Put(0, 1)
             .Put(0, 2)
             .Put(0, 1)
             .Put(2, 2)
             .Put(2, 4)
             .Put(0, 1)
             .Put(2, 2)
             .Put(0, 4)
             .Put(0, 1)
             .Put(0, 2)
             .Put(3, 2)
             .Put(kOnes, 3)
             .Put(1, 2)
             .Put(1, 4)
             .Put(kOnes, 8)
             .Put(kOnes, 64)
             .Put(0, 1)
             .Put(2, 2)
             .Put(3, 4)
             .Put(0, 1)
             .Put(1, 2)
             .Put(2, 2)
             .Put(2, 2)
             .Put(0, 5)
             .Put(kOnes, 64)
             .Put(kOnes, 64)
             .Put(3, 2)
             .Put(kOnes, 8)
             .Put(0, 1)
             .Put(1, 2)
             .Put(0, 1)
             .Put(2, 2)
             .Put(1, 2)
             .Put(0, 2)
             .Put(0, 1)
             .Put(0, 2)
             .Put(0, 1)
             .Put(3, 2)
             .Put(6, 6)
             .Put(0, 2)
             .Put(0, 2)
             .Put(1, 1)
             .Bytes(),
         "64x64x61 alpha" + jxlTail},
        {"JXL, more channels and a float depth",
         JxlSize(1)
             .Put(0, 1)
             .Put(0, 1)
             .Put(1, 1)
             .Put(1, 2)
             .Put(kOnes, 4)
             .Put(1, 1)
             .Put(3, 2)
             .Put(0, 12)
             .Put(0, 1)
             .Put(3, 2)
             .Put(0, 6)
             .Put(1, 1)
             .Put(2, 2)
             .Put(kOnes, 4)
             .Put(0, 2)
             .Put(0, 2)
             .Bytes(),
         "64x64x72" + jxlTail},
        {"JXL, container", Box("JXL ", "\r\n\x87\n") + Box("ftyp", "jxl ") + Box("jxlc", jxl),
         "128x64x24" + jxlTail},
        {"JXL, in parts",
         Box("JXL ", "\r\n\x87\n") + Box("jxlp", Zeros(4) + jxl.substr(0, 1)) + Box("free", "x") +
             Box("jxlp", Zeros(4) + jxl.substr(1)),
         "128x64x24" + jxlTail},
        {"JXL, open-ended box", Box("JXL ", "\r\n\x87\n") + Big(0, 4) + "jxlc" + jxl, "128x64x24" + jxlTail},
        {"JXL, part without its number", Box("JXL ", "\r\n\x87\n") + Box("jxlp", "xxx") + jxl, kInvalid},
        {"JXL, cut off", jxl.substr(0, 3), kInvalid},
        {"JXL, container of something else",
         Box("JXL ", "\r\n\x87\n") + Box("jxlc", "\xFF\x0B" + jxl.substr(2)), kInvalid},
    };
    for (const auto& c : cases) EXPECT_EQ(Detect(c.file), c.expected) << c.what;
}

TEST(ImageType, ReadsTheRatiosOfJpegXl) {
    const char* widths[] = {"64", "76", "85", "96", "113", "80", "128"};
    for (unsigned ratio = 1; ratio <= 7; ++ratio) {
        EXPECT_EQ(Detect(JxlSize(ratio).Put(1, 1).Bytes()),
                  std::string(widths[ratio - 1]) + "x64x24 JPEG XL jxl image/jxl");
    }
}

// The first two choices of each field of an animation are constants and take no bits.
TEST(ImageType, ReadsJpegXlBehindAnimationsOfConstants) {
    for (const unsigned choice : {0U, 1U}) {
        Bits file = JxlSize(7);
        file.Put(0, 1).Put(1, 1).Put(0, 3).Put(0, 1).Put(0, 1).Put(1, 1);
        for (int field = 0; field < 3; ++field) file.Put(choice, 2);
        file.Put(1, 1).Put(0, 1).Put(3, 2).Put(15, 6).Put(1, 1).Put(0, 2);
        EXPECT_EQ(Detect(file.Bytes()), "128x64x48 JPEG XL jxl image/jxl") << choice;
    }
}

TEST(ImageType, EndsWithASetAborterInsteadOfReadingOn) {
    Qel::aborter abort;
    Qel::AborterScope scope;
    scope.Enter(abort);
    abort.Set();
    EXPECT_EQ(Detect("\xFF\xD8\xFF\xE0"), "user abort");
    EXPECT_EQ(Detect("\xFF\x0A"), "user abort");
}

// A source that can't go back has no TIFF in it: its directory may lie anywhere.
TEST(BoundedReader, CutsPlainReadsAndRefusesExactOnes) {
    const std::string bytes = "0123456789";
    MemorySource source(std::as_bytes(std::span(bytes)));
    BoundedReader view(6, source);
    char buffer[8];
    EXPECT_EQ(view.read(buffer, 2), 2U);
    EXPECT_EQ(view.skip(2), 2U);
    EXPECT_THROW(view.readExact(buffer, 3), Qel::invalid_input);
    EXPECT_THROW(view.skipExact(3), Qel::invalid_input);
    EXPECT_EQ(view.read(buffer, 8), 2U);
    EXPECT_EQ(std::string(buffer, 2), "45");
    EXPECT_EQ(view.skip(1), 0U);
}

TEST(ImageType, NeedsASeekableSourceForTiffOnly) {
    class Forward final : public ImageSource {
      public:
        explicit Forward(std::span<const std::byte> bytes) : memory_(bytes) {}
        std::size_t read(void* buffer, std::size_t count) override { return memory_.read(buffer, count); }
        bool seekable() override { return false; }
        void seek(std::uint64_t) override { FAIL(); }

      private:
        MemorySource memory_;
    };
    const std::string tiff = "II"s + Little(42, 2) + Little(8, 4) + Little(0, 2);
    Forward tiffSource(std::as_bytes(std::span(tiff)));
    EXPECT_THROW(DetectImageType(tiffSource), Qel::invalid_input);
    const std::string png = Png(6, "");
    Forward pngSource(std::as_bytes(std::span(png)));
    EXPECT_EQ(DetectImageType(pngSource).width, 300U);
}

}  // namespace
