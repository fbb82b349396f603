// A file as an EBML stream.
#pragma once

#include <array>
#include <cstdint>

#include "codecs/decoders/ffmpeg/qel-matroska/ebml_stream.h"
#include "support/clfile.h"

// Small reads are served from a window of the file that is fetched at once, since headers are read byte by
// byte; writes keep the window true. The position is kept here and reaches the file with the next transfer.
class streamImpl : public EBML::StreamRW {
  public:
    explicit streamImpl(const char16_t* path);  // null is an empty path

    bool Open(std::uint32_t access) { return file_.Open(access); }

    // For reading at any place, once the stream itself is done with.
    clFile& file() noexcept { return file_; }

    void Read(void* buffer, std::size_t size) override;
    void Skip(std::uint64_t size) override;
    std::uint64_t Tell() override { return position_; }
    void Seek(std::uint64_t position) override;
    void Write(std::span<const std::byte> bytes) override;
    void Write(const void* data, std::size_t size) override;
    void SetSize(std::uint64_t size) override;
    std::uint64_t GetSize() override;
    bool TakeRoom(std::uint64_t size) override;

  protected:
    // Every byte that is read from the file comes through here. Fewer only at the end of the file.
    virtual std::size_t ReadFileAt(std::uint64_t position, void* buffer, std::size_t size);

  private:
    static constexpr std::size_t kWindowBytes = 4096;
    // Behind a body that was stepped over most often only a header is read before the next step.
    static constexpr std::size_t kHeaderWindowBytes = 16;

    EBML::Bytes BytesAt(std::uint64_t position, std::size_t size);
    std::size_t ReadSome(void* buffer, std::size_t size);
    void DropWindow() noexcept { windowSize_ = 0; }
    void FillWindow();

    clFile file_;
    std::uint64_t position_ = 0;
    std::uint64_t windowBegin_ = 0;
    std::size_t windowSize_ = 0;
    std::uint64_t steppedTo_ = ~std::uint64_t{0};  // where the last long Skip ended
    std::array<std::byte, kWindowBytes> window_;
};
