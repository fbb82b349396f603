#include "platform/codepage.h"

#include <windows.h>

#include <limits>
#include <new>

#include "platform/windows/handles.h"

namespace platform {

namespace {

// The system counts in int.
int CountOf(std::size_t size) {
    if (size > static_cast<std::size_t>(std::numeric_limits<int>::max())) throw std::bad_alloc();
    return static_cast<int>(size);
}

// What old tags are written in. A host may declare UTF-8 as the code page of its process, but that doesn't
// change what other programs wrote before: the system's own stays the one that counts.
UINT AnsiCodePage() noexcept {
    if (GetACP() != CP_UTF8) return CP_ACP;
    DWORD page = 0;
    const int units =
        GetLocaleInfoW(LOCALE_SYSTEM_DEFAULT, LOCALE_IDEFAULTANSICODEPAGE | LOCALE_RETURN_NUMBER,
                       reinterpret_cast<wchar_t*>(&page), sizeof page / sizeof(wchar_t));
    // Some languages never had one.
    return units > 0 && page != 0 ? page : CP_ACP;
}

UINT NumberOf(CodePage page) noexcept {
    return page == CodePage::Ansi ? AnsiCodePage() : static_cast<UINT>(page);
}

}  // namespace

std::u16string ToWide(CodePage page, std::string_view bytes) {
    std::u16string text;
    if (bytes.empty()) return text;
    const UINT number = NumberOf(page);
    const int count = CountOf(bytes.size());
    const int units = MultiByteToWideChar(number, 0, bytes.data(), count, nullptr, 0);
    text.resize(static_cast<std::size_t>(units));
    MultiByteToWideChar(number, 0, bytes.data(), count, windows::Wide(text), units);
    return text;
}

std::string FromWide(CodePage page, std::u16string_view text) {
    std::string bytes;
    if (text.empty()) return bytes;
    const UINT number = NumberOf(page);
    const auto* units = reinterpret_cast<const wchar_t*>(text.data());
    const int count = CountOf(text.size());
    const int size = WideCharToMultiByte(number, 0, units, count, nullptr, 0, nullptr, nullptr);
    bytes.resize(static_cast<std::size_t>(size));
    WideCharToMultiByte(number, 0, units, count, bytes.data(), size, nullptr, nullptr);
    return bytes;
}

// Names are UTF-16 here, and what passes as bytes was such a name before.
std::u16string NameToWide(std::string_view bytes) {
    return ToWide(CodePage::Utf8, bytes);
}

std::string NameFromWide(std::u16string_view name) {
    return FromWide(CodePage::Utf8, name);
}

}  // namespace platform
