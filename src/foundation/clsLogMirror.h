#pragma once
// On-screen mirrors of the log: a list that shows the newest entries first, and single-line text
// fields (a text box, a status-bar panel). The web UI implements them; the log never owns them.
// Called on the thread that writes the entry. Implementations must not throw.

#include <string>

class clsListMirror {
public:
    virtual ~clsListMirror() = default;
    virtual int ItemCount() const = 0;
    virtual void RemoveItem(int index) = 0;
    virtual void InsertItem(int index, std::string text) = 0;
};

class clsTextMirror {
public:
    virtual ~clsTextMirror() = default;
    virtual void SetText(std::string text) = 0;
};
