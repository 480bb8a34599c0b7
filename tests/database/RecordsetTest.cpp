#include <gtest/gtest.h>

#include <cctype>
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

clsRecordset ThreeRows() {
    return clsRecordset({{"ID", "Rules"}, {"ID", "Folders"}, {"Name", "Rules"}},
                        {{1, 10, "a"}, {2, 20, "b"}, {3, 30, "c"}}, "", {}, {});
}

TEST(Recordset, MovesLikeAnAdoCursor) {
    // After each move (First, Last, Next, Previous): the current row's ID, E past the end or B
    // before the start.
    using Script = std::pair<std::string_view, std::string_view>;
    for (const auto& [moves, after] : {Script{"NNNNP", "23EE3"}, Script{"LNF", "3E1"},
                                       Script{"PPN", "BB1"}, Script{"LPPP", "321B"}}) {
        clsRecordset recordset = ThreeRows();
        EXPECT_EQ(recordset.RecordCount(), 3);
        EXPECT_EQ(recordset.Field("ID").AsLong(), 1);  // opens on the first row
        for (std::size_t i = 0; i < moves.size(); ++i) {
            SCOPED_TRACE(moves.substr(0, i + 1));
            (recordset.*kMoves.at(moves[i]))();
            EXPECT_EQ(recordset.Eof(), after[i] == 'E');
            EXPECT_EQ(recordset.Bof(), after[i] == 'B');
            EXPECT_EQ(recordset.Field("ID").AsLong(), std::isdigit(after[i]) ? after[i] - '0' : 0);
            EXPECT_EQ(recordset.LastError().IsOk(), std::isdigit(after[i]) != 0);
        }
    }
}

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
    const clsRecordset recordset = ThreeRows();
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
