// RowSet.toC, toJava and free, and the RWST record.

#include "bridge/row_data.h"

#include <functional>

namespace velk::test {

namespace {

const CallLog bind_calls = {"GetLongField RowSet.pointer", "SetLongField RowSet.pointer"};
const CallLog read_calls = {"GetObjectField RowSet.rows", "GetArrayLength rows"};
const CallLog end_calls = {"DeleteLocalRef rows"};

CallLog row_calls(int i)
{
    return {"GetObjectArrayElement rows " + std::to_string(i), "GetLongField Row.pointer",
            "DeleteLocalRef Row"};
}

class RowSetTest : public RowDataTest {
protected:
    RowSetTest() { set_rows(0); }

    void TearDown() override
    {
        if (cache.RowSet.pointer != nullptr) free();
    }

    // Prepares rows, each with a record of the test's that is full of garbage.
    void set_rows(std::size_t count)
    {
        records.assign(count, ROWD{});
        rows.clear();
        for (ROWD& record : records) {
            std::memset(static_cast<void*>(&record), 0xAA, sizeof record);
            rows.push_back(jvm.object(row_class));
            jvm.set_record(rows.back(), &record);
        }
        hold(rows);
    }
    void hold(const std::vector<jobject>& elements) { jvm.set_object(row_set, "rows", jvm.array(elements)); }

    jint to_c() { return jvm.run(Java_com_brel_sorn_velk_RowSet_toC, row_set); }
    jint to_java() { return jvm.run(Java_com_brel_sorn_velk_RowSet_toJava, row_set); }
    void free() { jvm.run(Java_com_brel_sorn_velk_RowSet_free, row_set); }
    RWST* record() { return jvm.record<RWST>(row_set); }
    Bytes bytes() { return Bytes::of(*record()); }

    // The record with its header, as the engine expects it.
    static Bytes layout(std::int32_t count, const void* first)
    {
        return Bytes(24)
            .text(0, "RWST")
            .put<std::uint16_t>(4, 21)
            .put<std::uint16_t>(6, 24)
            .put<std::int32_t>(8, count)
            .put<const void*>(16, first);
    }

