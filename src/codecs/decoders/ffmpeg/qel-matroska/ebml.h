// Reading EBML: variable-length numbers, bodies of elements, and a parser that dispatches on element IDs.
// IDs are held with their length marker removed, so that they are written like sizes.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "codecs/decoders/ffmpeg/qel-matroska/ebml_stream.h"

namespace EBML {

namespace Id {
inline constexpr std::uint32_t Header = 0x0A45DFA3;
inline constexpr std::uint32_t ReadVersion = 0x2F7;
inline constexpr std::uint32_t DocType = 0x282;
inline constexpr std::uint32_t DocTypeReadVersion = 0x285;
inline constexpr std::uint32_t Void = 0x6C;
inline constexpr std::uint32_t Crc32 = 0x3F;
}  // namespace Id

// All of them raise ParseError for what is malformed and for what leaves the range.
std::uint32_t ReadElementId(Stream& stream);
std::uint64_t ReadElementSize(Stream& stream);               // kUnknownSize for the one byte FF
std::uint64_t ReadUInt(Stream& stream, std::uint64_t size);  // 1 to 8 bytes, big-endian
Bytes ReadBinary(Stream& stream, std::uint64_t size);        // allocates as bytes really come
std::string ReadAscii(Stream& stream, std::uint64_t size);   // trailing NULs included
std::string ReadUtf8(Stream& stream, std::uint64_t size);    // likewise; not validated as UTF-8

// The text before the first NUL.
std::string_view TextOf(const std::string& padded) noexcept;

// Goes to the first byte 1A of the file and trusts it.
void SeekToEbmlMagic(StreamSeekable& stream);

// Walks the children of the stream's range. One parser is one walk; whatever OnElement leaves unread of a
// body is stepped over.
class Parser {
  public:
    virtual ~Parser() = default;

    // All children of the present range. A child of unknown size ends the walk.
    void Run(Stream& stream);
    // The one element at the present position, whose ID has to be the expected one.
    void RunOne(Stream& stream, std::uint32_t expectedId);

    bool parsed = false;             // a Run came to its end
    std::uint64_t elementStart = 0;  // first ID byte of the element that OnElement is called for

  protected:
    virtual void OnBegin(Stream&) {}
    // The stream stands at the body and its range is the body, unless the size is unknown.
    virtual void OnElement(std::uint32_t id, std::uint64_t size, Stream& stream);
    virtual void OnEnd() {}
    virtual bool KeepGoing() { return true; }
};

// Steps over one element.
class ParserDummy : public Parser {
  protected:
    bool KeepGoing() override { return false; }
};

// The EBML header.
class ParserEBML : public Parser {
  public:
    std::string docType;

  protected:
    void OnElement(std::uint32_t id, std::uint64_t size, Stream& stream) override;
};

class ParserLambda : public Parser {
  public:
    using Function = std::function<void(std::uint32_t id, std::uint64_t size, Stream& stream)>;

    // The walk ends when `keepGoing`, which outlives the parser, becomes false.
    ParserLambda(Function function, const bool& keepGoing)
        : function_(std::move(function)), keepGoing_(&keepGoing) {}

  protected:
    void OnElement(std::uint32_t id, std::uint64_t size, Stream& stream) override {
        function_(id, size, stream);
    }
    bool KeepGoing() override { return *keepGoing_; }

  private:
    Function function_;
    const bool* keepGoing_;
};

// Calls the function for every child of the present range.
void ForEachChild(Stream& stream, ParserLambda::Function function);

// Bytes from the present position that belong to the element `id`, which has to stand there, and to the Voids
// directly behind it. Stops counting at `limit`. Leaves the stream anywhere behind.
std::uint64_t MeasureElementAndVoids(Stream& stream, std::uint32_t id, std::uint64_t limit);

// The same for the element at `position`, with nothing counted behind `limitOffset`.
std::uint64_t MeasureAt(StreamSeekable& stream, std::uint32_t id, std::uint64_t position,
                        std::uint64_t limitOffset);

}  // namespace EBML
