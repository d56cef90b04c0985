// How a native stops that cannot go on.

#include "bridge/bridge_test.h"
#include "frame/call.h"

#include <string>
#include <vector>

namespace velk::test {

namespace {

class CallTest : public BridgeTest {
protected:
    CallTest()
    {
        trace::open(call.scope, block, trace::Row_toC);
        log.clear();
    }
    ~CallTest() override { trace::close(call.scope, 1678); }

    trace::Block block{};
    Call call{.env = jvm.env(), .self = nullptr, .native = "Row.toC", .exit_line = 1678};
};

TEST_F(CallTest, AFailureNamesTheNativeAndWhatIsWrong)
{
    EXPECT_FALSE(jvm.run([&](JNIEnv*) { return fail(call, "%s[%d] is null", "fields", 3); }));
    EXPECT_EQ(jvm.take_exception(), velk_exception("Row.toC: fields[3] is null", -1));
}

TEST_F(CallTest, AFailureIsTracedAtTheExitLineBeforeItIsThrown)
{
    jvm.run([&](JNIEnv*) { return fail(call, "no"); });
    EXPECT_EQ(log, joined({{"Provider_TraceWrite return code -1 at 1678"}, throw_calls("Row.toC: no")}));
    EXPECT_EQ(engine.records, std::vector{return_code_record(trace::Row_toC, 1678, -1)});
    jvm.take_exception();
}

TEST_F(CallTest, TheNativesResultIsWhatThrowGave)
{
    jvm.run([&](JNIEnv*) { return fail(call, "no"); });
    EXPECT_EQ(call.result, 0);
    jvm.take_exception();
    jvm.fail({.function = "Throw", .exception = nullptr, .result = -6});
    jvm.run([&](JNIEnv*) { return fail(call, "no"); });
    EXPECT_EQ(call.result, -6);
}

TEST_F(CallTest, AMessageThatIsTooLongIsCut)
{
    const std::string text(1000, 'x');
    jvm.run([&](JNIEnv*) { return fail(call, "%s", text.c_str()); });
    EXPECT_EQ(jvm.take_exception(), velk_exception("Row.toC: " + std::string(246, 'x'), -1));
}

} // namespace
} // namespace velk::test
