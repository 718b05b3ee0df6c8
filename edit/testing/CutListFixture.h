#pragma once
// Shared by the cut-list tests: items with known frames in an isolated cache,
// and reading a list back whole.
#include "edit/LCutListAudio.h"
#include "edit/testing/SoundCacheFixture.h"

#include <vector>

class CutListTest : public SoundCacheTest {
protected:
    // A new item holding samples, made through a cut-list sink; the returned
    // list holds the only reference.
    static LCutListAudio MakeList(const std::vector<float>& samples, int channels = 1) {
        LCutListAudio list;
        {
            LSoundSink sink = list.OpenSink(44100, channels);
            sink->Write(samples.data(), static_cast<long long>(samples.size()) / channels);
        }
        return list;
    }

    // Mono frames whose values tell item and frame apart: base + frame.
    static std::vector<float> Numbered(long long frames, float base) {
        std::vector<float> samples(frames);
        for (long long i = 0; i < frames; ++i) samples[i] = base + static_cast<float>(i);
        return samples;
    }

    static std::vector<float> ReadAll(const LCutListAudio& list) {
        LSoundSource source = list.OpenSource();
        std::vector<float> out(source->GetEndSample() * source->GetChannels());
        source->Read(out.data(), source->GetEndSample());
        return out;
    }

    static std::vector<long long> Lengths(const LCutListAudio& list) {
        std::vector<long long> lengths;
        for (const LCutListSegment& segment : list.Segments()) lengths.push_back(segment.length);
        return lengths;
    }
};
