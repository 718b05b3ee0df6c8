#pragma once
// Interfaces that wrap another one: a plain forwarder, and the sub-process
// views with which a larger job hands a share of its progress bar to a step.
#include "base/LProcessInterface.h"

// Forwards every operation to the inner interface, which must outlive it.
class LProcessInterfaceNested : public LProcessInterface {
public:
    explicit LProcessInterfaceNested(LProcessInterface& inner) : inner_(inner) {}

    bool IsToStop() override { return inner_.IsToStop(); }
    bool ProcessWait(unsigned int ms) override { return inner_.ProcessWait(ms); }
    int ProcessWaitSignal(LSignalObjectRef s, unsigned int ms) override { return inner_.ProcessWaitSignal(s, ms); }
    int ProcessWaitSignalObjectGroup(LSignalObjectGroup& g, unsigned int ms) override {
        return inner_.ProcessWaitSignalObjectGroup(g, ms);
    }
    bool ProcessWaitUntilStopped() override { return inner_.ProcessWaitUntilStopped(); }
    int ProcessWaitSignalForever(LSignalObjectRef s) override { return inner_.ProcessWaitSignalForever(s); }
    int ProcessWaitSignalObjectGroupForever(LSignalObjectGroup& g) override {
        return inner_.ProcessWaitSignalObjectGroupForever(g);
    }
    void SetError(char const* text) override { inner_.SetError(text); }
    void SetStatus(char const* text, int line) override { inner_.SetStatus(text, line); }
    void SetProgress(double fraction) override { inner_.SetProgress(fraction); }
    void SetProgressIndeterminateOn() override { inner_.SetProgressIndeterminateOn(); }
    void SetProgressIndeterminateOff() override { inner_.SetProgressIndeterminateOff(); }

    LProcessInterface& Inner() { return inner_; }

private:
    LProcessInterface& inner_;
};

// A step of a larger job: progress p goes on as p * scale + offset, and its
// status lines move down by one, so the step's main line becomes the detail line.
class LProcessInterfaceSubProcess : public LProcessInterfaceNested {
public:
    LProcessInterfaceSubProcess(LProcessInterface& inner, double offset, double scale)
        : LProcessInterfaceNested(inner), offset_(offset), scale_(scale) {}

    void SetRange(double offset, double scale) { offset_ = offset; scale_ = scale; }
    void SetProgress(double fraction) override { Inner().SetProgress(fraction * scale_ + offset_); }
    void SetStatus(char const* text, int line) override { Inner().SetStatus(text, line + LineShift()); }

protected:
    virtual int LineShift() const { return 1; }

private:
    double offset_;
    double scale_;
};

// A step of a step: the same progress mapping, status lines moved down by two.
class LProcessInterfaceRecursiveSubProcess : public LProcessInterfaceSubProcess {
public:
    using LProcessInterfaceSubProcess::LProcessInterfaceSubProcess;

protected:
    int LineShift() const override { return 2; }
};
