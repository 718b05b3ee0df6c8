#include "base/LProcessThread.h"

#include "base/LPlatform.h"

#include <cstring>

void LProcessThreadInterface::SetError(char const* text) {
    LProcessInterfaceNested::SetError(text);
    const char* safe = text ? text : "";
    sender_(LNotifyError, safe, std::strlen(safe) + 1);
}

void LProcessThreadInterface::SetStatus(char const* text, int line) {
    LProcessInterfaceNested::SetStatus(text, line);
    uint8_t payload[kNotifyStatusTextBytes + sizeof(int32_t)] = {};
    std::strncpy(reinterpret_cast<char*>(payload), text ? text : "", kNotifyStatusTextBytes - 1);
    const int32_t line32 = line;
    std::memcpy(payload + kNotifyStatusTextBytes, &line32, sizeof line32);
    sender_(LNotifyStatus, payload, sizeof payload);
}

void LProcessThreadInterface::SetProgress(double fraction) {
    LProcessInterfaceNested::SetProgress(fraction);
    sender_(LNotifyProgress, &fraction, sizeof fraction);
}

void LProcessThreadInterface::SetProgressIndeterminateOn() {
    LProcessInterfaceNested::SetProgressIndeterminateOn();
    sender_(LNotifyIndeterminateOn, nullptr, 0);
}

void LProcessThreadInterface::SetProgressIndeterminateOff() {
    LProcessInterfaceNested::SetProgressIndeterminateOff();
    sender_(LNotifyIndeterminateOff, nullptr, 0);
}

LProcessThreadBase::LProcessThreadBase(LProcessInterface* owner)
    : owner_(owner), channel_(std::make_shared<Channel>()) {
    channel_->receiver = this;
}

LProcessThreadBase::~LProcessThreadBase() {
    channel_->receiver = nullptr;
    StopAndWait();
}

LProcessResult LProcessThreadBase::RunJobHere(LProcessInterface& iface) {
    jobDone_.Reset();
    result_ = RunJob(iface);
    jobDone_.Signal();
    return result_.load();
}

void LProcessThreadBase::ThreadFunction() {
    jobDone_.Reset();
    LProcessThreadInterface iface(*this, [this](int code, const void* data, size_t size) {
        PostNotify(code, data, size);
    });
    result_ = RunJob(iface);
    jobDone_.Signal();
    // Posted after every report, so the owner hears "done" last; it also wakes
    // a modal loop waiting for the job.
    std::shared_ptr<Channel> channel = channel_;
    LPostToMainThread([channel] {
        if (LProcessThreadBase* receiver = channel->receiver.load())
            if (receiver->onDone_)
                receiver->onDone_();
    });
}

void LProcessThreadBase::PostNotify(int code, const void* data, size_t size) {
    if (!owner_)
        return;
    const auto* bytes = static_cast<const uint8_t*>(data);
    std::vector<uint8_t> copy(bytes, bytes + size);
    std::shared_ptr<Channel> channel = channel_;
    LPostToMainThread([channel, code, copy = std::move(copy)] {
        if (LProcessThreadBase* receiver = channel->receiver.load())
            receiver->EvQueuedNotifyData(code, copy);
    });
}

void LProcessThreadBase::EvQueuedNotifyData(int code, const std::vector<uint8_t>& data) {
    if (!owner_ || IsToStop())
        return;
    switch (code) {
    case LNotifyError:
        if (!data.empty() && data.back() == 0)
            owner_->SetError(reinterpret_cast<const char*>(data.data()));
        break;
    case LNotifyStatus:
        if (data.size() == kNotifyStatusTextBytes + sizeof(int32_t)) {
            char text[kNotifyStatusTextBytes];
            std::memcpy(text, data.data(), kNotifyStatusTextBytes);
            text[kNotifyStatusTextBytes - 1] = 0;
            int32_t line;
            std::memcpy(&line, data.data() + kNotifyStatusTextBytes, sizeof line);
            owner_->SetStatus(text, line);
        }
        break;
    case LNotifyProgress:
        if (data.size() == sizeof(double)) {
            double fraction;
            std::memcpy(&fraction, data.data(), sizeof fraction);
            owner_->SetProgress(fraction);
        }
        break;
    case LNotifyIndeterminateOn: owner_->SetProgressIndeterminateOn(); break;
    case LNotifyIndeterminateOff: owner_->SetProgressIndeterminateOff(); break;
    default: break;
    }
}
