#pragma once
// clsLoggedConnection: the primitives that every owner of a connection to Rules.mdb shares:
// GetRS, RunCommand, GetLastID and a one-number query, each reopening a closed database through
// its owner, logging its SQL at detail level 3 and its failures under "<Component>->GetRS" or
// "<Component>->RunCommand" with the SQL text. Owned by classRulesDatabase and by the folder
// cache, each with its own connection. Event-loop thread only. Never throws.

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "database/clsDbConnection.h"
#include "foundation/clsLogFile.h"

class clsLoggedConnection {
public:
    // reopen: the owner's way of opening its database again; false when it cannot.
    clsLoggedConnection(clsLogFile& log, std::string component, std::function<bool()> reopen)
        : mLog(log), mComponent(std::move(component)), mReopen(std::move(reopen)) {}

    clsDbConnection& Connection() { return mConnection; }

    // Nothing on failure.
    std::unique_ptr<clsRecordset> GetRS(std::string_view sql);
    bool RunCommand(std::string_view sql, long& recordsAffected);
    // The first field of the first row as a number; 0 when there is none.
    std::int64_t GetCount(std::string_view sql);
    std::int32_t GetLastID() {
        return static_cast<std::int32_t>(GetCount("SELECT @@identity AS ID"));
    }

private:
    bool EnsureOpen() { return mConnection.IsOpen() || mReopen(); }
    std::string Entry(std::string_view routine) const {
        return mComponent + "->" + std::string(routine);
    }

    clsLogFile& mLog;
    std::string mComponent;
    std::function<bool()> mReopen;
    clsDbConnection mConnection;
};
