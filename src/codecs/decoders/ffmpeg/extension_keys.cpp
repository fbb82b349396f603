// The keys beyond the base contract.
#include "codecs/decoders/ffmpeg/decoder.h"

namespace {

#define DECODER_TEXT_OF_NUMBER(number) #number
#define DECODER_TEXT_OF(macro) DECODER_TEXT_OF_NUMBER(macro)
constexpr const char16_t* kVersion = u"" DECODER_TEXT_OF(DECODER_PLUGIN_VERSION_MAJOR) "." DECODER_TEXT_OF(
    DECODER_PLUGIN_VERSION_MINOR) "." DECODER_TEXT_OF(DECODER_PLUGIN_VERSION_PATCH);

}  // namespace

bool clDecoder_ffmpeg::GetExtension(std::u16string_view key, DecoderParam& param) {
    if (key == DECODER_GET_VERSION) {
        param.text = kVersion;
        param.value = DECODER_EXTENSION_SET;
        return true;
    }
    return false;
}
