// Random seeks (any signed 64-bit value) and reads through a chain of the
// structural sources: nothing may crash, hang or write outside the buffer.
#include "stream/LChannelJoinSourceBase.h"
#include "stream/LLoopSource.h"
#include "stream/LSRCCrossFade.h"
#include "stream/LSRCJoin.h"
#include "stream/LSRCOffset.h"
#include "stream/LSSRCCat.h"
#include "stream/LSubSource.h"
#include "stream/testing/RampSource.h"

#include <gtest/gtest.h>

#include <climits>
#include <memory>
#include <random>
#include <vector>

namespace {

long long RandomPosition(std::mt19937_64& rng) {
    switch (rng() % 6) {
        case 0: return static_cast<long long>(rng());  // anything
        case 1: return LLONG_MIN + static_cast<long long>(rng() % 3);
        case 2: return LLONG_MAX - static_cast<long long>(rng() % 3);
        case 3: return -static_cast<long long>(rng() % 5000);
        default: return static_cast<long long>(rng() % 20000);
    }
}

TEST(StreamChain, RandomSeeksAndReadsStayInBounds) {
    std::mt19937_64 rng(20240611);
    LCrossFadeRing ring;
    for (int round = 0; round < 20; ++round) {
        LSoundSource ramp(new RampSource(5000 + static_cast<long long>(rng() % 5000)));
        LSoundSource offset;
        offset = MakeSource<LSRCOffset>(ramp, RandomPosition(rng) % 100000);
        LSoundSource sub;
        LSubSource::OpenSource(sub, offset, static_cast<long long>(rng() % 12000) - 2000,
                               static_cast<long long>(rng() % 8000));
        LSoundSource loop;
        LLoopSource::OpenSource(loop, sub, static_cast<long long>(rng() % 3000) - 500,
                                static_cast<long long>(rng() % 9000) - 500);
        LSoundSource other(new RampSource(3000));
        LSoundSource joined(rng() % 2 ? static_cast<LSoundSourceBase*>(new LSRCJoin(loop, other))
                                      : new LChannelJoinSourceBase(loop, other));
        std::vector<LSSRCCat::Entry> entries;
        entries.push_back({joined, 0});
        entries.push_back({LSoundSource(), 20});  // closed handle: silence
        LSoundSource cat(new LSSRCCat(48000, 2, std::move(entries)));
        LSoundSource top;
        LCrossFadeSource::OpenSource(top, cat, &ring);

        for (int step = 0; step < 60; ++step) {
            if (rng() % 3 == 0) top->Seek(RandomPosition(rng));
            if (rng() % 5 == 0) ring.fadePending = true;
            const long long frames = static_cast<long long>(rng() % 3000) - 100;
            const long long n = frames > 0 ? frames : 0;
            // A guard zone after the request shows any write past it.
            std::vector<float> buffer(static_cast<size_t>(n * 2 + 64), 123.0f);
            top->Read(buffer.data(), frames);
            for (size_t i = static_cast<size_t>(n * 2); i < buffer.size(); ++i) ASSERT_EQ(buffer[i], 123.0f);
            (void)top->GetEndSample();
            (void)top->GetPositionSample();
            long value = static_cast<long>(RandomPosition(rng));
            loop->ControlMessage(ControlWrapPosition, &value);
            (void)loop->AdjustRelativeOffset(RandomPosition(rng) % 100000, RandomPosition(rng) % 100000);
        }
    }
}

}  // namespace
