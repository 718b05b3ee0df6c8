#include "edit/LMP3LosslessContext.h"

#include <algorithm>

LMP3LosslessContextRoot::~LMP3LosslessContextRoot() {
    for (LMP3LosslessContextClient* client : clients_) client->root_ = nullptr;
}

void LMP3LosslessContextRoot::EnableMP3LosslessMode(bool enabled) {
    if (enabled == enabled_) return;
    enabled_ = enabled;
    // A client may attach or detach others while it is told; walk a snapshot
    // and skip those that left meanwhile.
    const std::vector<LMP3LosslessContextClient*> clients = clients_;
    for (LMP3LosslessContextClient* client : clients) {
        if (std::find(clients_.begin(), clients_.end(), client) != clients_.end()) client->EvMP3LosslessModeChanged(enabled);
    }
}

void LMP3LosslessContextRoot::AddMP3LosslessNotify(LMP3LosslessContextClient* client) {
    if (std::find(clients_.begin(), clients_.end(), client) == clients_.end()) clients_.push_back(client);
}

void LMP3LosslessContextRoot::RemoveMP3LosslessNotify(LMP3LosslessContextClient* client) {
    // Clients detach newest first most of the time (undo snapshots), so look from the back.
    auto it = std::find(clients_.rbegin(), clients_.rend(), client);
    if (it != clients_.rend()) clients_.erase(std::next(it).base());
}

LMP3LosslessContextClient& LMP3LosslessContextClient::operator=(const LMP3LosslessContextClient& other) {
    if (this != &other) Attach(other.root_);
    return *this;
}

void LMP3LosslessContextClient::Attach(LMP3LosslessContextRoot* root) {
    if (root == root_) return;
    if (root_) root_->RemoveMP3LosslessNotify(this);
    root_ = root;
    if (root_) root_->AddMP3LosslessNotify(this);
}
