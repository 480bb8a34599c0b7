#include <gtest/gtest.h>

#include <map>
#include <string>
#include <string_view>

#include "database/clsRecordset.h"

namespace {

using Move = void (clsRecordset::*)();
const std::map<char, Move> kMoves{{'F', &clsRecordset::MoveFirst},
                                  {'L', &clsRecordset::MoveLast},
                                  {'N', &clsRecordset::MoveNext},
                                  {'P', &clsRecordset::MovePrevious}};

TEST(Recordset, EmptyIsBothEofAndBofWhateverTheMove) {
    clsRecordset recordset({{"ID", "Rules"}}, {}, "", {}, {});
    for (const auto& [name, move] : kMoves) {
        SCOPED_TRACE(name);
        (recordset.*move)();
        EXPECT_TRUE(recordset.Eof() && recordset.Bof());
        EXPECT_TRUE(recordset.Field("ID").IsNull());
        EXPECT_FALSE(recordset.LastError().IsOk());
    }
}

TEST(Recordset, FindsFieldsPlainOrByTableIgnoringCase) {
    const clsRecordset recordset({{"ID", "Rules"}, {"ID", "Folders"}, {"Name", "Rules"}},
                                 {{1, 10, "a"}, {2, 20, "b"}}, "", {}, {});
    using Lookup = std::pair<std::string_view, clsDbValue>;  // Null: no such field
    for (const auto& [name, expected] :
         {Lookup{"Rules.ID", 1}, Lookup{"folders.id", 10}, Lookup{"id", 1}, Lookup{"NAME", "a"},
          Lookup{"Rules.Name", "a"}, Lookup{"Folders.Name", {}}, Lookup{"Nope", {}},
          Lookup{"Rules.", {}}, Lookup{".ID", {}}}) {
        SCOPED_TRACE(name);
        const bool found = !expected.IsNull();
        EXPECT_EQ(recordset.Field(name), expected);
        EXPECT_EQ(recordset.HasField(name), found);
        EXPECT_EQ(recordset.LastError().GetCode(),
                  found ? clsStatus::Code::Ok : clsStatus::Code::NotFound);
    }
}

}  // namespace
