#include "formats/external/LFFMPEGSourceManager.h"

#include "base/LLogError.h"
#include "stream/LSoundSourceBase.h"
#include "stream/LSoundSourceError.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
}

#include <algorithm>
#include <cstring>
#include <mutex>
#include <vector>

namespace {

// Frames decoded ahead of the position before the end may be announced: the
// copy job reads at most ten blocks of 8192 frames a round.
constexpr long long kLookaheadFrames = 10 * 8192;

void QuietLibraries() {
    static std::once_flag once;
    std::call_once(once, [] { av_log_set_level(AV_LOG_QUIET); });
}

struct CodecCloser {
    void operator()(AVCodecContext* c) const { avcodec_free_context(&c); }
};
struct PacketCloser {
    void operator()(AVPacket* p) const { av_packet_free(&p); }
};
struct FrameCloser {
    void operator()(AVFrame* f) const { av_frame_free(&f); }
};
struct ResamplerCloser {
    void operator()(SwrContext* s) const { swr_free(&s); }
};

int InterruptCallback(void* opaque) {
    auto* stop = static_cast<LFFMPEGSourceManager::StopPredicate*>(opaque);
    return *stop && (*stop)() ? 1 : 0;
}

// Opens `path` for reading with the file protocol only. Error code or 0.
unsigned char OpenInput(const std::string& path, LFFMPEGSourceManager::StopPredicate* stop,
                        AVFormatContext** out) {
    QuietLibraries();
    AVFormatContext* context = avformat_alloc_context();
    if (!context) return kSourceNoFile;
    context->interrupt_callback = {InterruptCallback, stop};
    AVDictionary* options = nullptr;
    av_dict_set(&options, "protocol_whitelist", "file", 0);
    const int opened = avformat_open_input(&context, path.c_str(), nullptr, &options);
    av_dict_free(&options);
    if (opened < 0) {  // avformat_open_input frees the context on failure
        if (*stop && (*stop)()) return kSourceClosed;
        return opened == AVERROR(ENOENT) || opened == AVERROR(EACCES) ? kSourceNoFile : kSourceBadFormat;
    }
    if (avformat_find_stream_info(context, nullptr) < 0) {
        avformat_close_input(&context);
        return kSourceBadFormat;
    }
    *out = context;
    return kSourceOk;
}

}  // namespace

// One audio stream of an opened file, decoded as it is read.
class LFFMPEGSoundSourceBase final : public LSoundSourceBase {
public:
    // Takes the opened file and the stop predicate its reading layer points at.
    LFFMPEGSoundSourceBase(AVFormatContext* format, int stream, const std::string& path,
                           std::unique_ptr<LFFMPEGSourceManager::StopPredicate> isToStop);
    ~LFFMPEGSoundSourceBase() override;

    void Read(float* buffer, long long frames) override;
    long long GetPositionSample() const override { return position_; }
    long long GetEndSample() const override;
    void Seek(long long frame) override { position_ = frame; }
    bool IsStreaming() const override { return !ended_; }

    int Precision() const { return precision_; }
    long long EstimatedFrames() const { return estimatedFrames_; }

private:
    bool OpenDecoder() const;
    // Decodes until `frame` (timeline) is buffered or the stream ends.
    void DecodeUntil(long long frame) const;
    // One more packet's worth; false at the end.
    bool DecodeMore() const;
    void TakeFrame() const;
    bool Convert(const AVFrame& frame) const;
    // Back to the start: the file is opened anew.
    void Rewind() const;
    void Finish() const;

    std::string path_;
    std::unique_ptr<LFFMPEGSourceManager::StopPredicate> isToStop_;
    mutable std::unique_ptr<AVFormatContext, void (*)(AVFormatContext*)> format_;
    mutable std::unique_ptr<AVCodecContext, CodecCloser> codec_;
    mutable std::unique_ptr<SwrContext, ResamplerCloser> resampler_;
    mutable std::unique_ptr<AVPacket, PacketCloser> packet_;
    mutable std::unique_ptr<AVFrame, FrameCloser> frame_;
    int stream_;
    mutable AVChannelLayout outLayout_{};  // FFmpeg 5.1 takes layouts by non-const pointer
    // The input format the resampler was made for.
    mutable int inFormat_ = -1;
    mutable int inRate_ = 0;
    mutable AVChannelLayout inLayout_{};
    int precision_ = 0;
    long long estimatedFrames_ = 0;

