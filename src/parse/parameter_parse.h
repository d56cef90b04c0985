#pragma once

// The parameter parse driver: from a masking string to a filled service definition, by the engine's parser
// and adapter. It parses nothing itself.

#include "records/definitions.h"

#include <cstdint>

namespace velk {

// What is parsed, and what is filled. The members' names are their trace labels.
struct ParameterParse {
    const char* pParamString;   // UTF-8
    std::int32_t iParmStrBytes; // its bytes
    std::int32_t iCodePage;
    char cDBMSType;
    SVCA* pSvcDef; // filled by the adapter, its header included
    char* pSvcId;  // filled by the adapter, zero-terminated UTF-8
    std::int32_t iSvcIdBytes;
};

// What iCodePage and cDBMSType are by contract: the code page of UTF-8, and a type of database.
inline constexpr std::int32_t code_page_utf8 = 65001;
inline constexpr char dbms_type = 'N';

// 0, the failing result of the engine, or -1, 7219, 7220, 7221 of the driver's own; after any of these
// error_text says what is wrong. The status of the trace facility where no scope could be opened.
std::int32_t parse_parameters(const ParameterParse& parse);

} // namespace velk
