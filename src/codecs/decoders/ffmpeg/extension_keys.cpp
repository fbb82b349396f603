// The keys beyond the base contract.
#include <algorithm>

#include "codecs/decoders/ffmpeg/decoder.h"
#include "platform/codepage.h"

namespace {

#define DECODER_TEXT_OF_NUMBER(number) #number
#define DECODER_TEXT_OF(macro) DECODER_TEXT_OF_NUMBER(macro)
constexpr const char16_t* kVersion = u"" DECODER_TEXT_OF(DECODER_PLUGIN_VERSION_MAJOR) "." DECODER_TEXT_OF(
    DECODER_PLUGIN_VERSION_MINOR) "." DECODER_TEXT_OF(DECODER_PLUGIN_VERSION_PATCH);

constexpr std::string_view kBannerStart = "ffmpeg version ";

// A worker that fails at once has said little more than who it is, in one line and indented ones.
std::string_view WithoutBanner(std::string_view text) noexcept {
    while (text.starts_with(kBannerStart) || text.starts_with(StdErrBounds::kIndent)) {
        text.remove_prefix(std::min(text.find('\n'), text.size() - 1) + 1);
    }
    return text;
}

}  // namespace

bool clDecoder_ffmpeg::GetExtension(std::u16string_view key, DecoderParam& param) {
    if (key == DECODER_GET_VERSION) {
        param.text = kVersion;
        param.value = DECODER_EXTENSION_SET;
        return true;
    }
    if (key == DECODER_GET_LAST_FAILURE) {
        param.text = failure.Text();
        param.value = failure.Reason();
        return true;
    }
    if (key == DECODER_GET_WORKER_EXIT) return GetWorkerExit(param);
    if (key == DECODER_GET_WORKER_MESSAGES) return GetWorkerMessages(param);
    if (key == DECODER_GET_SOURCE_STREAM) return GetSourceStream(param);
    if (key == DECODER_GET_DURATION_ESTIMATED) return GetDurationEstimated(param);
    return false;
}

bool clDecoder_ffmpeg::SetExtension(std::u16string_view key, DecoderParam& param) {
    if (key == DECODER_SET_SAMPLE_FORMAT) {
        const auto named = SampleFormatOf(param.text != nullptr ? param.text : u"");
        if (named) wantedFormat = *named;
        return failure.Demand(named.has_value(), DECODER_FAILURE_NOT_SUPPORTED,
                              u"There is no such sample format.");
    }
    if (key == DECODER_SET_AUDIO_STREAM) {
        const bool valid = param.value >= WorkerOutput::kNotChosen;
        if (valid) wantedStream = param.value;
        return failure.Demand(valid, DECODER_FAILURE_INVALID_ARGUMENT, u"Audio streams count from 0.");
    }
    failure.Is(DECODER_FAILURE_NOT_SUPPORTED, u"There is no such key.");
    return false;
}

// While the stream goes on, so does the worker, and there is nothing to wait for.
template <typename Wait>
void clDecoder_ffmpeg::WaitAtEnd(Wait wait) {
    if (!atEnd) return;
    try {
        Qel::AborterScope scope;
        EnterQuitSignal(scope);
        wait();
    } catch (const Qel::user_abort&) {
        // What is known by now will do.
    }
}

bool clDecoder_ffmpeg::GetWorkerExit(DecoderParam& param) {
    WaitAtEnd([this] { worker.AwaitEnd(WorkerProcess::kGraceSeconds); });
    const std::optional<std::int32_t> code = worker.ExitCode();
    if (code) param.value = *code;
    return code.has_value();
}

bool clDecoder_ffmpeg::GetWorkerMessages(DecoderParam& param) {
    if (!lines) return false;
    WaitAtEnd([this] { lines->AwaitEnd(WorkerProcess::kGraceSeconds); });
    const std::string text = lines->Tail(0.0);
    workerMessages.Set(platform::NameToWide(WithoutBanner(text)));
    param.text = workerMessages.text();
    return true;
}

bool clDecoder_ffmpeg::GetSourceStream(DecoderParam& param) {
    if (!source || param.index >= source->streams.size()) return false;
    const StdErrStream& stream = source->streams[param.index];
    std::string details;
    for (const std::string& detail : stream.details)
        details.append(details.empty() ? "" : ", ").append(detail);
    sourceCodec.SetFromUtf8(stream.codec);
    sourceDetails.SetFromUtf8(details);
    param.text = sourceCodec.text();
    param.text2 = sourceDetails.text();
    return true;
}

bool clDecoder_ffmpeg::GetDurationEstimated(DecoderParam& param) const {
    if (source) param.value = source->durationEstimated ? 1 : 0;
    return source.has_value();
}