    long long position_ = 0;
    // Decoded frames not yet passed: pending_[pendingOffset_ ...] starts at
    // timeline frame bufferStart_.
    mutable std::vector<float> pending_;
    mutable size_t pendingOffset_ = 0;
    mutable long long bufferStart_ = 0;
    mutable bool drained_ = false;   // the decoder has given its last frame
    mutable bool ended_ = false;     // ... and the resampler its last
    mutable std::vector<float> scratch_;
};

namespace {

void CloseFormat(AVFormatContext* context) { avformat_close_input(&context); }

int PrecisionOf(const AVCodecParameters& parameters) {
    const auto format = static_cast<AVSampleFormat>(parameters.format);
    const int raw = parameters.bits_per_raw_sample;
    switch (format) {
        case AV_SAMPLE_FMT_U8:
        case AV_SAMPLE_FMT_U8P:
        case AV_SAMPLE_FMT_S16:
        case AV_SAMPLE_FMT_S16P:
            return 16;
        case AV_SAMPLE_FMT_S32:
        case AV_SAMPLE_FMT_S32P:
            return raw > 0 && raw <= 16 ? 16 : raw > 0 && raw <= 24 ? 24 : 0;
        default:
            return 0;
    }
}

}  // namespace

LFFMPEGSoundSourceBase::LFFMPEGSoundSourceBase(AVFormatContext* format, int stream, const std::string& path,
                                               std::unique_ptr<LFFMPEGSourceManager::StopPredicate> isToStop)
    : LSoundSourceBase(format->streams[stream]->codecpar->sample_rate,
                       std::clamp(format->streams[stream]->codecpar->ch_layout.nb_channels, 1, 255), kPeakUnbounded),
      path_(path),
      isToStop_(std::move(isToStop)),
      format_(format, CloseFormat),
      packet_(av_packet_alloc()),
      frame_(av_frame_alloc()),
      stream_(stream) {
    const AVStream& s = *format_->streams[stream];
    av_channel_layout_default(&outLayout_, GetChannels());
    precision_ = PrecisionOf(*s.codecpar);
    // Integer audio keeps its bound: no limiter is needed on its way into an
    // integer file of its precision.
    if (precision_ != 0) SetPeak(kPeakIntegerPcm);
    if (s.duration > 0 && s.time_base.den > 0) {
        estimatedFrames_ = av_rescale_q(s.duration, s.time_base, AVRational{1, GetSampleRate()});
    } else if (format_->duration > 0) {
        estimatedFrames_ = av_rescale(format_->duration, GetSampleRate(), AV_TIME_BASE);
    }
    if (GetSampleRate() < 1 || !packet_ || !frame_ || !OpenDecoder()) SetError(kSourceBadFormat);
}

LFFMPEGSoundSourceBase::~LFFMPEGSoundSourceBase() {
    av_channel_layout_uninit(&outLayout_);
    av_channel_layout_uninit(&inLayout_);
}

bool LFFMPEGSoundSourceBase::OpenDecoder() const {
    const AVCodecParameters& parameters = *format_->streams[stream_]->codecpar;
    const AVCodec* decoder = avcodec_find_decoder(parameters.codec_id);
    if (!decoder) return false;
    codec_.reset(avcodec_alloc_context3(decoder));
    if (!codec_ || avcodec_parameters_to_context(codec_.get(), &parameters) < 0) return false;
    codec_->pkt_timebase = format_->streams[stream_]->time_base;
    return avcodec_open2(codec_.get(), decoder, nullptr) >= 0;
}

void LFFMPEGSoundSourceBase::Rewind() const {
    AVFormatContext* reopened = nullptr;
    pending_.clear();
    pendingOffset_ = 0;
    bufferStart_ = 0;
    drained_ = ended_ = false;
    resampler_.reset();
    if (OpenInput(path_, isToStop_.get(), &reopened) != kSourceOk) {
        drained_ = ended_ = true;
        return;
    }
    format_.reset(reopened);
    if (!OpenDecoder()) drained_ = ended_ = true;
}

