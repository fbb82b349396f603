#include "tags/id3v2/dates.h"

#include <algorithm>
#include <string>

#include "tags/id3v2/frames.h"

namespace id3parser {

namespace {

constexpr std::size_t kYearDigits = 4;

bool isDigit(char letter) {
    return letter >= '0' && letter <= '9';
}

// The first value of "Year", for which an empty one is made when there is none.
std::string& firstYear(TagValues& values) {
    ValueList& years = values[std::string(kYearName)];
    if (years.empty()) years.emplace_back();
    return years.front();
}

std::string firstString(const id3frame& frame, bool strict) {
    TextCursor cursor;
    return frameText(frame, strict, 0, cursor);
}

void addOddYear(const std::string& text, const FrameContext& context, TagValues& values) {
    if (context.strict) throw parseError();
    if (values.find(kYearName) == values.end()) addValue(values, kYearName, text);
}

}  // namespace

bool hasShape(std::string_view text, std::string_view shape) noexcept {
    return std::equal(text.begin(), text.end(), shape.begin(), shape.end(),
                      [](char letter, char form) { return form == '#' ? isDigit(letter) : letter == form; });
}

bool isValidDateShape(std::string_view text) noexcept {
    constexpr std::string_view kShapes[] = {kYearShape,      kMonthShape,        kDayShape,
                                            "####-##-##T##", "####-##-##T##:##", "####-##-##T##:##:##"};
    return std::any_of(std::begin(kShapes), std::end(kShapes),
                       [text](std::string_view shape) { return hasShape(text, shape); });
}

void readYearFrame(const id3frame& frame, const FrameContext& context, TagValues& values) {
    const std::string text = firstString(frame, context.strict);
    if (!hasShape(text, kYearShape)) return addOddYear(text, context, values);
    std::string& year = firstYear(values);
    if (hasShape(year, kDayShape)) {
        year.replace(0, kYearDigits, text);
    } else {
        year = text;
    }
}

void readDateFrame(const id3frame& frame, const FrameContext& context, TagValues& values) {
    const std::string text = firstString(frame, context.strict);
    if (!hasShape(text, "####")) return addOddYear(text, context, values);
    const std::string day = text.substr(0, 2);
    const std::string month = text.substr(2, 2);
    std::string& date = firstYear(values);
    const bool hasYear = hasShape(date, kYearShape) || hasShape(date, kDayShape);
    const std::string year = hasYear ? date.substr(0, kYearDigits) : "0000";
    date = year + "-" + month + (day == "00" ? "" : "-" + day);
}

}  // namespace id3parser
