#pragma once
// A pipe listener that serves each connection on a detached worker thread of
// type T, constructed as T(owner, fd, context) and started at priority 20.
// The workers are linked into this object, which stops them on Shutdown.
#include "app/LPipeListener.h"
#include "base/LDetachedThread.h"

#include <unistd.h>

#include <utility>

template <class T>
class LPipeListenerWithThreads : public LPipeListener, public LDetachedThreadsOwner {
public:
    using Context = typename T::Context;

    LPipeListenerWithThreads(std::string path, Context context)
        : LPipeListener(std::move(path)), context_(std::move(context)) {}
    ~LPipeListenerWithThreads() override { Shutdown(); }

    // Workers are told to stop first so that none is left waiting on a
    // client while the listener winds down; then the listener ends, and only
    // then are the workers waited for, since the listener may have linked a
    // last one meanwhile.
    void Shutdown() {
        StopThreadsSoon();
        StopAndWait();
        StopThreadsNow();
    }

protected:
    void NewConnection(int fd) override {
        auto* worker = new T(*this, fd, context_);
        if (!worker->Start(T::kPriority))
            delete worker;  // never ran: still ours, and it closes fd
    }

private:
    Context context_;
};
