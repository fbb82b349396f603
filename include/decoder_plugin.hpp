// The plug-in for hosts in C++17 and later: decoder_plugin.h with ownership, ranges and text of C++ around
// it.
//
// Header only. It needs nothing but the standard library and, to load the plug-in, libdl on Linux; on Windows
// it includes <windows.h>. What can fail comes twice: `Open` throws `Error`, `TryOpen` gives a value that
// tests as false. Threads are as in decoder_plugin.h: one decoder belongs to one thread at a time.
//
//     namespace dp = decoder_plugin;
//     dp::Plugin plugin("decoders/decoder_ffmpeg.so");
//     dp::Decoder decoder(plugin);
//     dp::Stream stream = decoder.Open("music.tta", DECODER_OPEN_TAGS);
//     for (const dp::Entry& tag : stream.tags) std::cout << tag.name << ": " << tag.value << "\n";
//     for (const dp::Block& block : decoder.Blocks()) Play(block.samples.data(), block.samples.size());
//
// The C header's opaque `Decoder` is the global one; don't open the whole namespace, or the name is
// ambiguous.
#ifndef DECODER_PLUGIN_HPP
#define DECODER_PLUGIN_HPP

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <iterator>
#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "decoder_plugin.h"

#ifdef _WIN32
#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

#include <atomic>
#include <system_error>
#else
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#endif

namespace decoder_plugin {

// What a function without "Try" in its name throws. The text is UTF-8, for a person to read.
class Error : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// A view of elements that somebody else owns. Converts to std::span where there is one.
template <typename Element>
class Span {
  public:
    constexpr Span() noexcept = default;
    constexpr Span(Element* data, std::size_t size) noexcept : data_(data), size_(size) {}
    template <typename Container, typename = decltype(std::declval<const Container&>().data())>
    constexpr Span(const Container& container) noexcept : data_(container.data()), size_(container.size()) {}

    constexpr Element* data() const noexcept { return data_; }
    constexpr std::size_t size() const noexcept { return size_; }
    constexpr bool empty() const noexcept { return size_ == 0; }
    constexpr Element* begin() const noexcept { return data_; }
    constexpr Element* end() const noexcept { return data_ + size_; }
    constexpr Element& operator[](std::size_t index) const noexcept { return data_[index]; }

