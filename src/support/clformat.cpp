// The printf-style side of clString.
#include <algorithm>
#include <cstdio>
#include <string>

#include "support/clstring.h"

std::int64_t FormatArgument::Signed() const noexcept {
    const auto* integer = std::get_if<std::int64_t>(&value_);
    if (integer == nullptr) return 0;
    return bits_ == 32 ? static_cast<std::int32_t>(*integer) : *integer;
}

std::uint64_t FormatArgument::Unsigned() const noexcept {
    const auto value = static_cast<std::uint64_t>(Signed());
    return bits_ == 32 ? value & 0xFFFFFFFFU : value;
}

double FormatArgument::Double() const noexcept {
    const auto* real = std::get_if<double>(&value_);
    return real != nullptr ? *real : static_cast<double>(Signed());
}

std::u16string_view FormatArgument::Text() const noexcept {
    const auto* text = std::get_if<std::u16string_view>(&value_);
    return text != nullptr ? *text : std::u16string_view();
}

namespace {

constexpr std::u16string_view kFlags = u"-+ #0";
constexpr std::u16string_view kLengths = u"hlLqjztIw";
constexpr int kLargestField = 1000000;  // of a width or precision, against nonsense in a format

// What the runtime's own buffer would grow to: 1000 units, then five times that each time, as long as it
// stays below 104857600 (0x6400000).
constexpr std::size_t kRuntimeUnits = 78125000;

struct Arguments {
    std::span<const FormatArgument> list;

    const FormatArgument* Next() noexcept {
        if (list.empty()) return nullptr;
        const FormatArgument* first = list.data();
        list = list.subspan(1);
        return first;
    }
};

struct Directive {
    std::string flags;
    int width = -1;
    int precision = -1;
    char16_t conversion = 0;
};

int TakeNumber(std::u16string_view& format, Arguments& arguments) {
    if (!format.empty() && format.front() == u'*') {
        format.remove_prefix(1);
        const FormatArgument* argument = arguments.Next();
        const std::int64_t value = argument != nullptr ? argument->Signed() : 0;
        return static_cast<int>(std::clamp<std::int64_t>(value, 0, kLargestField));
    }
    int value = 0;
    while (!format.empty() && format.front() >= u'0' && format.front() <= u'9') {
        value = std::min(value * 10 + (format.front() - u'0'), kLargestField);
        format.remove_prefix(1);
    }
    return value;
}

Directive TakeDirective(std::u16string_view& format, Arguments& arguments) {
    Directive directive;
    for (; !format.empty() && kFlags.find(format.front()) != kFlags.npos; format.remove_prefix(1)) {
        directive.flags += static_cast<char>(format.front());
    }
    if (!format.empty() && (format.front() == u'*' || (format.front() >= u'1' && format.front() <= u'9'))) {
        directive.width = TakeNumber(format, arguments);
    }
    if (!format.empty() && format.front() == u'.') {
        format.remove_prefix(1);
        directive.precision = TakeNumber(format, arguments);
    }
    while (!format.empty() && kLengths.find(format.front()) != kLengths.npos) format.remove_prefix(1);
    if (format.empty()) return directive;
    directive.conversion = format.front();
    format.remove_prefix(1);
    return directive;
}

void AppendPadded(std::u16string& text, std::u16string_view piece, const Directive& directive) {
    const auto width = static_cast<std::size_t>(std::max(directive.width, 0));
    const std::size_t padding = width > piece.size() ? width - piece.size() : 0;
    const bool left = directive.flags.find('-') != std::string::npos;
    if (!left) text.append(padding, u' ');
    text.append(piece);
    if (left) text.append(padding, u' ');
}

// Numbers go through the runtime's own formatted print, one directive at a time.
template <typename Value>
void AppendNumber(std::u16string& text, const Directive& directive, const char* length, Value value) {
    std::string format = "%" + directive.flags;
    if (directive.width >= 0) format += std::to_string(directive.width);
    if (directive.precision >= 0) format += "." + std::to_string(directive.precision);
    format += length;
    format += static_cast<char>(directive.conversion);
    const int count = std::snprintf(nullptr, 0, format.c_str(), value);
    if (count <= 0) return;
    std::string bytes(static_cast<std::size_t>(count) + 1, '\0');
    std::snprintf(bytes.data(), bytes.size(), format.c_str(), value);
    bytes.pop_back();
    text.append(bytes.begin(), bytes.end());
}

void AppendConversion(std::u16string& text, const Directive& directive, const FormatArgument& argument) {
    switch (directive.conversion) {
        case u'd':
        case u'i':
            AppendNumber(text, directive, "ll", static_cast<long long>(argument.Signed()));
            break;
        case u'u':
        case u'o':
        case u'x':
        case u'X':
            AppendNumber(text, directive, "ll", static_cast<unsigned long long>(argument.Unsigned()));
            break;
        case u'e':
        case u'E':
        case u'f':
        case u'F':
        case u'g':
        case u'G':
            AppendNumber(text, directive, "", argument.Double());
            break;
        case u'c': {
            const auto unit = static_cast<char16_t>(argument.Signed());
            AppendPadded(text, std::u16string_view(&unit, 1), directive);
            break;
        }
        case u's':
        case u'S': {
            std::u16string_view piece = argument.Text();
            if (directive.precision >= 0)
                piece = piece.substr(0, static_cast<std::size_t>(directive.precision));
            AppendPadded(text, piece, directive);
            break;
        }
        default:
            break;
    }
}

// State of one directive of the fallback.
struct FallbackDirective {
    bool sign = false;
    bool zeros = false;
    bool point = false;
    int width = 0;
    int precision = 6;
};

void AppendFallbackNumber(std::u16string& text, const FallbackDirective& directive, bool negative,
                          std::u16string_view digits) {
    std::u16string sign;
    if (negative) {
        sign = u"-";
    } else if (directive.sign) {
        sign = u"+";
    }
    const auto width = static_cast<std::size_t>(directive.width);
    const std::size_t used = sign.size() + digits.size();
    const std::size_t padding = width > used ? width - used : 0;
    if (!directive.zeros) text.append(padding, u' ');
    text.append(sign);
    if (directive.zeros) text.append(padding, u'0');
    text.append(digits);
}

std::u16string HexDigits(std::uint64_t value, bool lower) {
    std::u16string digits(clString::FromHex(value).View());
    digits.erase(0, std::min(digits.find_first_not_of(u'0'), digits.size() - 1));
    if (lower) {
        for (char16_t& digit : digits) {
            if (digit >= u'A') digit = static_cast<char16_t>(digit + (u'a' - u'A'));
        }
    }
    return digits;
}

void AppendFallbackText(std::u16string& text, const FallbackDirective& directive, std::u16string_view piece) {
    const auto width = static_cast<std::size_t>(directive.width);
    if (width > piece.size()) text.append(width - piece.size(), directive.zeros ? u'0' : u' ');
    text.append(piece);
}

void AppendFallback(std::u16string& text, const FallbackDirective& directive, char16_t conversion,
                    const FormatArgument& argument) {
    switch (conversion) {
        case u'd':
        case u'i': {
            const clString digits = clString::FromInt(argument.Signed());
            const bool negative = argument.Signed() < 0;
            AppendFallbackNumber(text, directive, negative, digits.View().substr(negative ? 1 : 0));
            break;
        }
        case u'u':
            AppendFallbackNumber(text, directive, false, clString::FromUInt(argument.Unsigned()));
            break;
        case u'x':
        case u'X':
            AppendFallbackNumber(text, directive, false, HexDigits(argument.Unsigned(), conversion == u'x'));
            break;
        case u'f': {
            const clString digits = clString::FromDouble(argument.Double(), directive.precision, true);
            const bool negative = !digits.IsEmpty() && digits.View().front() == u'-';
            AppendFallbackNumber(text, directive, negative, digits.View().substr(negative ? 1 : 0));
            break;
        }
        case u'c': {
            const auto unit = static_cast<char16_t>(argument.Signed());
            AppendFallbackText(text, directive, std::u16string_view(&unit, 1));
            break;
        }
        default:
            AppendFallbackText(text, directive, argument.Text());
            break;
    }
}

}  // namespace

