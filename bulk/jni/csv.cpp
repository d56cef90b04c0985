// The natives of CSV: where rows end, what cells are, blocks on their way through a lane.

#include "natives.h"

using namespace velk::bulk;

namespace velk::bulk {

namespace {

CsvFormat format_of(jint format)
{
    return {static_cast<char>(format & 0xFF), static_cast<char>(format >> 8 & 0xFF), (format >> 16 & 1) != 0};
}

constexpr jsize problem_longs = 6;

void put(jlong* longs, const CsvProblem& problem)
{
    longs[0] = static_cast<jlong>(problem.fault);
    longs[1] = problem.byte;
    longs[2] = problem.line;
    longs[3] = problem.row_line;
    longs[4] = problem.last_row_line;
    longs[5] = problem.values;
}

CsvSplit split_of(const jlong (&place)[4])
{
    CsvSplit split;
    split.scanned = static_cast<std::size_t>(place[0]);
    split.whole = static_cast<std::size_t>(place[1]);
    split.run = static_cast<std::size_t>(place[2]);
    split.state = static_cast<CsvSplit::State>(place[3]);
    return split;
}

// Rows as integers, for whoever reads few of them.
struct RowList {
    CellReader& reader;
    List<Cell> cells{}; // of one row
    List<std::int32_t> list{};
    CsvProblem problem{};
};

constexpr std::size_t row_ints = 3;
constexpr std::size_t cell_ints = 3;

void add(RowList& rows, const CsvRow& row)
{
    std::int32_t* target = &rows.list[rows.list.size];
    *target++ = static_cast<std::int32_t>(row.line);
    *target++ = static_cast<std::int32_t>(row.line_end);
    *target++ = static_cast<std::int32_t>(row.cells);
    for (std::size_t i = 0; i < row.cells; ++i) {
        *target++ = static_cast<std::int32_t>(rows.cells[i].start);
        *target++ = static_cast<std::int32_t>(rows.cells[i].bytes);
        *target++ = static_cast<std::int32_t>(rows.cells[i].flags);
    }
    rows.list.size += row_ints + row.cells * cell_ints;
}

void list_rows(RowList& rows, std::size_t ints)
{
    for (;;) {
        const CellReader before = rows.reader;
        CsvRow row;
        const ReadRow read = read_row(rows.reader, rows.cells.data(), rows.cells.size, row, rows.problem);
        if (read != ReadRow::row) return;
        if (rows.list.size + row_ints + row.cells * cell_ints > ints) {
            rows.reader = before;
            return;
        }
        add(rows, row);
    }
}

jint give(JNIEnv* env, const RowList& rows, jintArray cells, jlongArray state)
{
    jlong longs[2 + problem_longs] = {static_cast<jlong>(rows.reader.position), rows.reader.lines};
    put(longs + 2, rows.problem);
    env->SetLongArrayRegion(state, 0, 2 + problem_longs, longs);
    if (!env->ExceptionCheck() && rows.list.size > 0)
        env->SetIntArrayRegion(cells, 0, static_cast<jsize>(rows.list.size),
                               reinterpret_cast<const jint*>(rows.list.memory.start));
    return static_cast<jint>(rows.list.size);
}

} // namespace
} // namespace velk::bulk

VELK_BULK_NATIVE(jint, csvSplit)
(JNIEnv* env, jclass, jint format, jlong memory, jint from, jint bytes, jboolean last, jlongArray place)
{
    const char* text = text_in(object_of<Output>(memory), from, bytes);
    if (text == nullptr || !is_sound(format_of(format))) return code::misplaced;
    jlong longs[4] = {};
    env->GetLongArrayRegion(place, 0, 4, longs);
    if (env->ExceptionCheck()) return code::misplaced;
    CsvSplit found = split_of(longs);
    if (found.scanned > static_cast<std::size_t>(bytes) || found.run > found.scanned) return code::misplaced;
    split(found, format_of(format), text, static_cast<std::size_t>(bytes), last != JNI_FALSE);
    const jlong left[4] = {static_cast<jlong>(found.scanned), static_cast<jlong>(found.whole),
                           static_cast<jlong>(found.run), found.state};
    env->SetLongArrayRegion(place, 0, 4, left);
    return static_cast<jint>(found.whole);
}

