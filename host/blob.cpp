#include "blob.h"

#include <limits>

#include "text.h"

namespace host {

namespace {

constexpr std::size_t kLargestBlob = std::numeric_limits<std::int32_t>::max();

class Reader {
  public:
    explicit Reader(std::span<const std::byte> bytes) : left_(bytes) {}

    std::uint32_t Number() {
        const std::span<const std::byte> bytes = Bytes(4);
        std::uint32_t number = 0;
        for (std::size_t index = 4; index > 0; --index) {
            number = number << 8 | std::to_integer<std::uint32_t>(bytes[index - 1]);
        }
        return number;
    }

    std::string Text() {
        std::u16string text;
        for (;;) {
            const std::span<const std::byte> unit = Bytes(2);
            const auto value = std::to_integer<unsigned>(unit[0]) | std::to_integer<unsigned>(unit[1]) << 8;
            if (value == 0) return ToUtf8(text);
            text += static_cast<char16_t>(value);
        }
    }

    std::span<const std::byte> Bytes(std::size_t count) {
        if (count > left_.size()) throw Failure("the plug-in gave a damaged list of tags");
        const std::span<const std::byte> bytes = left_.first(count);
        left_ = left_.subspan(count);
        return bytes;
    }

    std::size_t left() const { return left_.size(); }

  private:
    std::span<const std::byte> left_;
};

void AppendNumber(std::vector<std::byte>& bytes, std::size_t number) {
    for (int shift = 0; shift < 32; shift += 8) bytes.push_back(static_cast<std::byte>(number >> shift));
}

void AppendText(std::vector<std::byte>& bytes, std::u16string_view text) {
    for (const char16_t unit : text) {
        bytes.push_back(static_cast<std::byte>(unit));
        bytes.push_back(static_cast<std::byte>(unit >> 8));
    }
    bytes.insert(bytes.end(), 2, std::byte{0});
}

}  // namespace

Entries ParseBlob(const void* bytes, std::size_t size) {
    constexpr std::size_t kLengthSize = 4;
    Entries entries;
    if (bytes == nullptr) return entries;
    Reader blob({static_cast<const std::byte*>(bytes), size});
    for (std::uint32_t count = blob.Number(); count > 0; --count) {
        const std::uint32_t length = blob.Number();
        if (length < kLengthSize) throw Failure("the plug-in gave a damaged list of tags");
        Reader body(blob.Bytes(length - kLengthSize));
        Entry& entry = entries.emplace_back();
        entry.name = body.Text();
        entry.value = body.Text();
        const std::span<const std::byte> data = body.Bytes(body.left());
        entry.data.assign(data.begin(), data.end());
    }
    return entries;
}

std::vector<std::byte> BuildBlob(const Entries& entries) {
    constexpr std::size_t kFixedSize = 8;  // the length and two terminators
    std::vector<std::byte> blob;
    AppendNumber(blob, entries.size());
    for (const Entry& entry : entries) {
        const std::u16string name = ToUtf16(entry.name);
        const std::u16string value = ToUtf16(entry.value);
        const std::size_t length = kFixedSize + 2 * (name.size() + value.size()) + entry.data.size();
        if (length > kLargestBlob || blob.size() > kLargestBlob - length) {
            throw Failure("more than 2 GiB of tags and pictures at once");
        }
        AppendNumber(blob, length);
        AppendText(blob, name);
        AppendText(blob, value);
        blob.insert(blob.end(), entry.data.begin(), entry.data.end());
    }
    return blob;
}

}  // namespace host
