#include "libav_decode.h"

#include <stdexcept>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

namespace {
void Demand(bool holds, const char* what) {
    if (!holds) throw std::runtime_error(what);
}
}  // namespace

std::size_t LibavAttachmentBytes(const std::string& file) {
    av_log_set_level(AV_LOG_QUIET);
    AVFormatContext* format = nullptr;
    Demand(avformat_open_input(&format, file.c_str(), nullptr, nullptr) == 0, "libav can't open the file");
    const bool tagged = av_dict_count(format->metadata) >= 9;
    std::size_t bytes = 0;
    for (unsigned i = 0; i < format->nb_streams; ++i) {
        const AVStream& stream = *format->streams[i];
        if ((stream.disposition & AV_DISPOSITION_ATTACHED_PIC) != 0)
            bytes = static_cast<std::size_t>(stream.attached_pic.size);
    }
    avformat_close_input(&format);
    Demand(tagged, "libav finds no tags");
    return bytes;
}

struct LibavDecode::State {
    AVFormatContext* format = nullptr;
    AVCodecContext* codec = nullptr;
    AVPacket* packet = av_packet_alloc();
    AVFrame* frame = av_frame_alloc();
    int stream = -1;

    ~State() {
        av_frame_free(&frame);
        av_packet_free(&packet);
        avcodec_free_context(&codec);
        avformat_close_input(&format);
    }
};

LibavDecode::LibavDecode(const std::string& file) : state_(std::make_unique<State>()) {
    av_log_set_level(AV_LOG_QUIET);
    State& state = *state_;
    Demand(avformat_open_input(&state.format, file.c_str(), nullptr, nullptr) == 0,
           "libav can't open the file");
    Demand(avformat_find_stream_info(state.format, nullptr) >= 0, "libav finds no streams");
    const AVCodec* decoder = nullptr;
    state.stream = av_find_best_stream(state.format, AVMEDIA_TYPE_AUDIO, -1, -1, &decoder, 0);
    Demand(state.stream >= 0, "libav finds no audio");
    state.codec = avcodec_alloc_context3(decoder);
    avcodec_parameters_to_context(state.codec, state.format->streams[state.stream]->codecpar);
    Demand(avcodec_open2(state.codec, decoder, nullptr) == 0, "libav can't open the decoder");
}

LibavDecode::~LibavDecode() = default;

void LibavDecode::Seek(double seconds) {
    const auto target = static_cast<int64_t>(seconds * AV_TIME_BASE);
    Demand(avformat_seek_file(state_->format, -1, INT64_MIN, target, target, 0) >= 0, "libav can't seek");
    avcodec_flush_buffers(state_->codec);
}

int LibavDecode::NextFrames() {
    State& state = *state_;
    for (;;) {
        if (avcodec_receive_frame(state.codec, state.frame) == 0) return state.frame->nb_samples;
        if (av_read_frame(state.format, state.packet) < 0) return 0;
        if (state.packet->stream_index == state.stream) avcodec_send_packet(state.codec, state.packet);
        av_packet_unref(state.packet);
    }
}
