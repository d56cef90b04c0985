// Row.toC, toJava and free, and the ROWD record.

#include "bridge/row_data.h"

#include <functional>

namespace velk::test {

namespace {

const CallLog bind_calls = {"GetLongField Row.pointer", "SetLongField Row.pointer"};
const CallLog read_calls = {"GetBooleanField Row.hasError", "GetObjectField Row.fields",
                            "GetArrayLength fields"};
const CallLog end_calls = {"DeleteLocalRef fields"};

CallLog field_calls(int i)
{
    return {"GetObjectArrayElement fields " + std::to_string(i), "GetLongField Field.pointer",
            "DeleteLocalRef Field"};
}

class RowTest : public RowDataTest {
protected:
    RowTest() { set_fields(0); }

    void TearDown() override
    {
        if (cache.Row.pointer != nullptr) free();
    }

    // Prepares fields, each with a record of the test's that is full of garbage.
    void set_fields(std::size_t count)
    {
        records.assign(count, DATA{});
        fields.clear();
        for (DATA& record : records) {
            std::memset(static_cast<void*>(&record), 0xAA, sizeof record);
            fields.push_back(jvm.object(field_class));
            jvm.set_record(fields.back(), &record);
        }
        hold(fields);
    }
    void hold(const std::vector<jobject>& elements) { jvm.set_object(row, "fields", jvm.array(elements)); }

    jint to_c() { return jvm.run(Java_com_brel_sorn_velk_Row_toC, row); }
    jint to_java() { return jvm.run(Java_com_brel_sorn_velk_Row_toJava, row); }
    void free() { jvm.run(Java_com_brel_sorn_velk_Row_free, row); }
    ROWD* record() { return jvm.record<ROWD>(row); }
    Bytes bytes() { return Bytes::of(*record()); }
    bool has_error() { return jvm.get_boolean(row, "hasError"); }

    // The record as the engine expects it.
    static Bytes layout(bool has_error, std::uint16_t count, const void* first)
    {
        return Bytes(32)
            .text(8, "ROWD")
            .put<std::uint16_t>(12, 21)
            .put<std::uint16_t>(14, 32)
            .put<std::uint8_t>(17, has_error)
            .put<std::uint16_t>(18, count)
            .put<const void*>(24, first);
    }

