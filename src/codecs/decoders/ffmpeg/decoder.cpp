#include "codecs/decoders/ffmpeg/decoder.h"

#include <algorithm>
#include <exception>
#include <string>

#include "codecs/decoders/ffmpeg/qel-matroska/matroska_tags.h"
#include "codecs/decoders/ffmpeg/stderr_dump.h"
#include "codecs/decoders/ffmpeg/stream_header.h"
#include "codecs/decoders/ffmpeg/tables.h"
#include "platform/codepage.h"
#include "platform/error.h"
#include "support/clfile.h"
#include "tags/idtags.h"
#include "tags/std_tags.h"
#include "transport/exceptions.h"

namespace {

constexpr const char* kGetLabel = "clDecoder_ffmpeg::Get";
constexpr const char* kSetLabel = "clDecoder_ffmpeg::Set";
constexpr const char* kOpenLabel = "clDecoder_ffmpeg::Open";
constexpr const char* kCloseLabel = "clDecoder_ffmpeg::Close";
constexpr const char* kDecodeBlockLabel = "clDecoder_ffmpeg::DecodeBlock";
// The one label of a start of the worker, be it for a seek or for Open.
constexpr const char* kSetPositionLabel = "clDecoder_ffmpeg::SetPosition";
constexpr const char* kWriteTagsLabel = "clDecoder_ffmpeg::WriteIDTags";
constexpr const char* kDeleteTagLabel = "clDecoder_ffmpeg::DeleteATag";

constexpr const char16_t* kTaggingUnsupported = u"Tagging not supported for this format.";

// The entry of the information that tells which kinds of tag the file has.
constexpr std::u16string_view kIdTagName = u"ID Tag";

constexpr std::uint32_t kFramesPerBlock = 4096;

constexpr const char16_t* kQuitEventSet = u"The quit event is set.";

// The worker's input lacks the audio stream that it was told to decode.
struct NoSuchStream : std::exception {
    explicit NoSuchStream(std::size_t has) noexcept : streams(has) {}
    std::size_t streams;
};

// An exception's text inside a message.
void LogException(const char16_t* format, const std::exception& failure, const clLogHandles& logs,
                  const char* label) {
    clString text;
    text.SetFromUtf8(failure.what());
    clLog::Error(clString::Format(format, text.text()).text(), logs, label);
}

// The system's own code behind a start that failed, for who looks for the cause. The trace log alone gets it.
void LogSystemError(const std::exception& reason, const clLogHandles& logs) {
    const auto* const start = dynamic_cast<const WorkerStartFailure*>(&reason);
    if (start == nullptr) return;
    clLog::Trace(clString::Format(u"The system's error code: %u", start->systemError).text(), logs,
                 kSetPositionLabel);
}

bool IsWebAddress(std::u16string_view path) noexcept {
    return clString::BeginsWithNoCase(path, u"http://") || clString::BeginsWithNoCase(path, u"https://");
}

// The blob lives in the buffer; the record points at it.
template <typename Pointer, typename Size>
void HandOut(const IDTags& tags, clBuffer& buffer, Pointer setPointer, Size setSize) {
    if (!tags.Serialise(buffer)) throw std::bad_alloc();
    setPointer(buffer.data());
    setSize(buffer.size());
}

void HandOutTags(const IDTags& tags, clBuffer& buffer, DecoderOpenInfo& info) {
    HandOut(
        tags, buffer, [&](const void* data) { info.tags = data; },
        [&](std::uint32_t size) { info.tagsSize = size; });
}

void HandOutInfo(const IDTags& tags, clBuffer& buffer, DecoderOpenInfo& info) {
    HandOut(
        tags, buffer, [&](const void* data) { info.info = data; },
        [&](std::uint32_t size) { info.infoSize = size; });
}

void ForgetBlobs(DecoderOpenInfo& info) noexcept {
    info.tags = nullptr;
    info.tagsSize = 0;
    info.info = nullptr;
    info.infoSize = 0;
}

// A failed Open, in whatever way, leaves nothing that the host could take for blobs.
class BlobsOnSuccess {
  public:
    explicit BlobsOnSuccess(DecoderOpenInfo& record) noexcept : info(record) { ForgetBlobs(info); }
    BlobsOnSuccess(const BlobsOnSuccess&) = delete;
    BlobsOnSuccess& operator=(const BlobsOnSuccess&) = delete;
    ~BlobsOnSuccess() {
        if (!succeeded) ForgetBlobs(info);
    }