  private:
    Element* data_ = nullptr;
    std::size_t size_ = 0;
};

using Bytes = Span<const std::byte>;

// ---- Text: the plug-in speaks UTF-16, this header UTF-8 ----

namespace detail {

inline constexpr char32_t kInvalid = 0xFFFFFFFF;

constexpr bool IsHighSurrogate(char32_t unit) noexcept {
    return unit >= 0xD800 && unit < 0xDC00;
}

constexpr bool IsLowSurrogate(char32_t unit) noexcept {
    return unit >= 0xDC00 && unit < 0xE000;
}

inline void AppendUtf16(std::u16string& text, char32_t character) {
    if (character < 0x10000) {
        text += static_cast<char16_t>(character);
    } else {
        text += static_cast<char16_t>(0xD7C0 + (character >> 10));
        text += static_cast<char16_t>(0xDC00 + (character & 0x3FF));
    }
}

inline void AppendUtf8(std::string& text, char32_t character) {
    const auto tail = [&](int shift) { text += static_cast<char>(0x80 | ((character >> shift) & 0x3F)); };
    if (character < 0x80) {
        text += static_cast<char>(character);
    } else if (character < 0x800) {
        text += static_cast<char>(0xC0 | (character >> 6));
        tail(0);
    } else if (character < 0x10000) {
        text += static_cast<char>(0xE0 | (character >> 12));
        tail(6);
        tail(0);
    } else {
        text += static_cast<char>(0xF0 | (character >> 18));
        tail(12);
        tail(6);
        tail(0);
    }
}

}  // namespace detail

// The character at `position`, which moves behind it. For anything that isn't UTF-8 in its shortest form
// nothing, and `position` stays.
inline std::optional<char32_t> NextCharacter(std::string_view text, std::size_t& position) noexcept {
    struct Form {
        unsigned mask;
        unsigned lead;
        std::size_t length;
        char32_t least;
    };
    constexpr Form kForms[] = {
        {0x80, 0x00, 1, 0x0}, {0xE0, 0xC0, 2, 0x80}, {0xF0, 0xE0, 3, 0x800}, {0xF8, 0xF0, 4, 0x10000}};
    const auto first = static_cast<unsigned char>(text[position]);
    for (const Form& form : kForms) {
        if ((first & form.mask) != form.lead) continue;
        if (text.size() - position < form.length) return std::nullopt;
        char32_t character = first & ~form.mask;
        for (std::size_t index = 1; index < form.length; ++index) {
            const auto byte = static_cast<unsigned char>(text[position + index]);
            if ((byte & 0xC0) != 0x80) return std::nullopt;
            character = (character << 6) | (byte & 0x3F);
        }
        if (character < form.least || character > 0x10FFFF) return std::nullopt;
        if (character >= 0xD800 && character < 0xE000) return std::nullopt;
        position += form.length;
        return character;
    }
    return std::nullopt;
}

inline std::optional<std::u16string> TryToUtf16(std::string_view text) {
    std::u16string wide;
    wide.reserve(text.size());
    for (std::size_t position = 0; position < text.size();) {
        const std::optional<char32_t> character = NextCharacter(text, position);
        if (!character) return std::nullopt;
        detail::AppendUtf16(wide, *character);
    }
    return wide;
}

inline std::u16string ToUtf16(std::string_view text) {
    std::optional<std::u16string> wide = TryToUtf16(text);
    if (!wide) throw Error("text that isn't UTF-8");
    return *std::move(wide);
}

// Surrogates that stand alone become U+FFFD.
inline std::string ToUtf8(std::u16string_view text) {
    std::string narrow;
    narrow.reserve(text.size());
    for (std::size_t index = 0; index < text.size(); ++index) {
        char32_t character = text[index];
        if (detail::IsHighSurrogate(character) && index + 1 < text.size() &&
            detail::IsLowSurrogate(text[index + 1])) {
            ++index;
            character = 0x10000 + ((character - 0xD800) << 10) + (text[index] - 0xDC00u);
        } else if (detail::IsHighSurrogate(character) || detail::IsLowSurrogate(character)) {
            character = 0xFFFD;
        }
        detail::AppendUtf8(narrow, character);
    }
    return narrow;
}

// A file's name may be any bytes on Linux. One that is no part of UTF-8 travels as a surrogate that stands
// alone, U+DC80 to U+DCFF for the bytes 0x80 to 0xFF.
inline std::u16string PathTextToUtf16(std::string_view bytes) {
    std::u16string wide;
    wide.reserve(bytes.size());
    for (std::size_t position = 0; position < bytes.size();) {
        if (const std::optional<char32_t> character = NextCharacter(bytes, position)) {
            detail::AppendUtf16(wide, *character);
        } else {
            wide += static_cast<char16_t>(0xDC00 + static_cast<unsigned char>(bytes[position++]));
        }
    }
    return wide;
}

// What Open takes: a path, or a URL, which is handed to the worker as it is.
class Source {
  public:
    Source(const std::filesystem::path& path) {
#ifdef _WIN32
        const std::wstring& native = path.native();
        text_.assign(native.begin(), native.end());
#else
        text_ = PathTextToUtf16(path.native());
#endif
    }
    template <typename Text, typename = std::enable_if_t<std::is_convertible_v<Text, std::filesystem::path>>>
    Source(const Text& path) : Source(std::filesystem::path(path)) {}

    // Throws Error when it isn't UTF-8.
    static Source Url(std::string_view url) {
        return Source(ToUtf16(url), Direct{});
    }

    const DecoderChar* c_str() const noexcept {
        return text_.c_str();
    }

  private:
    struct Direct {};
    Source(std::u16string text, Direct) : text_(std::move(text)) {}

    std::u16string text_;
};

// ---- Blobs: tags and stream information in their flat form ----

// Between several values of one name.
inline constexpr char kValueSeparator = '\r';

struct Entry {
    std::string name;   // UTF-8
    std::string value;  // UTF-8; several values of one name are joined by kValueSeparator
    Bytes data;         // a picture's file bytes, say; belongs to the blob

