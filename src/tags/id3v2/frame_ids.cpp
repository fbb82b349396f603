#include "tags/id3v2/frame_ids.h"

#include <array>

#include "tags/id3v2/parser.h"

namespace id3parser {

namespace {

struct FrameIdRow {
    std::string_view letters;
    std::uint32_t id;
};

constexpr std::array<FrameIdRow, 33> frameIdTable{{
    {"TT1", frameId("TIT1")}, {"TT2", frameId("TIT2")}, {"TT3", frameId("TIT3")}, {"TP1", frameId("TPE1")},
    {"TP2", frameId("TPE2")}, {"TP3", frameId("TPE3")}, {"TP4", frameId("TPE4")}, {"TCM", frameId("TCOM")},
    {"TXT", frameId("TEXT")}, {"TLA", frameId("TLAN")}, {"TCO", frameId("TCON")}, {"TAL", frameId("TALB")},
    {"TRK", frameId("TRCK")}, {"TRC", frameId("TSRC")}, {"TYE", frameId("TYER")}, {"TBP", frameId("TBPM")},
    {"TCR", frameId("TCOP")}, {"TPB", frameId("TPUB")}, {"TEN", frameId("TENC")}, {"TSS", frameId("TSSE")},
    {"TOA", frameId("TOPE")}, {"TXX", frameId("TXXX")}, {"TPA", frameId("TPOS")}, {"WAF", frameId("WOAF")},
    {"WAR", frameId("WOAR")}, {"WAS", frameId("WOAS")}, {"WCP", frameId("WCOP")}, {"WCM", frameId("WCOM")},
    {"WPB", frameId("WPUB")}, {"WXX", frameId("WXXX")}, {"COM", frameId("COMM")}, {"PIC", frameId("APIC")},
    {"TCP", frameId("TCMP")},
}};

}  // namespace

std::uint32_t mapShortFrameId(std::string_view letters) noexcept {
    for (const FrameIdRow& row : frameIdTable) {
        if (row.letters == letters) return row.id;
    }
    return 0;
}

}  // namespace id3parser
