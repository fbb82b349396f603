// Text conversions, numbers and formats of clString.
#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <string>

#include "fuzzing.h"
#include "support/cllists.h"
#include "support/clstring.h"

namespace {

constexpr std::size_t kLongestText = 800;  // more digits than the range of a double

std::u16string TakeUnits(FuzzedDataProvider& input) {
    const std::string bytes = input.ConsumeRandomLengthString(2 * kLongestText);
    std::u16string units(bytes.size() / 2, u'\0');
    for (std::size_t i = 0; i < units.size(); ++i) {
        units[i] = static_cast<char16_t>(static_cast<unsigned char>(bytes[2 * i]) |
                                         static_cast<unsigned char>(bytes[2 * i + 1]) << 8);
    }
    return units;
}

// Broken text is mended once and then stays as it is.
void TryConversions(clString text, const std::string& bytes) {
    for (const bool ansi : {false, true}) {
        clString converted;
        ansi ? converted.SetFromAnsi(bytes) : converted.SetFromUtf8(bytes);
        clString mended;
        mended.SetFromUtf8(converted.Utf8());
        Require(mended == converted);
    }
    clString mended;
    mended.SetFromUtf8(text.Utf8());
    clString again;
    again.SetFromUtf8(mended.Utf8());
    Require(again == mended);
}

void TryNumbers(const clString& text, double value, int decimals) {
    Require(!std::isnan(text.ToDouble()));
    Require(clString::FromInt(text.ToInt()).ToInt() == text.ToInt());
    const clString shown = clString::FromDouble(value, decimals, true);
    clString::FromDouble(value, decimals, false);
    constexpr double kExact = 1e15;
    constexpr int kFractionDigits = 18;  // zeros follow
    if (decimals < 0 || !(std::fabs(value) < kExact)) return;
    const double step = std::pow(10.0, -std::min(decimals, kFractionDigits));
    Require(std::fabs(shown.ToDouble() - value) <= step + std::fabs(value) * 1e-14);
}

// The runtime and the formatter that stands in for it at giant sizes agree on what both know.
void TryFormats(const clString& text, std::int64_t number) {
    constexpr std::array kFormats{u"%d %u %s", u"%+d|%x|%5s", u"%08i%X%s", u"%3d%%%u%s%c"};
    for (const char16_t* format : kFormats) {
        const std::array<FormatArgument, 3> arguments{static_cast<int>(number),
                                                      static_cast<long long>(number), text.text()};
        Require(clString::Format(format, arguments[0], arguments[1], arguments[2]) ==
                clString::FormatFallback(format, arguments));
    }
}

void TryEdits(clString text, std::u16string_view piece, std::int32_t from, std::int32_t to) {
    const std::int32_t length = text.Length();
    const clString cut = text.Mid(from, to);
    text.Erase(from, to);
    Require(text.Length() + cut.Length() == length);
    text.Insert(piece, from);
    text.AppendGrow(piece);
    text.Append(text);
    const std::int32_t found = text.Find(piece, 1, true);
    Require(found == 0 ||
            clString::BeginsWithNoCase(text.View().substr(static_cast<std::size_t>(found) - 1), piece));
    clString head;
    clString tail;
    text.SplitAt(head, tail);
    Require(head.Length() + tail.Length() <= text.Length());
    Require(text.FileExtension().View().front() == u'.');
    clStringList pieces;
    pieces.Split(text);
    std::u16string block(text.View());
    block += u'\0';
    pieces.FromMultiString(block.c_str());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    const clString text(std::u16string_view(TakeUnits(input)));
    TryConversions(text, input.ConsumeRandomLengthString(kLongestText));
    const auto number = input.ConsumeIntegral<std::int64_t>();
    const auto decimals = input.ConsumeIntegralInRange<int>(-4, 40);
    double value = 0;
    const auto bits = input.ConsumeIntegral<std::uint64_t>();
    static_assert(sizeof value == sizeof bits);
    std::memcpy(&value, &bits, sizeof value);
    TryNumbers(text, value, decimals);
    TryFormats(text, number);
    const auto from = input.ConsumeIntegral<std::int16_t>();
    TryEdits(text, TakeUnits(input), from, input.ConsumeIntegral<std::int16_t>());
    return 0;
}