    std::vector<std::string> Values() const {
        std::vector<std::string> values;
        std::string_view rest = value;
        for (;;) {
            const std::size_t end = rest.find(kValueSeparator);
            values.emplace_back(rest.substr(0, end));
            if (end == std::string_view::npos) return values;
            rest.remove_prefix(end + 1);
        }
    }
};

// A range of entries over bytes that somebody else owns: the decoder, for those of its Open.
class Blob {
  public:
    Blob() noexcept = default;

    // Throws Error when the bytes are no blob. No bytes at all are an empty one.
    explicit Blob(Bytes bytes) {
        const std::optional<Blob> parsed = TryParse(bytes);
        if (!parsed) throw Error("the plug-in gave a damaged list of tags");
        *this = *parsed;
    }

    static std::optional<Blob> TryParse(Bytes bytes) noexcept {
        Blob blob;
        if (bytes.empty()) return blob;
        if (bytes.size() < kNumberSize) return std::nullopt;
        blob.count_ = Number(bytes.data());
        blob.first_ = bytes.data() + kNumberSize;
        std::size_t left = bytes.size() - kNumberSize;
        const std::byte* entry = blob.first_;
        for (std::uint32_t index = 0; index < blob.count_; ++index) {
            if (left < kNumberSize) return std::nullopt;
            const std::size_t length = Number(entry);
            if (length < kNumberSize || length > left || !HasTexts(entry, length)) return std::nullopt;
            entry += length;
            left -= length;
        }
        return blob;
    }

    class iterator {
      public:
        using iterator_category = std::input_iterator_tag;
        using value_type = Entry;
        using difference_type = std::ptrdiff_t;
        using pointer = const Entry*;
        using reference = Entry;

        iterator(const std::byte* entry, std::uint32_t left) noexcept : entry_(entry), left_(left) {}
        Entry operator*() const {
            const std::byte* place = entry_ + kNumberSize;
            Entry entry;
            entry.name = Text(place);
            entry.value = Text(place);
            entry.data = {place, static_cast<std::size_t>(entry_ + Number(entry_) - place)};
            return entry;
        }
        iterator& operator++() noexcept {
            entry_ += Number(entry_);
            --left_;
            return *this;
        }
        iterator operator++(int) noexcept {
            const iterator before = *this;
            ++*this;
            return before;
        }
        bool operator==(const iterator& other) const noexcept { return left_ == other.left_; }
        bool operator!=(const iterator& other) const noexcept { return left_ != other.left_; }

      private:
        const std::byte* entry_;
        std::uint32_t left_;
    };

    iterator begin() const noexcept { return {first_, count_}; }
    iterator end() const noexcept { return {nullptr, 0}; }
    std::size_t size() const noexcept { return count_; }
    bool empty() const noexcept { return count_ == 0; }

  private:
    static constexpr std::size_t kNumberSize = 4;
    static constexpr std::size_t kUnitSize = 2;

    static std::uint32_t Number(const std::byte* bytes) noexcept {
        std::uint32_t number = 0;
        for (std::size_t index = kNumberSize; index > 0; --index) {
            number = number << 8 | std::to_integer<std::uint32_t>(bytes[index - 1]);
        }
        return number;
    }

    static char16_t Unit(const std::byte* bytes) noexcept {
        return static_cast<char16_t>(std::to_integer<unsigned>(bytes[0]) | std::to_integer<unsigned>(bytes[1])
                                                                               << 8);
    }

    // Whether both texts end inside the entry.
    static bool HasTexts(const std::byte* entry, std::size_t length) noexcept {
        int texts = 0;
        for (std::size_t place = kNumberSize; texts < 2; place += kUnitSize) {
            if (length - place < kUnitSize) return false;
            if (Unit(entry + place) == 0) ++texts;
        }
        return true;
    }

    // `place` moves behind the text's end.
    static std::string Text(const std::byte*& place) {
        std::u16string text;
        for (;; place += kUnitSize) {
            const char16_t unit = Unit(place);
            if (unit == 0) break;
            text += unit;
        }
        place += kUnitSize;
        return ToUtf8(text);
    }

