// One decode or tagging job of the host.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "codecs/decoders/ffmpeg/failures.h"
#include "codecs/decoders/ffmpeg/sample_format.h"
#include "codecs/decoders/ffmpeg/stderr_dump.h"
#include "codecs/decoders/ffmpeg/stderr_lines.h"
#include "codecs/decoders/ffmpeg/wave_format.h"
#include "codecs/decoders/ffmpeg/worker_command.h"
#include "decoder_plugin.h"
#include "support/clbuffer.h"
#include "support/cllog.h"
#include "support/clstring.h"
#include "transport/waitable.h"
#include "transport/worker_process.h"

// The methods are the exports for a decoder that is there; they may raise what the exports then turn into a
// logged 0. A file or URL becomes a worker process; its standard output is the audio, its standard error the
// rest. Seeking starts a new worker.
class clDecoder_ffmpeg {
  public:
    explicit clDecoder_ffmpeg(const DecoderCreateInfo& info) noexcept
        : logs{info.errorLog, info.reserved, info.traceLog, &failure.logged} {}
    clDecoder_ffmpeg(const clDecoder_ffmpeg&) = delete;
    clDecoder_ffmpeg& operator=(const clDecoder_ffmpeg&) = delete;
    ~clDecoder_ffmpeg();  // terminates a worker that still runs

    bool Get(std::u16string_view key, DecoderParam& param);
    bool Set(std::u16string_view key, DecoderParam& param);
    bool Open(DecoderOpenInfo& info);
    void Close();
    bool DecodeBlock(DecoderBlockInfo& info);
    bool SetPosition(std::int64_t position);
    bool DeleteATag(const char16_t* tagPath, const char16_t* names);

    const clLogHandles& Logs() const noexcept { return logs; }
    LastFailure& Failure() noexcept { return failure; }

  private:
    bool GetExtension(std::u16string_view key, DecoderParam& param);
    bool SetExtension(std::u16string_view key, DecoderParam& param);
    bool GetWorkerExit(DecoderParam& param);
    bool GetWorkerMessages(DecoderParam& param);
    bool GetSourceStream(DecoderParam& param);
    bool GetDurationEstimated(DecoderParam& param) const;
    template <typename Wait>
    void WaitAtEnd(Wait wait);
    void SetEventQuit(const char16_t* name);
    bool WriteIDTags(const char16_t* tagPath, const void* blob, std::int32_t blobSize);
    bool OpenWhole(DecoderOpenInfo& info);
    bool ReadOwnTags(DecoderOpenInfo& info);

    bool StartWorker(std::int64_t position, DecoderOpenInfo* info);
    void StartWorkerOrRaise(std::int64_t position, DecoderOpenInfo* info);
    void LaunchWorker(double seconds);
    void DemandAudioStream();
    void ParseErrorText(DecoderOpenInfo& info);
    void DeepenToSource(StdErrParse& parse);
    void StopRun() noexcept;
    void EnterQuitSignal(Qel::AborterScope& scope);
    void LogUndecodable();

    LastFailure failure;
    clLogHandles logs;
    clString path;  // of the last Open that had one
    WorkerProcess worker;
    bool workerRunning = false;
    std::optional<StdErrLineQueue> lines;  // while the reader thread exists; gone before the worker's streams
    std::optional<Qel::aborter> quitSignal;
    clBuffer tagBlob;
    clBuffer infoBlob;
    DecoderFormat format{};
    std::uint32_t formatTail = 0;
    clWaveFormat wave;
    std::uint64_t dataSize = kUnknownSize;  // bytes
    std::uint64_t dataRead = 0;             // bytes since the last start of a worker
    std::int64_t startPosition = 0;         // sample frames
    clBuffer block;
    bool atEnd = false;  // of the stream: the worker has nothing more to give

    SampleFormat wantedFormat = SampleFormat::Default;  // of the next Open
    std::int32_t wantedStream = WorkerOutput::kNotChosen;
    WorkerOutput output;  // of this run
    clString workerMessages;

    // What the worker's text says of the source that was opened last.
    struct Source {
        std::vector<StdErrStream> streams;  // those of audio
        bool durationEstimated = false;
    };
    std::optional<Source> source;
    clString sourceCodec;
    clString sourceDetails;

    static constexpr std::uint64_t kUnknownSize = ~std::uint64_t{0};
};
