// The system's text: UTF-16 units, NUL-terminated, with a cached UTF-8 form.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <variant>

// One argument of Format. Integers keep their width, so that a negative 32-bit one shown by %u or %x has 32
// bits; wide text may be null, which shows as nothing.
class FormatArgument {
  public:
    FormatArgument(int value) : value_(value), bits_(32) {}
    FormatArgument(unsigned value) : value_(static_cast<std::int64_t>(value)), bits_(32) {}
    FormatArgument(long value) : value_(static_cast<std::int64_t>(value)), bits_(8 * sizeof value) {}
    FormatArgument(unsigned long value) : value_(static_cast<std::int64_t>(value)), bits_(8 * sizeof value) {}
    FormatArgument(long long value) : value_(static_cast<std::int64_t>(value)) {}
    FormatArgument(unsigned long long value) : value_(static_cast<std::int64_t>(value)) {}
    FormatArgument(double value) : value_(value) {}
    FormatArgument(const char16_t* text)
        : value_(text != nullptr ? std::u16string_view(text) : std::u16string_view()) {}

    std::int64_t Signed() const noexcept;
    std::uint64_t Unsigned() const noexcept;
    double Double() const noexcept;
    std::u16string_view Text() const noexcept;

  private:
    std::variant<std::int64_t, double, std::u16string_view> value_;
    unsigned bits_ = 64;
};

// Positions are 1-based and inclusive; 0 is "not found". `size` counts the terminating NUL. Operations that
// ignore case fold the ASCII letters only. Memory that runs out raises std::bad_alloc; nothing else raises.
// The text never holds a NUL: what is given to it ends at the first one.
class clString {
  public:
    clString() noexcept = default;
    clString(const char16_t* source) { Set(source); }
    clString(std::u16string_view source) { Set(source); }
    clString(const clString& other);
    clString(clString&& other) noexcept;
    clString& operator=(const clString& other);
    clString& operator=(clString&& other) noexcept;
    ~clString() = default;

    // Never null; valid until the next change.
    const char16_t* text() const noexcept { return capacity_ > 0 ? storage_.get() : kEmpty; }
    std::int32_t size() const noexcept { return size_; }
    std::int32_t capacity() const noexcept { return capacity_; }
    std::int32_t Length() const noexcept { return size_ - 1; }
    bool IsEmpty() const noexcept { return size_ == 1; }
    std::u16string_view View() const noexcept { return {text(), static_cast<std::size_t>(Length())}; }
    operator std::u16string_view() const noexcept { return View(); }

    // A word of the owner's, carried along by copy and move.
    std::int64_t tag = 0;

    // `size` units of the source, or as many as it has for 0. Null and empty clear and keep the memory.
    void Set(const char16_t* source, std::int32_t size = 0);
    void Set(std::u16string_view source);
    void SetFromUtf8(std::string_view bytes);
    void SetFromAnsi(std::string_view bytes);

    // NUL-terminated UTF-8; valid until the next Utf8() or the destruction.
    const char* Utf8() const;

    // In the system's ANSI code page; what it lacks becomes its substitute.
    std::string ToAnsi() const;

    void Reserve(std::int32_t units, std::int32_t extra);
    void Append(std::u16string_view source);
    void AppendGrow(std::u16string_view source);
    void Insert(std::u16string_view source, std::int32_t pos);
    void Erase(std::int32_t from, std::int32_t to);
    clString Mid(std::int32_t from, std::int32_t to) const;
    std::int32_t Find(std::u16string_view needle, std::int32_t start = 1,
                      bool ignoreCase = false) const noexcept;
    void SplitAt(clString& head, clString& tail) const;
    void TrimLeft();
    clString FileExtension() const;
    void AppendBackslash();

    // 0 equal, -1 when a sorts before b, 1 after. `n` above 0 compares the first n units, 0 whole strings, -1
    // and -2 as many as b has. A null b gives 1.
    static int Compare(std::u16string_view a, std::u16string_view b, std::int32_t n = 0,
                       bool ignoreCase = false) noexcept;
    static int Compare(std::u16string_view a, const char16_t* b, std::int32_t n = 0,
                       bool ignoreCase = false) noexcept;
    static bool EqualsNoCase(std::u16string_view a, std::u16string_view b) noexcept;
    static bool EqualsNoCase(std::u16string_view a, const char16_t* b) noexcept;
    static bool BeginsWithNoCase(std::u16string_view text, std::u16string_view prefix) noexcept;

    static clString FromInt(std::int64_t value);
    static clString FromUInt(std::uint64_t value);
    static clString FromHex(std::uint64_t value);  // 16 upper-case digits
    static clString FromDouble(double value, int decimals, bool keepZeros);
    std::int64_t ToInt() const noexcept;
    double ToDouble() const noexcept;

    // printf-style; %s takes wide text. A directive without an argument left for it shows nothing.
    template <typename... Arguments>
    static clString Format(const char16_t* format, const Arguments&... arguments) {
        return FormatList(format, {FormatArgument(arguments)...});
    }
    static clString FormatList(const char16_t* format, std::initializer_list<FormatArgument> arguments);

    // Formats without the runtime and thus without its limits; for results that Format can't hold.
    static clString FormatFallback(const char16_t* format, std::span<const FormatArgument> arguments);

    // "(Win:%u)" with the thread's last error, empty for 0.
    static clString LastErrorText();

    friend bool operator==(const clString& a, const clString& b) noexcept { return a.View() == b.View(); }

  private:
    static constexpr char16_t kEmpty[1] = {0};

    void SetLength(std::int32_t length) noexcept;
    void Replace(std::int32_t from, std::int32_t count, std::u16string_view source, std::int32_t extra);
    bool SetFromAscii(std::string_view bytes);

    std::unique_ptr<char16_t[]> storage_;
    std::int32_t size_ = 1;
    std::int32_t capacity_ = 0;
    mutable std::unique_ptr<char[]> utf8Cache_;
    mutable std::int32_t utf8CacheSize_ = 0;
};