    jobject row_set = jvm.object(row_set_class);
    std::vector<ROWD> records;
    std::vector<jobject> rows;
};

TEST_F(RowSetTest, ToCMakesARecordOfTwentyFourBytes)
{
    EXPECT_EQ(to_c(), 0);
    EXPECT_EQ(heap.sizes(), std::vector<std::size_t>{24});
    EXPECT_EQ(heap.size_of(record()), 24U);
    EXPECT_EQ(bytes(), layout(0, nullptr));
}

TEST_F(RowSetTest, ToCStoresTheRecordBeforeItReadsTheRows)
{
    to_c();
    EXPECT_EQ(without_trace(log), joined({bind_calls, read_calls, end_calls}));
}

TEST_F(RowSetTest, ToCLinksThreeRowsInTheirOrder)
{
    set_rows(3);
    EXPECT_EQ(to_c(), 0);
    EXPECT_EQ(bytes(), layout(3, &records[0]));
    EXPECT_EQ(records[0].next, &records[1]);
    EXPECT_EQ(records[1].next, &records[2]);
    EXPECT_EQ(records[2].next, nullptr);
}

TEST_F(RowSetTest, ToCTakesOneRowAtATime)
{
    set_rows(3);
    to_c();
    EXPECT_EQ(without_trace(log),
              joined({bind_calls, read_calls, row_calls(0), row_calls(1), row_calls(2), end_calls}));
    EXPECT_TRUE(jvm.left().empty());
}

TEST_F(RowSetTest, ToCWritesNothingButTheLinkIntoARow)
{
    set_rows(2);
    to_c();
    EXPECT_EQ(Bytes::of(records[0]), Bytes(32, 0xAA).put(0, &records[1]));
    EXPECT_EQ(Bytes::of(records[1]), Bytes(32, 0xAA).put<void*>(0, nullptr));
}

TEST_F(RowSetTest, ToCLinksASingleRow)
{
    set_rows(1);
    to_c();
    EXPECT_EQ(bytes(), layout(1, &records[0]));
    EXPECT_EQ(records[0].next, nullptr);
}

TEST_F(RowSetTest, ASecondToCUsesTheSameRecord)
{
    set_rows(2);
    to_c();
    const RWST* const first = record();
    log.clear();
    EXPECT_EQ(to_c(), 0);
    EXPECT_EQ(record(), first);
    EXPECT_EQ(heap.made(), 1U);
    EXPECT_EQ(without_trace(log),
              joined({{"GetLongField RowSet.pointer"}, read_calls, row_calls(0), row_calls(1), end_calls}));
}

TEST_F(RowSetTest, ASecondToCRebuildsTheChain)
{
    set_rows(3);
    to_c();
    hold({rows[2], rows[0]});
    to_c();
    EXPECT_EQ(bytes(), layout(2, &records[2]));
    EXPECT_EQ(records[2].next, &records[0]);
    EXPECT_EQ(records[0].next, nullptr);
}

TEST_F(RowSetTest, ARecordThatIsThereIsNotCleared)
{
    set_rows(1);
    jvm.set_record(row_set, foreign_record<RWST>(0xEE));
    to_c();
    EXPECT_EQ(bytes(), Bytes(24, 0xEE).put<std::int32_t>(8, 1).put(16, &records[0]));
}

TEST_F(RowSetTest, AnEmptyArrayLeavesTheFirstRowAsItWas)
{
    set_rows(2);
    to_c();
    hold({});
    EXPECT_EQ(to_c(), 0);
    EXPECT_EQ(bytes(), layout(0, &records[0]));
    EXPECT_EQ(records[0].next, &records[1]);
}

TEST_F(RowSetTest, SeventyThousandRowsAreCountedAndLinked)
{
    set_rows(70000);
    EXPECT_EQ(to_c(), 0);
    EXPECT_EQ(bytes(), layout(70000, &records[0]));
    for (std::size_t i = 0; i + 1 < records.size(); ++i) ASSERT_EQ(records[i].next, &records[i + 1]) << i;
    EXPECT_EQ(records.back().next, nullptr);
}

TEST_F(RowSetTest, ToCLeavesTheJavaFieldsButThePointerAlone)
{
    jvm.set_boolean(row_set, "rowSetHasInfo", true);
    const jobject array = jvm.get_object(row_set, "rows");
    to_c();
    to_java();
    EXPECT_TRUE(jvm.get_boolean(row_set, "rowSetHasInfo"));
    EXPECT_EQ(jvm.get_object(row_set, "rows"), array);
}

// Rows that cannot be linked.

TEST_F(RowSetTest, ARowWithoutARecordThrowsAndNamesItsIndex)
{
    for (int i = 0; i < 3; ++i) {
        SCOPED_TRACE(i);
        set_rows(3);
        jvm.set_long(rows[static_cast<std::size_t>(i)], "pointer", 0);
        EXPECT_EQ(to_c(), 0);
        const std::string message =
            "RowSet.toC: rows[" + std::to_string(i) + "] has no native record: call Row.toC on it first";
        EXPECT_EQ(jvm.take_exception(), velk_exception(message, -1));
    }
}

TEST_F(RowSetTest, ANullRowThrowsAndNamesItsIndex)
{
    for (int i = 0; i < 3; ++i) {
        SCOPED_TRACE(i);
        set_rows(3);
        rows[static_cast<std::size_t>(i)] = nullptr;
        hold(rows);
        EXPECT_EQ(to_c(), 0);
        const std::string message = "RowSet.toC: rows[" + std::to_string(i) + "] is null";
        EXPECT_EQ(jvm.take_exception(), velk_exception(message, -1));
    }
}

TEST_F(RowSetTest, BehindARowWithoutARecordNothingIsRead)
{
    set_rows(3);
    jvm.set_long(rows[1], "pointer", 0);
    to_c();
    jvm.take_exception();
    EXPECT_EQ(without_trace(log),
              joined({bind_calls, read_calls, row_calls(0), row_calls(1),
                      throw_calls("RowSet.toC: rows[1] has no native record: call Row.toC on it first"),
                      end_calls}));
}

TEST_F(RowSetTest, BehindANullRowNothingIsRead)
{
    set_rows(3);
    hold({rows[0], nullptr, rows[2]});
    to_c();
    jvm.take_exception();
    EXPECT_EQ(without_trace(log), joined({bind_calls,
                                          read_calls,
                                          row_calls(0),
                                          {"GetObjectArrayElement rows 1", "ExceptionCheck"},
                                          throw_calls("RowSet.toC: rows[1] is null"),
                                          end_calls}));
}

// What makes the row at an index one that cannot be linked, once the rows have been linked before.
struct Obstacle {
    const char* name;
    std::function<void(Jvm&, jobject row_set, std::vector<jobject> rows, int i)> put;
};

const Obstacle obstacles[] = {
    {"no record", [](Jvm& jvm, jobject, const std::vector<jobject>& rows,
                     int i) { jvm.set_long(rows[static_cast<std::size_t>(i)], "pointer", 0); }},
    {"null",
     [](Jvm& jvm, jobject row_set, std::vector<jobject> rows, int i) {
         rows[static_cast<std::size_t>(i)] = nullptr;
         jvm.set_object(row_set, "rows", jvm.array(rows));
     }},
    {"an exception", [](Jvm& jvm, jobject, const std::vector<jobject>&,
                        int i) { jvm.fail({.function = "GetObjectArrayElement", .nth = i + 1}); }},
};

TEST_F(RowSetTest, NothingStaleHangsFromAChainThatCouldNotBeCompleted)
{
    for (const Obstacle& obstacle : obstacles) {
        for (int i = 0; i < 3; ++i) {
            SCOPED_TRACE(std::string(obstacle.name) + " at " + std::to_string(i));
            set_rows(3);
            to_c();
            obstacle.put(jvm, row_set, rows, i);
            record()->rowCount = 99;
            to_c();
            EXPECT_TRUE(jvm.take_exception().has_value());
            EXPECT_EQ(record()->rowCount, 3); // Java's, so that an engine refuses the shorter chain
            EXPECT_EQ(record()->firstRow, i == 0 ? nullptr : &records[0]);
            for (int linked = 0; linked < i; ++linked) {
                const auto index = static_cast<std::size_t>(linked);
                EXPECT_EQ(records[index].next, linked + 1 < i ? &records[index + 1] : nullptr);
            }
        }
    }
}

TEST_F(RowSetTest, AnExceptionOfTheElementFetchSurfaces)
{
    set_rows(2);
    jvm.fail({.function = "GetObjectArrayElement", .nth = 2});
    engine.trace.mask = trace_all;
    EXPECT_EQ(to_c(), 0);
    EXPECT_EQ(jvm.take_exception()->class_name, "java/lang/OutOfMemoryError");
    EXPECT_EQ(without_trace(log), joined({bind_calls,
                                          read_calls,
                                          row_calls(0),
                                          {"GetObjectArrayElement rows 1", "ExceptionCheck"},
                                          end_calls}));
    EXPECT_EQ(engine.records.back(), exit_record(0xC0814, 1568));
    EXPECT_EQ(engine.records.size(), 3U); // no return code
}

TEST_F(RowSetTest, ANullArrayThrows)
{
    jvm.set_object(row_set, "rows", nullptr);
    EXPECT_EQ(to_c(), 0);
    EXPECT_EQ(jvm.take_exception(), velk_exception("RowSet.toC: rows is null", -1));
    EXPECT_EQ(without_trace(log),
              joined({bind_calls, {"GetObjectField RowSet.rows"}, throw_calls("RowSet.toC: rows is null")}));
    EXPECT_EQ(bytes(), layout(0, nullptr));
}

TEST_F(RowSetTest, NothingStaleHangsFromARowSetWhoseArrayIsNull)
{
    set_rows(2);
    to_c();
    jvm.set_object(row_set, "rows", nullptr);
    to_c();
    jvm.take_exception();
    EXPECT_EQ(record()->firstRow, nullptr);
}

// Failures of memory and of the throw itself.

TEST_F(RowSetTest, WithoutMemoryToCThrowsAndThePointerStaysZero)
{
    heap.fail(1);
    EXPECT_EQ(to_c(), 0);
    EXPECT_EQ(jvm.take_exception(), velk_exception("RowSet.toC: out of memory for the RWST record", -1));
    EXPECT_TRUE(heap.has_failed());
    EXPECT_EQ(jvm.get_long(row_set, "pointer"), 0);
    EXPECT_TRUE(heap.held().empty());
    EXPECT_EQ(without_trace(log), joined({{"GetLongField RowSet.pointer"},
                                          throw_calls("RowSet.toC: out of memory for the RWST record")}));
}

TEST_F(RowSetTest, ToCReturnsWhatAFailedThrowReturned)
{
    jvm.set_object(row_set, "rows", nullptr);
    jvm.fail({.function = "Throw", .exception = nullptr, .result = -6});
    EXPECT_EQ(to_c(), -6);
}

TEST_F(RowSetTest, WhereTheExceptionCannotBeMadeTheJvmsOwnSurfaces)
{
    jvm.set_object(row_set, "rows", nullptr);
    jvm.fail({.function = "NewObject"});
    EXPECT_EQ(to_c(), 0);
    EXPECT_EQ(jvm.take_exception()->class_name, "java/lang/OutOfMemoryError");
}

// toJava and free.

TEST_F(RowSetTest, ToJavaCopiesNothingBack)
{
    set_rows(2);
    to_c();
    const Bytes before = bytes();
    log.clear();
    EXPECT_EQ(to_java(), 0);
    EXPECT_EQ(without_trace(log), CallLog{});
    EXPECT_EQ(bytes(), before);
}

TEST_F(RowSetTest, FreeReleasesTheRecordAndNoRow)
{
    set_rows(2);
    to_c();
    log.clear();
    free();
    EXPECT_EQ(log, (CallLog{"GetLongField RowSet.pointer", "SetLongField RowSet.pointer"}));
    EXPECT_EQ(jvm.get_long(row_set, "pointer"), 0);
    EXPECT_TRUE(heap.held().empty());
    EXPECT_EQ(heap.freed(), 1U);
    EXPECT_EQ(Bytes::of(records[0]), Bytes(32, 0xAA).put(0, &records[1]));
}

TEST_F(RowSetTest, FreeWithoutARecordDoesNothing)
{
    free();
    EXPECT_EQ(log, CallLog{"GetLongField RowSet.pointer"});
}

TEST_F(RowSetTest, FreeTwiceIsHarmless)
{
    to_c();
    free();
    log.clear();
    free();
    EXPECT_EQ(log, CallLog{"GetLongField RowSet.pointer"});
    EXPECT_EQ(heap.freed(), 1U);
}

TEST_F(RowSetTest, AfterFreeToCMakesANewRecord)
{
    set_rows(1);
    to_c();
    free();
    EXPECT_EQ(to_c(), 0);
    EXPECT_EQ(bytes(), layout(1, &records[0]));
    EXPECT_EQ(heap.made(), 2U);
}

// A cache that is not filled, a scope that does not open, the trace.

TEST_F(RowSetTest, BeforeInit0NothingIsDone)
{
    cache = {};
    engine.trace.mask = trace_all;
    EXPECT_EQ(to_c(), 0);
    EXPECT_EQ(to_java(), 0);
    free();
    EXPECT_EQ(without_trace(log), CallLog{});
    EXPECT_EQ(engine.records, (std::vector{entry_record(0xC0814, 1529, {pointer_item("env", jvm.env())}),
                                           exit_record(0xC0814, 1568),
                                           entry_record(0xC0815, 1584, {pointer_item("env", jvm.env())}),
                                           exit_record(0xC0815, 1589)}));
}

TEST_F(RowSetTest, WhereTheScopeDoesNotOpenItsStatusIsReturnedAndNothingDone)
{
    set_rows(1);
    refuse_scope(trace::RowSet_toC, 77);
    refuse_scope(trace::RowSet_toJava, -2);
    EXPECT_EQ(to_c(), 77);
    EXPECT_EQ(to_java(), -2);
    EXPECT_EQ(log, (CallLog{"Provider_TraceRegister C0814", "Provider_TraceBegin C0814",
                            "Provider_TraceRegister C0815", "Provider_TraceBegin C0815"}));
    EXPECT_EQ(jvm.get_long(row_set, "pointer"), 0);
    EXPECT_EQ(heap.made(), 0U);
}

TEST_F(RowSetTest, ToCTracesTheRecordAndTheNumberOfRows)
{
    set_rows(3);
    to_c();
    expect_traced(
        engine, log,
        {entry_record(0xC0814, 1529, {pointer_item("env", jvm.env())}),
         data_record(0xC0814, 1545, {pointer_item("jPointer", record()), integer_item("jRowCount", 3)}),
         exit_record(0xC0814, 1568)},
        [&] { EXPECT_EQ(to_c(), 0); });
}

TEST_F(RowSetTest, ToCTracesNoRowsTheSameWay)
{
    to_c();
    expect_traced(
        engine, log,
        {entry_record(0xC0814, 1529, {pointer_item("env", jvm.env())}),
         data_record(0xC0814, 1545, {pointer_item("jPointer", record()), integer_item("jRowCount", 0)}),
         exit_record(0xC0814, 1568)},
        [&] { EXPECT_EQ(to_c(), 0); });
}

TEST_F(RowSetTest, ToCTracesARowWithoutARecordBeforeItThrows)
{
    set_rows(1);
    to_c();
    jvm.set_long(rows[0], "pointer", 0);
    expect_traced(
        engine, log,
        {entry_record(0xC0814, 1529, {pointer_item("env", jvm.env())}),
         data_record(0xC0814, 1545, {pointer_item("jPointer", record()), integer_item("jRowCount", 1)}),
         return_code_record(0xC0814, 1568, -1), exit_record(0xC0814, 1568)},
        [&] {
            to_c();
            jvm.take_exception();
        });
}

TEST_F(RowSetTest, TheReturnCodeIsTracedBeforeTheThrowAndTheExitBehindIt)
{
    jvm.set_object(row_set, "rows", nullptr);
    engine.trace.mask = trace_all;
    to_c();
    jvm.take_exception();
    EXPECT_EQ(log, joined({{"Provider_TraceRegister C0814", "Provider_TraceBegin C0814",
                            "Provider_TraceWrite entry 1529"},
                           bind_calls,
                           {"GetObjectField RowSet.rows", "Provider_TraceWrite return code -1 at 1568"},
                           throw_calls("RowSet.toC: rows is null"),
                           {"Provider_TraceWrite exit 1568", "Provider_TraceEnd"}}));
}

TEST_F(RowSetTest, ToJavaTracesItsEntryAndItsExit)
{
    expect_traced(engine, log,
                  {entry_record(0xC0815, 1584, {pointer_item("env", jvm.env())}), exit_record(0xC0815, 1589)},
                  [&] { EXPECT_EQ(to_java(), 0); });
}

} // namespace
} // namespace velk::test
