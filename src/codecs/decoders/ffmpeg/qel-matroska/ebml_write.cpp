#include "codecs/decoders/ffmpeg/qel-matroska/ebml_write.h"

#include "codecs/decoders/ffmpeg/qel-matroska/ebml.h"

namespace EBML {

namespace {

constexpr std::uint64_t kReadsAsUnknown = 127;
constexpr unsigned kBitsPerByte = 7;  // of a number; the eighth goes into the marker
constexpr std::uint64_t kSmallestVoid = 2;
constexpr std::uint64_t kSmallestLongVoid = 9;  // from here on its size field takes eight bytes
constexpr unsigned kLongVoidSizeWidth = 8;

// Above kLargestVarInt when it can't be written at all.
unsigned WidthOf(std::uint64_t value) noexcept {
    if (value == kReadsAsUnknown) return 2;
    unsigned width = 1;
    while (width <= kLargestVarInt && value >> (kBitsPerByte * width) != 0) ++width;
    return width;
}

void PutBigEndian(std::uint64_t value, unsigned width, std::byte* out) noexcept {
    for (unsigned i = width; i > 0; --i, value >>= 8) out[i - 1] = static_cast<std::byte>(value & 0xFF);
}

std::span<const std::byte> First(const VarIntBuffer& buffer, unsigned width) noexcept {
    return std::span(buffer).first(width);
}

}  // namespace

unsigned EncodeVarInt(std::uint64_t value, VarIntBuffer& out) {
    const unsigned width = WidthOf(value);
    if (!EncodeVarIntFixed(value, out, width)) throw ParseError();
    return width;
}

bool EncodeVarIntFixed(std::uint64_t value, VarIntBuffer& out, unsigned width) {
    if (width == 0 || width > kLargestVarInt || WidthOf(value) > width) return false;
    PutBigEndian(value | std::uint64_t{1} << (kBitsPerByte * width), width, out.data());
    return true;
}

void WriteVarInt(StreamWritable& sink, std::uint64_t value) {
    VarIntBuffer buffer;
    sink.Write(First(buffer, EncodeVarInt(value, buffer)));
}

Bytes ElementHeader(std::uint32_t id, std::uint64_t size) {
    StreamWritableSimple sink;
    WriteVarInt(sink, id);
    WriteVarInt(sink, size);
    return sink.Take();
}

void WriteElement(StreamWritable& sink, std::uint32_t id, std::span<const std::byte> body) {
    WriteVarInt(sink, id);
    WriteVarInt(sink, body.size());
    sink.Write(body);
}

void WriteTextElement(StreamWritable& sink, std::uint32_t id, std::string_view text) {
    WriteElement(sink, id, std::as_bytes(std::span(text)));
}

void WriteUIntElement(StreamWritable& sink, std::uint32_t id, std::uint64_t value) {
    unsigned width = 1;
    while (width < sizeof value && value >> (8 * width) != 0) ++width;
    VarIntBuffer buffer;
    PutBigEndian(value, width, buffer.data());
    WriteElement(sink, id, First(buffer, width));
}

Bytes VoidHeader(std::uint64_t size) {
    if (size < kSmallestVoid) throw ParseError();
    StreamWritableSimple str;
    WriteVarInt(str, Id::Void);
    Assert(str.Size() == 1, "str.Size() == 1");
    if (size >= kSmallestLongVoid) {
        VarIntBuffer buffer;
        if (!EncodeVarIntFixed(size - kSmallestLongVoid, buffer, kLongVoidSizeWidth)) throw ParseError();
        str.Write(First(buffer, kLongVoidSizeWidth));
    } else {
        WriteVarInt(str, size - kSmallestVoid);
    }
    return str.Take();
}

Bytes BuildVoid(std::uint64_t size) {
    Bytes bytes = VoidHeader(size);
    bytes.resize(size);
    return bytes;
}

void WriteVoid(StreamWritable& sink, std::uint64_t size) {
    if (size != 0) sink.Write(BuildVoid(size));
}

void WriteVoidAt(StreamRW& stream, std::uint64_t position, std::uint64_t size) {
    if (size == 0) return;
    stream.SeekBounded(position);
    const Bytes writeMe = BuildVoid(size);
    Assert(writeMe.size() == size, "writeMe.size() == size");
    stream.Write(std::span(writeMe));
}

bool TryOverwriteAt(StreamRW& stream, std::uint32_t measureId, std::uint32_t writeId,
                    std::span<const std::byte> body) {
    const std::uint64_t position = stream.Tell();
    const std::uint64_t total = ElementHeader(writeId, body.size()).size() + body.size();
    const std::uint64_t avail = MeasureElementAndVoids(stream, measureId, total);
    if (avail < total || avail - total == 1) return false;
    StreamWritableSimple sink;
    sink.Reserve(avail);
    WriteElement(sink, writeId, body);
    WriteVoid(sink, avail - total);
    stream.Seek(position);
    stream.Write(sink.View());
    return true;
}

}  // namespace EBML