bool LFFMPEGSoundSourceBase::Convert(const AVFrame& frame) const {
    // A new resampler for the first frame and whenever the input's format
    // changes; its output stays the stream's first format.
    const bool changed = !resampler_ || frame.format != inFormat_ || frame.sample_rate != inRate_ ||
                         av_channel_layout_compare(&frame.ch_layout, &inLayout_) != 0;
    if (changed) {
        resampler_.reset();
        SwrContext* context = nullptr;
        AVChannelLayout in = frame.ch_layout;  // a shallow copy, for the non-const parameter
        if (swr_alloc_set_opts2(&context, &outLayout_, AV_SAMPLE_FMT_FLT, GetSampleRate(), &in,
                                static_cast<AVSampleFormat>(frame.format), frame.sample_rate, 0, nullptr) < 0 ||
            swr_init(context) < 0) {
            swr_free(&context);
            return false;
        }
        resampler_.reset(context);
        inFormat_ = frame.format;
        inRate_ = frame.sample_rate;
        av_channel_layout_uninit(&inLayout_);
        av_channel_layout_copy(&inLayout_, &frame.ch_layout);
    }
    const int room = swr_get_out_samples(resampler_.get(), frame.nb_samples);
    if (room <= 0) return true;
    const size_t channels = static_cast<size_t>(GetChannels());
    scratch_.resize(static_cast<size_t>(room) * channels);
    uint8_t* out = reinterpret_cast<uint8_t*>(scratch_.data());
    const int made = swr_convert(resampler_.get(), &out, room, const_cast<const uint8_t**>(frame.extended_data),
                                 frame.nb_samples);
    if (made < 0) return false;
    const size_t first = pending_.size();
    pending_.insert(pending_.end(), scratch_.begin(), scratch_.begin() + static_cast<long>(made * channels));
    if (precision_ == 16) {
        // FFmpeg's floats are v / 32768; ours for 16-bit audio are v / 32767,
        // so that writing 16 bits again gives every value back.
        for (size_t i = first; i < pending_.size(); ++i) pending_[i] *= 32768.0f / 32767.0f;
    }
    return true;
}

void LFFMPEGSoundSourceBase::TakeFrame() const {
    if (!Convert(*frame_)) LOGERRORF("FFmpeg: a frame of %s could not be converted", path_.c_str());
    av_frame_unref(frame_.get());
}

// The resampler's last samples once the decoder is empty.
void LFFMPEGSoundSourceBase::Finish() const {
    if (resampler_) {
        const int room = swr_get_out_samples(resampler_.get(), 0);
        if (room > 0) {
            const size_t channels = static_cast<size_t>(GetChannels());
            scratch_.resize(static_cast<size_t>(room) * channels);
            uint8_t* out = reinterpret_cast<uint8_t*>(scratch_.data());
            const int made = swr_convert(resampler_.get(), &out, room, nullptr, 0);
            if (made > 0) pending_.insert(pending_.end(), scratch_.begin(), scratch_.begin() + static_cast<long>(made * channels));
        }
    }
    ended_ = true;
}

bool LFFMPEGSoundSourceBase::DecodeMore() const {
    if (ended_) return false;
    if (drained_) {
        Finish();
        return true;
    }
    // Frames the decoder still holds come first.
    if (avcodec_receive_frame(codec_.get(), frame_.get()) == 0) {
        TakeFrame();
        return true;
    }
    for (;;) {
        const int read = av_read_frame(format_.get(), packet_.get());
        if (read < 0) {
            // The end of the file, a truncation or a stop: what is decoded stands.
            avcodec_send_packet(codec_.get(), nullptr);
            while (avcodec_receive_frame(codec_.get(), frame_.get()) == 0) TakeFrame();
            drained_ = true;
            return true;
        }
        if (packet_->stream_index != stream_) {
            av_packet_unref(packet_.get());
            continue;
        }
        const int sent = avcodec_send_packet(codec_.get(), packet_.get());
        av_packet_unref(packet_.get());
        if (sent < 0 && sent != AVERROR(EAGAIN)) {
            LOGERRORF("FFmpeg: skipped a damaged packet of %s", path_.c_str());
            continue;
        }
        bool took = false;
        for (;;) {
            const int received = avcodec_receive_frame(codec_.get(), frame_.get());
            if (received == AVERROR(EAGAIN) || received == AVERROR_EOF) break;
            if (received < 0) {
                LOGERRORF("FFmpeg: skipped undecodable data of %s", path_.c_str());
                break;
            }
            TakeFrame();
            took = true;
        }
        if (took) return true;
    }
}

void LFFMPEGSoundSourceBase::DecodeUntil(long long frame) const {
    const long long channels = GetChannels();
    while (bufferStart_ + static_cast<long long>(pending_.size() - pendingOffset_) / channels < frame) {
        if (!DecodeMore()) return;
    }
}