    const std::byte* first_ = nullptr;
    std::uint32_t count_ = 0;
};

// What WriteTags takes.
class BlobBuilder {
  public:
    // Throws Error when a text isn't UTF-8, and when the blob would be larger than the plug-in takes (2 GiB).
    BlobBuilder& Add(std::string_view name, std::string_view value, Bytes data = {}) {
        const std::u16string wideName = ToUtf16(name);
        const std::u16string wideValue = ToUtf16(value);
        constexpr std::size_t kFixedSize = 8;  // the length and two terminators
        const std::size_t length = kFixedSize + 2 * (wideName.size() + wideValue.size()) + data.size();
        if (length > kLargest || bytes_.size() > kLargest - length) {
            throw Error("more than 2 GiB of tags and pictures at once");
        }
        AppendNumber(length);
        AppendText(wideName);
        AppendText(wideValue);
        bytes_.insert(bytes_.end(), data.begin(), data.end());
        ++count_;
        for (std::size_t index = 0; index < 4; ++index) bytes_[index] = std::byte(count_ >> (8 * index));
        return *this;
    }

    // Several values of one name, in their order.
    BlobBuilder& Add(std::string_view name, const std::vector<std::string>& values) {
        std::string joined;
        for (const std::string& value : values) {
            if (&value != &values.front()) joined += kValueSeparator;
            joined += value;
        }
        return Add(name, joined);
    }

    // Live until the next Add.
    Bytes bytes() const noexcept { return bytes_; }

  private:
    static constexpr std::size_t kLargest = std::numeric_limits<std::int32_t>::max();

    void AppendNumber(std::size_t number) {
        for (int shift = 0; shift < 32; shift += 8) bytes_.push_back(static_cast<std::byte>(number >> shift));
    }

    void AppendText(std::u16string_view text) {
        for (const char16_t unit : text) {
            bytes_.push_back(static_cast<std::byte>(unit));
            bytes_.push_back(static_cast<std::byte>(unit >> 8));
        }
        bytes_.insert(bytes_.end(), 2, std::byte{0});
    }

    std::vector<std::byte> bytes_ = std::vector<std::byte>(4);
    std::uint32_t count_ = 0;
};

// ---- The quit event ----

// Ends the waits of every decoder that it was given to, from any thread and, on Linux, from a signal handler.
// It must stay alive until those decoders have it; from then on they keep their own handle of it.
class QuitEvent {
  public:
    // Throws std::system_error.
    QuitEvent();
    ~QuitEvent();
    QuitEvent(const QuitEvent&) = delete;
    QuitEvent& operator=(const QuitEvent&) = delete;

    // Under which the plug-in finds it, in this process.
    const std::u16string& name() const noexcept { return name_; }

    // From now on the waits end at once. Async-signal-safe on Linux.
    void Set() noexcept;

    // The decoders work again.
    void Reset() noexcept;

  private:
    std::u16string name_;
#ifdef _WIN32
    HANDLE handle_ = nullptr;
#else
    int reader_ = -1;
    int writer_ = -1;
#endif
};

#ifdef _WIN32

inline QuitEvent::QuitEvent() {
    static std::atomic<unsigned> number{0};
    const std::string name = "decoder quit " + std::to_string(GetCurrentProcessId()) + " " +
                             std::to_string(GetTickCount64()) + " " + std::to_string(++number);
    name_.assign(name.begin(), name.end());
    handle_ = CreateEventW(nullptr, TRUE, FALSE, std::wstring(name_.begin(), name_.end()).c_str());
    if (handle_ == nullptr) {
        throw std::system_error(static_cast<int>(GetLastError()), std::system_category(),
                                "can't make the quit event");
    }
}

inline QuitEvent::~QuitEvent() {
    CloseHandle(handle_);
}

inline void QuitEvent::Set() noexcept {
    SetEvent(handle_);
}

inline void QuitEvent::Reset() noexcept {
    ResetEvent(handle_);
}

#else

// A pipe, which the plug-in opens by its entry in /proc: it takes no file, and nothing is left of it when the
// process is killed. It is set while it holds a byte.
inline QuitEvent::QuitEvent() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) {
        throw std::system_error(errno, std::generic_category(), "can't make the quit event");
    }
    reader_ = ends[0];
    writer_ = ends[1];
    const std::string name = "/proc/self/fd/" + std::to_string(reader_);
    name_.assign(name.begin(), name.end());
}

