// The scripted JVM, the scripted engine and the watched heap must find what they are there to find.

#include "support/allocation.h"
#include "support/scripted_engine.h"
#include "support/scripted_jvm.h"

#include <cstdlib>
#include <cstring>
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

namespace velk::test {

namespace {

struct ScriptedJvm : ::testing::Test {
    CallLog log;
    Jvm jvm{log};
    JNIEnv* env = jvm.env();

    jclass row_class() { return env->FindClass("com/brel/sorn/velk/Row"); }
    jfieldID row_pointer() { return env->GetFieldID(row_class(), "pointer", "J"); }
    void SetUp() override { jvm.may_leave = {"class Row", "class Field", "class ArrayList"}; }
};

TEST_F(ScriptedJvm, LogsCallsWithTheNamesOfWhatTheyAreAbout)
{
    const jobject row = jvm.object("com/brel/sorn/velk/Row");
    jvm.set_object(row, "fields", jvm.array({jvm.object("com/brel/sorn/velk/Field")}));
    const jclass clazz = row_class();
    const jfieldID fields = env->GetFieldID(clazz, "fields", "[Lcom/brel/sorn/velk/Field;");
    const auto array = static_cast<jobjectArray>(env->GetObjectField(row, fields));
    const jobject field = env->GetObjectArrayElement(array, 0);
    env->DeleteLocalRef(field);
    env->DeleteLocalRef(array);
    EXPECT_EQ(log, (CallLog{"FindClass com/brel/sorn/velk/Row",
                            "GetFieldID com/brel/sorn/velk/Row.fields [Lcom/brel/sorn/velk/Field;",
                            "GetObjectField Row.fields", "GetObjectArrayElement fields 0",
                            "DeleteLocalRef Field", "DeleteLocalRef fields"}));
}

TEST_F(ScriptedJvm, FindsUseOfADeletedReference)
{
    const jobject row = jvm.object("com/brel/sorn/velk/Row");
    const jfieldID fields = env->GetFieldID(row_class(), "fields", "[Lcom/brel/sorn/velk/Field;");
    jvm.set_object(row, "fields", jvm.array());
    const auto array = static_cast<jarray>(env->GetObjectField(row, fields));
    env->DeleteLocalRef(array);
    EXPECT_NONFATAL_FAILURE(env->GetArrayLength(array), "a reference that is deleted");
    EXPECT_NONFATAL_FAILURE(env->DeleteLocalRef(array), "a reference that is deleted");
}

TEST_F(ScriptedJvm, FindsUseOfUnknownAndNullReferencesAndIds)
{
    int nothing = 0;
    const jfieldID pointer = row_pointer();
    const jobject row = jvm.object("com/brel/sorn/velk/Row");
    EXPECT_NONFATAL_FAILURE(env->GetLongField(nullptr, pointer), "a reference that is null");
    EXPECT_NONFATAL_FAILURE(env->GetLongField(reinterpret_cast<jobject>(&nothing), pointer),
                            "a reference that is unknown");
    EXPECT_NONFATAL_FAILURE(env->GetLongField(row, nullptr), "a null ID");
    EXPECT_NONFATAL_FAILURE(env->GetLongField(row, reinterpret_cast<jfieldID>(&nothing)), "an unknown ID");
}

TEST_F(ScriptedJvm, FindsReferencesAndIdsOfAnotherJvm)
{
    const jfieldID pointer = row_pointer();
    CallLog other_log;
    Jvm other(other_log);
    const jobject row = other.object("com/brel/sorn/velk/Row");
    EXPECT_NONFATAL_FAILURE(other.env()->GetLongField(row, pointer), "an unknown ID");
}

TEST_F(ScriptedJvm, FindsAFieldIdOfAnotherClassOrType)
{
    const jfieldID pointer = row_pointer();
    const jobject field = jvm.object("com/brel/sorn/velk/Field");
    EXPECT_NONFATAL_FAILURE(env->GetLongField(field, pointer), "Row.pointer is no member of");
    const jobject row = jvm.object("com/brel/sorn/velk/Row");
    EXPECT_NONFATAL_FAILURE(env->GetIntField(row, pointer), "GetIntField on a field of type J");
}

TEST_F(ScriptedJvm, FindsCallsWithAnExceptionPending)
{
    const jfieldID pointer = row_pointer();
    const jobject row = jvm.object("com/brel/sorn/velk/Row");
    jvm.remove_class("com/brel/sorn/velk/Field");
    EXPECT_EQ(env->FindClass("com/brel/sorn/velk/Field"), nullptr);
    EXPECT_NONFATAL_FAILURE(env->GetLongField(row, pointer), "with an exception pending");
    EXPECT_EQ(jvm.take_exception(),
              (Thrown{"java/lang/NoClassDefFoundError", "com/brel/sorn/velk/Field", 0}));
}

TEST_F(ScriptedJvm, LetsTheFunctionsThatAreNamedRunWithAnExceptionPending)
{
    const jclass error = env->FindClass("java/lang/OutOfMemoryError");
    jvm.may_leave = {"class OutOfMemoryError", "class String"};
    jvm.may_run_pending = {"ThrowNew"};
    env->ThrowNew(error, "first");
    env->ThrowNew(error, "second");
    EXPECT_NONFATAL_FAILURE(env->FindClass("java/lang/String"), "FindClass with an exception pending");
    EXPECT_EQ(jvm.take_exception(), (Thrown{"java/lang/OutOfMemoryError", "second", 0}));
}

TEST_F(ScriptedJvm, FindsAMethodCallWhoseExceptionNobodyLooksFor)
{
    const jclass clazz = env->FindClass("java/util/ArrayList");
    const jmethodID size = env->GetMethodID(clazz, "size", "()I");
    const jobject list = jvm.list();
    EXPECT_EQ(env->CallIntMethod(list, size), 0);
    EXPECT_NONFATAL_FAILURE(env->CallIntMethod(list, size), "without looking for an exception");
    EXPECT_EQ(env->ExceptionCheck(), JNI_FALSE);
    EXPECT_EQ(env->CallIntMethod(list, size), 0);
}

TEST_F(ScriptedJvm, FindsStringCharactersThatAreNotReleasedOrReleasedWrongly)
{
    const jstring name = jvm.string(u"name");
    jchar other[] = {1};
    EXPECT_NONFATAL_FAILURE(env->ReleaseStringChars(name, other), "not taken from the string");
    EXPECT_NONFATAL_FAILURE(jvm.run([&](JNIEnv*) { env->GetStringChars(name, nullptr); }),
                            "were not released");
}

TEST_F(ScriptedJvm, FindsStringCharactersThatAreWritten)
{
    const jstring name = jvm.string(u"name");
    const jchar* chars = env->GetStringChars(name, nullptr);
    const_cast<jchar*>(chars)[3] = 'X';
    EXPECT_NONFATAL_FAILURE(env->ReleaseStringChars(name, chars), "characters were written");
}

TEST_F(ScriptedJvm, FindsLocalReferencesThatAreLeft)
{
    const auto leave_a_class = [](JNIEnv* from) { from->FindClass("java/lang/String"); };
    EXPECT_NONFATAL_FAILURE(jvm.run(leave_a_class), "a local reference was left: class String");
    jvm.may_leave = {"class String"};
    jvm.run(leave_a_class);
    EXPECT_EQ(jvm.left(), std::vector<std::string>{"class String"});
}

TEST_F(ScriptedJvm, FindsMoreLocalReferencesThanThereIsRoomFor)
{
    for (int i = 0; i < 16; ++i) row_class();
    EXPECT_NONFATAL_FAILURE(row_class(), "more than 16 local references");
}

TEST_F(ScriptedJvm, FindsANativeDeletingItsArgument)
{
    const jobject row = jvm.object("com/brel/sorn/velk/Row");
    EXPECT_NONFATAL_FAILURE(env->DeleteLocalRef(row), "deleted as a reference that it is not");
}

TEST(ScriptedJvmAtItsEnd, FindsGlobalReferencesThatAreLeft)
{
    CallLog log;
    auto jvm = std::make_unique<Jvm>(log);
    jvm->may_leave = {"class Row"};
    jvm->env()->NewGlobalRef(jvm->env()->FindClass("com/brel/sorn/velk/Row"));
    EXPECT_EQ(jvm->globals(), std::vector<std::string>{"class Row"});
    EXPECT_NONFATAL_FAILURE(jvm.reset(), "a global reference was left: class Row");
}

TEST(ScriptedJvmAtItsEnd, FindsAnExceptionThatNobodyTook)
{
    CallLog log;
    auto jvm = std::make_unique<Jvm>(log);
    jvm->fail({.function = "FindClass"});
    jvm->env()->FindClass("java/lang/String");
    EXPECT_NONFATAL_FAILURE(jvm.reset(), "an exception was not taken");
}

TEST(ScriptedJvmAtItsEnd, FindsAFailureThatDidNotCome)
{
    CallLog log;
    auto jvm = std::make_unique<Jvm>(log);
    jvm->fail({.function = "FindClass"});
    EXPECT_NONFATAL_FAILURE(jvm.reset(), "the failure of FindClass did not come");
}

TEST_F(ScriptedJvm, FailsTheCallThatItIsTold)
{
    jvm.fail({.function = "GetStringLength", .nth = 2, .exception = nullptr, .result = 7});
    const jstring text = jvm.string(u"ab");
    EXPECT_EQ(env->GetStringLength(text), 2);
    EXPECT_EQ(env->GetStringLength(text), 7);
    EXPECT_EQ(env->GetStringLength(text), 2);
}

using ScriptedJvmDeathTest = ScriptedJvm;

TEST_F(ScriptedJvmDeathTest, EndsTheTestForAFunctionThatNativesDoNotNeed)
{
    EXPECT_DEATH(env->GetVersion(), "natives have no business there");
}

struct ScriptedEngine : ::testing::Test {
    CallLog log;
    Engine engine{log};
    TraceBlock block{};
    TraceContext context{};

