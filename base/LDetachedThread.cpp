#include "base/LDetachedThread.h"

LDetachedThread::LDetachedThread(LDetachedThreadsOwner& owner) : owner_(owner) { owner_.Link(this); }

LDetachedThread::~LDetachedThread() {
    // Deleted before it ever ran (or by the owner after the wait): make sure it
    // is no longer listed.
    if (!IsOwnThread())
        owner_.Unlink(this);
}

void LDetachedThread::ThreadEnded() {
    if (owner_.Unlink(this)) {
        delete this;
        return;
    }
    // StopThreadsNow took it out of the list and is waiting to delete it.
    LThread::ThreadEnded();
}

void LDetachedThreadsOwner::Link(LDetachedThread* thread) {
    std::lock_guard<std::mutex> lock(mutex_);
    thread->next_ = head_;
    head_ = thread;
}

bool LDetachedThreadsOwner::Unlink(LDetachedThread* thread) {
    std::lock_guard<std::mutex> lock(mutex_);
    for (LDetachedThread** link = &head_; *link; link = &(*link)->next_) {
        if (*link == thread) {
            *link = thread->next_;
            thread->next_ = nullptr;
            return true;
        }
    }
    return false;
}

void LDetachedThreadsOwner::StopThreadsSoon() {
    std::lock_guard<std::mutex> lock(mutex_);
    for (LDetachedThread* thread = head_; thread; thread = thread->next_)
        thread->Stop();
}

void LDetachedThreadsOwner::StopThreadsNow() {
    std::unique_lock<std::mutex> lock(mutex_);
    while (head_) {
        LDetachedThread* thread = head_;
        head_ = thread->next_;
        thread->next_ = nullptr;
        lock.unlock();
        thread->Stop();
        thread->Wait();
        delete thread;
        lock.lock();
    }
}

int LDetachedThreadsOwner::Count() {
    std::lock_guard<std::mutex> lock(mutex_);
    int count = 0;
    for (LDetachedThread* thread = head_; thread; thread = thread->next_)
        ++count;
    return count;
}