    jobject row = jvm.object(row_class);
    std::vector<DATA> records;
    std::vector<jobject> fields;
};

TEST_F(RowTest, ToCMakesARecordOfThirtyTwoBytes)
{
    EXPECT_EQ(to_c(), 0);
    EXPECT_EQ(heap.sizes(), std::vector<std::size_t>{32});
    EXPECT_EQ(heap.size_of(record()), 32U);
    EXPECT_EQ(bytes(), layout(false, 0, nullptr));
}

TEST_F(RowTest, ToCStoresTheRecordBeforeItReadsTheRest)
{
    to_c();
    EXPECT_EQ(without_trace(log), joined({bind_calls, read_calls, end_calls}));
}

TEST_F(RowTest, ToCSetsByteSeventeenFromHasError)
{
    jvm.set_boolean(row, "hasError", true);
    to_c();
    EXPECT_EQ(bytes(), layout(true, 0, nullptr));
    jvm.set_boolean(row, "hasError", false);
    to_c();
    EXPECT_EQ(bytes(), layout(false, 0, nullptr));
}

TEST_F(RowTest, ToCLinksThreeFieldsInTheirOrder)
{
    set_fields(3);
    EXPECT_EQ(to_c(), 0);
    EXPECT_EQ(bytes(), layout(false, 3, &records[0]));
    EXPECT_EQ(records[0].next, &records[1]);
    EXPECT_EQ(records[1].next, &records[2]);
    EXPECT_EQ(records[2].next, nullptr);
}

TEST_F(RowTest, ToCTakesOneFieldAtATime)
{
    set_fields(3);
    to_c();
    EXPECT_EQ(without_trace(log),
              joined({bind_calls, read_calls, field_calls(0), field_calls(1), field_calls(2), end_calls}));
    EXPECT_TRUE(jvm.left().empty());
}

TEST_F(RowTest, ToCWritesNothingButTheLinkIntoAField)
{
    set_fields(2);
    to_c();
    EXPECT_EQ(Bytes::of(records[0]), Bytes(56, 0xAA).put(0, &records[1]));
    EXPECT_EQ(Bytes::of(records[1]), Bytes(56, 0xAA).put<void*>(0, nullptr));
}

TEST_F(RowTest, ToCLinksASingleField)
{
    set_fields(1);
    to_c();
    EXPECT_EQ(bytes(), layout(false, 1, &records[0]));
    EXPECT_EQ(records[0].next, nullptr);
}

TEST_F(RowTest, ASecondToCUsesTheSameRecord)
{
    set_fields(2);
    to_c();
    const ROWD* const first = record();
    log.clear();
    EXPECT_EQ(to_c(), 0);
    EXPECT_EQ(record(), first);
    EXPECT_EQ(heap.made(), 1U);
    EXPECT_EQ(without_trace(log),
              joined({{"GetLongField Row.pointer"}, read_calls, field_calls(0), field_calls(1), end_calls}));
}

TEST_F(RowTest, ASecondToCRebuildsTheChain)
{
    set_fields(3);
    to_c();
    hold({fields[2], fields[0]});
    to_c();
    EXPECT_EQ(bytes(), layout(false, 2, &records[2]));
    EXPECT_EQ(records[2].next, &records[0]);
    EXPECT_EQ(records[0].next, nullptr);
}

TEST_F(RowTest, ARecordThatIsThereIsNotCleared)
{
    set_fields(1);
    jvm.set_record(row, foreign_record<ROWD>(0xEE));
    to_c();
    EXPECT_EQ(bytes(),
              Bytes(32, 0xEE).put<std::uint8_t>(17, 0).put<std::uint16_t>(18, 1).put(24, &records[0]));
}

TEST_F(RowTest, AnEmptyArrayLeavesTheFirstFieldAsItWas)
{
    set_fields(2);
    to_c();
    hold({});
    EXPECT_EQ(to_c(), 0);
    EXPECT_EQ(bytes(), layout(false, 0, &records[0]));
    EXPECT_EQ(records[0].next, &records[1]);
}

TEST_F(RowTest, OfSeventyThousandFieldsAllAreLinkedAndTheCountKeepsSixteenBits)
{
    set_fields(70000);
    EXPECT_EQ(to_c(), 0);
    EXPECT_EQ(bytes(), layout(false, 4464, &records[0]));
    for (std::size_t i = 0; i + 1 < records.size(); ++i) ASSERT_EQ(records[i].next, &records[i + 1]) << i;
    EXPECT_EQ(records.back().next, nullptr);
}

TEST_F(RowTest, OfSixtyFiveThousandFiveHundredAndThirtySixFieldsTheCountIsZero)
{
    set_fields(65536);
    to_c();
    EXPECT_EQ(bytes(), layout(false, 0, &records[0]));
    EXPECT_EQ(records[65534].next, &records[65535]);
    EXPECT_EQ(records[65535].next, nullptr);
}

// Fields that cannot be linked.

TEST_F(RowTest, AFieldWithoutARecordThrowsAndNamesItsIndex)
{
    for (int i = 0; i < 3; ++i) {
        SCOPED_TRACE(i);
        set_fields(3);
        jvm.set_long(fields[static_cast<std::size_t>(i)], "pointer", 0);
        EXPECT_EQ(to_c(), 0);
        const std::string message =
            "Row.toC: fields[" + std::to_string(i) + "] has no native record: call Field.toC on it first";
        EXPECT_EQ(jvm.take_exception(), velk_exception(message, -1));
    }
}

TEST_F(RowTest, ANullFieldThrowsAndNamesItsIndex)
{
    for (int i = 0; i < 3; ++i) {
        SCOPED_TRACE(i);
        set_fields(3);
        fields[static_cast<std::size_t>(i)] = nullptr;
        hold(fields);
        EXPECT_EQ(to_c(), 0);
        const std::string message = "Row.toC: fields[" + std::to_string(i) + "] is null";
        EXPECT_EQ(jvm.take_exception(), velk_exception(message, -1));
    }
}

TEST_F(RowTest, BehindAFieldWithoutARecordNothingIsRead)
{
    set_fields(3);
    jvm.set_long(fields[1], "pointer", 0);
    to_c();
    jvm.take_exception();
    EXPECT_EQ(without_trace(log),
              joined({bind_calls, read_calls, field_calls(0), field_calls(1),
                      throw_calls("Row.toC: fields[1] has no native record: call Field.toC on it first"),
                      end_calls}));
}

TEST_F(RowTest, BehindANullFieldNothingIsRead)
{
    set_fields(3);
    hold({fields[0], nullptr, fields[2]});
    to_c();
    jvm.take_exception();
    EXPECT_EQ(without_trace(log), joined({bind_calls,
                                          read_calls,
                                          field_calls(0),
                                          {"GetObjectArrayElement fields 1", "ExceptionCheck"},
                                          throw_calls("Row.toC: fields[1] is null"),
                                          end_calls}));
}

// What makes the field at an index one that cannot be linked, once the fields have been linked before.
struct Obstacle {
    const char* name;
    std::function<void(Jvm&, jobject row, std::vector<jobject> fields, int i)> put;
};

const Obstacle obstacles[] = {
    {"no record", [](Jvm& jvm, jobject, const std::vector<jobject>& fields,
                     int i) { jvm.set_long(fields[static_cast<std::size_t>(i)], "pointer", 0); }},
    {"null",
     [](Jvm& jvm, jobject row, std::vector<jobject> fields, int i) {
         fields[static_cast<std::size_t>(i)] = nullptr;
         jvm.set_object(row, "fields", jvm.array(fields));
     }},
    {"an exception", [](Jvm& jvm, jobject, const std::vector<jobject>&,
                        int i) { jvm.fail({.function = "GetObjectArrayElement", .nth = i + 1}); }},
};

TEST_F(RowTest, NothingStaleHangsFromAChainThatCouldNotBeCompleted)
{
    for (const Obstacle& obstacle : obstacles) {
        for (int i = 0; i < 3; ++i) {
            SCOPED_TRACE(std::string(obstacle.name) + " at " + std::to_string(i));
            set_fields(3);
            to_c();
            obstacle.put(jvm, row, fields, i);
            record()->fieldCount = 99;
            to_c();
            EXPECT_TRUE(jvm.take_exception().has_value());
            EXPECT_EQ(record()->fieldCount, 3); // Java's, so that an engine refuses the shorter chain
            EXPECT_EQ(record()->firstField, i == 0 ? nullptr : &records[0]);
            for (int linked = 0; linked < i; ++linked) {
                const auto index = static_cast<std::size_t>(linked);
                EXPECT_EQ(records[index].next, linked + 1 < i ? &records[index + 1] : nullptr);
            }
        }
    }
}

TEST_F(RowTest, AnExceptionOfTheElementFetchSurfaces)
{
    set_fields(2);
    jvm.fail({.function = "GetObjectArrayElement", .nth = 2});
    engine.trace.mask = trace_all;
    EXPECT_EQ(to_c(), 0);
    EXPECT_EQ(jvm.take_exception()->class_name, "java/lang/OutOfMemoryError");
    EXPECT_EQ(without_trace(log), joined({bind_calls,
                                          read_calls,
                                          field_calls(0),
                                          {"GetObjectArrayElement fields 1", "ExceptionCheck"},
                                          end_calls}));
    EXPECT_EQ(engine.records.back(), exit_record(0xC0817, 1678));
    EXPECT_EQ(engine.records.size(), 3U); // no return code
}

TEST_F(RowTest, ANullArrayThrows)
{
    jvm.set_object(row, "fields", nullptr);
    EXPECT_EQ(to_c(), 0);
    EXPECT_EQ(jvm.take_exception(), velk_exception("Row.toC: fields is null", -1));
    EXPECT_EQ(without_trace(log), joined({bind_calls,
                                          {"GetBooleanField Row.hasError", "GetObjectField Row.fields"},
                                          throw_calls("Row.toC: fields is null")}));
    EXPECT_EQ(bytes(), layout(false, 0, nullptr));
}

TEST_F(RowTest, NothingStaleHangsFromARowWhoseArrayIsNull)
{
    set_fields(2);
    to_c();
    jvm.set_object(row, "fields", nullptr);
    to_c();
    jvm.take_exception();
    EXPECT_EQ(record()->firstField, nullptr);
}

// Failures of memory and of the throw itself.

TEST_F(RowTest, WithoutMemoryToCThrowsAndThePointerStaysZero)
{
    heap.fail(1);
    EXPECT_EQ(to_c(), 0);
    EXPECT_EQ(jvm.take_exception(), velk_exception("Row.toC: out of memory for the ROWD record", -1));
    EXPECT_TRUE(heap.has_failed());
    EXPECT_EQ(jvm.get_long(row, "pointer"), 0);
    EXPECT_TRUE(heap.held().empty());
    EXPECT_EQ(without_trace(log), joined({{"GetLongField Row.pointer"},
                                          throw_calls("Row.toC: out of memory for the ROWD record")}));
}

TEST_F(RowTest, ToCReturnsWhatAFailedThrowReturned)
{
    jvm.set_object(row, "fields", nullptr);
    jvm.fail({.function = "Throw", .exception = nullptr, .result = -6});
    EXPECT_EQ(to_c(), -6);
}

TEST_F(RowTest, WhereTheExceptionCannotBeMadeTheJvmsOwnSurfaces)
{
    jvm.set_object(row, "fields", nullptr);
    jvm.fail({.function = "NewObject"});
    EXPECT_EQ(to_c(), 0);
    EXPECT_EQ(jvm.take_exception()->class_name, "java/lang/OutOfMemoryError");
}

// toJava and free.

TEST_F(RowTest, ToJavaCopiesHasErrorBack)
{
    set_fields(1);
    to_c();
    record()->hasError = 1;
    log.clear();
    EXPECT_EQ(to_java(), 0);
    EXPECT_TRUE(has_error());
    EXPECT_EQ(without_trace(log), (CallLog{"GetLongField Row.pointer", "SetBooleanField Row.hasError"}));
    record()->hasError = 0;
    to_java();
    EXPECT_FALSE(has_error());
}

TEST_F(RowTest, ToJavaReadsAnyByteButZeroAsTrue)
{
    to_c();
    for (const int byte : {2, 0x80, 0xFF}) {
        SCOPED_TRACE(byte);
        jvm.set_boolean(row, "hasError", false);
        record()->hasError = static_cast<std::uint8_t>(byte);
        to_java();
        EXPECT_TRUE(has_error());
    }
}

TEST_F(RowTest, ToJavaReadsNoOtherByteOfTheRecord)
{
    void* foreign = foreign_record<ROWD>(0xEE);
    static_cast<ROWD*>(foreign)->hasError = 0;
    jvm.set_record(row, foreign);
    jvm.set_boolean(row, "hasError", true);
    const Bytes before = bytes();
    to_java();
    EXPECT_FALSE(has_error());
    EXPECT_EQ(bytes(), before);
}

TEST_F(RowTest, ToJavaWithoutARecordChangesNothing)
{
    jvm.set_boolean(row, "hasError", true);
    EXPECT_EQ(to_java(), 0);
    EXPECT_TRUE(has_error());
    EXPECT_EQ(without_trace(log), CallLog{"GetLongField Row.pointer"});
}

TEST_F(RowTest, FreeReleasesTheRecordAndNoField)
{
    set_fields(2);
    to_c();
    log.clear();
    free();
    EXPECT_EQ(log, (CallLog{"GetLongField Row.pointer", "SetLongField Row.pointer"}));
    EXPECT_EQ(jvm.get_long(row, "pointer"), 0);
    EXPECT_TRUE(heap.held().empty());
    EXPECT_EQ(heap.freed(), 1U);
    EXPECT_EQ(Bytes::of(records[0]), Bytes(56, 0xAA).put(0, &records[1]));
}

TEST_F(RowTest, FreeWithoutARecordDoesNothing)
{
    free();
    EXPECT_EQ(log, CallLog{"GetLongField Row.pointer"});
}

TEST_F(RowTest, FreeTwiceIsHarmless)
{
    to_c();
    free();
    log.clear();
    free();
    EXPECT_EQ(log, CallLog{"GetLongField Row.pointer"});
    EXPECT_EQ(heap.freed(), 1U);
}

TEST_F(RowTest, AfterFreeToCMakesANewRecord)
{
    set_fields(1);
    to_c();
    free();
    EXPECT_EQ(to_c(), 0);
    EXPECT_EQ(bytes(), layout(false, 1, &records[0]));
    EXPECT_EQ(heap.made(), 2U);
}

// A cache that is not filled, a scope that does not open, the trace.

TEST_F(RowTest, BeforeInit0NothingIsDone)
{
    cache = {};
    engine.trace.mask = trace_all;
    EXPECT_EQ(to_c(), 0);
    EXPECT_EQ(to_java(), 0);
    free();
    EXPECT_EQ(without_trace(log), CallLog{});
    EXPECT_EQ(engine.records, (std::vector{entry_record(0xC0817, 1638, {pointer_item("env", jvm.env())}),
                                           exit_record(0xC0817, 1678),
                                           entry_record(0xC0818, 1696, {pointer_item("env", jvm.env())}),
                                           exit_record(0xC0818, 1710)}));
}

TEST_F(RowTest, WhereTheScopeDoesNotOpenItsStatusIsReturnedAndNothingDone)
{
    set_fields(1);
    refuse_scope(trace::Row_toC, 77);
    refuse_scope(trace::Row_toJava, -2);
    EXPECT_EQ(to_c(), 77);
    EXPECT_EQ(to_java(), -2);
    EXPECT_EQ(log, (CallLog{"Provider_TraceRegister C0817", "Provider_TraceBegin C0817",
                            "Provider_TraceRegister C0818", "Provider_TraceBegin C0818"}));
    EXPECT_EQ(jvm.get_long(row, "pointer"), 0);
    EXPECT_EQ(heap.made(), 0U);
}

TEST_F(RowTest, ToCTracesTheRecordAndTheNumberOfFields)
{
    set_fields(3);
    to_c();
    expect_traced(
        engine, log,
        {entry_record(0xC0817, 1638, {pointer_item("env", jvm.env())}),
         data_record(0xC0817, 1656, {pointer_item("jPointer", record()), integer_item("jFieldCount", 3)}),
         exit_record(0xC0817, 1678)},
        [&] { EXPECT_EQ(to_c(), 0); });
}

TEST_F(RowTest, ToCTracesTheWholeNumberOfSeventyThousandFields)
{
    set_fields(70000);
    engine.trace.mask = trace_mask_data;
    to_c();
    EXPECT_EQ(engine.records,
              (std::vector{data_record(
                  0xC0817, 1656, {pointer_item("jPointer", record()), integer_item("jFieldCount", 70000)})}));
}

TEST_F(RowTest, ToCTracesAFieldWithoutARecordBeforeItThrows)
{
    set_fields(1);
    to_c();
    jvm.set_long(fields[0], "pointer", 0);
    expect_traced(
        engine, log,
        {entry_record(0xC0817, 1638, {pointer_item("env", jvm.env())}),
         data_record(0xC0817, 1656, {pointer_item("jPointer", record()), integer_item("jFieldCount", 1)}),
         return_code_record(0xC0817, 1678, -1), exit_record(0xC0817, 1678)},
        [&] {
            to_c();
            jvm.take_exception();
        });
}

TEST_F(RowTest, TheReturnCodeIsTracedBeforeTheThrowAndTheExitBehindIt)
{
    heap.fail(1);
    engine.trace.mask = trace_all;
    to_c();
    jvm.take_exception();
    EXPECT_EQ(log, joined({{"Provider_TraceRegister C0817", "Provider_TraceBegin C0817",
                            "Provider_TraceWrite entry 1638", "GetLongField Row.pointer",
                            "Provider_TraceWrite return code -1 at 1678"},
                           throw_calls("Row.toC: out of memory for the ROWD record"),
                           {"Provider_TraceWrite exit 1678", "Provider_TraceEnd"}}));
}

TEST_F(RowTest, ToJavaTracesTheRecord)
{
    to_c();
    expect_traced(engine, log,
                  {entry_record(0xC0818, 1696, {pointer_item("env", jvm.env())}),
                   data_record(0xC0818, 1702, {pointer_item("jPointer", record())}),
                   exit_record(0xC0818, 1710)},
                  [&] { EXPECT_EQ(to_java(), 0); });
}

TEST_F(RowTest, ToJavaTracesThatThereIsNoRecord)
{
    expect_traced(engine, log,
                  {entry_record(0xC0818, 1696, {pointer_item("env", jvm.env())}),
                   data_record(0xC0818, 1702, {pointer_item("jPointer", nullptr)}),
                   exit_record(0xC0818, 1710)},
                  [&] { EXPECT_EQ(to_java(), 0); });
}

} // namespace
} // namespace velk::test
