#pragma once

// Request records: they live for one call only, on the caller's stack or on the heap. They are
// shared with the engine byte for byte: little-endian, 64-bit pointers, all sizes in bytes.

#include "records/definitions.h"

namespace velk {

// What is parsed: the text of a masking string.
struct InputDescriptor {
    char cDBMSType;
    std::uint8_t reserved1[3];
    std::int32_t iCodePage;
    const char* pParamString;
};
VELK_FIELD(InputDescriptor, cDBMSType, 0, 1);
VELK_FIELD(InputDescriptor, reserved1, 1, 3);
VELK_FIELD(InputDescriptor, iCodePage, 4, 4);
VELK_FIELD(InputDescriptor, pParamString, 8, 8);
VELK_RECORD(InputDescriptor, 16);

// One key/value pair. The reserved bytes are handed over as 0.
struct KVPA {
    std::uint8_t reserved0[8];
    char eyeCatcher[4];
    std::uint16_t version;
    std::uint16_t length;
    char* key;
    std::uint8_t reserved24[4];
    std::int32_t keySize; // capacity of key, in bytes
    std::uint8_t reserved32[8];
    char* value;
    std::uint8_t reserved48[4];
    std::int32_t valueSize; // capacity of value, in bytes
    std::uint8_t reserved56[8];
};
VELK_FIELD(KVPA, reserved0, 0, 8);
VELK_FIELD(KVPA, eyeCatcher, 8, 4);
VELK_FIELD(KVPA, version, 12, 2);
VELK_FIELD(KVPA, length, 14, 2);
VELK_FIELD(KVPA, key, 16, 8);
VELK_FIELD(KVPA, reserved24, 24, 4);
VELK_FIELD(KVPA, keySize, 28, 4);
VELK_FIELD(KVPA, reserved32, 32, 8);
VELK_FIELD(KVPA, value, 40, 8);
VELK_FIELD(KVPA, reserved48, 48, 4);
VELK_FIELD(KVPA, valueSize, 52, 4);
VELK_FIELD(KVPA, reserved56, 56, 8);
VELK_RECORD(KVPA, 64);

// Parameter request: the parser measures the input on the first call, extracts the pairs on the second.
struct PRMA {
    char eyeCatcher[4];
    std::uint16_t version;
    std::uint16_t length;
    KVPA* entries;
    std::int32_t entryCount; // elements of entries
    std::int32_t pairCount;  // out, sizing pass
    std::int32_t keySize;    // out, sizing pass: bytes that each key buffer needs
    std::int32_t valueSize;  // out, sizing pass: bytes that each value buffer needs
    char extractionMode;     // 'A' in the extraction pass
    std::uint8_t failed;     // out, extraction pass: not 0 when it failed
    std::uint8_t reserved34[4];
    char mode; // 'M' from the sizing pass on
    std::uint8_t reserved39;
    std::int32_t iParmStrBytes;
    std::uint8_t reserved44[4];
    InputDescriptor* input;
};
VELK_FIELD(PRMA, eyeCatcher, 0, 4);
VELK_FIELD(PRMA, version, 4, 2);
VELK_FIELD(PRMA, length, 6, 2);
VELK_FIELD(PRMA, entries, 8, 8);
VELK_FIELD(PRMA, entryCount, 16, 4);
VELK_FIELD(PRMA, pairCount, 20, 4);
VELK_FIELD(PRMA, keySize, 24, 4);
VELK_FIELD(PRMA, valueSize, 28, 4);
VELK_FIELD(PRMA, extractionMode, 32, 1);
VELK_FIELD(PRMA, failed, 33, 1);
VELK_FIELD(PRMA, reserved34, 34, 4);
VELK_FIELD(PRMA, mode, 38, 1);
VELK_FIELD(PRMA, reserved39, 39, 1);
VELK_FIELD(PRMA, iParmStrBytes, 40, 4);
VELK_FIELD(PRMA, reserved44, 44, 4);
VELK_FIELD(PRMA, input, 48, 8);
VELK_RECORD(PRMA, 56);

// The build request's output area.
struct BuildOutput {
    std::uint8_t reserved0[4];
    char mode; // the PRMA mode byte, stored at clean-up
    std::uint8_t reserved5[3];
};
VELK_FIELD(BuildOutput, reserved0, 0, 4);
VELK_FIELD(BuildOutput, mode, 4, 1);
VELK_FIELD(BuildOutput, reserved5, 5, 3);
VELK_RECORD(BuildOutput, 8);

// Build request: the adapter turns the extracted pairs into a service definition and its id.
struct PGDA {
    char eyeCatcher[4];
    std::uint16_t version;
    std::uint16_t length;
    PRMA* parameters;
    SVCA* pSvcDef;
    char* pSvcId;
    std::int32_t iSvcIdBytes; // capacity of pSvcId
    std::uint8_t reserved36[4];
    BuildOutput* output;
};
VELK_FIELD(PGDA, eyeCatcher, 0, 4);
VELK_FIELD(PGDA, version, 4, 2);
VELK_FIELD(PGDA, length, 6, 2);
VELK_FIELD(PGDA, parameters, 8, 8);
VELK_FIELD(PGDA, pSvcDef, 16, 8);
VELK_FIELD(PGDA, pSvcId, 24, 8);
VELK_FIELD(PGDA, iSvcIdBytes, 32, 4);
VELK_FIELD(PGDA, reserved36, 36, 4);
VELK_FIELD(PGDA, output, 40, 8);
VELK_RECORD(PGDA, 48);

// Error details of the parser. The reserved bytes belong to the parser.
struct ECBD {
    std::uint8_t reserved0[8];
    char eyeCatcher[4];
    std::uint16_t version;
    std::uint16_t length;
    std::uint8_t reserved16[4];
    std::int32_t errorCode;
    std::uint8_t reserved24[24];
};
VELK_FIELD(ECBD, reserved0, 0, 8);
VELK_FIELD(ECBD, eyeCatcher, 8, 4);
VELK_FIELD(ECBD, version, 12, 2);
VELK_FIELD(ECBD, length, 14, 2);
VELK_FIELD(ECBD, reserved16, 16, 4);
VELK_FIELD(ECBD, errorCode, 20, 4);
VELK_FIELD(ECBD, reserved24, 24, 24);
VELK_RECORD(ECBD, 48);

// Capacities of the three message texts, in bytes of 16-bit text.
inline constexpr std::uint32_t message_capacity1 = 1046;
inline constexpr std::uint32_t message_capacity2 = 2150;
inline constexpr std::uint32_t message_capacity3 = 3174;

// Where a message is to be written: three buffers of the caller, for zero-terminated 16-bit text.
struct MessageBuffers {
    std::uint32_t capacity1; // bytes
    std::uint32_t capacity2;
    std::uint32_t capacity3;
    std::uint8_t reserved12[4];
    char16_t* text1; // heading
    char16_t* text2; // detail
    char16_t* text3; // trailing
};
VELK_FIELD(MessageBuffers, capacity1, 0, 4);
VELK_FIELD(MessageBuffers, capacity2, 4, 4);
VELK_FIELD(MessageBuffers, capacity3, 8, 4);
VELK_FIELD(MessageBuffers, reserved12, 12, 4);
VELK_FIELD(MessageBuffers, text1, 16, 8);
VELK_FIELD(MessageBuffers, text2, 24, 8);
VELK_FIELD(MessageBuffers, text3, 32, 8);
VELK_RECORD(MessageBuffers, 40);

// EMSG.textEncoding of 16-bit text.
inline constexpr char wide_message = 'W';

// Message request: the text of an error code, or of the parser's error details.
struct EMSG {
    char eyeCatcher[4];
    std::uint16_t version;
    std::uint16_t length;
    std::uint32_t errorCode;
    std::uint8_t reserved12[4];
    ECBD* details; // null when only the code is known
    char textEncoding;
    std::uint8_t reserved25[7];
    MessageBuffers* buffers;
};
VELK_FIELD(EMSG, eyeCatcher, 0, 4);
VELK_FIELD(EMSG, version, 4, 2);
VELK_FIELD(EMSG, length, 6, 2);
VELK_FIELD(EMSG, errorCode, 8, 4);
VELK_FIELD(EMSG, reserved12, 12, 4);
VELK_FIELD(EMSG, details, 16, 8);
VELK_FIELD(EMSG, textEncoding, 24, 1);
VELK_FIELD(EMSG, reserved25, 25, 7);
VELK_FIELD(EMSG, buffers, 32, 8);
VELK_RECORD(EMSG, 40);

} // namespace velk
