#pragma once
#include "stream/LSoundProcessBase.h"

// Repeats frames [start, end) of the inner source for ever. The end it reports
// stays 8192 frames ahead of the loop's end, so a consumer always sees frames
// left and a player never reaches the end on its own.
class LLoopSourceBase : public LSoundProcessBase {
public:
    static constexpr long long kEndLead = 8192;

    LLoopSourceBase(const LSoundSource& inner, long long start, long long end);

    void Read(float* buffer, long long frames) override;
    long long GetEndSample() const override { return end_ + kEndLead; }
    void Seek(long long frame) override;
    // Code 5 folds *value into the loop; code 6 maps an offset through the
    // inner stages and folds it. Other codes pass on unchanged.
    bool ControlMessage(int code, long* value) override;
    long long AdjustRelativeOffset(long long offset, long long position) override;

    // A position below start maps back from the end, one above end forward
    // from the start; positions inside stay.
    long long Fold(long long position) const;

    long long GetLoopStart() const { return start_; }
    long long GetLoopEnd() const { return end_; }

private:
    long long start_;
    long long end_;
    long long length_;
};

struct LLoopSource {
    // Error 8 for an end below 0 or a start at or past the source's end, error
    // 10 for start == end. A negative start becomes 0 and an end past the
    // source's end is cut to it.
    static void OpenSource(LSoundSource& result, const LSoundSource& source, long long start, long long end);
};