long long LFFMPEGSoundSourceBase::GetEndSample() const {
    if (!IsOk()) return 0;
    DecodeUntil(std::max<long long>(position_, 0) + kLookaheadFrames);
    return bufferStart_ + static_cast<long long>(pending_.size() - pendingOffset_) / GetChannels();
}

void LFFMPEGSoundSourceBase::Read(float* buffer, long long frames) {
    const long long channels = GetChannels();
    if (frames <= 0) return;
    if (!IsOk()) {
        std::fill_n(buffer, frames * channels, 0.0f);
        position_ += frames;
        return;
    }
    if (position_ < bufferStart_) Rewind();
    while (frames > 0) {
        if (position_ < 0) {
            const long long silent = std::min(-position_, frames);
            std::fill_n(buffer, silent * channels, 0.0f);
            buffer += silent * channels;
            position_ += silent;
            frames -= silent;
            continue;
        }
        DecodeUntil(position_ + std::min(frames, kLookaheadFrames));
        const long long buffered = static_cast<long long>(pending_.size() - pendingOffset_) / channels;
        // Frames before the position are passed over.
        const long long skip = std::min(position_ - bufferStart_, buffered);
        pendingOffset_ += static_cast<size_t>(skip * channels);
        bufferStart_ += skip;
        const long long available = buffered - skip;
        if (position_ > bufferStart_ || available == 0) {
            if (ended_) {  // past the end: silence
                std::fill_n(buffer, frames * channels, 0.0f);
                position_ += frames;
                return;
            }
            continue;
        }
        const long long n = std::min(frames, available);
        std::memcpy(buffer, pending_.data() + pendingOffset_, static_cast<size_t>(n * channels) * sizeof(float));
        pendingOffset_ += static_cast<size_t>(n * channels);
        bufferStart_ += n;
        position_ += n;
        buffer += n * channels;
        frames -= n;
        if (pendingOffset_ > pending_.size() / 2) {  // keep the buffer from growing without end
            pending_.erase(pending_.begin(), pending_.begin() + static_cast<long>(pendingOffset_));
            pendingOffset_ = 0;
        }
    }
}

void LFFMPEGSourceManager::FormatCloser::operator()(AVFormatContext* context) const { avformat_close_input(&context); }

LFFMPEGSourceManager::LFFMPEGSourceManager() = default;
LFFMPEGSourceManager::~LFFMPEGSourceManager() = default;

bool LFFMPEGSourceManager::Open(const std::string& path, StopPredicate isToStop) {
    format_.reset();
    path_ = path;
    isToStop_ = std::make_unique<StopPredicate>(std::move(isToStop));
    AVFormatContext* context = nullptr;
    error_ = OpenInput(path, isToStop_.get(), &context);
    if (error_ != kSourceOk) return false;
    format_.reset(context);
    return true;
}

LSoundSource LFFMPEGSourceManager::GetSoundSource(int streamIndex) {
    if (!format_) return MakeSource<LSoundSourceError>(error_ != kSourceOk ? error_ : (unsigned char)kSourceClosed);
    AVFormatContext* context = format_.get();
    int stream = streamIndex;
    if (stream < 0 || stream >= static_cast<int>(context->nb_streams) ||
        context->streams[stream]->codecpar->codec_type != AVMEDIA_TYPE_AUDIO) {
        stream = av_find_best_stream(context, AVMEDIA_TYPE_AUDIO, -1, -1, nullptr, 0);
    }
    if (stream < 0) return MakeSource<LSoundSourceError>(kSourceBadFormat);
    LSoundSource source = MakeSource<LFFMPEGSoundSourceBase>(format_.release(), stream, path_, std::move(isToStop_));
    if (!source->IsOk()) return MakeSource<LSoundSourceError>(source->GetError());
    return source;
}

int LFFMPEGSourcePrecision(const LSoundSource& source) {
    const auto* ffmpeg = dynamic_cast<const LFFMPEGSoundSourceBase*>(source.Get());
    return ffmpeg ? ffmpeg->Precision() : 0;
}

long long LFFMPEGSourceEstimatedFrames(const LSoundSource& source) {
    const auto* ffmpeg = dynamic_cast<const LFFMPEGSoundSourceBase*>(source.Get());
    return ffmpeg ? ffmpeg->EstimatedFrames() : 0;
}
