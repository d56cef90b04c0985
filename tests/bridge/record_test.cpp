// The native record of a mirror object.

#include "bridge/definitions.h"
#include "marshal/record.h"

namespace velk::test {

namespace {

class RecordTest : public DefinitionTest {
protected:
    void* bind(const record::Layout& layout)
    {
        return jvm.run([&](JNIEnv* env) {
            Call call{env, self, "FieldDefinition.toC", 9, 0, {}};
            call.scope.context = {};
            return record::bind(call, cache.FieldDefinition.pointer, layout);
        });
    }

    void release()
    {
        jvm.run([&](JNIEnv* env) { record::release(env, self, cache.FieldDefinition.pointer); });
    }

    jobject self = jvm.object(field_definition_class);
};

TEST_F(RecordTest, AllocatedMemoryIsZero)
{
    for (const std::size_t size : {1u, 48u, 4096u}) {
        auto* garbage = static_cast<unsigned char*>(std::malloc(size));
        std::memset(garbage, 0xEE, size);
        std::free(garbage);
        void* memory = record::allocate(size);
        EXPECT_EQ(bytes_of(memory, size), Bytes(size));
        EXPECT_EQ(heap.size_of(memory), size);
        std::free(memory);
    }
}

TEST_F(RecordTest, AFailedAllocationIsNull)
{
    heap.fail(1);
    EXPECT_EQ(record::allocate(8), nullptr);
}

TEST_F(RecordTest, TheHeaderOfANewRecordStandsWhereTheLayoutSays)
{
    EXPECT_EQ(bytes_of(bind({"ABCD", 0, 24}), 24), Image(24).header(0, "ABCD").bytes);
    release();
    EXPECT_EQ(bytes_of(bind({"WXYZ", 8, 48}), 48), Image(48).header(8, "WXYZ").bytes);
    release();
}

TEST_F(RecordTest, ABoundRecordIsFoundAgainAsItStands)
{
    void* made = bind({"ABCD", 0, 24});
    std::memset(made, 0x44, 24);
    EXPECT_EQ(bind({"WXYZ", 8, 48}), made);
    EXPECT_EQ(bytes_of(made, 24), Bytes(24, 0x44));
    EXPECT_EQ(jvm.record<void>(self), made);
    release();
}

TEST_F(RecordTest, WithoutMemoryNothingIsBound)
{
    heap.fail(1);
    EXPECT_EQ(bind({"ABCD", 0, 24}), nullptr);
    expect_thrown("FieldDefinition.toC: out of memory for the ABCD record");
    EXPECT_EQ(jvm.get_long(self, "pointer"), 0);
}

TEST_F(RecordTest, ReleaseFreesTheRecordOnce)
{
    bind({"ABCD", 0, 24});
    release();
    EXPECT_EQ(jvm.get_long(self, "pointer"), 0);
    release();
    EXPECT_EQ(heap.freed(), 1U);
}

} // namespace
} // namespace velk::test