inline QuitEvent::~QuitEvent() {
    close(reader_);
    close(writer_);
}

inline void QuitEvent::Set() noexcept {
    const int before = errno;
    const char byte = 1;
    if (write(writer_, &byte, 1) < 0) {
        // A full pipe is a set event already.
    }
    errno = before;
}

inline void QuitEvent::Reset() noexcept {
    char sink[256];
    while (read(reader_, sink, sizeof sink) > 0) {
    }
}

#endif

// ---- The plug-in ----

// The loaded library. Copies share it, and so does every decoder: it is unloaded with the last of them.
class Plugin {
  public:
    // Loads the library at this path; a bare name means the working directory. Throws Error with the reason.
    explicit Plugin(const std::filesystem::path& path) : library_(Load(path)) {
        auto functions = std::make_shared<Functions>();
        Find(functions->create, DECODER_EXPORT_CREATE);
        Find(functions->destroy, DECODER_EXPORT_DESTROY);
        Find(functions->get, DECODER_EXPORT_GET);
        Find(functions->set, DECODER_EXPORT_SET);
        Find(functions->open, DECODER_EXPORT_OPEN);
        Find(functions->close, DECODER_EXPORT_CLOSE);
        Find(functions->decodeBlock, DECODER_EXPORT_DECODE_BLOCK);
        Find(functions->setPosition, DECODER_EXPORT_SET_POSITION);
        Find(functions->deleteATag, DECODER_EXPORT_DELETE_A_TAG);
        functions_ = std::move(functions);
    }

    static std::optional<Plugin> TryLoad(const std::filesystem::path& path) {
        try {
            return Plugin(path);
        } catch (const Error&) {
            return std::nullopt;
        }
    }

    // The nine functions, for what this header doesn't offer. They live as long as the library.
    struct Functions {
        DecoderCreateFunction create;
        DecoderDestroyFunction destroy;
        DecoderGetFunction get;
        DecoderSetFunction set;
        DecoderOpenFunction open;
        DecoderCloseFunction close;
        DecoderDecodeBlockFunction decodeBlock;
        DecoderSetPositionFunction setPosition;
        DecoderDeleteATagFunction deleteATag;
    };
    const Functions& functions() const noexcept { return *functions_; }

    // How names of plug-ins end.
    static constexpr const char* Suffix() noexcept {
#ifdef _WIN32
        return ".dll";
#else
        return ".so";
#endif
    }

  private:
    static std::shared_ptr<void> Load(const std::filesystem::path& path) {
        std::error_code code;
        // A bare name would be looked for in the system's own folders.
        const std::filesystem::path whole = std::filesystem::absolute(path, code);
        if (code) throw Error("can't load the plug-in: " + code.message());
#ifdef _WIN32
        const HMODULE handle = LoadLibraryW(whole.c_str());
        if (handle == nullptr) {
            const std::error_code reason(static_cast<int>(GetLastError()), std::system_category());
            throw Error("can't load the plug-in: " + reason.message());
        }
        return {static_cast<void*>(handle),
                [](void* library) { FreeLibrary(static_cast<HMODULE>(library)); }};
#else
        void* const handle = dlopen(whole.c_str(), RTLD_NOW | RTLD_LOCAL);
        if (handle == nullptr) throw Error(std::string("can't load the plug-in: ") + dlerror());
        return {handle, [](void* library) { dlclose(library); }};
#endif
    }

    template <typename Function>
    void Find(Function& function, const char* name) {
#ifdef _WIN32
        void* const symbol =
            reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library_.get()), name));
#else
        void* const symbol = dlsym(library_.get(), name);
#endif
        if (symbol == nullptr) throw Error(std::string("the plug-in has no function ") + name);
        function = reinterpret_cast<Function>(symbol);
    }

    std::shared_ptr<void> library_;
    std::shared_ptr<const Functions> functions_;
};

