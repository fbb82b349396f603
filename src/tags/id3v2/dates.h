// Years and dates: their shapes, and how the year and the date frame make one value.
#pragma once

#include <string_view>

#include "tags/id3v2/values.h"

namespace id3parser {

inline constexpr std::string_view kYearName = "Year";

inline constexpr std::string_view kYearShape = "####";
inline constexpr std::string_view kMonthShape = "####-##";
inline constexpr std::string_view kDayShape = "####-##-##";

// Whether the text has the shape: each "#" is one digit, everything else stands for itself.
bool hasShape(std::string_view text, std::string_view shape) noexcept;

// A year, with as much of month, day and time behind it as there is.
bool isValidDateShape(std::string_view text) noexcept;

// Put the year (YYYY), and day and month (DDMM), into what "Year" already holds, in whichever order they
// come.
void readYearFrame(const id3frame& frame, const FrameContext& context, TagValues& values);
void readDateFrame(const id3frame& frame, const FrameContext& context, TagValues& values);

}  // namespace id3parser