VELK_BULK_NATIVE(jint, csvCells)
(JNIEnv* env, jclass, jint format, jlong memory, jint from, jint bytes, jintArray cells, jlongArray state)
{
    const char* text = text_in(object_of<Output>(memory), from, bytes);
    if (text == nullptr || !is_sound(format_of(format))) return code::misplaced;
    const auto ints = static_cast<std::size_t>(env->GetArrayLength(cells));
    CellReader reader;
    open(reader, format_of(format), text, static_cast<std::size_t>(bytes));
    RowList rows{reader};
    jint count = code::out_of_memory;
    if (resize(rows.cells, ints / cell_ints + 1) && reserve(rows.list.memory, (ints + 1) * sizeof(jint), 0)) {
        list_rows(rows, ints);
        count = give(env, rows, cells, state);
    }
    release(rows.cells);
    release(rows.list);
    return count;
}

VELK_BULK_NATIVE(jlong, blockOpen)(JNIEnv*, jclass)
{
    return handle_of(create<CsvBlock>());
}

VELK_BULK_NATIVE(void, blockClose)(JNIEnv*, jclass, jlong handle)
{
    auto* block = object_of<CsvBlock>(handle);
    if (block == nullptr) return;
    close(*block);
    std::free(block);
}

VELK_BULK_NATIVE(jint, blockBegin)
(JNIEnv*, jclass, jlong handle, jlong lane_handle, jint format, jlong memory, jint from, jint bytes,
 jint usual_end, jlong output)
{
    auto* block = object_of<CsvBlock>(handle);
    auto* lane = object_of<Lane>(lane_handle);
    auto* target = object_of<Output>(output);
    if (block == nullptr || lane == nullptr || target == nullptr) return code::closed;
    const char* text = text_in(object_of<Output>(memory), from, bytes);
    const bool sound = is_sound(format_of(format)) && usual_end >= 0 && usual_end <= 3 && memory != output;
    if (text == nullptr || !sound) return code::misplaced;
    const LineEnd end = usual_end == 0 ? LineEnd::lf : static_cast<LineEnd>(usual_end);
    const bool begun =
        begin(*block, *lane, format_of(format), text, static_cast<std::size_t>(bytes), end, *target);
    return begun ? 0 : code::out_of_memory;
}

VELK_BULK_NATIVE(jint, blockCopyRow)(JNIEnv*, jclass, jlong handle, jlong lane_handle)
{
    auto* block = object_of<CsvBlock>(handle);
    auto* lane = object_of<Lane>(lane_handle);
    return block == nullptr || lane == nullptr ? code::closed : settled(*lane, copy_row(*block, *lane));
}

VELK_BULK_NATIVE(jint, blockLoad)(JNIEnv*, jclass, jlong handle, jlong lane_handle)
{
    auto* block = object_of<CsvBlock>(handle);
    auto* lane = object_of<Lane>(lane_handle);
    return block == nullptr || lane == nullptr ? code::closed : settled(*lane, load(*block, *lane));
}

VELK_BULK_NATIVE(jint, blockWrite)(JNIEnv*, jclass, jlong handle, jlong lane_handle)
{
    auto* block = object_of<CsvBlock>(handle);
    auto* lane = object_of<Lane>(lane_handle);
    return block == nullptr || lane == nullptr ? code::closed : settled(*lane, write(*block, *lane));
}

VELK_BULK_NATIVE(void, blockState)(JNIEnv* env, jclass, jlong handle, jlongArray state)
{
    const auto* block = object_of<CsvBlock>(handle);
    if (block == nullptr) return;
    jlong longs[4 + problem_longs] = {block->row_count, block->reader.lines, block->reader.last_row_line,
                                      static_cast<jlong>(block->usual_end)};
    put(longs + 4, block->problem);
    env->SetLongArrayRegion(state, 0, 4 + problem_longs, longs);
}
