#pragma once
#include "stream/LSoundSinkBase.h"

// What a closed or failed sink becomes: 44100 Hz mono, failed, discards writes.
class LSoundSinkError final : public LSoundSinkBase {
public:
    LSoundSinkError() : LSoundSinkBase(44100, 1) { SetFailed(); }
    void Write(const float*, long long) override {}
};