    bool succeeded = false;

  private:
    DecoderOpenInfo& info;
};

}  // namespace

clDecoder_ffmpeg::~clDecoder_ffmpeg() {
    lines.reset();
    // Nobody waits any more for what it still has to say, so it gets no time to end by itself.
    if (workerRunning) worker.Terminate();
    StopRun();
}

bool clDecoder_ffmpeg::Get(std::u16string_view key, DecoderParam& param) {
    clLog::Trace(clString(key).text(), logs, kGetLabel);
    if (key == DECODER_GET_DECODES) {
        const DecodedExtension* row = DecodesRow(param.index);
        if (row == nullptr) return false;
        param.text = row->extension;
        param.text2 = row->description;
        return true;
    }
    if (key == DECODER_GET_STREAMING_DECODES) {
        const char16_t* row = StreamingDecodesRow(param.index);
        if (row == nullptr) return false;
        param.text = row;
        return true;
    }
    if (key == DECODER_GET_DESCRIPTION) {
        param.text = kDecoderDescription;
        return true;
    }
    if (key == DECODER_GET_CAN_WRITE_TAGS) {
        if (param.text == nullptr) return false;
        param.value = TagFamilyOf(param.text) != TagFamily::None ? 1 : 0;
        return true;
    }
    return GetExtension(key, param);
}

bool clDecoder_ffmpeg::Set(std::u16string_view key, DecoderParam& param) {
    clLog::Trace(clString(key).text(), logs, kSetLabel);
    if (key == DECODER_SET_EVENT_QUIT) {
        if (param.text != nullptr) SetEventQuit(param.text);
        return true;
    }
    if (key == DECODER_SET_TAGS) return WriteIDTags(param.text, param.data, param.value);
    return SetExtension(key, param);
}

void clDecoder_ffmpeg::SetEventQuit(const char16_t* name) {
    failure.Is(DECODER_FAILURE_QUIT_EVENT);
    const platform::EventHandle opened = platform::OpenNamedSignal(name);
    quitSignal.reset();
    const platform::EventHandle own = opened != platform::EventHandle::None
                                          ? platform::DuplicateSignal(opened)
                                          : platform::EventHandle::None;
    if (opened != platform::EventHandle::None) platform::CloseSignal(opened);
    if (own == platform::EventHandle::None) throw Qel::bug_check();
    quitSignal.emplace(Qel::aborter::Owning(own));
}

bool clDecoder_ffmpeg::WriteIDTags(const char16_t* tagPath, const void* blob, std::int32_t blobSize) {
    const clString file(tagPath);
    const TagFamily family = TagFamilyOf(file);
    if (family == TagFamily::None) {
        clLog::Error(kTaggingUnsupported, logs, kWriteTagsLabel);
        failure.Is(DECODER_FAILURE_NOT_SUPPORTED);
        return false;
    }
    const TagJob job(failure);
    IDTags tags;
    tags.Parse(blob, blobSize);
    if (family == TagFamily::Matroska) return MatroskaTags::Write(tagPath, tags, logs);
    return WriteStdTags(file, tags, StdTagFamily::Ape, logs);
}

bool clDecoder_ffmpeg::DeleteATag(const char16_t* tagPath, const char16_t* names) {
    const clString file(tagPath);
    const TagFamily family = TagFamilyOf(file);
    if (family == TagFamily::None) {
        clLog::Error(kTaggingUnsupported, logs, kDeleteTagLabel);
        failure.Is(DECODER_FAILURE_NOT_SUPPORTED);
        return false;
    }
    const TagJob job(failure);
    if (family == TagFamily::Matroska) return MatroskaTags::Delete(tagPath, names, logs);
    return DeleteStdTags(file, names, logs);
}

// For a file that can be tagged, what its tags hold replaces what the worker told of them.
bool clDecoder_ffmpeg::ReadOwnTags(DecoderOpenInfo& info) {
    clString version;
    const TagFamily family = TagFamilyOf(path);
    if (family == TagFamily::None) return true;
    failure.Is(DECODER_FAILURE_TAG_UNREADABLE);
    const bool read = family == TagFamily::Matroska ? MatroskaTags::ReadBlob(path.text(), tagBlob, logs)
                                                    : ReadStdTagBlob(path, tagBlob, version, logs);
    if (!read) return false;
    if ((info.flags & DECODER_OPEN_TAGS) != 0) {
        info.tags = tagBlob.data();
        info.tagsSize = tagBlob.size();
    }
    if ((info.flags & DECODER_OPEN_INFO) != 0 && !version.IsEmpty()) {
        IDTags information;
        information.Parse(info.info, static_cast<std::int32_t>(info.infoSize));
        information.AddText(kIdTagName, version);
        HandOutInfo(information, infoBlob, info);
    }
    return true;
}

