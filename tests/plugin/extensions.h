// The keys beyond the base contract, as a host uses them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "kit/plugin.h"

struct Answer {
    bool given = false;
    std::int32_t value = 0;
    bool isNull = true;  // the text
    std::u16string text;
};

inline Answer Ask(const kit::Plugin& plugin, const kit::TestDecoder& decoder, const char16_t* key) {
    alignas(8) DecoderParam param{};
    Answer answer;
    answer.given = plugin.Get(decoder.get(), key, &param) == 1;
    answer.value = param.value;
    answer.isNull = param.text == nullptr;
    if (!answer.isNull) answer.text = param.text;
    return answer;
}

inline Answer AskFailure(const kit::Plugin& plugin, const kit::TestDecoder& decoder) {
    return Ask(plugin, decoder, DECODER_GET_LAST_FAILURE);
}

inline bool SetFormat(const kit::Plugin& plugin, const kit::TestDecoder& decoder, const char16_t* word) {
    alignas(8) DecoderParam param{};
    param.text = word;
    return plugin.Set(decoder.get(), DECODER_SET_SAMPLE_FORMAT, &param) == 1;
}

inline bool SetStream(const kit::Plugin& plugin, const kit::TestDecoder& decoder, std::int32_t number) {
    alignas(8) DecoderParam param{};
    param.value = number;
    return plugin.Set(decoder.get(), DECODER_SET_AUDIO_STREAM, &param) == 1;
}
