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
    struct Script {
        std::string_view Moves, After;
    };
    for (const Script& s : {Script{"NNNNP", "23EE3"}, Script{"LNF", "3E1"}, Script{"PPN", "BB1"},
                            Script{"LPPP", "321B"}}) {
        clsRecordset recordset = ThreeRows();
        EXPECT_EQ(recordset.RecordCount(), 3);
        EXPECT_EQ(recordset.Field("ID").AsLong(), 1);  // opens on the first row
        for (std::size_t i = 0; i < s.Moves.size(); ++i) {
            SCOPED_TRACE(s.Moves.substr(0, i + 1));
            (recordset.*kMoves.at(s.Moves[i]))();
            const char after = s.After[i];
            EXPECT_EQ(recordset.Eof(), after == 'E');
            EXPECT_EQ(recordset.Bof(), after == 'B');
            EXPECT_EQ(recordset.Field("ID").AsLong(), std::isdigit(after) ? after - '0' : 0);
            EXPECT_EQ(recordset.LastError().IsOk(), std::isdigit(after) != 0);
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
    struct Lookup {
        std::string_view Name;
        clsDbValue Expected;
        bool Found;
    };
    const clsRecordset recordset = ThreeRows();
    for (const Lookup& c :
         {Lookup{"Rules.ID", 1, true}, Lookup{"folders.id", 10, true}, Lookup{"id", 1, true},
          Lookup{"NAME", "a", true}, Lookup{"Rules.Name", "a", true},
          Lookup{"Folders.Name", {}, false}, Lookup{"Nope", {}, false}, Lookup{"Rules.", {}, false},
          Lookup{".ID", {}, false}}) {
        SCOPED_TRACE(c.Name);
        EXPECT_EQ(recordset.Field(c.Name), c.Expected);
        EXPECT_EQ(recordset.HasField(c.Name), c.Found);
        EXPECT_EQ(recordset.LastError().GetCode(),
                  c.Found ? clsStatus::Code::Ok : clsStatus::Code::NotFound);
    }
}

TEST(Recordset, WithoutATableNothingCanBeSetOrWritten) {
    clsRecordset recordset = ThreeRows();
    EXPECT_FALSE(recordset.SetField("Name", "x"));
    EXPECT_FALSE(recordset.LastError().IsOk());
    EXPECT_EQ(recordset.Field("Name"), clsDbValue("a"));
    EXPECT_FALSE(recordset.UpdateBatch());
}

}  // namespace