bool clDecoder_ffmpeg::Open(DecoderOpenInfo& info) {
    BlobsOnSuccess blobs(info);
    blobs.succeeded = OpenWhole(info);
    return blobs.succeeded;
}

bool clDecoder_ffmpeg::OpenWhole(DecoderOpenInfo& info) {
    clLog::Trace(clLog::kEnter, logs, kOpenLabel);
    if ((info.flags & DECODER_OPEN_EXTERNAL_PACKETS) != 0) {
        clLog::Error(u"Error cannot decode external-packet data.", logs, kOpenLabel);
        failure.Is(DECODER_FAILURE_NOT_SUPPORTED);
        return false;
    }
    const DecoderChar* const wanted = info.path;
    clLog::Trace(clString::Format(u"Opening file '%s' for read access: ", wanted).text(), logs, nullptr,
                 false);
    if (wanted == nullptr) {
        clLog::Error(u"Attempting to open null file path.", logs, kOpenLabel);
        failure.Is(DECODER_FAILURE_INVALID_ARGUMENT);
        return false;
    }
    path.Set(wanted);
    if (!StartWorker(0, &info)) return false;
    info.format = format;
    info.reserved = formatTail;
    if ((info.flags & (DECODER_OPEN_TAGS | DECODER_OPEN_INFO)) != 0 && !ReadOwnTags(info)) return false;
    clLog::Trace(clLog::kLeave, logs, kOpenLabel);
    return true;
}

void clDecoder_ffmpeg::Close() {
    clLog::Trace(clLog::kEnter, logs, kCloseLabel);
    StopRun();
    clLog::Trace(clLog::kLeave, logs, kCloseLabel);
}

bool clDecoder_ffmpeg::SetPosition(std::int64_t position) {
    return StartWorker(position, nullptr);
}

// The reader goes first, so that it never reads from a closed handle.
void clDecoder_ffmpeg::StopRun() noexcept {
    lines.reset();
    if (!workerRunning) return;
    worker.StopWhole();
    workerRunning = false;
}

void clDecoder_ffmpeg::EnterQuitSignal(Qel::AborterScope& scope) {
    if (quitSignal) scope.Enter(*quitSignal);
}

// A failure leaves the run as it is; the next start or the end of the run cleans up.
bool clDecoder_ffmpeg::StartWorker(std::int64_t position, DecoderOpenInfo* info) {
    StopRun();
    dataSize = kUnknownSize;
    startPosition = position;
    dataRead = 0;
    atEnd = false;
    try {
        StartWorkerOrRaise(position, info);
        return true;
    } catch (const Qel::user_abort&) {
        failure.Is(DECODER_FAILURE_ABORTED, kQuitEventSet);
    } catch (const NoSuchStream& missing) {
        atEnd = true;
        failure.Is(DECODER_FAILURE_NO_SUCH_STREAM);
        clLog::Error(clString::Format(u"There is no audio stream %i (counted from 0): the file has %u.",
                                      output.audioStream, missing.streams)
                         .text(),
                     logs, kSetPositionLabel);
    } catch (const Qel::invalid_input&) {
        atEnd = true;
        LogUndecodable();
    } catch (const std::exception& reason) {
        failure.Is(FailureOfStart(reason, workerRunning));
        LogException(u"FFmpeg error: %s", reason, logs, kSetPositionLabel);
        LogSystemError(reason, logs);
    }
    return false;
}

void clDecoder_ffmpeg::StartWorkerOrRaise(std::int64_t position, DecoderOpenInfo* info) {
    Qel::AborterScope scope;
    EnterQuitSignal(scope);
    double seconds = 0.0;
    if (position > 0 && format.wave.samplesPerSecond != 0) {
        seconds = static_cast<double>(position) / format.wave.samplesPerSecond;
    }
    if (info == nullptr) {
        LaunchWorker(seconds);
        return;
    }
    source.reset();
    output = {wantedStream, EncoderOf(wantedFormat)};
    try {
        LaunchWorker(seconds);
    } catch (const Qel::invalid_input&) {
        if (output.audioStream >= 0) DemandAudioStream();
        throw;
    }
    ParseErrorText(*info);
}

