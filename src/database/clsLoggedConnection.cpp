#include "database/clsLoggedConnection.h"

void clsLoggedConnection::Remember(const std::filesystem::path& file) {
    Close();
    mFile = file;
    mConnectionString = "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + file.string() + ";";
}

void clsLoggedConnection::Close() {
    mConnection.Close();
    mIsOpen = false;
}

bool clsLoggedConnection::Connect(bool create, std::string_view routine) {
    if (!mConnection.IsOpen()) {
        const clsStatus status = mConnection.Open(mFile, create);
        if (!status.IsOk()) {
            mLog.AddErrorLog(Entry(routine), status);
            return false;
        }
    }
    mIsOpen = true;
    return true;
}

bool clsLoggedConnection::Reopen() {
    if (mFile.empty()) {
        return false;
    }
    const std::filesystem::path file = mFile;
    mFile.clear();  // so the open is not skipped as "already open"
    return mOpen(file);
}

std::unique_ptr<clsRecordset> clsLoggedConnection::GetRS(std::string_view sql) {
    std::unique_ptr<clsRecordset> recordset;
    return Select(sql, [&] { return mConnection.Query(sql, recordset); }) ? std::move(recordset)
                                                                          : nullptr;
}

bool clsLoggedConnection::ForEachRow(std::string_view sql, const clsDbConnection::RowReader& read) {
    return Select(sql, [&] { return mConnection.QueryEach(sql, read); });
}

bool clsLoggedConnection::Select(std::string_view sql, const std::function<clsStatus()>& run) {
    try {
        if (!EnsureOpen()) {
            return false;
        }
        mLog.AddLog(Entry("GetRS: ") + std::string(sql), 3);
        const clsStatus status = run();
        if (status.IsOk()) {
            return true;
        }
        mLog.AddErrorLog(Entry("GetRS"), status);
        mLog.AddLog(Entry("GetRS: ") + status.Description() + " " + std::string(sql));
    } catch (const std::exception& error) {
        mLog.AddErrorLog(Entry("GetRS"), error);
    }
    return false;
}

bool clsLoggedConnection::RunCommand(std::string_view sql, long& recordsAffected) {
    recordsAffected = 0;
    try {
        if (!EnsureOpen()) {
            return false;
        }
        mLog.AddLog(Entry("RunCommand: ") + std::string(sql), 3);
        const clsStatus status = mConnection.Execute(sql, recordsAffected);
        if (status.IsOk()) {
            return true;
        }
        mLog.AddErrorLog(Entry("RunCommand"), status);
        mLog.AddLog(Entry("RunCommand: ") + std::string(sql));
    } catch (const std::exception& error) {
        mLog.AddErrorLog(Entry("RunCommand"), error);
    }
    return false;
}

std::int64_t clsLoggedConnection::GetCount(std::string_view sql) {
    const std::unique_ptr<clsRecordset> rs = GetRS(sql);
    return rs && !rs->Eof() && rs->FieldCount() > 0 ? rs->Field(0).AsLong() : 0;
}
