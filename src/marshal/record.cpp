#include "marshal/record.h"

#include "records/layout.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace velk::record {

void* allocate(std::size_t bytes)
{
    void* memory = std::malloc(bytes);
    if (memory != nullptr) std::memset(memory, 0, bytes);
    return memory;
}

void* address(JNIEnv* env, jobject object, jfieldID pointer)
{
    return reinterpret_cast<void*>(static_cast<std::intptr_t>(env->GetLongField(object, pointer)));
}

void set_header(void* record, const Layout& layout)
{
    auto* header = static_cast<unsigned char*>(record) + layout.header;
    const std::uint16_t version_and_length[] = {record_version, static_cast<std::uint16_t>(layout.size)};
    std::memcpy(header, layout.eyeCatcher, 4);
    std::memcpy(header + 4, version_and_length, 4);
}

void* bind(Call& call, jfieldID pointer, const Layout& layout)
{
    void* record = address(call.env, call.self, pointer);
    if (record != nullptr) return record;
    record = allocate(layout.size);
    if (record == nullptr) {
        fail(call, "out of memory for the %s record", layout.eyeCatcher);
        return nullptr;
    }
    set_header(record, layout);
    call.env->SetLongField(call.self, pointer, static_cast<jlong>(reinterpret_cast<std::intptr_t>(record)));
    return record;
}

void release(JNIEnv* env, jobject object, jfieldID pointer, void* record)
{
    std::free(record);
    env->SetLongField(object, pointer, 0);
}

void release(JNIEnv* env, jobject object, jfieldID pointer)
{
    if (pointer == nullptr) return;
    if (void* record = address(env, object, pointer)) release(env, object, pointer, record);
}

} // namespace velk::record