void clDecoder_ffmpeg::LaunchWorker(double seconds) {
    worker.Start(BuildWorkerCommand(platform::NameFromWide(path), seconds, output));
    workerRunning = true;
    lines.emplace(worker.stderrStream);
    ReadStreamHeader(worker.stdoutStream, {wave, format.wave, dataSize});
}

// Raises NoSuchStream when that is why the worker gave nothing.
void clDecoder_ffmpeg::DemandAudioStream() {
    lines->AwaitEnd(WorkerProcess::kGraceSeconds);
    StdErrParse parse;
    ParseStdErr(*lines, parse, 0.0);
    const std::size_t streams = AudioStreams(parse).size();
    if (parse.inInput && streams <= static_cast<std::size_t>(output.audioStream)) throw NoSuchStream(streams);
}

// Starts the worker once more when the source is of another depth than what it gives.
void clDecoder_ffmpeg::DeepenToSource(StdErrParse& parse) {
    const StdErrStream* const stream = DecodedStream(*lines, parse, output.audioStream);
    const SampleFormat depth = stream != nullptr ? DepthOf(*stream) : SampleFormat::Default;
    if (depth == SampleFormat::Default || Has(wave, depth)) return;
    worker.Terminate();
    StopRun();
    dataSize = kUnknownSize;
    output.encoder = EncoderOf(depth);
    LaunchWorker(0.0);
}

void clDecoder_ffmpeg::ParseErrorText(DecoderOpenInfo& info) {
    StdErrParse parse;
    ParseStdErr(*lines, parse);
    IDTags metadata;
    IDTags information;
    DeliverStdErr(parse, format, metadata, information);
    source.emplace(Source{{}, parse.durationEstimated});
    for (const StdErrStream* stream : AudioStreams(parse)) source->streams.push_back(*stream);
    if ((info.flags & DECODER_OPEN_TAGS) != 0) HandOutTags(metadata, tagBlob, info);
    if ((info.flags & DECODER_OPEN_INFO) != 0) HandOutInfo(information, infoBlob, info);
    if (wantedFormat == SampleFormat::Source) DeepenToSource(parse);
}

// The worker gave no usable stream: a file that can't be opened is told from one that can't be decoded.
void clDecoder_ffmpeg::LogUndecodable() {
    if (!IsWebAddress(path)) {
        clFile file(path);
        if (!file.Open(clFile::kRead)) {
            failure.Is(path.IsEmpty() ? DECODER_FAILURE_INVALID_ARGUMENT
                                      : FailureOfOpening(platform::LastError()));
            clLog::Error(clFile::OpenErrorText(path.text()).text(), logs, kSetPositionLabel);
            return;
        }
    }
    failure.Is(DECODER_FAILURE_NOT_DECODABLE);
    clLog::Error(u"File could not be decoded", logs, kSetPositionLabel);
}

bool clDecoder_ffmpeg::DecodeBlock(DecoderBlockInfo& info) {
    if (!failure.Demand(workerRunning, DECODER_FAILURE_NOT_OPEN, u"Nothing is open.")) return false;
    try {
        Qel::AborterScope scope;
        EnterQuitSignal(scope);
        const std::uint32_t blockBytes = wave.BlockAlign() * kFramesPerBlock;
        if (!failure.Demand(block.Resize(blockBytes), DECODER_FAILURE_OUT_OF_MEMORY, nullptr)) return false;
        const auto want =
            static_cast<std::uint32_t>(std::min<std::uint64_t>(blockBytes, dataSize - dataRead));
        // Milliseconds and sample frames, added as they stand: what hosts get, and right after Open.
        info.position =
            dataRead * 1000 / wave.AverageBytesPerSecond() + static_cast<std::uint64_t>(startPosition);
        const auto count = static_cast<std::uint32_t>(worker.stdoutStream.read(block.data(), want));
        dataRead += count;
        info.format = format;
        info.reserved = formatTail;
        info.endOfStream = count < want ? 1 : 0;
        atEnd = count < want || dataRead == dataSize;
        info.bytes = count;
        info.samples = block.data();
        return true;
    } catch (const Qel::user_abort&) {
        failure.Is(DECODER_FAILURE_ABORTED, kQuitEventSet);
    } catch (const std::exception& reason) {
        failure.Is(DECODER_FAILURE_READ_FAILED);
        failure.Caught(reason);
        LogException(u"Decode error: %s", reason, logs, kDecodeBlockLabel);
    }
    return false;
}
