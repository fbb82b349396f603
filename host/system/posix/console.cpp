#include "host/system/console.h"

#include <fcntl.h>
#include <langinfo.h>
#include <locale.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <iostream>

namespace host::system {

std::vector<std::string> Arguments(int argc, char** argv) {
    if (argc < 1) return {};
    return {argv + 1, argv + argc};
}

void PrepareProcess() {
    signal(SIGXFSZ, SIG_IGN);
    int descriptor = 0;
    do {
        descriptor = open("/dev/null", O_RDWR);
    } while (descriptor >= 0 && descriptor <= STDERR_FILENO);
    if (descriptor >= 0) close(descriptor);
}

std::filesystem::path OwnFolder() {
    return std::filesystem::read_symlink("/proc/self/exe").parent_path();
}

bool IsTerminal(std::FILE* stream) {
    return isatty(fileno(stream)) == 1;
}

bool WriteText(std::FILE* stream, std::string_view text) {
    return std::fwrite(text.data(), 1, text.size(), stream) == text.size();
}

std::string ReadAnswer() {
    std::string answer;
    std::getline(std::cin, answer);
    return answer;
}

bool ShowsUnicode(std::FILE* stream) {
    if (!IsTerminal(stream)) return false;
    const locale_t locale = newlocale(LC_CTYPE_MASK, "", nullptr);
    if (locale == nullptr) return false;
    const bool isUtf8 = std::strcmp(nl_langinfo_l(CODESET, locale), "UTF-8") == 0;
    freelocale(locale);
    return isUtf8;
}

bool HasColours(std::FILE* stream) {
    const char* const refusal = std::getenv("NO_COLOR");
    const char* const terminal = std::getenv("TERM");
    if (refusal != nullptr && *refusal != '\0') return false;
    return IsTerminal(stream) && terminal != nullptr && std::strcmp(terminal, "dumb") != 0;
}

int TerminalWidth(std::FILE* stream) {
    constexpr int kUnknownWidth = 80;
    winsize size{};
    if (ioctl(fileno(stream), TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return kUnknownWidth;
    return size.ws_col;
}

}  // namespace host::system
