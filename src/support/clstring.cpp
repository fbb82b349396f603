#include "support/clstring.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <new>
#include <utility>

#include "platform/codepage.h"
#include "platform/error.h"

namespace {

constexpr std::int32_t kLargestLength = std::numeric_limits<std::int32_t>::max() / 2;
constexpr std::int32_t kAppendExtra = 25;
constexpr std::int32_t kInsertExtra = 32;
constexpr std::int32_t kUtf8BytesPerUnit = 6;

constexpr char16_t Folded(char16_t unit) noexcept {
    return unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit + (u'a' - u'A')) : unit;
}

constexpr bool IsDigit(char16_t unit) noexcept {
    return unit >= u'0' && unit <= u'9';
}

std::u16string_view UntilNul(std::u16string_view text) noexcept {
    return text.substr(0, text.find(u'\0'));
}

std::u16string_view WithoutLeadingBlanks(std::u16string_view text) noexcept {
    return text.substr(std::min(text.find_first_not_of(u' '), text.size()));
}

bool TakeSign(std::u16string_view& text) noexcept {
    if (text.empty() || (text.front() != u'-' && text.front() != u'+')) return false;
    const bool negative = text.front() == u'-';
    text.remove_prefix(1);
    return negative;
}

std::int32_t CheckedLength(std::size_t length) {
    if (length > static_cast<std::size_t>(kLargestLength)) throw std::bad_alloc();
    return static_cast<std::int32_t>(length);
}

}  // namespace

clString::clString(const clString& other) : tag(other.tag) {
    Set(other.View());
}

clString::clString(clString&& other) noexcept
    : tag(other.tag),
      storage_(std::move(other.storage_)),
      size_(std::exchange(other.size_, 1)),
      capacity_(std::exchange(other.capacity_, 0)),
      utf8Cache_(std::move(other.utf8Cache_)),
      utf8CacheSize_(std::exchange(other.utf8CacheSize_, 0)) {}

clString& clString::operator=(const clString& other) {
    if (this == &other) return *this;
    Set(other.View());
    tag = other.tag;
    return *this;
}

clString& clString::operator=(clString&& other) noexcept {
    if (this == &other) return *this;
    tag = other.tag;
    storage_ = std::move(other.storage_);
    size_ = std::exchange(other.size_, 1);
    capacity_ = std::exchange(other.capacity_, 0);
    utf8Cache_ = std::move(other.utf8Cache_);
    utf8CacheSize_ = std::exchange(other.utf8CacheSize_, 0);
    return *this;
}

void clString::SetLength(std::int32_t length) noexcept {
    size_ = length + 1;
    if (capacity_ > 0) storage_[static_cast<std::size_t>(length)] = 0;
}

// Puts `source` in place of `count` units behind the first `from`. The source may be part of this text.
void clString::Replace(std::int32_t from, std::int32_t count, std::u16string_view source,
                       std::int32_t extra) {
    source = UntilNul(source);
    const std::int32_t added = CheckedLength(source.size());
    const std::int32_t length = CheckedLength(static_cast<std::size_t>(Length() - count) + source.size());
    if (capacity_ == 0 && length == 0) return;
    std::u16string own;
    if (source.data() >= text() && source.data() <= text() + Length()) {
        own = source;
        source = own;
    }
    Reserve(length + 1, extra);
    char16_t* units = storage_.get();
    const auto tail = static_cast<std::size_t>(Length() - from - count);
    std::memmove(units + from + added, units + from + count, tail * sizeof *units);
    std::copy(source.begin(), source.end(), units + from);
    SetLength(length);
}

void clString::Set(const char16_t* source, std::int32_t size) {
    if (source == nullptr) {
        SetLength(0);
    } else {
        Set(size > 0 ? std::u16string_view(source, static_cast<std::size_t>(size))
                     : std::u16string_view(source));
    }
}

void clString::Set(std::u16string_view source) {
    Replace(0, Length(), source, 0);
}

// Most text in files; it becomes wide in its final place. False, with nothing done, for any other.
bool clString::SetFromAscii(std::string_view bytes) {
    // All of them in one number, which is faster than to stop at the first that is none.
    unsigned char together = 0;
    for (const char byte : bytes) together |= static_cast<unsigned char>(byte);
    if ((together & 0x80) != 0) return false;
    const std::int32_t length = CheckedLength(bytes.size());
    if (capacity_ == 0 && length == 0) return true;
    Reserve(length + 1, 0);
    std::copy(bytes.begin(), bytes.end(), storage_.get());
    SetLength(length);
    return true;
}

void clString::SetFromUtf8(std::string_view bytes) {
    bytes = bytes.substr(0, bytes.find('\0'));
    if (!SetFromAscii(bytes)) Set(platform::ToWide(platform::CodePage::Utf8, bytes));
}

