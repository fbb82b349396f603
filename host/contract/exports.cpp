// ELF: "System V Application Binary Interface", chapters 4 and 5. PE: "PE Format" of Microsoft, its sections
// "Optional Header (Image Only)" and "The .edata Section".
#include "host/contract/exports.h"

#include <cstdint>
#include <stdexcept>

namespace host::contract {

namespace {

[[noreturn]] void Refuse(const char* what) {
    throw std::runtime_error(what);
}

class Reader {
  public:
    explicit Reader(std::span<const std::byte> bytes) : bytes_(bytes) {}

    // A part of the file; throws when it isn't all there.
    Reader Part(std::uint64_t offset, std::uint64_t size) const {
        if (offset > bytes_.size() || size > bytes_.size() - offset) Refuse("a table leads out of the file");
        return Reader(bytes_.subspan(static_cast<std::size_t>(offset), static_cast<std::size_t>(size)));
    }

    std::uint64_t Number(std::uint64_t offset, std::size_t size) const {
        const Reader part = Part(offset, size);
        std::uint64_t value = 0;
        while (size > 0) value = value << 8 | std::to_integer<std::uint64_t>(part.bytes_[--size]);
        return value;
    }

    std::string_view Text(std::uint64_t offset) const {
        constexpr std::size_t kLongestName = 0x10000;
        const Reader rest = Part(offset, offset <= bytes_.size() ? bytes_.size() - offset : 1);
        const std::string_view text = rest.All().substr(0, kLongestName);
        const std::size_t end = text.find('\0');
        if (end == std::string_view::npos) Refuse("a name has no end");
        return text.substr(0, end);
    }

    std::string_view All() const { return {reinterpret_cast<const char*>(bytes_.data()), bytes_.size()}; }
    std::uint64_t size() const { return bytes_.size(); }

  private:
    std::span<const std::byte> bytes_;
};

// ---- ELF ----

constexpr std::size_t kSectionSize = 64;
constexpr std::size_t kSymbolSize = 24;

struct Section {
    std::uint64_t type;
    Reader body;
    std::uint64_t link;
};

Section SectionAt(const Reader& file, std::uint64_t index) {
    const Reader header =
        file.Part(file.Number(40, 8), (index + 1) * kSectionSize).Part(index * kSectionSize, kSectionSize);
    constexpr std::uint64_t kWithoutBytes = 8;
    const std::uint64_t type = header.Number(4, 4);
    const std::uint64_t size = type == kWithoutBytes ? 0 : header.Number(32, 8);
    return {type, size == 0 ? Reader({}) : file.Part(header.Number(24, 8), size), header.Number(40, 4)};
}

// Global or weak, and neither hidden nor internal.
bool IsExported(const Reader& symbol) {
    constexpr std::uint64_t kAbsolute = 0xFFF1;  // what a version script names its versions with
    const std::uint64_t binding = symbol.Number(4, 1) >> 4;
    const std::uint64_t visibility = symbol.Number(5, 1) & 3;
    const std::uint64_t section = symbol.Number(6, 2);
    return binding != 0 && visibility != 1 && visibility != 2 && section != 0 && section != kAbsolute;
}

Exports ReadElf(const Reader& file) {
    constexpr std::uint64_t kDynamicSymbols = 11;
    if (file.Number(4, 1) != 2 || file.Number(5, 1) != 1) Refuse("no 64-bit little-endian library");
    if (file.Number(58, 2) != kSectionSize) Refuse("a damaged header");
    const std::uint64_t sections = file.Number(60, 2);
    for (std::uint64_t index = 0; index < sections; ++index) {
        const Section section = SectionAt(file, index);
        if (section.type != kDynamicSymbols) continue;
        const Reader texts = SectionAt(file, section.link).body;
        Exports exports;
        for (std::uint64_t at = 0; section.body.size() - at >= kSymbolSize; at += kSymbolSize) {
            const Reader symbol = section.body.Part(at, kSymbolSize);
            if (IsExported(symbol)) exports.names.push_back(texts.Text(symbol.Number(0, 4)));
        }
        return exports;
    }
    Refuse("no table of dynamic symbols");
}

// ---- PE ----

// What the loader maps to addresses relative to the image's base.
class Image {
  public:
    Image(const Reader& file, std::uint64_t table, std::uint64_t count)
        : file_(file), sections_(file.Part(table, count * kHeaderSize)) {}

    // From this address on, to the end of its section.
    Reader From(std::uint64_t address) const {
        for (std::uint64_t at = 0; at < sections_.size(); at += kHeaderSize) {
            const std::uint64_t start = sections_.Number(at + 12, 4);
            const std::uint64_t size = sections_.Number(at + 16, 4);
            if (address < start || address - start >= size) continue;
            return file_.Part(sections_.Number(at + 20, 4) + (address - start), size - (address - start));
        }
        Refuse("an address lies in no section");
    }

  private:
    static constexpr std::uint64_t kHeaderSize = 40;
    Reader file_;
    Reader sections_;
};

// How many of the numbers stand for a function: some linkers leave holes, whose address is zero.
std::uint64_t UsedAddresses(const Image& image, std::uint64_t address, std::uint64_t count) {
    if (count == 0) return 0;
    const Reader list = image.From(address).Part(0, count * 4);
    std::uint64_t used = 0;
    for (std::uint64_t index = 0; index < count; ++index) used += list.Number(index * 4, 4) != 0 ? 1 : 0;
    return used;
}

Exports ReadPe(const Reader& file) {
    const std::uint64_t start = file.Number(0x3C, 4);
    if (file.Part(start, 4).All() != std::string_view("PE\0\0", 4)) Refuse("no library of Windows");
    const std::uint64_t optional = start + 24;
    constexpr std::uint64_t kWide = 0x20B;
    if (file.Number(optional, 2) != kWide) Refuse("no 64-bit library");
    const Image image(file, optional + file.Number(start + 20, 2), file.Number(start + 6, 2));
    const std::uint64_t address = file.Number(optional + 112, 4);
    if (file.Number(optional + 108, 4) == 0 || address == 0) return {};
    const Reader table = image.From(address);
    const std::uint64_t functions = UsedAddresses(image, table.Number(28, 4), table.Number(20, 4));
    const std::uint64_t names = table.Number(24, 4);
    Exports exports;
    exports.nameless = functions > names ? static_cast<std::size_t>(functions - names) : 0;
    if (names == 0) return exports;
    const Reader list = image.From(table.Number(32, 4)).Part(0, names * 4);
    for (std::uint64_t index = 0; index < names; ++index) {
        exports.names.push_back(image.From(list.Number(index * 4, 4)).Text(0));
    }
    return exports;
}

}  // namespace

Exports ReadExports(std::span<const std::byte> bytes) {
    const Reader file(bytes);
    if (file.All().substr(0, 4) ==
        "\x7F"
        "ELF")
        return ReadElf(file);
    if (file.All().substr(0, 2) == "MZ") return ReadPe(file);
    Refuse("neither an ELF nor a PE library");
}

}  // namespace host::contract
