#include "marshal/chain.h"

#include "frame/class_cache.h"
#include "marshal/record.h"

#include <cstring>

namespace velk::chain {

namespace {

// A link is 8 bytes, whatever the type of the record that it points at.
void store(void* link, void* target)
{
    std::memcpy(link, &target, sizeof target);
}

// Reads the container. False after throwing.
bool read(Call& call, const Children& children, Container& container)
{
    container.object = call.env->GetObjectField(call.self, children.field);
    if (container.object != nullptr) return true;
    if (children.first != nullptr) store(children.first, nullptr);
    return fail(call, "%s is null", children.name);
}

// Ends the chain in front of child i, which cannot be linked: nothing stale must hang from it.
void cut(const Children& children, void* previous, jint i)
{
    if (previous != nullptr) store(previous, nullptr);
    if (i == 0) store(children.first, nullptr);
}

bool no_child(Call& call, const Children& children, void* previous, jint i)
{
    cut(children, previous, i);
    return call.env->ExceptionCheck() ? false
                                      : fail(call, "%s[%d] is null", children.name, static_cast<int>(i));
}

bool no_record(Call& call, const Children& children, jint i)
{
    return fail(call, "%s[%d] has no native record: call %s on it first", children.name, static_cast<int>(i),
                children.native);
}

// The child's record; the reference to the child is gone afterwards.
void* take_record(Call& call, const Children& children, jobject child)
{
    void* record = record::of<void>(call.env, child, children.pointer);
    call.env->DeleteLocalRef(child);
    return record;
}

} // namespace

bool read_list(Call& call, const Children& children, Container& list)
{
    if (!read(call, children, list)) return false;
    list.count = call.env->CallIntMethod(list.object, cache.ArrayList.size);
    return !call.env->ExceptionCheck();
}

bool read_array(Call& call, const Children& children, Container& array)
{
    if (!read(call, children, array)) return false;
    array.count = call.env->GetArrayLength(static_cast<jarray>(array.object));
    return true;
}

bool link_list(Call& call, const Children& children, const Container& list)
{
    if (list.count <= 0) return true;
    void* previous = nullptr;
    for (jint i = 0; i < list.count; ++i) {
        const jobject child = call.env->CallObjectMethod(list.object, cache.ArrayList.get, i);
        if (call.env->ExceptionCheck() || child == nullptr) return no_child(call, children, previous, i);
        void* record = take_record(call, children, child);
        store(previous == nullptr ? children.first : previous, record);
        previous = record;
    }
    if (previous == nullptr) return no_record(call, children, list.count - 1);
    store(previous, nullptr);
    return true;
}

bool link_array(Call& call, const Children& children, const Container& array)
{
    if (array.count <= 0) return true;
    void* previous = nullptr;
    for (jint i = 0; i < array.count; ++i) {
        const jobject child = call.env->GetObjectArrayElement(static_cast<jobjectArray>(array.object), i);
        if (child == nullptr) return no_child(call, children, previous, i);
        void* record = take_record(call, children, child);
        if (record == nullptr) {
            cut(children, previous, i);
            return no_record(call, children, i);
        }
        store(previous == nullptr ? children.first : previous, record);
        previous = record;
    }
    store(previous, nullptr);
    return true;
}

} // namespace velk::chain