clString clString::FormatList(const char16_t* format, std::initializer_list<FormatArgument> list) {
    std::u16string text;
    std::u16string_view rest(format);
    Arguments arguments{std::span(list.begin(), list.size())};
    while (!rest.empty()) {
        const std::size_t percent = std::min(rest.find(u'%'), rest.size());
        text.append(rest.substr(0, percent));
        rest.remove_prefix(percent);
        if (!rest.empty()) {
            rest.remove_prefix(1);
            const Directive directive = TakeDirective(rest, arguments);
            if (directive.conversion == u'%') {
                text += u'%';
            } else if (const FormatArgument* argument = arguments.Next()) {
                AppendConversion(text, directive, *argument);
            }
        }
        if (text.size() >= kRuntimeUnits) return FormatFallback(format, std::span(list.begin(), list.size()));
    }
    return std::u16string_view(text);
}

clString clString::FormatFallback(const char16_t* format, std::span<const FormatArgument> list) {
    constexpr std::u16string_view kConversions = u"diuxXcsf";
    std::u16string text;
    std::u16string_view rest(format);
    Arguments arguments{list};
    while (!rest.empty()) {
        const std::size_t percent = std::min(rest.find(u'%'), rest.size());
        text.append(rest.substr(0, percent));
        rest.remove_prefix(percent);
        if (rest.empty()) break;
        rest.remove_prefix(1);
        FallbackDirective directive;
        for (bool done = false; !done; rest.remove_prefix(1)) {
            if (rest.empty()) return {};
            const char16_t unit = rest.front();
            if (unit == u'%') {
                text += u'%';
                done = true;
            } else if (unit == u'+') {
                directive.sign = true;
            } else if (unit == u'.') {
                if (directive.point) return {};
                directive.point = true;
                directive.precision = 0;
            } else if (unit >= u'0' && unit <= u'9') {
                int& field = directive.point ? directive.precision : directive.width;
                if (unit == u'0' && !directive.point && directive.width == 0) directive.zeros = true;
                field = std::min(field * 10 + (unit - u'0'), kLargestField);
            } else if (kConversions.find(unit) != kConversions.npos) {
                if (const FormatArgument* argument = arguments.Next()) {
                    AppendFallback(text, directive, unit, *argument);
                }
                done = true;
            }
        }
    }
    return std::u16string_view(text);
}
