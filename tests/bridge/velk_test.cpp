// The natives of VELK: the framework's start and end, and the release of the class cache. The class cache
// itself, which init0 fills, has tests of its own.

#include "bridge/bridge_test.h"
#include "records/definitions.h"

#include <climits>
#include <vector>

namespace velk::test {

namespace {

class VelkTest : public BridgeTest {
protected:
    jint initialize(jobject definition)
    {
        return jvm.run(Java_com_brel_sorn_velk_VELK_initializeFramework0, self, definition);
    }
    jint terminate() { return jvm.run(Java_com_brel_sorn_velk_VELK_terminateFramework0, self); }
    jint destroy() { return jvm.run(Java_com_brel_sorn_velk_VELK_destroy0, self); }

    jobject self = jvm.object(velk_class);
    jobject definition = jvm.object(framework_definition_class);
};

// initializeFramework0

TEST_F(VelkTest, InitializeStartsTheFrameworkBeforeItTraces)
{
    engine.trace.mask = trace_all;
    FRPA record{};
    FRPA* passed = nullptr;
    jvm.set_record(definition, &record);
    engine.Provider_FrmwInit = [&](FRPA* argument) {
        passed = argument;
        return 0;
    };
    EXPECT_EQ(initialize(definition), 0);
    EXPECT_EQ(passed, &record);
    EXPECT_EQ(
        log, (CallLog{"GetLongField FrameworkDefinition.pointer", "Provider_FrmwInit FRPA",
                      "Provider_TraceRegister C0801", "Provider_TraceBegin C0801",
                      "Provider_TraceWrite entry 418", "Provider_TraceWrite exit 421", "Provider_TraceEnd"}));
    EXPECT_EQ(engine.records, (std::vector{entry_record(0xC0801, 418), exit_record(0xC0801, 421)}));
}

TEST_F(VelkTest, InitializeOfNullPassesANullRecord)
{
    EXPECT_EQ(initialize(nullptr), 0);
    EXPECT_EQ(without_trace(log), CallLog{"Provider_FrmwInit null"});
}

TEST_F(VelkTest, InitializeOfNullReportsWhateverTheEngineReturns)
{
    engine.Provider_FrmwInit = [](FRPA*) { return -8; };
    EXPECT_EQ(initialize(nullptr), 0);
    EXPECT_EQ(jvm.take_exception(), velk_exception("Provider_FrmwInit failed", -8));
}

TEST_F(VelkTest, InitializeOfADefinitionWithoutARecordPassesANullRecord)
{
    EXPECT_EQ(initialize(definition), 0);
    EXPECT_EQ(without_trace(log),
              (CallLog{"GetLongField FrameworkDefinition.pointer", "Provider_FrmwInit null"}));
}

TEST_F(VelkTest, InitializeThatFailsThrowsTheStatusAndCallsNoTraceOperation)
{
    engine.trace.mask = trace_all;
    for (const std::int32_t status : {1, -1, -2, INT_MAX, INT_MIN}) {
        log.clear();
        engine.Provider_FrmwInit = [status](FRPA*) { return status; };
        EXPECT_EQ(initialize(definition), 0);
        EXPECT_EQ(jvm.take_exception(), velk_exception("Provider_FrmwInit failed", status));
        EXPECT_EQ(log, joined({{"GetLongField FrameworkDefinition.pointer", "Provider_FrmwInit null"},
                               throw_calls("Provider_FrmwInit failed")}));
    }
    EXPECT_TRUE(engine.records.empty());
}

TEST_F(VelkTest, InitializeThatFailsReturnsWhatThrowGave)
{
    engine.Provider_FrmwInit = [](FRPA*) { return 1; };
    jvm.fail({.function = "Throw", .exception = nullptr, .result = -6});
    EXPECT_EQ(initialize(nullptr), -6);
}

TEST_F(VelkTest, InitializeReturnsTheTraceStatusWithTheFrameworkStarted)
{
    engine.trace.begin_status = 55;
    EXPECT_EQ(initialize(nullptr), 55);
    EXPECT_EQ(log, (CallLog{"Provider_FrmwInit null", "Provider_TraceRegister C0801",
                            "Provider_TraceBegin C0801"}));
    EXPECT_EQ(jvm.take_exception(), std::nullopt);
}

TEST_F(VelkTest, InitializeOfADefinitionBeforeInit0ThrowsAndStartsNothing)
{
    unload();
    jvm.may_leave = {"class IllegalStateException"};
    EXPECT_EQ(initialize(definition), 0);
    EXPECT_EQ(jvm.take_exception()->class_name, "java/lang/IllegalStateException");
    EXPECT_EQ(log,
              (CallLog{"FindClass java/lang/IllegalStateException", "ThrowNew class IllegalStateException"}));
}

TEST_F(VelkTest, InitializeOfNullBeforeInit0StartsTheFramework)
{
    unload();
    EXPECT_EQ(initialize(nullptr), 0);
    EXPECT_EQ(without_trace(log), CallLog{"Provider_FrmwInit null"});
}

// terminateFramework0

const char* const no_exit = "No STD Exit because VELK framework will be gone at exit time";

TEST_F(VelkTest, TerminateWritesExactlyItsEntryRecordAndLeavesTheScopeOpen)
{
    engine.trace.mask = trace_all;
    EXPECT_EQ(terminate(), 0);
    EXPECT_EQ(log, (CallLog{"Provider_TraceRegister C0803", "Provider_TraceBegin C0803",
                            "Provider_TraceWrite entry 437", "Provider_FrmwTerm"}));
    EXPECT_EQ(engine.records,
              (std::vector{entry_record(0xC0803, 437,
                                        {pointer_item("env", jvm.env()), narrow_item("msg", no_exit)})}));
}

TEST_F(VelkTest, TerminateWithTheMaskClearWritesNoRecord)
{
    engine.trace.mask = trace_mask_data | trace_mask_message;
    EXPECT_EQ(terminate(), 0);
    EXPECT_EQ(log,
              (CallLog{"Provider_TraceRegister C0803", "Provider_TraceBegin C0803", "Provider_FrmwTerm"}));
}

TEST_F(VelkTest, TerminateThatFailsReportsAndThrowsAndLeavesTheScopeOpen)
{
    engine.trace.mask = trace_all;
    engine.Provider_FrmwTerm = [] { return -31; };
    EXPECT_EQ(terminate(), 0);
    EXPECT_EQ(jvm.take_exception(), velk_exception("Provider_FrmwTerm failed", -31));
    EXPECT_EQ(log, joined({{"Provider_TraceRegister C0803", "Provider_TraceBegin C0803",
                            "Provider_TraceWrite entry 437", "Provider_FrmwTerm",
                            "Provider_TraceWrite return code -31 at 447"},
                           throw_calls("Provider_FrmwTerm failed")}));
}

TEST_F(VelkTest, TerminateReportsMinusTwoLikeAnyOtherFailure)
{
    engine.Provider_FrmwTerm = [] { return -2; };
    terminate();
    EXPECT_EQ(jvm.take_exception(), velk_exception("Provider_FrmwTerm failed", -2));
    EXPECT_EQ(engine.records, std::vector{return_code_record(0xC0803, 447, -2)});
}

TEST_F(VelkTest, TerminateThatFailsReturnsWhatThrowGave)
{
    engine.Provider_FrmwTerm = [] { return 1; };
    jvm.fail({.function = "Throw", .exception = nullptr, .result = -6});
    EXPECT_EQ(terminate(), -6);
}

TEST_F(VelkTest, TerminateReturnsTheTraceStatusWithTheFrameworkStillRunning)
{
    engine.trace.begin_status = -55;
    EXPECT_EQ(terminate(), -55);
    EXPECT_EQ(log, (CallLog{"Provider_TraceRegister C0803", "Provider_TraceBegin C0803"}));
    EXPECT_EQ(jvm.take_exception(), std::nullopt);
}

// destroy0

TEST_F(VelkTest, DestroyReleasesTheClassesInOrder)
{
    engine.trace.mask = trace_all;
    EXPECT_EQ(destroy(), 0);
    EXPECT_EQ(
        log,
        (CallLog{"Provider_TraceRegister C0804", "Provider_TraceBegin C0804", "Provider_TraceWrite entry 466",
                 "DeleteGlobalRef class Field", "DeleteGlobalRef class FieldDefinition",
                 "DeleteGlobalRef class InitializationOperand", "DeleteGlobalRef class ServiceDefinition",
                 "DeleteGlobalRef class FrameworkDefinition", "DeleteGlobalRef class NativeProvider",
                 "DeleteGlobalRef class VELK", "DeleteGlobalRef class VELKException",
                 "DeleteGlobalRef class ArrayList", "DeleteGlobalRef class Integer",
                 "DeleteGlobalRef class String", "Provider_TraceWrite exit 483", "Provider_TraceEnd"}));
    EXPECT_EQ(engine.records, (std::vector{entry_record(0xC0804, 466, {pointer_item("env", jvm.env())}),
                                           exit_record(0xC0804, 483)}));
}

TEST_F(VelkTest, DestroyKeepsTheClassesRowSetAndRow)
{
    destroy();
    EXPECT_EQ(jvm.globals(), (std::vector<std::string>{"class RowSet", "class Row"}));
}

TEST_F(VelkTest, DestroyLeavesTheCacheAsItIs)
{
    const ClassCache before = cache;
    destroy();
    EXPECT_EQ(std::memcmp(&cache, &before, sizeof cache), 0);
}

TEST_F(VelkTest, DestroyReleasesNothingWhereTheScopeDoesNotOpen)
{
    engine.trace.begin_status = 55;
    EXPECT_EQ(destroy(), 55);
    EXPECT_EQ(log, (CallLog{"Provider_TraceRegister C0804", "Provider_TraceBegin C0804"}));
    EXPECT_EQ(jvm.globals().size(), 13U);
}

TEST_F(VelkTest, DestroyOfAnEmptyCacheReleasesNothing)
{
    unload();
    EXPECT_EQ(destroy(), 0);
    EXPECT_EQ(without_trace(log), CallLog{});
}

TEST_F(VelkTest, Init0AfterDestroyFillsTheCacheAnew)
{
    destroy();
    jvm.run(Java_com_brel_sorn_velk_VELK_init0, self);
    jvm.accept_globals();
    log.clear();
    jvm.run(ThrowVELKException, "message", 3);
    EXPECT_EQ(jvm.take_exception(), velk_exception("message", 3));
}

TEST_F(VelkTest, DestroyEndsNoFrameworkAndFreesNoRecord)
{
    jvm.may_leave = {"initializationOperands"};
    jvm.set_object(definition, "initializationOperands", jvm.list());
    Allocations heap;
    jvm.run(Java_com_brel_sorn_velk_internal_FrameworkDefinition_toC, definition);
    destroy();
    EXPECT_EQ(heap.sizes(), std::vector<std::size_t>{24});
    jvm.run(Java_com_brel_sorn_velk_internal_FrameworkDefinition_free, definition);
}

} // namespace
} // namespace velk::test
