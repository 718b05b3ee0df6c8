#pragma once
// KVFileViewInterface: what the document layer needs of the view controller
// of one document: its document, whether it is closing, and the controller
// it reports to.
class KVFile;
class KVControllerInterface;

class KVFileViewInterface {
public:
    virtual ~KVFileViewInterface() = default;

    // The document, or nullptr when the view has none.
    virtual KVFile* GetFile() = 0;
    // True while the view is being closed: no edit may start then.
    virtual bool IsClosing() const = 0;
    virtual KVControllerInterface& GetController() = 0;
};