void clString::SetFromAnsi(std::string_view bytes) {
    Set(platform::ToWide(platform::CodePage::Ansi, bytes.substr(0, bytes.find('\0'))));
}

const char* clString::Utf8() const {
    const std::string bytes = platform::FromWide(platform::CodePage::Utf8, View());
    const std::int64_t wanted = (static_cast<std::int64_t>(size_) + 2) * kUtf8BytesPerUnit;
    if (wanted > std::numeric_limits<std::int32_t>::max()) throw std::bad_alloc();
    if (wanted != utf8CacheSize_) {
        utf8CacheSize_ = 0;
        utf8Cache_.reset(new char[static_cast<std::size_t>(wanted)]);
        utf8CacheSize_ = static_cast<std::int32_t>(wanted);
    }
    std::memcpy(utf8Cache_.get(), bytes.c_str(), bytes.size() + 1);
    return utf8Cache_.get();
}

std::string clString::ToAnsi() const {
    return platform::FromWide(platform::CodePage::Ansi, View());
}

void clString::Reserve(std::int32_t units, std::int32_t extra) {
    if (capacity_ >= units) return;
    const std::int32_t wanted = units + extra;
    std::unique_ptr<char16_t[]> larger(new char16_t[static_cast<std::size_t>(wanted)]);
    std::copy_n(text(), size_, larger.get());
    storage_ = std::move(larger);
    capacity_ = wanted;
}

void clString::Append(std::u16string_view source) {
    Replace(Length(), 0, source, kAppendExtra);
}

void clString::AppendGrow(std::u16string_view source) {
    if (source.empty()) return;
    const std::int32_t length = CheckedLength(View().size() + source.size());
    Replace(Length(), 0, source, length / 3);
}

void clString::Insert(std::u16string_view source, std::int32_t pos) {
    if (pos < 1 || pos > Length()) return;
    Replace(pos - 1, 0, source, kInsertExtra);
}

void clString::Erase(std::int32_t from, std::int32_t to) {
    to = std::min(to, Length());
    if (from < 1 || from > to) return;
    Replace(from - 1, to - from + 1, {}, 0);
}

clString clString::Mid(std::int32_t from, std::int32_t to) const {
    to = std::min(to, Length());
    if (from < 1 || from > to) return {};
    return View().substr(static_cast<std::size_t>(from) - 1, static_cast<std::size_t>(to - from) + 1);
}

std::int32_t clString::Find(std::u16string_view needle, std::int32_t start, bool ignoreCase) const noexcept {
    if (start < 1 || start > Length()) return 0;
    const std::u16string_view text = View();
    const auto same = [ignoreCase](char16_t a, char16_t b) {
        return ignoreCase ? Folded(a) == Folded(b) : a == b;
    };
    const auto found =
        std::search(text.begin() + (start - 1), text.end(), needle.begin(), needle.end(), same);
    return found == text.end() ? 0 : static_cast<std::int32_t>(found - text.begin()) + 1;
}

void clString::SplitAt(clString& head, clString& tail) const {
    const clString whole(*this);
    const std::size_t slash = whole.View().find(u'/');
    head.Set(whole.View().substr(0, slash));
    tail.Set(slash == std::u16string_view::npos ? std::u16string_view() : whole.View().substr(slash + 1));
}

void clString::TrimLeft() {
    Set(WithoutLeadingBlanks(View()));
}

clString clString::FileExtension() const {
    std::u16string_view name = View();
    const std::size_t folder = name.rfind(u'\\');
    if (folder != std::u16string_view::npos) name.remove_prefix(folder + 1);
    const std::size_t dot = name.rfind(u'.');
    return dot == std::u16string_view::npos ? std::u16string_view(u".") : name.substr(dot);
}

void clString::AppendBackslash() {
    if (IsEmpty() || View().back() != u'\\') Append(u"\\");
}

int clString::Compare(std::u16string_view a, std::u16string_view b, std::int32_t n,
                      bool ignoreCase) noexcept {
    if (n < 0) {
        a = a.substr(0, b.size());
    } else if (n > 0) {
        a = a.substr(0, static_cast<std::size_t>(n));
        b = b.substr(0, static_cast<std::size_t>(n));
    }
    const std::size_t common = std::min(a.size(), b.size());
    for (std::size_t i = 0; i < common; ++i) {
        const char16_t left = ignoreCase ? Folded(a[i]) : a[i];
        const char16_t right = ignoreCase ? Folded(b[i]) : b[i];
        if (left != right) return left < right ? -1 : 1;
    }
    if (a.size() == b.size()) return 0;
    return a.size() < b.size() ? -1 : 1;
}

