#include "database/clsRecordset.h"

#include <algorithm>
#include <exception>

#include "database/clsDbConnection.h"
#include "database/clsJetCollation.h"

namespace {

using Code = clsStatus::Code;

}  // namespace

clsRecordset::clsRecordset(std::vector<Column> columns, std::vector<std::vector<clsDbValue>> rows,
                           std::string updateTable, std::vector<std::int64_t> rowIds,
                           std::weak_ptr<clsDbConnection*> connection)
    : mColumns(std::move(columns)),
      mRows(std::move(rows)),
      mUpdateTable(std::move(updateTable)),
      mRowIds(std::move(rowIds)),
      mChanged(mRows.size() * mColumns.size(), false),
      mConnection(std::move(connection)) {
    if (mRowIds.size() != mRows.size()) {
        mUpdateTable.clear();  // without a rowid per row nothing can be written back
    }
}

bool clsRecordset::Eof() const { return mRows.empty() || mPosition >= RecordCount(); }

bool clsRecordset::Bof() const { return mRows.empty() || mPosition < 0; }

void clsRecordset::MoveFirst() { mPosition = 0; }

void clsRecordset::MoveNext() {
    if (mPosition < RecordCount()) {
        ++mPosition;
    }
}

void clsRecordset::MovePrevious() {
    if (mPosition >= 0) {
        --mPosition;
    }
}

void clsRecordset::MoveLast() { mPosition = RecordCount() - 1; }

long clsRecordset::RecordCount() const { return static_cast<long>(mRows.size()); }

int clsRecordset::FieldCount() const { return static_cast<int>(mColumns.size()); }

const clsRecordset::Column& clsRecordset::FieldInfo(int index) const {
    static const Column kNoColumn;
    if (index < 0 || index >= FieldCount()) {
        mLastError = clsStatus::Error(Code::NotFound, "no field at that index");
        return kNoColumn;
    }
    return mColumns[static_cast<std::size_t>(index)];
}

bool clsRecordset::HasField(std::string_view name) const { return FindField(name) >= 0; }

// A plain name first, so that a field named with a dot is found as it is; then "Table.Field".
int clsRecordset::FindField(std::string_view name) const {
    for (std::size_t i = 0; i < mColumns.size(); ++i) {
        if (clsJetCollation::Equal(mColumns[i].Name, name)) {
            return static_cast<int>(i);
        }
    }
    const std::size_t dot = name.rfind('.');
    if (dot == std::string_view::npos) {
        return -1;
    }
    for (std::size_t i = 0; i < mColumns.size(); ++i) {
        if (clsJetCollation::Equal(mColumns[i].Name, name.substr(dot + 1)) &&
            clsJetCollation::Equal(mColumns[i].Table, name.substr(0, dot))) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

bool clsRecordset::HasCurrentRow() const { return !Eof() && !Bof(); }

clsDbValue clsRecordset::Field(std::string_view name) const {
    try {
        const int index = FindField(name);
        if (index < 0) {
            mLastError = clsStatus::Error(Code::NotFound, "no field named " + std::string(name));
            return {};
        }
        return Field(index);
    } catch (const std::exception& ex) {
        mLastError = clsStatus::Error(Code::Invalid, ex.what());
        return {};
    }
}

clsDbValue clsRecordset::Field(int index) const {
    try {
        if (index < 0 || index >= FieldCount()) {
            mLastError = clsStatus::Error(Code::NotFound, "no field at that index");
            return {};
        }
        if (!HasCurrentRow()) {
            mLastError = clsStatus::Error(Code::Invalid, "no current row");
            return {};
        }
        mLastError = clsStatus::Ok();
        return mRows[static_cast<std::size_t>(mPosition)][static_cast<std::size_t>(index)];
    } catch (const std::exception& ex) {
        mLastError = clsStatus::Error(Code::Invalid, ex.what());
        return {};
    }
}

bool clsRecordset::SetField(std::string_view name, clsDbValue value) {
    try {
        const int index = FindField(name);
        const Column* column = index < 0 ? nullptr : &mColumns[static_cast<std::size_t>(index)];
        if (mUpdateTable.empty()) {
            mLastError = clsStatus::Error(Code::Invalid, "the recordset is not updatable");
        } else if (column == nullptr) {
            mLastError = clsStatus::Error(Code::NotFound, "no field named " + std::string(name));
        } else if (column->Origin.empty() || !clsJetCollation::Equal(column->Table, mUpdateTable)) {
            mLastError = clsStatus::Error(
                Code::Invalid, "field " + column->Name + " is not a column of " + mUpdateTable);
        } else if (!HasCurrentRow()) {
            mLastError = clsStatus::Error(Code::Invalid, "no current row");
        } else {
            const auto row = static_cast<std::size_t>(mPosition);
            mRows[row][static_cast<std::size_t>(index)] = std::move(value);
            mChanged[row * mColumns.size() + static_cast<std::size_t>(index)] = true;
            mLastError = clsStatus::Ok();
            return true;
        }
    } catch (const std::exception& ex) {
        mLastError = clsStatus::Error(Code::Invalid, ex.what());
    }
    return false;
}

// Only the fields SetField changed are written, so a batch never undoes what another statement
// wrote to the same rows since the recordset was read.
bool clsRecordset::UpdateBatch() {
    try {
        if (mUpdateTable.empty()) {
            mLastError = clsStatus::Error(Code::Invalid, "the recordset is not updatable");
            return false;
        }
        std::vector<clsDbConnection::RowChange> changes;
        for (std::size_t row = 0; row < mRows.size(); ++row) {
            clsDbConnection::RowChange change{mRowIds[row], {}, {}};
            for (std::size_t column = 0; column < mColumns.size(); ++column) {
                if (mChanged[row * mColumns.size() + column]) {
                    change.Columns.push_back(mColumns[column].Origin);
                    change.Values.push_back(mRows[row][column]);
                }
            }
            if (!change.Columns.empty()) {
                changes.push_back(std::move(change));
            }
        }
        const std::shared_ptr<clsDbConnection*> connection = mConnection.lock();
        if (!changes.empty() && connection == nullptr) {
            mLastError = clsStatus::Error(Code::Invalid, "the database connection is closed");
            return false;
        }
        mLastError =
            changes.empty() ? clsStatus::Ok() : (*connection)->UpdateRows(mUpdateTable, changes);
        if (mLastError.IsOk()) {
            std::fill(mChanged.begin(), mChanged.end(), false);
        }
        return mLastError.IsOk();
    } catch (const std::exception& ex) {
        mLastError = clsStatus::Error(Code::Invalid, ex.what());
        return false;
    }
}

void clsRecordset::Close() {
    mColumns.clear();
    mRows.clear();
    mRowIds.clear();
    mChanged.clear();
    mUpdateTable.clear();
    mConnection.reset();
    mPosition = 0;
}