    void begin(std::uint32_t function)
    {
        context = {};
        context.function = function;
        Provider_TraceRegister(function, &block, 0);
        Provider_TraceBegin(&context, &block);
    }

    // A correct exit record.
    TraceRecord& filled()
    {
        *context.record = {};
        context.record->version = trace_record_version;
        context.record->length = sizeof(TraceRecord);
        context.record->flags = 0x79;
        context.record->event = trace_event_exit;
        context.record->level = trace_mask_entry;
        context.record->line = 4;
        context.record->function = context.function;
        return *context.record;
    }
};

TEST_F(ScriptedEngine, DecodesARecordAndSpoilsItAfterwards)
{
    begin(5);
    filled();
    Provider_TraceWrite(context.record);
    Provider_TraceEnd(&context);
    EXPECT_EQ(engine.records, std::vector{exit_record(5, 4)});
    EXPECT_EQ(log, (CallLog{"Provider_TraceRegister 5", "Provider_TraceBegin 5", "Provider_TraceWrite exit 4",
                            "Provider_TraceEnd"}));
}

TEST_F(ScriptedEngine, FindsARecordThatWasNotZeroedAnew)
{
    begin(5);
    filled();
    Provider_TraceWrite(context.record);
    TraceRecord spoiled = *context.record;
    filled();
    context.record->reserved367[88] = spoiled.reserved367[88];
    EXPECT_NONFATAL_FAILURE(Provider_TraceWrite(context.record), "a wrong byte at offset 455");
    Provider_TraceEnd(&context);
}

TEST_F(ScriptedEngine, FindsWrongFlagsAndItemsAndLabels)
{
    begin(5);
    filled().flags = 0x69;
    EXPECT_NONFATAL_FAILURE(Provider_TraceWrite(context.record), "a wrong byte at offset 32");
    filled().flags |= trace_flag_value1 | trace_flag_label1;
    context.record->items[0] = {3, trace_type_integer, 1};
    EXPECT_NONFATAL_FAILURE(Provider_TraceWrite(context.record), "a wrong value length");
    filled().flags |= trace_flag_value1 | trace_flag_label1;
    context.record->items[0] = {4, trace_type_integer, 1};
    std::memset(context.record->labels[0], 'x', sizeof context.record->labels[0]);
    EXPECT_NONFATAL_FAILURE(Provider_TraceWrite(context.record), "a label without end");
    Provider_TraceEnd(&context);
}

TEST_F(ScriptedEngine, FindsAContextThatIsNotZeroed)
{
    Provider_TraceRegister(5, &block, 0);
    context.function = 5;
    context.reserved36[3] = 1;
    EXPECT_NONFATAL_FAILURE(Provider_TraceBegin(&context, &block), "the trace context is not zero");
    Provider_TraceEnd(&context);
}

TEST_F(ScriptedEngine, FindsAWriteToWhatItKeepsBehindTheContext)
{
    struct {
        TraceContext context;
        char behind[8];
    } larger{};
    larger.context.function = 5;
    engine.trace.behind_context = sizeof larger.behind;
    Provider_TraceRegister(5, &block, 0);
    Provider_TraceBegin(&larger.context, &block);
    EXPECT_EQ(std::string(larger.behind, 8), "ZZZZZZZZ");
    larger.behind[7] = 0;
    EXPECT_NONFATAL_FAILURE(Provider_TraceEnd(&larger.context), "behind the trace context was written");
}

TEST_F(ScriptedEngine, FindsABlockThatWasNotRegistered)
{
    context.function = 5;
    EXPECT_NONFATAL_FAILURE(Provider_TraceBegin(&context, &block), "a block that was not registered");
    Provider_TraceEnd(&context);
}

TEST_F(ScriptedEngine, FindsARecordThatWasNotLent)
{
    TraceRecord mine{};
    EXPECT_NONFATAL_FAILURE(Provider_TraceWrite(&mine), "not the one that was lent");
}

TEST(ScriptedEngineAtItsEnd, FindsAScopeThatWasNotClosedAndForgetsItsBlocks)
{
    CallLog log;
    TraceBlock block{};
    TraceContext context{};
    auto engine = std::make_unique<Engine>(log);
    Provider_TraceRegister(5, &block, 0);
    context.function = 5;
    Provider_TraceBegin(&context, &block);
    EXPECT_EQ(block.state, trace_block_registered);
    EXPECT_NONFATAL_FAILURE(engine.reset(), "a trace scope was not closed");
    EXPECT_EQ(block.state, 0U);
}

TEST_F(ScriptedEngine, ConvertsWholeCharactersOnly)
{
    char utf8[8] = {};
    std::int64_t length = 0;
    Cnv_Utf16ToUtf8(utf8, 7, u"a\u00E9\U0001F600\u20AC", 5, &length);
    EXPECT_EQ(std::string(utf8), "a\xC3\xA9\xF0\x9F\x98\x80");
    EXPECT_EQ(length, 7);
    char16_t utf16[8] = {};
    length = 0;
    Cnv_Utf8ToUtf16(utf16, 8, utf8, 7, &length);
    EXPECT_EQ(std::u16string(utf16), u"a\u00E9\U0001F600");
    EXPECT_EQ(length, 4);
}

TEST(WatchedHeap, CountsAndFailsAndFindsLeaks)
{
    Allocations heap;
    heap.fail(2);
    void* volatile first = std::malloc(10);
    void* volatile second = std::calloc(2, 5);
    void* volatile third = std::calloc(3, 5);
    EXPECT_NE(first, nullptr);
    EXPECT_EQ(second, nullptr);
    EXPECT_TRUE(heap.has_failed());
    EXPECT_EQ(heap.refused_size(), 10U);
    EXPECT_EQ(heap.sizes(), (std::vector<std::size_t>{10, 15}));
    std::free(first);
    EXPECT_EQ(heap.size_of(third), 15U);
    EXPECT_EQ(heap.made(), 3U);
    EXPECT_EQ(heap.freed(), 1U);
    std::free(third);
}

TEST(WatchedHeap, LendsABlockOnceAndTakesItBack)
{
    Allocations heap;
    char block[4];
    heap.lend(block);
    void* volatile first = std::malloc(1000);
    void* volatile second = std::malloc(10);
    EXPECT_EQ(first, block);
    EXPECT_NE(second, block);
    EXPECT_EQ(heap.sizes(), (std::vector<std::size_t>{1000, 10}));
    std::free(first);
    EXPECT_EQ(heap.sizes(), std::vector<std::size_t>{10});
    std::free(second);
}

TEST(WatchedHeap, ReportsALeakBySize)
{
    void* volatile leak = nullptr;
    const auto watch_a_leak = [&leak] {
        Allocations heap;
        leak = std::malloc(48);
    };
    EXPECT_NONFATAL_FAILURE(watch_a_leak(), "48 bytes leaked");
    std::free(leak);
}

} // namespace
} // namespace velk::test
