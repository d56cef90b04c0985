// The natives of a lane and of the memory around it.

#include "../engine_threads.h"
#include "../error_text.h"
#include "natives.h"

using namespace velk::bulk;

namespace velk::bulk {

const char* text_in(const Output* memory, jint from, jint bytes)
{
    if (memory == nullptr || from < 0 || bytes < 0) return nullptr;
    const std::size_t end = static_cast<std::size_t>(from) + static_cast<std::size_t>(bytes);
    return end <= memory->memory.capacity ? memory->memory.start + from : nullptr;
}

namespace {

// An array of Java's as a list. False: out of memory, or an exception is pending.
bool read(JNIEnv* env, jintArray array, List<std::int32_t>& list)
{
    const jsize length = env->GetArrayLength(array);
    if (!resize(list, static_cast<std::size_t>(length))) return false;
    if (length > 0) env->GetIntArrayRegion(array, 0, length, reinterpret_cast<jint*>(list.memory.start));
    return !env->ExceptionCheck();
}

bool read(JNIEnv* env, jbyteArray array, List<char>& list)
{
    const jsize length = array == nullptr ? 0 : env->GetArrayLength(array);
    // One more, so that a text of nothing is told from none.
    if (!reserve(list.memory, static_cast<std::size_t>(length) + 1, 0)) return false;
    list.size = static_cast<std::size_t>(length);
    if (length > 0) env->GetByteArrayRegion(array, 0, length, reinterpret_cast<jbyte*>(list.memory.start));
    return !env->ExceptionCheck();
}

struct Arguments {
    List<std::int32_t> sizes{};
    List<std::int32_t> order{};
    List<char> replacement{};
};

Lane* open_lane(const Arguments& arguments, jint provider, jlong service, bool replaced)
{
    if (arguments.sizes.size % 2 != 0) return nullptr;
    Lane* lane = create<Lane>();
    if (lane == nullptr) return nullptr;
    const bool opened =
        open(*lane, {provider, object_of<SVCA>(service), arguments.order.data(), arguments.order.size,
                     reinterpret_cast<const BufferSizes*>(arguments.sizes.data()), arguments.sizes.size / 2,
                     replaced ? arguments.replacement.data() : nullptr, arguments.replacement.size});
    if (opened) return lane;
    std::free(lane);
    return nullptr;
}

} // namespace
} // namespace velk::bulk

static_assert(sizeof(BufferSizes) == 2 * sizeof(jint) && sizeof(Error) == 3 * sizeof(jint) &&
              sizeof(Counts) == 4 * sizeof(jlong));

VELK_BULK_NATIVE(jboolean, allowsThreads)(JNIEnv*, jclass)
{
    return engine_allows_threads();
}

VELK_BULK_NATIVE(jstring, errorText)(JNIEnv* env, jclass, jint code)
{
    char16_t text[error_text_units];
    const std::size_t length = error_text(code, text);
    if (length == 0) return nullptr;
    return env->NewString(reinterpret_cast<const jchar*>(text), static_cast<jsize>(length));
}

VELK_BULK_NATIVE(jlong, open)
(JNIEnv* env, jclass, jint provider, jlong service, jintArray sizes, jintArray order, jbyteArray replacement)
{
    Arguments arguments;
    Lane* lane = nullptr;
    if (read(env, sizes, arguments.sizes) && read(env, order, arguments.order) &&
        read(env, replacement, arguments.replacement))
        lane = open_lane(arguments, provider, service, replacement != nullptr);
    release(arguments.sizes);
    release(arguments.order);
    release(arguments.replacement);
    return handle_of(lane);
}

VELK_BULK_NATIVE(void, close)(JNIEnv*, jclass, jlong handle)
{
    auto* lane = object_of<Lane>(handle);
    if (lane == nullptr) return;
    close(*lane);
    std::free(lane);
}

VELK_BULK_NATIVE(jint, mask)(JNIEnv*, jclass, jlong handle)
{
    auto* lane = object_of<Lane>(handle);
    return lane == nullptr ? code::closed : mask(*lane);
}

VELK_BULK_NATIVE(jint, errorCount)(JNIEnv*, jclass, jlong handle)
{
    const auto* lane = object_of<Lane>(handle);
    return lane == nullptr ? code::closed : static_cast<jint>(lane->errors.size);
}

VELK_BULK_NATIVE(void, errors)(JNIEnv* env, jclass, jlong handle, jintArray errors)
{
    const auto* lane = object_of<Lane>(handle);
    if (lane == nullptr || lane->errors.size == 0) return;
    env->SetIntArrayRegion(errors, 0, static_cast<jsize>(3 * lane->errors.size),
                           reinterpret_cast<const jint*>(lane->errors.memory.start));
}

VELK_BULK_NATIVE(void, counts)(JNIEnv* env, jclass, jlong handle, jlongArray counts)
{
    const auto* lane = object_of<Lane>(handle);
    if (lane == nullptr) return;
    env->SetLongArrayRegion(counts, 0, static_cast<jsize>(4 * lane->width),
                            reinterpret_cast<const jlong*>(lane->counts.memory.start));
}

VELK_BULK_NATIVE(jlong, memoryOpen)(JNIEnv*, jclass)
{
    return handle_of(create<Output>());
}

VELK_BULK_NATIVE(jobject, memoryView)(JNIEnv* env, jclass, jlong handle, jint bytes)
{
    auto* output = object_of<Output>(handle);
    // A view of nothing needs an address, too.
    const auto room = static_cast<std::size_t>(bytes < 1 ? 1 : bytes);
    if (output == nullptr || !reserve(output->memory, room, output->memory.capacity)) return nullptr;
    return env->NewDirectByteBuffer(output->memory.start, bytes < 0 ? 0 : bytes);
}

VELK_BULK_NATIVE(jint, memorySize)(JNIEnv*, jclass, jlong handle)
{
    const auto* output = object_of<Output>(handle);
    if (output == nullptr) return code::closed;
    return output->bytes > INT32_MAX ? code::too_long : static_cast<jint>(output->bytes);
}

VELK_BULK_NATIVE(void, memoryClear)(JNIEnv*, jclass, jlong handle)
{
    if (auto* output = object_of<Output>(handle)) output->bytes = 0;
}

VELK_BULK_NATIVE(void, memoryClose)(JNIEnv*, jclass, jlong handle)
{
    auto* output = object_of<Output>(handle);
    if (output == nullptr) return;
    release(output->memory);
    std::free(output);
}
