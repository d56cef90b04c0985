#pragma once

// The header of a native record.

#include "records/layout.h"

#include <cstring>

namespace velk {

// Writes the record's eye-catcher, the version and its size.
template <class Record> void set_header(Record& record, const char (&eye_catcher)[5])
{
    std::memcpy(record.eyeCatcher, eye_catcher, sizeof record.eyeCatcher);
    record.version = record_version;
    record.length = sizeof(Record);
}

} // namespace velk
