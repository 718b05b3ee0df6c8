#pragma once
#include "stream/LChannelJoinSourceBase.h"

// A stereo stream made of two mono streams, left at even places, reusing one
// scratch buffer for both sides. Its end is the left stream's end. An input
// with more than one channel contributes its first channel.
class LSRCJoin : public LChannelJoinSourceBase {
public:
    LSRCJoin(const LSoundSource& left, const LSoundSource& right)
        : LChannelJoinSourceBase(left, right, /*shareScratch=*/true) {}

    long long GetEndSample() const override { return Left()->GetEndSample(); }
};
