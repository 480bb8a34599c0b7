#pragma once
// clsListControl: a pick list that the user interface shows (a combo box of rule groups, say).
// Components fill it; the web UI and the command line implement it. Never throws.

#include <cstdint>
#include <string>

class clsListControl {
public:
    virtual ~clsListControl() = default;
    virtual void Clear() = 0;
    // Adds an entry showing text and carrying data (a group's ID, say).
    virtual void AddItem(std::string text, std::int64_t data) = 0;
    virtual int ItemCount() const = 0;
    virtual void SetCurrentIndex(int index) = 0;
};
