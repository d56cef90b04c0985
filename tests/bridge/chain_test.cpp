// Linking child records under their parent.

#include "bridge/definitions.h"
#include "marshal/chain.h"

#include <array>

namespace velk::test {

namespace {

// A chain of up to four operands A to D under a framework definition, spelled by its letters. Before it is
// linked the first pointer names D, and each operand names itself: what a test finds there is stale.
class ChainTest : public DefinitionTest {
protected:
    ChainTest() { jvm.may_leave = {"initializationOperands", "rows"}; }

    OPRA* operand(char letter) { return &operands[static_cast<std::size_t>(letter - 'A')]; }

    // '-' is a child without a record, '0' no child.
    std::vector<jobject> elements(const std::string& spelling)
    {
        std::vector<jobject> objects;
        for (const char letter : spelling) {
            if (letter == '0')
                objects.push_back(nullptr);
            else
                objects.push_back(child(operand_class, letter == '-' ? nullptr : operand(letter)));
        }
        return objects;
    }

    void make_stale()
    {
        for (OPRA& record : operands) record.next = &record;
        first = operand('D');
    }

    std::string spelled() const
    {
        std::string letters;
        for (const OPRA* record = first; record != nullptr; record = record->next) {
            letters += static_cast<char>('A' + (record - operands.data()));
            if (record->next == record) return letters + " stale";
        }
        return letters;
    }

    Call call_on(JNIEnv* env, jobject self) const
    {
        Call call{.env = env, .self = self, .native = "Parent.toC", .exit_line = 9};
        call.scope.context = {};
        return call;
    }

    chain::Children children_of(const char* name, jfieldID field)
    {
        return {.name = name,
                .field = field,
                .first = &first,
                .native = "Child.toC",
                .pointer = cache.InitializationOperand.pointer};
    }

    bool link_list(const std::string& spelling)
    {
        jvm.set_object(parent, "initializationOperands", jvm.list(elements(spelling)));
        make_stale();
        return jvm.run([&](JNIEnv* env) {
            Call call = call_on(env, parent);
            const chain::Children children =
                children_of("list", cache.FrameworkDefinition.initializationOperands);
            chain::Container container;
            return chain::read_list(call, children, container) && chain::link_list(call, children, container);
        });
    }

    // A row set's array serves for any.
    bool link_array(const std::string& spelling)
    {
        jvm.set_object(row_set, "rows", jvm.array(elements(spelling)));
        make_stale();
        return jvm.run([&](JNIEnv* env) {
            Call call = call_on(env, row_set);
            const chain::Children children = children_of("array", cache.RowSet.rows);
            chain::Container container;
            return chain::read_array(call, children, container) &&
                   chain::link_array(call, children, container);
        });
    }

    std::array<OPRA, 4> operands{};
    OPRA* first = nullptr;
    jobject parent = jvm.object(framework_definition_class);
    jobject row_set = jvm.object(row_set_class);
};

struct Linking {
    const char* children;
    const char* chain;
    const char* message; // null: linked
};

const char* const no_record_0 = "Parent.toC: list[0] has no native record: call Child.toC on it first";
const char* const no_record_1 = "Parent.toC: list[1] has no native record: call Child.toC on it first";
const char* const no_record_2 = "Parent.toC: list[2] has no native record: call Child.toC on it first";

// Behind a child without a record the next one is the first again; the last must have one.
const Linking list_table[] = {
    {"", "D stale", nullptr},
    {"A", "A", nullptr},
    {"AB", "AB", nullptr},
    {"DCBA", "DCBA", nullptr},
    {"-A", "A", nullptr},
    {"--A", "A", nullptr},
    {"A-B", "B", nullptr},
    {"A-BC", "BC", nullptr},
    {"AB-CD", "CD", nullptr},
    {"-", "", no_record_0},
    {"A-", "A", no_record_1},
    {"AB-", "AB", no_record_2},
    {"A--", "", no_record_2},
    {"0A", "", "Parent.toC: list[0] is null"},
    {"A0B", "A", "Parent.toC: list[1] is null"},
    {"AB0", "AB", "Parent.toC: list[2] is null"},
};

TEST_F(ChainTest, ListsAreLinkedInTheirOrder)
{
    for (const Linking& linking : list_table) {
        SCOPED_TRACE(linking.children);
        EXPECT_EQ(link_list(linking.children), linking.message == nullptr);
        EXPECT_EQ(spelled(), linking.chain);
        if (linking.message != nullptr) expect_thrown(linking.message);
    }
}

const char* const no_element_0 = "Parent.toC: array[0] has no native record: call Child.toC on it first";
const char* const no_element_1 = "Parent.toC: array[1] has no native record: call Child.toC on it first";

// Of an array no child may be left out.
const Linking array_table[] = {
    {"", "D stale", nullptr},
    {"A", "A", nullptr},
    {"DCBA", "DCBA", nullptr},
    {"-A", "", no_element_0},
    {"A-B", "A", no_element_1},
    {"A-", "A", no_element_1},
    {"0A", "", "Parent.toC: array[0] is null"},
    {"ABC0", "ABC", "Parent.toC: array[3] is null"},
};

TEST_F(ChainTest, ArraysAreLinkedInTheirOrder)
{
    for (const Linking& linking : array_table) {
        SCOPED_TRACE(linking.children);
        EXPECT_EQ(link_array(linking.children), linking.message == nullptr);
        EXPECT_EQ(spelled(), linking.chain);
        if (linking.message != nullptr) expect_thrown(linking.message);
    }
}

TEST_F(ChainTest, WhereThereIsNoListOrArrayThereIsNoChain)
{
    for (const bool list : {true, false}) {
        make_stale();
        EXPECT_FALSE(jvm.run([&](JNIEnv* env) {
            Call call = call_on(env, list ? parent : row_set);
            chain::Container container;
            return list ? chain::read_list(
                              call, children_of("children", cache.FrameworkDefinition.initializationOperands),
                              container)
                        : chain::read_array(call, children_of("children", cache.RowSet.rows), container);
        }));
        expect_thrown("Parent.toC: children is null");
        EXPECT_EQ(spelled(), "");
    }
}

TEST_F(ChainTest, AnExceptionOfAnElementEndsTheChainInFrontOfIt)
{
    jvm.fail({.function = "CallObjectMethod", .nth = 3});
    EXPECT_FALSE(link_list("ABCD"));
    expect_pending("java/lang/OutOfMemoryError");
    EXPECT_EQ(spelled(), "AB");
    jvm.fail({.function = "GetObjectArrayElement", .nth = 1});
    EXPECT_FALSE(link_array("ABCD"));
    expect_pending("java/lang/OutOfMemoryError");
    EXPECT_EQ(spelled(), "");
}

TEST_F(ChainTest, AnExceptionOfSizeTouchesNoChain)
{
    jvm.fail({.function = "CallIntMethod"});
    EXPECT_FALSE(link_list("AB"));
    expect_pending("java/lang/OutOfMemoryError");
    EXPECT_EQ(spelled(), "D stale");
}

TEST_F(ChainTest, AListThatIsOnlyReadNeedsNoFirstPointer)
{
    EXPECT_FALSE(jvm.run([&](JNIEnv* env) {
        Call call = call_on(env, parent);
        chain::Container container;
        return chain::read_list(
            call, {.name = "list", .field = cache.FrameworkDefinition.initializationOperands}, container);
    }));
    expect_thrown("Parent.toC: list is null");
}

} // namespace
} // namespace velk::test
