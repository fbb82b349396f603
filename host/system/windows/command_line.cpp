#include "host/system/windows/command_line.h"

#include "decoder_plugin.hpp"

namespace host::system {

HANDLE OpenNull(DWORD access) {
    SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
    return CreateFileW(L"NUL", access, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherited, OPEN_EXISTING, 0,
                       nullptr);
}

std::wstring CommandLine(const std::filesystem::path& program, const std::vector<std::string>& arguments) {
    std::wstring line = L"\"" + program.native() + L"\"";
    for (const std::string& argument : arguments) {
        const std::u16string wide = decoder_plugin::ToUtf16(argument);
        line += L" \"" + std::wstring(wide.begin(), wide.end()) + L"\"";
    }
    return line;
}

}  // namespace host::system