// ---- Decoders ----

// What Open tells. The blobs live until the next Open of the same decoder or its end.
struct Stream {
    DecoderFormat format;
    Blob tags;  // with DECODER_OPEN_TAGS
    Blob info;  // with DECODER_OPEN_INFO
};

// Samples live until the decoder's next block.
struct Block {
    Bytes samples;  // interleaved, little-endian; shorter than the plug-in's 4096 sample frames at the end
                    // alone
    DecoderFormat format;
    bool last;  // nothing comes behind it
};

struct TableRow {
    std::string text;
    std::string description;  // empty where the table has none
};

class BlockRange;

class Decoder {
  public:
    // Open, appendable files of the host's that outlive the decoder, as in DecoderCreateInfo; 0 is none.
    struct Logs {
        std::uint64_t error = 0;
        std::uint64_t trace = 0;
    };

    // Throws Error when memory is exhausted.
    explicit Decoder(const Plugin& plugin) : Decoder(plugin, Logs{}) {}
    Decoder(const Plugin& plugin, Logs logs) : plugin_(plugin) {
        DecoderCreateInfo info{};
        info.errorLog = logs.error;
        info.traceLog = logs.trace;
        decoder_ = functions().create(&info);
        if (decoder_ == nullptr) throw Error("the plug-in gave no decoder");
    }
    ~Decoder() {
        if (decoder_ != nullptr) functions().destroy(decoder_);
    }
    // The other one keeps the functions: a call of it fails.
    Decoder(Decoder&& other) noexcept
        : plugin_(other.plugin_),  // NOLINT(performance-move-constructor-init): shared on purpose
          decoder_(std::exchange(other.decoder_, nullptr)) {}
    Decoder& operator=(Decoder&& other) noexcept {
        std::swap(plugin_, other.plugin_);
        std::swap(decoder_, other.decoder_);
        return *this;
    }

    // For what this class doesn't offer.
    ::Decoder* handle() const noexcept { return decoder_; }
    bool Get(const DecoderChar* key, DecoderParam& param) {
        return functions().get(decoder_, key, &param) != 0;
    }
    bool Set(const DecoderChar* key, DecoderParam& param) {
        return functions().set(decoder_, key, &param) != 0;
    }

    // The event's waits end from now on, Open's included.
    bool TryUse(const QuitEvent& event) {
        DecoderParam param{};
        param.text = event.name().c_str();
        return Set(DECODER_SET_EVENT_QUIT, param);
    }
    void Use(const QuitEvent& event) { Require(TryUse(event), "the plug-in doesn't take the quit event"); }

    // Files and streams that a host should hand over: extensions with their dot, MIME types.
    std::vector<TableRow> Decodes() { return Table(DECODER_GET_DECODES); }
    std::vector<TableRow> StreamingDecodes() { return Table(DECODER_GET_STREAMING_DECODES); }
    std::string Description() {
        DecoderParam param{};
        return Get(DECODER_GET_DESCRIPTION, param) && param.text != nullptr ? ToUtf8(param.text) : "";
    }

    // Whether the extension of a path can be tagged.
    bool CanWriteTags(const Source& path) {
        DecoderParam param{};
        param.text = path.c_str();
        return Get(DECODER_GET_CAN_WRITE_TAGS, param) && param.value != 0;
    }

    // `flags` are DECODER_OPEN_*.
    std::optional<Stream> TryOpen(const Source& source, std::uint32_t flags = 0) {
        DecoderOpenInfo info{};
        info.path = source.c_str();
        info.flags = flags;
        if (functions().open(decoder_, &info) == 0) return std::nullopt;
        const std::optional<Blob> tags = Blob::TryParse(BytesAt(info.tags, info.tagsSize));
        const std::optional<Blob> details = Blob::TryParse(BytesAt(info.info, info.infoSize));
        if (!tags || !details) return std::nullopt;
        return Stream{info.format, *tags, *details};
    }
    Stream Open(const Source& source, std::uint32_t flags = 0) {
        std::optional<Stream> stream = TryOpen(source, flags);
        Require(stream.has_value(), "the plug-in can't open it");
        return *stream;
    }

