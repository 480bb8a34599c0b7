#pragma once
// clsLoggedConnection: what every owner of a connection to Rules.mdb shares: the file it works
// on with its open state and connection string, closing and reopening, and the primitives GetRS,
// RunCommand, GetLastID and a one-number query. Each primitive reopens a closed database through
// its owner's open routine, logs its SQL at detail level 3 and its failures under
// "<Component>->GetRS" or "<Component>->RunCommand" with the SQL text. Owned by classRulesDatabase
// and by the folder cache, each with its own connection. Event-loop thread only. Never throws.

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "database/clsDbConnection.h"
#include "foundation/clsLogFile.h"

class clsLoggedConnection {
public:
    using OpenRoutine = std::function<bool(const std::filesystem::path&)>;

    // open: the owner's routine that opens (and checks) a database file; used to reopen.
    clsLoggedConnection(clsLogFile& log, std::string component, OpenRoutine open)
        : mLog(log), mComponent(std::move(component)), mOpen(std::move(open)) {}

    clsDbConnection& Connection() { return mConnection; }

    // Open: the owner has opened the file and found it usable.
    bool IsOpen() const { return mIsOpen; }
    bool IsOpenOn(const std::filesystem::path& file) const { return mIsOpen && mFile == file; }
    // Closes any open file, then remembers file (and its connection string) as the one to open.
    void Remember(const std::filesystem::path& file);
    void SetFile(std::filesystem::path file) { mFile = std::move(file); }
    const std::filesystem::path& File() const { return mFile; }
    const std::string& ConnectionString() const { return mConnectionString; }
    void Close();
    // Connects to the remembered file (making it with create) unless connected already, and
    // marks it open; a failure is logged under "<Component>-><routine>".
    bool Connect(bool create, std::string_view routine);
    // Opens the remembered file again through the owner's routine; false when there is none.
    bool Reopen();

    // Nothing on failure.
    std::unique_ptr<clsRecordset> GetRS(std::string_view sql);
    // GetRS without holding the rows: read gets each in turn (clsDbConnection::QueryEach),
    // logged as GetRS is. False on failure, after the rows read so far.
    bool ForEachRow(std::string_view sql, const clsDbConnection::RowReader& read);
    bool RunCommand(std::string_view sql, long& recordsAffected);
    // The first field of the first row as a number; 0 when there is none.
    std::int64_t GetCount(std::string_view sql);
    std::int32_t GetLastID() {
        return static_cast<std::int32_t>(GetCount("SELECT @@identity AS ID"));
    }

private:
    bool EnsureOpen() { return mIsOpen || Reopen(); }
    // Runs a query through run, logged as GetRS.
    bool Select(std::string_view sql, const std::function<clsStatus()>& run);
    std::string Entry(std::string_view routine) const {
        return mComponent + "->" + std::string(routine);
    }

    clsLogFile& mLog;
    std::string mComponent;
    OpenRoutine mOpen;
    clsDbConnection mConnection;
    std::filesystem::path mFile;
    std::string mConnectionString;
    bool mIsOpen = false;
};
