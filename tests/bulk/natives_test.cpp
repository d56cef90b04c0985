// The natives on a JVM of ten functions: arrays, strings and direct buffers are what they need of one.

#include "bulk/jni/natives.h"

#include "bulk/engine.h"
#include "bulk/engine_threads.h"
#include "bulk/pipeline.h"
#include "support/allocation.h"

#include <algorithm>
#include <cstring>
#include <map>

#define NATIVE(Result, name, ...)                                                                            \
    extern "C" JNIEXPORT Result JNICALL Java_com_brel_sorn_velk_masking_NativeBulk_##name(                   \
        JNIEnv*, jclass __VA_OPT__(, ) __VA_ARGS__);                                                         \
    static constexpr auto name = &Java_com_brel_sorn_velk_masking_NativeBulk_##name

namespace natives {

NATIVE(jboolean, allowsThreads);
NATIVE(jstring, errorText, jint);
NATIVE(jlong, open, jint, jlong, jintArray, jintArray, jbyteArray);
NATIVE(void, close, jlong);
NATIVE(jint, mask, jlong);
NATIVE(jint, errorCount, jlong);
NATIVE(void, errors, jlong, jintArray);
NATIVE(void, counts, jlong, jlongArray);
NATIVE(jlong, memoryOpen);
NATIVE(jobject, memoryView, jlong, jint);
NATIVE(jint, memorySize, jlong);
NATIVE(void, memoryClear, jlong);
NATIVE(void, memoryClose, jlong);
NATIVE(jint, csvSplit, jint, jlong, jint, jint, jboolean, jlongArray);
NATIVE(jint, csvCells, jint, jlong, jint, jint, jintArray, jlongArray);
NATIVE(jlong, blockOpen);
NATIVE(void, blockClose, jlong);
NATIVE(jint, blockBegin, jlong, jlong, jint, jlong, jint, jint, jint, jlong);
NATIVE(jint, blockCopyRow, jlong, jlong);
NATIVE(jint, blockLoad, jlong, jlong);
NATIVE(jint, blockWrite, jlong, jlong);
NATIVE(void, blockState, jlong, jlongArray);
NATIVE(jlong, columnsOpen);
NATIVE(void, columnsClose, jlong);
NATIVE(jint, columnsBegin, jlong, jlong, jlongArray, jint);
NATIVE(jint, columnsLoad, jlong, jlong);
NATIVE(jint, columnsMask, jlong, jlong);
NATIVE(jint, columnsStore, jlong, jlong);
NATIVE(void, columnsResult, jlong, jlongArray);
NATIVE(jlong, address, jobject);
NATIVE(jobject, view, jlong, jlong);

} // namespace natives

namespace velk::bulk::test {
namespace {

std::map<const void*, std::size_t> lengths; // of all arrays

template <typename Base, typename Element> struct Array : Base {
    explicit Array(std::vector<Element> from) : elements(std::move(from)) { lengths[this] = elements.size(); }
    ~Array() { lengths.erase(this); }
    Array(const Array&) = delete;
    Array& operator=(const Array&) = delete;
    std::vector<Element> elements;
};
using Ints = Array<_jintArray, jint>;
using Longs = Array<_jlongArray, jlong>;
using Bytes = Array<_jbyteArray, jbyte>;

struct Buffer : _jobject {
    void* address;
    jlong bytes;
};
struct String : _jstring {
    std::u16string text;
};

bool exception = false;
Buffer last_buffer;
String last_string;

template <typename Kind, typename Java, typename Element>
void get_region(JNIEnv*, Java array, jsize from, jsize count, Element* target)
{
    const auto& elements = static_cast<const Kind*>(array)->elements;
    exception = static_cast<std::size_t>(from + count) > elements.size();
    if (!exception) std::copy_n(elements.begin() + from, count, target);
}

template <typename Kind, typename Java, typename Element>
void set_region(JNIEnv*, Java array, jsize from, jsize count, const Element* source)
{
    auto& elements = static_cast<Kind*>(array)->elements;
    exception = static_cast<std::size_t>(from + count) > elements.size();
    if (!exception) std::copy_n(source, count, elements.begin() + from);
}

JNINativeInterface_ functions()
{
    JNINativeInterface_ table{};
    table.ExceptionCheck = [](JNIEnv*) -> jboolean { return exception; };
    table.GetArrayLength = [](JNIEnv*, jarray array) { return static_cast<jsize>(lengths.at(array)); };
    table.GetIntArrayRegion = get_region<Ints, jintArray, jint>;
    table.SetIntArrayRegion = set_region<Ints, jintArray, jint>;
    table.GetLongArrayRegion = get_region<Longs, jlongArray, jlong>;
    table.SetLongArrayRegion = set_region<Longs, jlongArray, jlong>;
    table.GetByteArrayRegion = get_region<Bytes, jbyteArray, jbyte>;
    table.NewString = [](JNIEnv*, const jchar* text, jsize length) -> jstring {
        last_string.text.assign(reinterpret_cast<const char16_t*>(text), static_cast<std::size_t>(length));
        return &last_string;
    };
    table.NewDirectByteBuffer = [](JNIEnv*, void* address, jlong bytes) -> jobject {
        last_buffer.address = address;
        last_buffer.bytes = bytes;
        return &last_buffer;
    };
    table.GetDirectBufferAddress = [](JNIEnv*, jobject buffer) {
        return static_cast<Buffer*>(buffer)->address;
    };
    return table;
}

class Natives : public testing::Test {
protected:
    Natives() : table(functions())
    {
        env.functions = &table;
        exception = false;
    }