    // Nothing after a failure or when the quit event came.
    std::optional<Block> TryDecodeBlock() {
        DecoderBlockInfo info{};
        if (functions().decodeBlock(decoder_, &info) == 0) return std::nullopt;
        // A stream whose header told its length ends with an empty block in place of a short one.
        return Block{BytesAt(info.samples, info.bytes), info.format,
                     info.endOfStream != 0 || info.bytes == 0};
    }
    Block DecodeBlock() {
        std::optional<Block> block = TryDecodeBlock();
        Require(block.has_value(), "the plug-in can't decode further");
        return *block;
    }

    // What is left of the stream, block by block; a loop over it throws Error as DecodeBlock does.
    BlockRange Blocks();

    // In sample frames from the beginning.
    bool TrySetPosition(std::int64_t frame) { return functions().setPosition(decoder_, frame) != 0; }
    void SetPosition(std::int64_t frame) {
        Require(TrySetPosition(frame), "the plug-in can't go to this position");
    }

    void Close() { functions().close(decoder_); }

    // Entries that aren't in the blob stay as they are in the file.
    bool TryWriteTags(const Source& path, Bytes blob) {
        DecoderParam param{};
        param.text = path.c_str();
        param.data = blob.data();
        param.value = static_cast<std::int32_t>(blob.size());
        return Set(DECODER_SET_TAGS, param);
    }
    void WriteTags(const Source& path, const BlobBuilder& blob) {
        Require(TryWriteTags(path, blob.bytes()), "the plug-in can't write these tags");
    }

    // The entries of these names. A tag without a name is "[Empty]" here.
    bool TryDeleteTags(const Source& path, const std::vector<std::string>& names) {
        std::u16string list;
        for (const std::string& name : names) list += ToUtf16(name) + u'\0';
        // An empty list deletes nothing; the plug-in's null would delete all.
        return names.empty() || functions().deleteATag(decoder_, path.c_str(), list.c_str()) != 0;
    }
    void DeleteTags(const Source& path, const std::vector<std::string>& names) {
        Require(TryDeleteTags(path, names), "the plug-in can't delete these tags");
    }
    bool TryDeleteAllTags(const Source& path) {
        return functions().deleteATag(decoder_, path.c_str(), nullptr) != 0;
    }
    void DeleteAllTags(const Source& path) {
        Require(TryDeleteAllTags(path), "the plug-in can't delete the tags");
    }

    // ---- Beyond the base contract: a plug-in without it gives nothing, or false ----

    struct VersionInfo {
        std::string text;
        std::int32_t extensions;  // the number of the set, from 1
    };
    std::optional<VersionInfo> Version() const {
        const std::optional<DecoderParam> param = TryGet(DECODER_GET_VERSION);
        if (!param || param->value < 1) return std::nullopt;
        return VersionInfo{TextOf(*param), param->value};
    }

    // For the opens to come: "default", "s16", "s24", "s32", "f32", "f64", or "source" for as deep as the
    // source is.
    bool TrySetSampleFormat(std::string_view format) {
        const std::u16string text = ToUtf16(format);
        DecoderParam param{};
        param.text = text.c_str();
        return Set(DECODER_SET_SAMPLE_FORMAT, param);
    }

    // For the opens to come: an audio stream from 0 on, or -1 for the worker's choice.
    bool TrySetAudioStream(std::int32_t stream) {
        DecoderParam param{};
        param.value = stream;
        return Set(DECODER_SET_AUDIO_STREAM, param);
    }

    // What the file that was opened last has of audio, in the worker's words.
    struct SourceStream {
        std::string codec;
        std::string details;  // "96000 Hz, stereo, s32 (24 bit)"
    };
    std::vector<SourceStream> SourceStreams() {
        std::vector<SourceStream> streams;
        for (const TableRow& row : Table(DECODER_GET_SOURCE_STREAM))
            streams.push_back({row.text, row.description});
        return streams;
    }

