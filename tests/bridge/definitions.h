#pragma once

// What the tests of the definition records share: the bridge after VELK.init0 on a watched heap, the bytes
// of a record by raw offset, and records, blocks and texts such as the engine hands over.

#include "bridge/bridge_test.h"
#include "records/definitions.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velk::test {

using Bytes = std::vector<unsigned char>;

inline Bytes bytes_of(const void* memory, std::size_t size)
{
    const auto* bytes = static_cast<const unsigned char*>(memory);
    return {bytes, bytes + size};
}

// The bytes that a record must have: zero where nothing is put.
struct Image {
    explicit Image(std::size_t size) : bytes(size) {}

    template <class Value> Image& put(std::size_t offset, Value value)
    {
        std::memcpy(bytes.data() + offset, &value, sizeof value);
        return *this;
    }
    Image& text(std::size_t offset, std::string_view characters)
    {
        characters.copy(reinterpret_cast<char*>(bytes.data() + offset), characters.size());
        return *this;
    }
    // Eye-catcher, version and length.
    Image& header(std::size_t offset, std::string_view eye_catcher)
    {
        text(offset, eye_catcher).put(offset + 4, std::uint16_t{21});
        return put(offset + 6, static_cast<std::uint16_t>(bytes.size()));
    }

    Bytes bytes;
};

// Both settings of the wide-conversion flag.
inline constexpr std::uint8_t conversion_flags[] = {0, 1};

// Summaries of the records that were written.
inline CallLog summaries(const std::vector<TracedRecord>& records)
{
    CallLog lines;
    for (const TracedRecord& record : records) lines.push_back(summary(record));
    return lines;
}

class DefinitionTest : public BridgeTest {
protected:
    // The heap holds blocks of exactly these sizes, in the order they were made; they are freed here, and
    // nobody may use them any more.
    void expect_kept(const std::vector<std::size_t>& sizes)
    {
        EXPECT_EQ(heap.sizes(), sizes);
        for (const Allocation& block : heap.held()) std::free(block.address);
    }

    void expect_thrown(const std::string& message, jint code = -1)
    {
        EXPECT_EQ(jvm.take_exception(), velk_exception(message, code));
    }

    void expect_pending(const char* class_name)
    {
        const auto thrown = jvm.take_exception();
        ASSERT_TRUE(thrown.has_value());
        EXPECT_EQ(thrown->class_name, class_name);
    }

    void set_string(jobject object, const char* field, std::u16string_view text)
    {
        jvm.set_object(object, field, jvm.string(text));
    }

    std::u16string get_string(jobject object, const char* field)
    {
        const jobject string = jvm.get_object(object, field);
        if (string != nullptr) return jvm.text(string);
        ADD_FAILURE() << field << " is null";
        return {};
    }

    // A child of a list, with its record or, for null, none.
    jobject child(const char* class_name, const void* record)
    {
        const jobject object = jvm.object(class_name);
        jvm.set_record(object, record);
        return object;
    }

    std::vector<jobject> children(const char* class_name, const std::vector<const void*>& records)
    {
        std::vector<jobject> objects;
        for (const void* record : records) objects.push_back(child(class_name, record));
        return objects;
    }

    // The native returns the facility's status where its scope does not open, and does nothing else.
    void expect_status_alone(jint (*native)(JNIEnv*, jobject), jobject self)
    {
        const std::size_t made = heap.made();
        for (const std::int32_t status : {1, -7, INT32_MIN}) {
            engine.trace = {.begin_status = status, .mask = trace_all};
            log.clear();
            EXPECT_EQ(jvm.run(native, self), status);
            EXPECT_EQ(without_trace(log), CallLog{});
            EXPECT_TRUE(log.back().starts_with("Provider_TraceBegin")) << log.back();
            EXPECT_EQ(jvm.take_exception(), std::nullopt);
        }
        EXPECT_EQ(heap.made(), made);
        engine.trace = {};
    }

    // Before init0 the native enters and leaves.
    void expect_no_work_before_init0(jint (*native)(JNIEnv*, jobject), jobject self,
                                     const CallLog& entry_and_exit)
    {
        unload();
        engine.trace.mask = trace_all;
        log.clear();
        engine.records.clear();
        EXPECT_EQ(jvm.run(native, self), 0);
        EXPECT_EQ(without_trace(log), CallLog{});
        EXPECT_EQ(summaries(engine.records), entry_and_exit);
        EXPECT_EQ(heap.made(), 0U);
    }
    void expect_no_call_before_init0(void (*native)(JNIEnv*, jobject), jobject self)
    {
        unload();
        jvm.set_long(self, "pointer", 1);
        log.clear();
        jvm.run(native, self);
        EXPECT_EQ(log, CallLog{});
        EXPECT_EQ(jvm.get_long(self, "pointer"), 1);
    }

    // The work makes the same calls whatever is traced.
    void expect_same_calls_however_traced(const std::function<void()>& work)
    {
        const TraceAnswers answers[] = {{.mask = trace_all},
                                        {.mask = trace_mask_entry},
                                        {.mask = trace_mask_data},
                                        {.mask = trace_all, .gives_handle = false},
                                        {.mask = trace_all, .lends_record = false}};
        log.clear();
        work();
        const CallLog untraced = without_trace(log);
        for (const TraceAnswers& answer : answers) {
            engine.trace = answer;
            log.clear();
            work();
            EXPECT_EQ(without_trace(log), untraced);
        }
    }

    Allocations heap;
};

// What the engine hands over comes from malloc, like all that goes between the two; texts have exactly the
// given characters, so that a sanitizer sees a read past them.
template <class Record> Record* engine_record()
{
    void* memory = std::malloc(sizeof(Record));
    std::memset(memory, 0, sizeof(Record));
    return static_cast<Record*>(memory);
}

inline char16_t* engine_text(std::u16string_view text)
{
    auto* units = static_cast<char16_t*>(std::malloc(text.size() * sizeof(char16_t)));
    text.copy(units, text.size());
    return units;
}

inline char* engine_text(std::string_view text)
{
    auto* bytes = static_cast<char*>(std::malloc(text.size()));
    text.copy(bytes, text.size());
    return bytes;
}

// JNI's part of reading and linking a list.
inline CallLog list_calls(const std::string& owner, const std::string& list)
{
    return {"GetObjectField " + owner + "." + list, "CallIntMethod " + list + ".size", "ExceptionCheck"};
}

inline CallLog element_calls(const std::string& list, int index, const std::string& element)
{
    return {"CallObjectMethod " + list + ".get " + std::to_string(index), "ExceptionCheck",
            "GetLongField " + element + ".pointer", "DeleteLocalRef " + element};
}

} // namespace velk::test
