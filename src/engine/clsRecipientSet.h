#pragma once
// clsRecipientSet: the recipients of one item as the matcher sees them: lower-case addresses,
// each once, in the order they were first added. A plain value owned by its caller.

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

class clsRecipientSet {
public:
    void Add(std::string_view address) {
        if (!Exists(address)) {
            mKeys.emplace_back(address);
        }
    }
    bool Exists(std::string_view address) const {
        return std::find(mKeys.begin(), mKeys.end(), address) != mKeys.end();
    }
    const std::vector<std::string>& Keys() const { return mKeys; }
    long Count() const { return static_cast<long>(mKeys.size()); }

private:
    std::vector<std::string> mKeys;
};