    // Whether the worker guessed the duration of that file.
    bool DurationIsEstimated() const {
        const std::optional<DecoderParam> param = TryGet(DECODER_GET_DURATION_ESTIMATED);
        return param && param->value != 0;
    }

    // The number of why the last call failed; DECODER_FAILURE_NONE after one that succeeded.
    DecoderFailure FailureNumber() const {
        const std::optional<DecoderParam> param = TryGet(DECODER_GET_LAST_FAILURE);
        return param ? static_cast<DecoderFailure>(param->value) : DECODER_FAILURE_NONE;
    }

    // Why the last call failed, in the plug-in's words; nothing after one that succeeded.
    std::optional<std::string> LastFailure() const {
        const std::optional<DecoderParam> param = TryGet(DECODER_GET_LAST_FAILURE);
        if (!param || param->text == nullptr) return std::nullopt;
        return TextOf(*param);
    }

    // Behind the last block: the worker's exit code, negative for a signal. Waits for its end as Close does.
    std::optional<std::int32_t> WorkerExit() {
        const std::optional<DecoderParam> param = TryGet(DECODER_GET_WORKER_EXIT);
        if (!param) return std::nullopt;
        return param->value;
    }

    // What the worker wrote last on its error channel; whole lines.
    std::string WorkerMessages() const {
        const std::optional<DecoderParam> param = TryGet(DECODER_GET_WORKER_MESSAGES);
        return param ? TextOf(*param) : std::string();
    }

  private:
    const Plugin::Functions& functions() const noexcept { return plugin_.functions(); }

    std::optional<DecoderParam> TryGet(const DecoderChar* key) const {
        DecoderParam param{};
        if (functions().get(decoder_, key, &param) == 0) return std::nullopt;
        return param;
    }

    static std::string TextOf(const DecoderParam& param) {
        return param.text == nullptr ? std::string() : ToUtf8(param.text);
    }

    static Bytes BytesAt(const void* data, std::size_t size) noexcept {
        return data == nullptr ? Bytes() : Bytes(static_cast<const std::byte*>(data), size);
    }

    static void Require(bool success, const char* failure) {
        if (!success) throw Error(failure);
    }

    std::vector<TableRow> Table(const DecoderChar* key) {
        std::vector<TableRow> rows;
        for (std::uint32_t index = 0;; ++index) {
            DecoderParam param{};
            param.index = index;
            if (!Get(key, param)) return rows;
            TableRow& row = rows.emplace_back();
            if (param.text != nullptr) row.text = ToUtf8(param.text);
            if (param.text2 != nullptr) row.description = ToUtf8(param.text2);
        }
    }

    Plugin plugin_;
    ::Decoder* decoder_ = nullptr;
};

// One pass over the blocks of a decoder, from where it stands.
class BlockRange {
  public:
    explicit BlockRange(Decoder& decoder) noexcept : decoder_(&decoder) {}

    class iterator {
      public:
        using iterator_category = std::input_iterator_tag;
        using value_type = Block;
        using difference_type = std::ptrdiff_t;
        using pointer = const Block*;
        using reference = const Block&;

        iterator() noexcept = default;
        explicit iterator(Decoder& decoder) : decoder_(&decoder) { Next(); }
        const Block& operator*() const noexcept { return block_; }
        const Block* operator->() const noexcept { return &block_; }
        iterator& operator++() {
            if (block_.last) {
                decoder_ = nullptr;
            } else {
                Next();
            }
            return *this;
        }
        void operator++(int) { ++*this; }
        bool operator==(const iterator& other) const noexcept { return decoder_ == other.decoder_; }
        bool operator!=(const iterator& other) const noexcept { return decoder_ != other.decoder_; }

      private:
        void Next() {
            block_ = decoder_->DecodeBlock();
            if (block_.samples.empty()) decoder_ = nullptr;
        }

        Decoder* decoder_ = nullptr;
        Block block_{};
    };

    // Decodes the first block.
    iterator begin() const { return iterator(*decoder_); }
    iterator end() const noexcept { return {}; }

  private:
    Decoder* decoder_;
};

inline BlockRange Decoder::Blocks() {
    return BlockRange(*this);
}

}  // namespace decoder_plugin

#endif