int clString::Compare(std::u16string_view a, const char16_t* b, std::int32_t n, bool ignoreCase) noexcept {
    return b == nullptr ? 1 : Compare(a, std::u16string_view(b), n, ignoreCase);
}

bool clString::EqualsNoCase(std::u16string_view a, std::u16string_view b) noexcept {
    return a.size() == b.size() && Compare(a, b, 0, true) == 0;
}

bool clString::EqualsNoCase(std::u16string_view a, const char16_t* b) noexcept {
    return b != nullptr && EqualsNoCase(a, std::u16string_view(b));
}

bool clString::BeginsWithNoCase(std::u16string_view text, std::u16string_view prefix) noexcept {
    return Compare(text, prefix, -1, true) == 0;
}

clString clString::FromInt(std::int64_t value) {
    if (value == std::numeric_limits<std::int64_t>::min()) return u"-9223372036854775808";
    clString text = FromUInt(static_cast<std::uint64_t>(value < 0 ? -value : value));
    if (value < 0) text.Insert(u"-", 1);
    return text;
}

clString clString::FromUInt(std::uint64_t value) {
    char16_t digits[20];
    char16_t* const end = std::end(digits);
    char16_t* first = end;
    do {
        *--first = static_cast<char16_t>(u'0' + value % 10);
        value /= 10;
    } while (value != 0);
    return std::u16string_view(first, static_cast<std::size_t>(end - first));
}

clString clString::FromHex(std::uint64_t value) {
    char16_t digits[16];
    for (char16_t& digit : digits) {
        digit = u"0123456789ABCDEF"[value >> 60];
        value <<= 4;
    }
    return std::u16string_view(digits, std::size(digits));
}

clString clString::FromDouble(double value, int decimals, bool keepZeros) {
    constexpr double kLargest = 1e100;
    constexpr int kExactDigits = 16;     // floor(log10(2^52)) + 1
    constexpr int kFractionDigits = 18;  // what 64 bits hold
    if (std::isnan(value)) return u"NAN";
    double magnitude = std::fabs(value);
    if (magnitude >= kLargest) return u"NaN";
    magnitude += 0.5 * std::pow(10.0, -decimals);
    double whole = 0;
    const double fraction = std::modf(magnitude, &whole);

    clString text;
    if (value < 0) text.Append(u"-");
    // The logarithm of a number just below a power of ten may come out as that power's.
    int zeros =
        whole < 1 ? 0 : std::max(static_cast<int>(std::floor(std::log10(whole))) + 1 - kExactDigits, 0);
    if (zeros > 0 && whole < std::pow(10.0, zeros + kExactDigits - 1)) --zeros;
    text.Append(FromUInt(static_cast<std::uint64_t>(zeros > 0 ? whole / std::pow(10.0, zeros) : whole)));
    text.Append(std::u16string(static_cast<std::size_t>(zeros), u'0'));
    if (decimals <= 0) return text;

    const int exact = std::min(decimals, kFractionDigits);
    std::u16string tail(
        FromUInt(static_cast<std::uint64_t>(std::floor(fraction * std::pow(10.0, exact)))).View());
    tail.insert(0, static_cast<std::size_t>(std::max(exact - static_cast<int>(tail.size()), 0)), u'0');
    tail.append(static_cast<std::size_t>(decimals - exact), u'0');
    if (!keepZeros) tail.erase(tail.find_last_not_of(u'0') + 1);
    if (!tail.empty()) {
        text.Append(u".");
        text.Append(tail);
    }
    return text;
}

std::int64_t clString::ToInt() const noexcept {
    std::u16string_view rest = WithoutLeadingBlanks(View());
    const bool negative = TakeSign(rest);
    std::uint64_t value = 0;
    for (const char16_t unit : rest) {
        if (!IsDigit(unit)) break;
        value = value * 10 + (unit - u'0');
    }
    return static_cast<std::int64_t>(negative ? 0 - value : value);
}

double clString::ToDouble() const noexcept {
    constexpr double kFinest = 1e25;  // no later digit changes a double
    std::u16string_view rest = WithoutLeadingBlanks(View());
    rest = rest.substr(0, rest.find(u' '));
    const bool negative = TakeSign(rest);
    double value = 0;
    double divisor = 0;
    for (const char16_t unit : rest) {
        if (unit == u'.' && divisor == 0) {
            divisor = 1;
        } else if (IsDigit(unit)) {
            if (divisor >= kFinest) continue;
            value = value * 10 + (unit - u'0');
            divisor *= 10;
        } else {
            break;
        }
    }
    if (divisor > 0) value /= divisor;
    return negative ? -value : value;
}

clString clString::LastErrorText() {
    const std::uint32_t code = platform::LastError();
    return code == platform::kErrorNone ? clString() : Format(u"(Win:%u)", code);
}
