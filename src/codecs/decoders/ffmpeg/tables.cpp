#include "codecs/decoders/ffmpeg/tables.h"

#include <array>

#include "support/clstring.h"

namespace {

// In the order in which the host enumerates them.
constexpr std::array kDecodes{
    DecodedExtension{u".tak", u"Tom's Audio Kompressor"},
    DecodedExtension{u".shn", u"Shorten"},
    DecodedExtension{u".ac3", u"AC-3"},
    DecodedExtension{u".eac3", u"E-AC-3"},
    DecodedExtension{u".mka", u"Matroska Audio"},
    DecodedExtension{u".weba", u"Web Audio"},
    DecodedExtension{u".vqf", u"TwinVQ"},
    DecodedExtension{u".dts", u"DTS"},
    DecodedExtension{u".dtshd", u"DTS-HD"},
    DecodedExtension{u".tta", u"True Audio"},
    DecodedExtension{u".mlp", u"MLP"},
    DecodedExtension{u".ts", u"MPEG-TS"},
    DecodedExtension{u".ra", u"Real Audio"},
    DecodedExtension{u".rm", u"Real Audio"},
    DecodedExtension{u".voc", u"Creative Voice"},
    DecodedExtension{u".au", u"AU/SND"},
    DecodedExtension{u".snd", u"AU/SND"},
    DecodedExtension{u".amr", u"AMR"},
    DecodedExtension{u".awb", u"AMR"},
};

constexpr std::array kStreamingDecodes{
    u"application/vnd.apple.mpegurl", u"audio/mpegurl",         u"audio/x-mpegurl",
    u"application/mpegurl",           u"application/x-mpegurl",
};

struct TaggedExtension {
    const char16_t* extension;
    TagFamily family;
};

// Not the same extensions as above: video files can be tagged but aren't offered for decoding.
constexpr std::array kTagged{
    TaggedExtension{u".tak", TagFamily::Standard},  TaggedExtension{u".tta", TagFamily::Standard},
    TaggedExtension{u".dts", TagFamily::Standard},  TaggedExtension{u".dtshd", TagFamily::Standard},
    TaggedExtension{u".mkv", TagFamily::Matroska},  TaggedExtension{u".mka", TagFamily::Matroska},
    TaggedExtension{u".webm", TagFamily::Matroska}, TaggedExtension{u".weba", TagFamily::Matroska},
};

}  // namespace

const DecodedExtension* DecodesRow(std::uint32_t index) noexcept {
    return index < kDecodes.size() ? &kDecodes[index] : nullptr;
}

const char16_t* StreamingDecodesRow(std::uint32_t index) noexcept {
    return index < kStreamingDecodes.size() ? kStreamingDecodes[index] : nullptr;
}

TagFamily TagFamilyOf(std::u16string_view path) {
    const clString extension = clString(path).FileExtension();
    for (const TaggedExtension& row : kTagged) {
        if (clString::EqualsNoCase(extension, row.extension)) return row.family;
    }
    return TagFamily::None;
}
