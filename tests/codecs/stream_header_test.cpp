#include "codecs/decoders/ffmpeg/stream_header.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "support/endian.h"
#include "transport/exceptions.h"

namespace {

class MemoryStream : public Qel::streamIn {
  public:
    explicit MemoryStream(std::string bytes) : rest(std::move(bytes)) {}
    std::size_t read(void* buffer, std::size_t count) override {
        count = std::min(count, rest.size());
        std::memcpy(buffer, rest.data(), count);
        rest.erase(0, count);
        return count;
    }
    std::string rest;
};

std::string Little(std::uint64_t value, int bytes) {
    std::string text;
    for (int i = 0; i < bytes; ++i, value >>= 8) text += static_cast<char>(value & 0xFF);
    return text;
}

std::string Chunk(const std::string& name, std::uint64_t size) {
    return name + std::string(12, 'g') + Little(size, 8);
}

std::string Record(unsigned tag, unsigned channels, unsigned rate, unsigned average, unsigned align,
                   unsigned bits) {
    return Little(tag, 2) + Little(channels, 2) + Little(rate, 4) + Little(average, 4) + Little(align, 2) +
           Little(bits, 2);
}

const std::string kStart = Chunk("riff", 7) + "wave" + std::string(12, 'g');

std::string FormatChunk(const std::string& body) {
    return Chunk("fmt ", body.size() + 24) + body + std::string((8 - body.size() % 8) % 8, 'p');
}

struct Result {
    clWaveFormat wave;
    DecoderWaveFormat handedOut{};
    std::uint64_t dataSize = 77;
    std::string rest;
};

void Read(const std::string& bytes, Result& result) {
    MemoryStream stream(bytes);
    ReadStreamHeader(stream, {result.wave, result.handedOut, result.dataSize});
    result.rest = stream.rest;
}

TEST(StreamHeader, StopsAtTheFirstByteOfAudio) {
    Result result;
    Read(kStart + Chunk("junk", 24 + 13) + std::string(16, 'j') + FormatChunk(Record(1, 2, 8000, 0, 0, 8)) +
             FormatChunk(Record(1, 2, 44100, 1, 1, 16)) + Chunk("summ", 24) +
             Chunk("data", ~std::uint64_t{0}) + "audio",
         result);
    EXPECT_EQ(result.rest, "audio");
    EXPECT_EQ(result.dataSize, ~std::uint64_t{0} - 24);
    EXPECT_EQ(result.handedOut.samplesPerSecond, 44100U) << "the second format chunk counts";
    EXPECT_EQ(result.handedOut.blockAlign, 4);
    EXPECT_EQ(result.handedOut.averageBytesPerSecond, 176400U);
    EXPECT_EQ(result.handedOut.extraSize, 0);
}

TEST(StreamHeader, RefusesWhatIsNoHeader) {
    const std::string format = FormatChunk(Record(1, 2, 44100, 0, 0, 16));
    const std::string whole = kStart + format + Chunk("data", 24);
    std::vector<std::string> broken{
        "RIFF" + whole.substr(4), kStart + Chunk("junk", 23) + format + Chunk("data", 24),
        kStart + FormatChunk(Record(1, 2, 44100, 0, 0, 16).substr(1)) + Chunk("data", 24),
        kStart + FormatChunk(std::string(65537, '\0')) + Chunk("data", 24),
        kStart + Chunk("data", 24) + format};
    for (std::size_t length = 0; length < whole.size(); ++length) broken.push_back(whole.substr(0, length));
    for (const std::string& bytes : broken) {
        Result result;
        EXPECT_THROW(Read(bytes, result), Qel::invalid_input) << bytes.size();
    }
    Result result;
    EXPECT_NO_THROW(Read(kStart + FormatChunk(std::string(65536, '\0')) + Chunk("data", 24), result));
}

TEST(StreamHeader, NormalisesTheFormat) {
    const std::string pcmGuid("\x01\0\0\0\0\0\x10\0\x80\0\0\xAA\0\x38\x9B\x71", 16);
    const std::string extension = Little(24, 2) + Little(3, 4);
    struct Case {
        const char* what;
        std::string body;
        unsigned align, average, bits, extra, validBits;
    };
    const Case cases[] = {
        {"extensible PCM is recomputed",
         Record(0xFFFE, 2, 48000, 5, 5, 24) + Little(22, 2) + extension + pcmGuid, 6, 288000, 24, 22, 24},
        {"floating point is recomputed", Record(3, 2, 48000, 5, 5, 32), 8, 384000, 32, 0, 0},
        {"an unknown sub-format keeps its values",
         Record(0xFFFE, 2, 48000, 5, 5, 24) + Little(22, 2) + extension + std::string(16, 'x'), 5, 5, 24, 22,
         24},
        {"ADPCM keeps its values; its extra bytes don't reach the host",
         Record(2, 2, 48000, 1234, 56, 4) + Little(4, 2) + "abcd", 56, 1234, 4, 4, 0},
        {"an extra size beyond the body is dropped", Record(1, 1, 8000, 0, 0, 16) + Little(22, 2), 2, 16000,
         16, 0, 0},
        {"divisors are never zero", Record(1, 0, 0, 0, 0, 0), 1, 1, 0, 0, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Result result;
        Read(kStart + FormatChunk(c.body) + Chunk("data", 24), result);
        EXPECT_EQ(result.handedOut.blockAlign, c.align);
        EXPECT_EQ(result.handedOut.averageBytesPerSecond, c.average);
        EXPECT_EQ(result.handedOut.bitsPerSample, c.bits);
        EXPECT_EQ(result.handedOut.extraSize, c.extra);
        EXPECT_EQ(result.handedOut.validBitsPerSample, c.validBits);
    }
}

TEST(WaveFormat, TakesShortRecords) {
    struct Case {
        std::size_t length;
        unsigned channels, bits;
    };
    for (const Case& c : {Case{13, 0, 0}, Case{14, 2, 24}, Case{15, 2, 0}, Case{16, 2, 20}, Case{17, 2, 0}}) {
        std::string record = Record(7, 2, 8000, 16000, 6, 20) + "xx";
        clWaveFormat wave;
        wave.SetBytes(std::as_writable_bytes(std::span(record)).first(c.length));
        EXPECT_EQ(wave.Channels(), c.channels) << c.length;
        EXPECT_EQ(wave.BitsPerSample(), c.bits) << c.length;
    }
}

}  // namespace
