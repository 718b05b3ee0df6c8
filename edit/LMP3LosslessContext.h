#pragma once
// The on/off state of the lossless MP3 mode of one document, and the objects
// that follow it.
//
// A document owns one LMP3LosslessContextRoot. Everything that must react to
// the mode (its cut list and the copies the undo keeps of it, views, dialogs)
// is an LMP3LosslessContextClient attached to that root; the root calls
// EvMP3LosslessModeChanged on each when the mode flips. A client without a
// root reads the mode as off. Roots and clients belong to the user-interface
// thread.
#include <vector>

class LMP3LosslessContextClient;

class LMP3LosslessContextRoot {
public:
    LMP3LosslessContextRoot() = default;
    // Detaches the clients that are still attached: they read "off" from then on.
    ~LMP3LosslessContextRoot();
    LMP3LosslessContextRoot(const LMP3LosslessContextRoot&) = delete;
    LMP3LosslessContextRoot& operator=(const LMP3LosslessContextRoot&) = delete;

    // Sets the mode and tells every attached client when it changes.
    void EnableMP3LosslessMode(bool enabled);
    bool IsMP3LosslessMode() const { return enabled_; }

    void AddMP3LosslessNotify(LMP3LosslessContextClient* client);
    void RemoveMP3LosslessNotify(LMP3LosslessContextClient* client);

private:
    bool enabled_ = false;
    std::vector<LMP3LosslessContextClient*> clients_;
};

class LMP3LosslessContextClient {
public:
    explicit LMP3LosslessContextClient(LMP3LosslessContextRoot* root = nullptr) { Attach(root); }
    // A copy follows the same root as the original.
    LMP3LosslessContextClient(const LMP3LosslessContextClient& other) { Attach(other.root_); }
    LMP3LosslessContextClient& operator=(const LMP3LosslessContextClient& other);
    virtual ~LMP3LosslessContextClient() { Attach(nullptr); }

    virtual void EvMP3LosslessModeChanged(bool /*enabled*/) {}
    virtual bool IsMP3LosslessMode() const { return root_ != nullptr && root_->IsMP3LosslessMode(); }

    // Moves the client to another root (nullptr: none).
    void SetMP3LosslessContextRoot(LMP3LosslessContextRoot* root) { Attach(root); }
    LMP3LosslessContextRoot* GetMP3LosslessContextRoot() const { return root_; }

private:
    friend class LMP3LosslessContextRoot;
    void Attach(LMP3LosslessContextRoot* root);

    LMP3LosslessContextRoot* root_ = nullptr;
};
