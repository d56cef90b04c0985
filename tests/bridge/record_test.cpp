// The native record of a mirror object.

#include "bridge/definitions.h"
#include "marshal/record.h"
#include "records/rowdata.h"

namespace velk::test {

namespace {

class RecordTest : public DefinitionTest {
protected:
    template <class Record> Record* bind(const char (&eye_catcher)[5])
    {
        return jvm.run([&](JNIEnv* env) {
            Call call{.env = env, .self = self, .native = "FieldDefinition.toC", .exit_line = 9};
            call.scope.context = {};
            return record::bind<Record>(call, cache.FieldDefinition.pointer, eye_catcher);
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

TEST_F(RecordTest, TheHeaderOfANewRecordStandsWhereItsTypeHasIt)
{
    EXPECT_EQ(bytes_of(bind<RWST>("ABCD"), 24), Image(24).header(0, "ABCD").bytes);
    release();
    EXPECT_EQ(bytes_of(bind<OPRA>("WXYZ"), 48), Image(48).header(8, "WXYZ").bytes);
    release();
}

TEST_F(RecordTest, ABoundRecordIsFoundAgainAsItStands)
{
    void* made = bind<RWST>("ABCD");
    std::memset(made, 0x44, 24);
    EXPECT_EQ(static_cast<void*>(bind<OPRA>("WXYZ")), made);
    EXPECT_EQ(bytes_of(made, 24), Bytes(24, 0x44));
    EXPECT_EQ(jvm.record<void>(self), made);
    release();
}

TEST_F(RecordTest, WithoutMemoryNothingIsBound)
{
    heap.fail(1);
    EXPECT_EQ(bind<RWST>("ABCD"), nullptr);
    expect_thrown("FieldDefinition.toC: out of memory for the ABCD record");
    EXPECT_EQ(jvm.get_long(self, "pointer"), 0);
}

TEST_F(RecordTest, ReleaseFreesTheRecordOnce)
{
    bind<RWST>("ABCD");
    release();
    EXPECT_EQ(jvm.get_long(self, "pointer"), 0);
    release();
    EXPECT_EQ(heap.freed(), 1U);
}

} // namespace
} // namespace velk::test
