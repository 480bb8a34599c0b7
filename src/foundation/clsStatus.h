#pragma once
// clsStatus: the outcome of one step inside a component. Public operations never let a failure
// escape; they turn a failed status into an AddErrorLog entry ("message: description(number)")
// and return their neutral value.

#include <string>
#include <utility>

class [[nodiscard]] clsStatus {
public:
    enum class Code { Ok, NotFound, Denied, Temporary, Corrupt, Io, Invalid, Database };

    static clsStatus Ok() { return clsStatus(Code::Ok, 0, {}); }
    // number: the error number that the log shows in brackets (errno, an SQLite code, ...).
    static clsStatus Error(Code code, std::string description, long number = 0) {
        return clsStatus(code, number == 0 ? DefaultNumber(code) : number, std::move(description));
    }

    bool IsOk() const { return mCode == Code::Ok; }
    Code GetCode() const { return mCode; }
    long Number() const { return mNumber; }
    const std::string& Description() const { return mDescription; }

private:
    clsStatus(Code code, long number, std::string description)
        : mCode(code), mNumber(number), mDescription(std::move(description)) {}
    // Numbers for failures that have no number of their own, in a range no errno reaches.
    static long DefaultNumber(Code code) { return 1000 + static_cast<long>(code); }

    Code mCode;
    long mNumber;
    std::string mDescription;
};
