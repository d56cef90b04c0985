#pragma once

// The natives of the package-private Java class com.brel.sorn.velk.masking.NativeBulk, all of them static.
// Java owns the threads, the streams and the order of the blocks: a native does one step for one block or
// batch and returns, so that nothing here starts a thread, waits or reads a file, and a run can be stopped
// between any two of them.
//
// Handles (long, 0 is none) stand for objects of this library: a lane (a running provider and the records of
// a batch), a memory, a block of CSV, a batch of columns. One thread at a time uses a handle, and each is
// closed once; closing wipes what held values. A handle of 0 is answered with CLOSED (-5). Whatever address
// is handed over must be right: it is not checked. Places and lengths are in bytes, rows and columns are
// counted from 0.
//
// Steps answer 0 or a number of rows, or a code: the engine's (mask alone), or OUT_OF_MEMORY -1, MOVED -2
// (the engine put another buffer in the place of a value's), TOO_LONG -3 (no buffer holds a value, or no
// offset of 32 bits a column), MISPLACED -4 (a place outside of a memory, offsets that fall, an array of
// another length), CLOSED -5. After any of these the block or batch is at its end and its output is not to be
// used; the values are wiped.
//
// Where allowsThreads is false, mask and columnsMask are called under the lock that guards the bridge's
// natives: the engine is then called by one thread at a time, whoever calls it. All other steps touch no
// engine and need no lock.
//
//   boolean allowsThreads()
//   String errorText(int code)              the engine's text as the bridge gives it; null: none. Under the
//   lock, too, and
//                                           on the thread that met the error, whose details it tells
//
//   long open(int provider, long service, int[] sizes, int[] order, byte[] replacement)
//       A lane of a provider that runs and the address of its service's record (ServiceDefinition.pointer),
//       which both outlive it. sizes: for each column of the service the least and the greatest size of its
//       buffers, in bytes (BufferSize). order: for each column of the table
//       the number of the service's column, or -1 where it goes round the engine; each column of the service
//       once. replacement: UTF-8 that a value with an error becomes, null: it becomes null. 0: out of memory,
//       or the arrays contradict each other.
//   void close(long lane)
//   int mask(long lane)                     one service call for the rows at hand
//   int errorCount(long lane)               values with an error in the block or batch so far
//   void errors(long lane, int[] errors)    row, column and code of each, row by row: the engine's code or
//   -101 (U+0000),
//                                           -102 (half a surrogate pair in a result), -103 (the row as a
//                                           whole), -105 (not UTF-8; in columns alone, for CSV it is a fault)
//   void counts(long lane, long[] counts)   for each column of the table: masked, nulls kept, left equal
//
//   long memoryOpen()
//   ByteBuffer memoryView(long memory, int bytes)   room for so many bytes, all of the former in front; every
//   view from
//                                           before is dead where it grows, is cleared or closed. null: out of
//                                           memory
//   int memorySize(long memory)             bytes of the output in it
//   void memoryClear(long memory)           starts a new output in it
//   void memoryClose(long memory)
//
//   A format is delimiter | quote << 8 | skipBlankLines << 16, both characters of ASCII. A byte-order mark is
//   Java's: a block starts behind it. int csvSplit(int format, long memory, int from, int bytes, boolean
//   last, long[] place)
//       Bytes of the whole rows in the text that stands in the memory from there. place: four zeros at the
//       start of a text, then handed back as it was while the same text grows. 0: it has to grow. Where it is
//       the last, all is whole.
//   int csvCells(int format, long memory, int from, int bytes, int[] cells, long[] state)
//       The cells of the rows of a block as far as they fit: for each row its line, line end, number of
//       cells, and for each cell its start, its bytes and its flags (1 quoted, 2 it holds quotes doubled, 4 a
//       bare quote). Ints written; 0 at the end, at a fault, or where not even one row fits (state[0] then is
//       less than bytes). state: the place reached, the lines passed, and the fault as in blockState.
//   long blockOpen()
//   void blockClose(long block)
//   int blockBegin(long block, long lane, int format, long memory, int from, int bytes, int usualEnd, long
//   output)
//       Starts a block of whole rows; what is written is appended to the output, another memory. usualEnd:
//       the line end of the row before the block (0 none, 1 LF, 2 CR, 3 CRLF). Begins the lane's errors and
//       counts anew.
//   int blockCopyRow(long block, long lane) writes the next row as it is: the header
//   int blockLoad(long block, long lane)    takes rows into the lane. Their number; 0: the block is at its
//   end or fault int blockWrite(long block, long lane)   writes them, once they are masked void
//   blockState(long block, long[] state)
//       Rows loaded, lines passed, the line of the last row, the line end of the last row; then the fault:
//       its number (0 none, 1 not UTF-8, 2 another width, 3 a blank line, 4 an unclosed quote, 5 a character
//       behind a closing quote, 6 a value too long, 7 a row too long), its byte, that byte's line, its row's
//       line, the line of the row before (0: in an earlier block), the number of the row's values. Bytes are
//       counted from the block's start, lines from 1.
//
//   long columnsOpen()
//   void columnsClose(long columns)
//   int columnsBegin(long columns, long lane, long[] addresses, int rows)
//       addresses: three for each column of the table, of its validity bitmap (or 0), offsets and bytes in
//       Arrow's layout, which outlive the batch. Begins the lane's errors and counts anew.
//   int columnsLoad(long columns, long lane)
//   int columnsMask(long columns, long lane)    as mask; where it fails, the results so far are wiped, too
//   int columnsStore(long columns, long lane)
//   void columnsResult(long columns, long[] addresses)
//       Three for each column as above and the number of its bytes; good until the next begin or close.
//   long address(ByteBuffer buffer)         of a direct buffer's start; 0 of another one
//   ByteBuffer view(long address, long bytes)

#include "../columns.h"
#include "../csv_block.h"

#include <cstdlib>
#include <jni.h>
#include <new>

namespace velk::bulk {

template <typename Object> Object* object_of(jlong handle)
{
    return reinterpret_cast<Object*>(static_cast<std::intptr_t>(handle));
}

inline jlong handle_of(const void* object)
{
    return static_cast<jlong>(reinterpret_cast<std::intptr_t>(object));
}

// An object from malloc, or null. It is freed once what it holds has been closed.
template <typename Object> Object* create()
{
    void* memory = std::malloc(sizeof(Object));
    return memory == nullptr ? nullptr : new (memory) Object{};
}

// The text in a memory, or null where it does not stand there.
const char* text_in(const Output* memory, jint from, jint bytes);

// The status of a step. One that failed leaves no value in the lane.
inline jint settled(Lane& lane, std::int32_t status)
{
    if (status < 0) wipe(lane.rows);
    return status;
}

} // namespace velk::bulk

#define VELK_BULK_NATIVE(Result, name)                                                                       \
    extern "C" JNIEXPORT Result JNICALL Java_com_brel_sorn_velk_masking_NativeBulk_##name
