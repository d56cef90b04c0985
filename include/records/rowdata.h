#pragma once

// Row data records: the values that one service call masks, in and out. They are shared with the
// engine byte for byte: little-endian, 64-bit pointers, all sizes in bytes. A parent record (RWST,
// ROWD) chains its children but never owns them; a DATA record owns its buffer.

#include "records/layout.h"

namespace velk {

// How a field's value stands in its buffer: the codes of the Java field `Field.id`.
inline constexpr std::int32_t first_utf8_type = 1; // UTF-8 out; never copied back
inline constexpr std::int32_t last_utf8_type = 3;
inline constexpr std::int32_t first_wide_type = 4; // 16-bit text; 4 and 5 come back at full length
inline constexpr std::int32_t last_wide_type = 6;
inline constexpr std::int32_t wide_text_type = 6; // 16-bit text; comes back up to its zero unit

// One value of a row, a link of its field chain.
struct DATA {
    DATA* next;
    char eyeCatcher[4];
    std::uint16_t version;
    std::uint16_t length;
    std::uint8_t isNull; // 1 or 0
    std::uint8_t reserved17[3];
    std::int32_t bufferSize; // capacity of buffer, in bytes
    std::uint8_t reserved24[8];
    std::int32_t errorCode; // 0: none; else an engine error code of this value alone
    std::uint8_t reserved36[4];
    void* buffer;    // null while bufferSize is 0 or less
    void* auxBuffer; // the engine's to define; every toC nulls it, unfreed; what is here is freed with the
                     // record
};
VELK_FIELD(DATA, next, 0, 8);
VELK_FIELD(DATA, eyeCatcher, 8, 4);
VELK_FIELD(DATA, version, 12, 2);
VELK_FIELD(DATA, length, 14, 2);
VELK_FIELD(DATA, isNull, 16, 1);
VELK_FIELD(DATA, reserved17, 17, 3);
VELK_FIELD(DATA, bufferSize, 20, 4);
VELK_FIELD(DATA, reserved24, 24, 8);
VELK_FIELD(DATA, errorCode, 32, 4);
VELK_FIELD(DATA, reserved36, 36, 4);
VELK_FIELD(DATA, buffer, 40, 8);
VELK_FIELD(DATA, auxBuffer, 48, 8);
VELK_RECORD(DATA, 56);

// One row, a link of its row set's chain.
struct ROWD {
    ROWD* next;
    char eyeCatcher[4];
    std::uint16_t version;
    std::uint16_t length;
    std::uint8_t reserved16;  // cleared before each service call
    std::uint8_t hasError;    // 1 or 0
    std::uint16_t fieldCount; // low 16 bits of the number of fields in the chain
    std::uint8_t reserved20[4];
    DATA* firstField;
};
VELK_FIELD(ROWD, next, 0, 8);
VELK_FIELD(ROWD, eyeCatcher, 8, 4);
VELK_FIELD(ROWD, version, 12, 2);
VELK_FIELD(ROWD, length, 14, 2);
VELK_FIELD(ROWD, reserved16, 16, 1);
VELK_FIELD(ROWD, hasError, 17, 1);
VELK_FIELD(ROWD, fieldCount, 18, 2);
VELK_FIELD(ROWD, reserved20, 20, 4);
VELK_FIELD(ROWD, firstField, 24, 8);
VELK_RECORD(ROWD, 32);

// Row set: the rows of one service call.
struct RWST {
    char eyeCatcher[4];
    std::uint16_t version;
    std::uint16_t length;
    std::int32_t rowCount;
    std::uint8_t reserved12[4];
    ROWD* firstRow;
};
VELK_FIELD(RWST, eyeCatcher, 0, 4);
VELK_FIELD(RWST, version, 4, 2);
VELK_FIELD(RWST, length, 6, 2);
VELK_FIELD(RWST, rowCount, 8, 4);
VELK_FIELD(RWST, reserved12, 12, 4);
VELK_FIELD(RWST, firstRow, 16, 8);
VELK_RECORD(RWST, 24);

} // namespace velk
