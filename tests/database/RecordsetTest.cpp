#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "database/clsRecordset.h"

namespace {

clsRecordset ThreeRows() {
    return clsRecordset({{"ID", "Rules"}, {"ID", "Folders"}, {"Name", "Rules"}},
                        {{1, 10, "a"}, {2, 20, "b"}, {3, 30, "c"}}, "", {}, {});
}

TEST(Recordset, MovesLikeAnAdoCursor) {
    struct Step {
        char Move;  // F first, N next, P previous, L last
        bool Eof, Bof;
        long Current;  // the ID of the current row, 0 without one
    };
    const std::vector<std::vector<Step>> scripts = {
        {{'N', false, false, 2},
         {'N', false, false, 3},
         {'N', true, false, 0},
         {'N', true, false, 0},
         {'P', false, false, 3}},
        {{'L', false, false, 3}, {'N', true, false, 0}, {'F', false, false, 1}},
        {{'P', false, true, 0}, {'P', false, true, 0}, {'N', false, false, 1}},
        {{'L', false, false, 3},
         {'P', false, false, 2},
         {'P', false, false, 1},
         {'P', false, true, 0}},
    };
    for (const auto& script : scripts) {
        clsRecordset recordset = ThreeRows();
        EXPECT_EQ(recordset.RecordCount(), 3);
        EXPECT_EQ(recordset.Field("ID").AsLong(), 1);  // opens on the first row
        std::string trace;
        for (const Step& step : script) {
            trace += step.Move;
            SCOPED_TRACE(trace);
            switch (step.Move) {
                case 'F':
                    recordset.MoveFirst();
                    break;
                case 'N':
                    recordset.MoveNext();
                    break;
                case 'P':
                    recordset.MovePrevious();
                    break;
                default:
                    recordset.MoveLast();
                    break;
            }
            EXPECT_EQ(recordset.Eof(), step.Eof);
            EXPECT_EQ(recordset.Bof(), step.Bof);
            EXPECT_EQ(recordset.Field("ID").AsLong(), step.Current);
            EXPECT_EQ(recordset.LastError().IsOk(), step.Current != 0);
        }
    }
}

TEST(Recordset, EmptyIsBothEofAndBofWhateverTheMove) {
    clsRecordset recordset({{"ID", "Rules"}}, {}, "", {}, {});
    for (void (clsRecordset::*move)() : {&clsRecordset::MoveFirst, &clsRecordset::MoveLast,
                                         &clsRecordset::MoveNext, &clsRecordset::MovePrevious}) {
        (recordset.*move)();
        EXPECT_TRUE(recordset.Eof());
        EXPECT_TRUE(recordset.Bof());
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