    template <typename Native, typename... Arguments> auto call(Native native, Arguments... arguments)
    {
        return native(&env, nullptr, arguments...);
    }

    jlong open_lane(const Service& service, std::vector<jint> order, jbyteArray replacement = nullptr)
    {
        std::vector<jint> sizes;
        for (const BufferSizes& size : service.sizes) sizes.insert(sizes.end(), {size.least, size.greatest});
        Ints size_array(sizes), order_array(std::move(order));
        return call(natives::open, service.handle, handle_of(&service.record),
                    static_cast<jintArray>(&size_array), static_cast<jintArray>(&order_array), replacement);
    }

    void fill(jlong memory, const std::string& text)
    {
        const jobject view = call(natives::memoryView, memory, static_cast<jint>(text.size()));
        ASSERT_EQ(static_cast<Buffer*>(view)->bytes, static_cast<jlong>(text.size()));
        std::memcpy(static_cast<Buffer*>(view)->address, text.data(), text.size());
    }

    std::string written(jlong memory)
    {
        const jint size = call(natives::memorySize, memory);
        const jobject view = call(natives::memoryView, memory, size);
        return {static_cast<char*>(static_cast<Buffer*>(view)->address), static_cast<std::size_t>(size)};
    }

    JNINativeInterface_ table;
    JNIEnv env;
    static constexpr jint csv = ',' | '"' << 8;
    static constexpr jboolean last = JNI_TRUE;
    static constexpr jboolean more = JNI_FALSE;
};

TEST_F(Natives, mask_a_block_of_csv)
{
    const Service service("service=s a=fixed('x') b=keep b.type=date");
    velk::test::Allocations heap;
    Bytes replacement({'*'});
    const jlong lane = open_lane(service, {1, -1, 0}, &replacement);
    const jlong in = call(natives::memoryOpen), out = call(natives::memoryOpen),
                block = call(natives::blockOpen);
    fill(in, "b,c,a\r\n2024-02-29,2,3\nsecret,,\nne");
    Longs place({0, 0, 0, 0});
    EXPECT_EQ(call(natives::csvSplit, csv, in, 0, 33, more, &place), 31);
    ASSERT_EQ(call(natives::blockBegin, block, lane, csv, in, 0, 31, 0, out), 0);
    EXPECT_EQ(call(natives::blockCopyRow, block, lane), 0);
    EXPECT_EQ(call(natives::blockLoad, block, lane), 2);
    EXPECT_EQ(call(natives::mask, lane), 0);
    EXPECT_EQ(call(natives::blockWrite, block, lane), 0);
    EXPECT_EQ(call(natives::blockLoad, block, lane), 0);
    EXPECT_EQ(written(out), "b,c,a\r\n2024-02-29,2,x\n*,,\n");
    Longs state(std::vector<jlong>(10)), counts(std::vector<jlong>(12));
    call(natives::blockState, block, &state);
    EXPECT_EQ(state.elements, (std::vector<jlong>{2, 3, 3, 1, 0, 0, 0, 0, 0, 0}));
    call(natives::counts, lane, &counts);
    EXPECT_EQ(counts.elements, (std::vector<jlong>{0, 0, 1, 0, 0, 1, 1, 0, 1, 1, 0, 0}));
    ASSERT_EQ(call(natives::errorCount, lane), 1);
    Ints errors(std::vector<jint>(3));
    call(natives::errors, lane, &errors);
    EXPECT_EQ(errors.elements[0], 1);
    EXPECT_EQ(errors.elements[1], 0);
    const auto* text = static_cast<String*>(call(natives::errorText, errors.elements[2]));
    ASSERT_NE(text, nullptr);
    EXPECT_NE(text->text.find(u":\n"), std::u16string::npos);
    call(natives::memoryClear, out);
    EXPECT_EQ(call(natives::memorySize, out), 0);
    call(natives::blockClose, block);
    call(natives::memoryClose, in);
    call(natives::memoryClose, out);
    call(natives::close, lane);
    EXPECT_EQ(heap.sizes(), std::vector<std::size_t>{});
}

TEST_F(Natives, tell_the_fault_of_a_block)
{
    const Service service("service=s a=keep");
    const jlong lane = open_lane(service, {0});
    const jlong in = call(natives::memoryOpen), out = call(natives::memoryOpen),
                block = call(natives::blockOpen);
    fill(in, "***1\n2,3\n");
    ASSERT_EQ(call(natives::blockBegin, block, lane, csv, in, 3, 6, 3, out), 0);
    EXPECT_EQ(call(natives::blockLoad, block, lane), 1);
    EXPECT_EQ(call(natives::mask, lane), 0);
    EXPECT_EQ(call(natives::blockWrite, block, lane), 0);
    EXPECT_EQ(call(natives::blockLoad, block, lane), 0);
    Longs state(std::vector<jlong>(10));
    call(natives::blockState, block, &state);
    EXPECT_EQ(state.elements, (std::vector<jlong>{1, 2, 2, 1, 2, 2, 2, 2, 1, 2}));
    call(natives::blockClose, block);
    call(natives::memoryClose, in);
    call(natives::memoryClose, out);
    call(natives::close, lane);
}

TEST_F(Natives, list_the_cells_of_a_block)
{
    const jlong in = call(natives::memoryOpen);
    const std::string text = "a,\"b\"\"\"\r\n\n\"x\ny\",z\"\n\xFF";
    fill(in, text);
    Ints cells(std::vector<jint>(100));
    Longs state(std::vector<jlong>(8));
    const auto bytes = static_cast<jint>(text.size());
    ASSERT_EQ(call(natives::csvCells, csv, in, 0, bytes, &cells, &state), 24);
    cells.elements.resize(24);
    EXPECT_EQ(cells.elements, (std::vector<jint>{1, 3, 2, 0,  1, 0, 3,  3, 3,    // a, "b"""
                                                 2, 1, 1, 9,  0, 0,              // nothing
                                                 3, 1, 2, 11, 3, 1, 16, 2, 4})); // of two lines, z"
    EXPECT_EQ(state.elements, (std::vector<jlong>{19, 4, 1, 19, 5, 5, 3, 0}));
    // In pieces: what does not fit is left for the next call.
    Ints few(std::vector<jint>(9));
    EXPECT_EQ(call(natives::csvCells, csv, in, 0, bytes, &few, &state), 9);
    EXPECT_EQ(state.elements[0], 9);
    Ints none(std::vector<jint>(5));
    EXPECT_EQ(call(natives::csvCells, csv, in, 0, bytes, &none, &state), 0);
    EXPECT_EQ(state.elements[0], 0);
    call(natives::memoryClose, in);
}

TEST_F(Natives, mask_a_batch_of_columns)
{
    const Service service("service=s a=fixed('x')");
    velk::test::Allocations heap;
    const jlong lane = open_lane(service, {0, -1});
    const jlong columns = call(natives::columnsOpen);
    const std::uint8_t validity = 1;
    const std::int32_t offsets[] = {0, 1, 3};
    Longs addresses({0, handle_of(offsets), handle_of("abc"), handle_of(&validity), handle_of(offsets),
                     handle_of("def")});
    ASSERT_EQ(call(natives::columnsBegin, columns, lane, &addresses, 2), 0);
    EXPECT_EQ(call(natives::columnsLoad, columns, lane), 2);
    EXPECT_EQ(call(natives::columnsMask, columns, lane), 0);
    EXPECT_EQ(call(natives::columnsStore, columns, lane), 0);
    EXPECT_EQ(call(natives::columnsLoad, columns, lane), 0);
    Longs result(std::vector<jlong>(8));
    call(natives::columnsResult, columns, &result);
    EXPECT_EQ(*object_of<char>(result.elements[0]), 3);
    EXPECT_EQ(std::string(object_of<char>(result.elements[2]), static_cast<std::size_t>(result.elements[3])),
              "xx");
    EXPECT_EQ(*object_of<char>(result.elements[4]), 1);
    EXPECT_EQ(std::string(object_of<char>(result.elements[6]), static_cast<std::size_t>(result.elements[7])),
              "d");
    const jobject view = call(natives::view, result.elements[2], result.elements[3]);
    EXPECT_EQ(call(natives::address, view), result.elements[2]);
    // A batch whose masking fails leaves nothing of the ones before.
    ASSERT_EQ(call(natives::columnsLoad, columns, lane), 0);
    ASSERT_EQ(call(natives::columnsBegin, columns, lane, &addresses, 2), 0);
    ASSERT_EQ(call(natives::columnsLoad, columns, lane), 2);
    const FakeEngine engine([](std::int32_t, SVCA*, RWST*) { return 7191; });
    EXPECT_EQ(call(natives::columnsMask, columns, lane), 7191);
    EXPECT_EQ(std::string(object_of<char>(result.elements[2]), 2), std::string(2, '\0'));
    const auto& room = object_of<Lane>(lane)->rows;
    EXPECT_EQ(std::string(room.room.start, room.used), std::string(room.used, '\0'));
    call(natives::columnsClose, columns);
    call(natives::close, lane);
}

TEST_F(Natives, a_step_that_fails_leaves_no_value_in_the_lane)
{
    const Service service("service=s a=fixed('masked') b=keep");
    const jlong lane = open_lane(service, {0, 1});
    const jlong in = call(natives::memoryOpen), out = call(natives::memoryOpen),
                block = call(natives::blockOpen);
    fill(in, "secret,secret\n");
    ASSERT_EQ(call(natives::blockBegin, block, lane, csv, in, 0, 14, 1, out), 0);
    ASSERT_EQ(call(natives::blockLoad, block, lane), 1);
    ASSERT_EQ(call(natives::mask, lane), 0);
    {
        velk::test::Allocations heap;
        heap.fail(1);
        EXPECT_EQ(call(natives::blockWrite, block, lane), code::out_of_memory);
    }
    const auto& set = object_of<Lane>(lane)->rows;
    EXPECT_EQ(std::string(set.room.start, set.used), std::string(set.used, '\0'));
    call(natives::blockClose, block);
    call(natives::memoryClose, in);
    call(natives::memoryClose, out);
    call(natives::close, lane);
}

TEST_F(Natives, answer_a_handle_of_nothing)
{
    Ints ints(std::vector<jint>(3));
    Longs longs(std::vector<jlong>(16));
    EXPECT_EQ(call(natives::mask, 0), code::closed);
    EXPECT_EQ(call(natives::errorCount, 0), code::closed);
    EXPECT_EQ(call(natives::memorySize, 0), code::closed);
    EXPECT_EQ(call(natives::blockBegin, 0, 0, csv, 0, 0, 0, 0, 0), code::closed);
    EXPECT_EQ(call(natives::blockCopyRow, 0, 0), code::closed);
    EXPECT_EQ(call(natives::blockLoad, 0, 0), code::closed);
    EXPECT_EQ(call(natives::blockWrite, 0, 0), code::closed);
    EXPECT_EQ(call(natives::columnsBegin, 0, 0, &longs, 0), code::closed);
    EXPECT_EQ(call(natives::columnsLoad, 0, 0), code::closed);
    EXPECT_EQ(call(natives::columnsMask, 0, 0), code::closed);
    EXPECT_EQ(call(natives::columnsStore, 0, 0), code::closed);
    EXPECT_EQ(call(natives::memoryView, 0, 1), nullptr);
    EXPECT_EQ(call(natives::csvSplit, csv, 0, 0, 0, last, &longs), code::misplaced);
    EXPECT_EQ(call(natives::csvCells, csv, 0, 0, 0, &ints, &longs), code::misplaced);
    call(natives::close, 0);
    call(natives::errors, 0, &ints);
    call(natives::counts, 0, &longs);
    call(natives::memoryClear, 0);
    call(natives::memoryClose, 0);
    call(natives::blockClose, 0);
    call(natives::blockState, 0, &longs);
    call(natives::columnsClose, 0);
    call(natives::columnsResult, 0, &longs);
}

TEST_F(Natives, refuse_places_outside_of_a_memory_and_formats_that_are_none)
{
    const Service service("service=s a=keep");
    const jlong lane = open_lane(service, {0});
    const jlong in = call(natives::memoryOpen), out = call(natives::memoryOpen),
                block = call(natives::blockOpen);
    const jlong columns = call(natives::columnsOpen);
    fill(in, "1\n2\n");
    Longs place({0, 0, 0, 0}), beyond({5, 0, 0, 0}), late({0, 0, 1, 0});
    EXPECT_EQ(call(natives::csvSplit, csv, in, 0, 5, last, &place), code::misplaced);
    EXPECT_EQ(call(natives::csvSplit, csv, in, 3, 2, last, &place), code::misplaced);
    EXPECT_EQ(call(natives::csvSplit, csv, in, -1, 2, last, &place), code::misplaced);
    EXPECT_EQ(call(natives::csvSplit, csv, in, 0, -1, last, &place), code::misplaced);
    EXPECT_EQ(call(natives::csvSplit, csv, in, 0, 4, last, &beyond), code::misplaced);
    EXPECT_EQ(call(natives::csvSplit, csv, in, 0, 4, last, &late), code::misplaced);
    EXPECT_EQ(call(natives::csvSplit, ',' | ',' << 8, in, 0, 4, last, &place), code::misplaced);
    EXPECT_EQ(call(natives::blockBegin, block, lane, csv, in, 0, 5, 0, out), code::misplaced);
    EXPECT_EQ(call(natives::blockBegin, block, lane, csv, in, 0, 4, 4, out), code::misplaced);
    EXPECT_EQ(call(natives::blockBegin, block, lane, csv, in, 0, 4, 0, in), code::misplaced);
    EXPECT_EQ(call(natives::blockBegin, block, lane, 0, in, 0, 4, 0, out), code::misplaced);
    Longs two({0, 0});
    EXPECT_EQ(call(natives::columnsBegin, columns, lane, &two, 1), code::misplaced);
    EXPECT_EQ(call(natives::columnsBegin, columns, lane, &two, -1), code::misplaced);
    call(natives::columnsClose, columns);
    call(natives::blockClose, block);
    call(natives::memoryClose, in);
    call(natives::memoryClose, out);
    call(natives::close, lane);
}

TEST_F(Natives, open_no_lane_of_arrays_that_contradict_each_other)
{
    const Service service("service=s a=keep");
    EXPECT_EQ(open_lane(service, {}), 0);
    EXPECT_EQ(open_lane(service, {0, 0}), 0);
    EXPECT_EQ(open_lane(service, {1}), 0);
    Ints odd({0, 0, 0}), order({0});
    EXPECT_EQ(
        call(natives::open, 1, 0, static_cast<jintArray>(&odd), static_cast<jintArray>(&order), nullptr), 0);
}

TEST_F(Natives, memory_grows_with_what_stands_in_it)
{
    const jlong memory = call(natives::memoryOpen);
    fill(memory, "abc");
    const jobject view = call(natives::memoryView, memory, 1000);
    EXPECT_EQ(std::string(static_cast<char*>(static_cast<Buffer*>(view)->address), 3), "abc");
    EXPECT_EQ(static_cast<Buffer*>(view)->bytes, 1000);
    EXPECT_EQ(static_cast<Buffer*>(call(natives::memoryView, memory, 0))->bytes, 0);
    call(natives::memoryClose, memory);
}

TEST_F(Natives, tell_whether_the_engine_allows_threads)
{
    EXPECT_EQ(call(natives::allowsThreads) != JNI_FALSE, engine_allows_threads());
}

TEST_F(Natives, a_code_without_a_text_has_none)
{
    const Service service("service=s a=keep");
    EXPECT_EQ(call(natives::errorText, 1), nullptr);
}

} // namespace
} // namespace velk::bulk::test
