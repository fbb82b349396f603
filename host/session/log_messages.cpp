#include "host/session/log_messages.h"

#include "decoder_plugin.hpp"

namespace host {

std::vector<std::string> LogMessages(std::u16string_view log) {
    constexpr std::u16string_view kLabelStart = u"  [";
    constexpr std::u16string_view kLineEnd = u"]\r\n";
    std::vector<std::string> messages;
    // A message may hold line ends of its own; only the label's bracket makes one the end of a message.
    for (;;) {
        const std::size_t end = log.find(kLineEnd);
        if (end == std::u16string_view::npos) return messages;
        const std::u16string_view line = log.substr(0, end);
        messages.push_back(decoder_plugin::ToUtf8(line.substr(0, line.rfind(kLabelStart))));
        log.remove_prefix(end + kLineEnd.size());
    }
}

}  // namespace host
