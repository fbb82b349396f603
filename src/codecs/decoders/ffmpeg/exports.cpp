// The nine functions: null tests, and the border that no exception crosses.
#include <exception>
#include <new>

#include "codecs/decoders/ffmpeg/decoder.h"
#include "decoder_plugin.h"
#include "support/cllog.h"

namespace {

clDecoder_ffmpeg* Own(Decoder* decoder) noexcept {
    return reinterpret_cast<clDecoder_ffmpeg*>(decoder);
}

// The result of `call` as the host gets it; what it raises becomes a logged 0.
template <typename Call>
std::int64_t Guarded(clDecoder_ffmpeg& decoder, const char* label, Call call) noexcept {
    try {
        return call() ? 1 : 0;
    } catch (const std::exception& failure) {
        decoder.Failure().Caught(failure);
        try {
            clString text;
            text.SetFromUtf8(failure.what());
            clLog::Error(text.text(), decoder.Logs(), label);
        } catch (...) {
            // Without memory for a text there is none.
        }
    } catch (...) {
        clLog::Error(u"unknown failure", decoder.Logs(), label);
    }
    return 0;
}

// The same for a call whose failure the host may ask about.
template <typename Call>
std::int64_t Answered(clDecoder_ffmpeg& decoder, const char* label, Call call) noexcept {
    decoder.Failure().Begin();
    const std::int64_t result = Guarded(decoder, label, call);
    decoder.Failure().End(result == 1);
    return result;
}

// A call without a record that it needs.
bool Refused(clDecoder_ffmpeg& decoder) noexcept {
    return decoder.Failure().Demand(false, DECODER_FAILURE_INVALID_ARGUMENT, u"A null pointer was given.");
}

}  // namespace

extern "C" {

Decoder* Create(const DecoderCreateInfo* info) {
    if (info == nullptr) return nullptr;
    try {
        return reinterpret_cast<Decoder*>(new clDecoder_ffmpeg(*info));
    } catch (...) {
        return nullptr;
    }
}

std::int64_t Destroy(Decoder* decoder) {
    delete Own(decoder);
    return 1;
}

std::int64_t Get(Decoder* decoder, const DecoderChar* key, DecoderParam* param) {
    if (decoder == nullptr || key == nullptr || param == nullptr) return 0;
    return Guarded(*Own(decoder), "clDecoder_ffmpeg::Get", [&] { return Own(decoder)->Get(key, *param); });
}

std::int64_t Set(Decoder* decoder, const DecoderChar* key, DecoderParam* param) {
    if (decoder == nullptr) return 0;
    clDecoder_ffmpeg& own = *Own(decoder);
    return Answered(own, "clDecoder_ffmpeg::Set",
                    [&] { return key != nullptr && param != nullptr ? own.Set(key, *param) : Refused(own); });
}

std::int64_t Open(Decoder* decoder, DecoderOpenInfo* info) {
    if (decoder == nullptr) return 0;
    clDecoder_ffmpeg& own = *Own(decoder);
    return Answered(own, "clDecoder_ffmpeg::Open",
                    [&] { return info != nullptr ? own.Open(*info) : Refused(own); });
}

std::int64_t Close(Decoder* decoder) {
    if (decoder == nullptr) return 0;
    return Guarded(*Own(decoder), "clDecoder_ffmpeg::Close", [&] {
        Own(decoder)->Close();
        return true;
    });
}

std::int64_t DecodeBlock(Decoder* decoder, DecoderBlockInfo* block) {
    if (decoder == nullptr) return 0;
    clDecoder_ffmpeg& own = *Own(decoder);
    return Answered(own, "clDecoder_ffmpeg::DecodeBlock",
                    [&] { return block != nullptr ? own.DecodeBlock(*block) : Refused(own); });
}

std::int64_t SetPosition(Decoder* decoder, std::int64_t position) {
    if (decoder == nullptr) return 0;
    return Answered(*Own(decoder), "clDecoder_ffmpeg::SetPosition",
                    [&] { return Own(decoder)->SetPosition(position); });
}

std::int64_t DeleteATag(Decoder* decoder, const DecoderChar* path, const DecoderChar* names) {
    if (decoder == nullptr) return 0;
    return Answered(*Own(decoder), "clDecoder_ffmpeg::DeleteATag",
                    [&] { return Own(decoder)->DeleteATag(path, names); });
}

}  // extern "C"
