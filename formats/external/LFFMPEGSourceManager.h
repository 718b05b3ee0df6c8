#pragma once
// FFmpeg as the last reader of the opening ladder: whatever media file its
// libraries know (AAC, Vorbis, Opus, WavPack, video containers...) decoded
// to interleaved float frames.
//
// LFFMPEGSourceManager opens a file (the "file" protocol only, so a crafted
// name can't make FFmpeg reach the network) and hands out a source over one
// of its audio streams. The source decodes as it is read: its end is known
// once decoding reached it. Until then GetEndSample() stays at least a
// lookahead of decoded frames beyond the position (so a copy never reads past
// the real end), and IsStreaming() is true. A mid-stream change of rate or
// channels is converted back to the stream's first format; damaged packets
// are skipped with a log line; a truncated file gives what decoded.
//
// One thread at a time per object, as for every source. The stop predicate
// is asked while FFmpeg reads; returning true ends the reading.
#include "stream/LSoundSource.h"

#include <functional>
#include <memory>
#include <string>

struct AVFormatContext;

class LFFMPEGSourceManager {
public:
    using StopPredicate = std::function<bool()>;

    LFFMPEGSourceManager();
    ~LFFMPEGSourceManager();
    LFFMPEGSourceManager(const LFFMPEGSourceManager&) = delete;
    LFFMPEGSourceManager& operator=(const LFFMPEGSourceManager&) = delete;

    // Opens the file and reads its stream information. False with a source
    // error code in Error() (4 can't be opened, 3 not a media file FFmpeg reads,
    // 1 stopped).
    bool Open(const std::string& path, StopPredicate isToStop = {});
    unsigned char Error() const { return error_; }

    // The source over audio stream `streamIndex`; -1, or the index of a
    // stream that isn't audio, means the best audio stream. The source takes
    // the opened file over; a second call gives an error source. Error 3 when
    // there is no audio stream or no decoder for it.
    LSoundSource GetSoundSource(int streamIndex = -1);

private:
    struct FormatCloser {
        void operator()(AVFormatContext* context) const;
    };
    std::unique_ptr<AVFormatContext, FormatCloser> format_;
    std::string path_;
    // On the heap: FFmpeg's reading layer keeps a pointer to it from the
    // opening on, and the source takes it along with the opened file.
    std::unique_ptr<StopPredicate> isToStop_;
    unsigned char error_ = 0;
};

// What a decoded FFmpeg stream's samples were before decoding: 16 for
// integer codecs of up to 16 bits, 24 for 24-bit ones, 0 for everything that
// decodes to float (lossy codecs) or wider. For choosing the precision of a
// file the decoded audio is written to. Answers 0 for other sources.
int LFFMPEGSourcePrecision(const LSoundSource& source);
// The stream's length as its container announces it, in frames; 0 when not
// known. For progress only: the real end is known once decoding reached it.
long long LFFMPEGSourceEstimatedFrames(const LSoundSource& source);
