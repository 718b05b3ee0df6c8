#pragma once
// LAudFileSource: a cache file opened by its path, as a user may open one
// from the cache folder: "<name>.aud" holds the float frames, and its
// companion "<name>.audinfo" (the path with "info" appended) tells rate and
// channels. A missing companion gives error 19, a missing file error 4. It
// holds no reference on any cache item: the file is just read.
#include "base/LFile.h"
#include "stream/LSoundSource.h"
#include "stream/LSoundSourceBase.h"

#include <string>

class LAudFileSource : public LSoundSourceBase {
public:
    // The opener's reader for ".aud"; any thread.
    static LSoundSource Open(const std::string& path);

    LAudFileSource(LFile aud, int sampleRate, int channels);

    void Read(float* buffer, long long frames) override;
    long long GetPositionSample() const override { return position_; }
    long long GetEndSample() const override { return end_; }
    void Seek(long long frame) override { position_ = frame; }

private:
    LFile aud_;
    long long position_ = 0;
    long long end_ = 0;
};
