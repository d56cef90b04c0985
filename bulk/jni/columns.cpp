// The natives of batches by columns.

#include "natives.h"

using namespace velk::bulk;

namespace velk::bulk {

namespace {

static_assert(sizeof(ColumnIn) == 3 * sizeof(jlong));

// A batch of which a step failed leaves no results.
jint settled(Columns& columns, Lane& lane, std::int32_t status)
{
    if (status < 0) wipe(columns);
    return settled(lane, status);
}

std::int32_t begin_batch(JNIEnv* env, Columns& columns, Lane& lane, jlongArray addresses, std::size_t rows)
{
    const auto longs = static_cast<jsize>(3 * lane.width);
    if (env->GetArrayLength(addresses) != longs) return code::misplaced;
    List<ColumnIn> in;
    if (!resize(in, lane.width)) return code::out_of_memory;
    env->GetLongArrayRegion(addresses, 0, longs, reinterpret_cast<jlong*>(in.memory.start));
    const std::int32_t status = begin(columns, lane, in.data(), rows);
    release(in);
    return status;
}

} // namespace
} // namespace velk::bulk

VELK_BULK_NATIVE(jlong, columnsOpen)(JNIEnv*, jclass)
{
    return handle_of(create<Columns>());
}

VELK_BULK_NATIVE(void, columnsClose)(JNIEnv*, jclass, jlong handle)
{
    auto* columns = object_of<Columns>(handle);
    if (columns == nullptr) return;
    close(*columns);
    std::free(columns);
}

VELK_BULK_NATIVE(jint, columnsBegin)
(JNIEnv* env, jclass, jlong handle, jlong lane_handle, jlongArray addresses, jint rows)
{
    auto* columns = object_of<Columns>(handle);
    auto* lane = object_of<Lane>(lane_handle);
    if (columns == nullptr || lane == nullptr) return code::closed;
    if (rows < 0) return code::misplaced;
    return settled(*columns, *lane,
                   begin_batch(env, *columns, *lane, addresses, static_cast<std::size_t>(rows)));
}

VELK_BULK_NATIVE(jint, columnsLoad)(JNIEnv*, jclass, jlong handle, jlong lane_handle)
{
    auto* columns = object_of<Columns>(handle);
    auto* lane = object_of<Lane>(lane_handle);
    if (columns == nullptr || lane == nullptr) return code::closed;
    return settled(*columns, *lane, load(*columns, *lane));
}

VELK_BULK_NATIVE(jint, columnsMask)(JNIEnv*, jclass, jlong handle, jlong lane_handle)
{
    auto* columns = object_of<Columns>(handle);
    auto* lane = object_of<Lane>(lane_handle);
    if (columns == nullptr || lane == nullptr) return code::closed;
    const std::int32_t status = mask(*lane);
    if (status != 0) wipe(*columns);
    return status;
}

VELK_BULK_NATIVE(jint, columnsStore)(JNIEnv*, jclass, jlong handle, jlong lane_handle)
{
    auto* columns = object_of<Columns>(handle);
    auto* lane = object_of<Lane>(lane_handle);
    if (columns == nullptr || lane == nullptr) return code::closed;
    return settled(*columns, *lane, store(*columns, *lane));
}

VELK_BULK_NATIVE(void, columnsResult)(JNIEnv* env, jclass, jlong handle, jlongArray addresses)
{
    const auto* columns = object_of<Columns>(handle);
    if (columns == nullptr) return;
    for (std::size_t i = 0; i < columns->out.size && !env->ExceptionCheck(); ++i) {
        const ColumnOut& column = columns->out[i];
        const auto* offsets = reinterpret_cast<const std::int32_t*>(column.offsets.start);
        const jlong longs[4] = {handle_of(column.validity.start), handle_of(column.offsets.start),
                                handle_of(column.bytes.start),
                                offsets == nullptr ? 0 : offsets[columns->stored]};
        env->SetLongArrayRegion(addresses, static_cast<jsize>(4 * i), 4, longs);
    }
}

VELK_BULK_NATIVE(jlong, address)(JNIEnv* env, jclass, jobject buffer)
{
    return handle_of(env->GetDirectBufferAddress(buffer));
}

VELK_BULK_NATIVE(jobject, view)(JNIEnv* env, jclass, jlong address, jlong bytes)
{
    return env->NewDirectByteBuffer(object_of<void>(address), bytes);
}
