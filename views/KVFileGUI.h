#pragma once
// KVFileGUI: the view controller of one open document. It holds a counted
// reference on the document, answers the document layer's questions about
// its view (KVFileViewInterface) and knows the controller it reports to.
// The waveform and the spectrogram keep their view state here as they come.
//
// Main thread only. The window manager owns the views; a job that needs the
// document after its view has gone keeps a KVFileRef of its own.
#include "edit/KVFile.h"
#include "edit/KVFileViewInterface.h"

#include <string>

class KVFileGUI : public KVFileViewInterface {
public:
    KVFileGUI(KVFileRef file, KVControllerInterface& controller) : file_(std::move(file)), controller_(controller) {}
    KVFileGUI(const KVFileGUI&) = delete;
    KVFileGUI& operator=(const KVFileGUI&) = delete;

    KVFile* GetFile() override { return file_.get(); }
    bool IsClosing() const override { return closing_; }
    KVControllerInterface& GetController() override { return controller_; }

    const KVFileRef& FileRef() const { return file_; }
    // Puts another document in this view (an empty window taking a loaded file).
    void SetFile(KVFileRef file) { file_ = std::move(file); }
    void SetClosing(bool closing) { closing_ = closing; }

    // A document that holds no audio and was never changed: a window that a
    // loaded file may take over.
    bool IsEmptyDocument() const;
    // The tab's text: the document's file name, or its given name.
    std::string GetTitle() const;

private:
    KVFileRef file_;
    KVControllerInterface& controller_;
    bool closing_ = false;
};
