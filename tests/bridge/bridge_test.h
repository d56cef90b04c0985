#pragma once

// What most tests of the bridge start from: the library as it is after VELK.init0, on an empty call log.
//
//     TEST_F(BridgeTest, RowSetToCReadsTheRowsInOrder)
//     {
//         const jobject row_set = jvm.object(row_set_class);
//         ...
//         EXPECT_EQ(without_trace(log), (CallLog{"GetLongField RowSet.pointer", ...}));
//     }

#include "bridge/natives.h"
#include "frame/class_cache.h"
#include "frame/errors.h"
#include "frame/flags.h"
#include "frame/trace.h"
#include "support/allocation.h"
#include "support/scripted_engine.h"
#include "support/scripted_jvm.h"

#include <cstring>
#include <gtest/gtest.h>
#include <iterator>

namespace velk::test {

inline constexpr const char* exception_class = "com/brel/sorn/velk/VELKException";
inline constexpr const char* velk_class = "com/brel/sorn/velk/VELK";
inline constexpr const char* provider_class = "com/brel/sorn/velk/NativeProvider";
inline constexpr const char* framework_definition_class = "com/brel/sorn/velk/internal/FrameworkDefinition";
inline constexpr const char* service_definition_class = "com/brel/sorn/velk/internal/ServiceDefinition";
inline constexpr const char* operand_class = "com/brel/sorn/velk/internal/InitializationOperand";
inline constexpr const char* field_definition_class = "com/brel/sorn/velk/internal/FieldDefinition";
inline constexpr const char* row_set_class = "com/brel/sorn/velk/RowSet";
inline constexpr const char* row_class = "com/brel/sorn/velk/Row";
inline constexpr const char* field_class = "com/brel/sorn/velk/Field";

// The library as it is at load: nothing cached, no flag set, no library started, no error text.
inline void unload()
{
    cache = {};
    debug = 0;
    wide_conversion = 0;
    parser_started = 0;
    adapter_started = 0;
    std::memset(error_text, 0, sizeof error_text);
}

class BridgeTest : public ::testing::Test {
protected:
    BridgeTest()
    {
        unload();
        jvm.run(Java_com_brel_sorn_velk_VELK_init0, jvm.object(velk_class));
        jvm.accept_globals();
        log.clear();
    }

    CallLog log;
    Jvm jvm{log};
    Engine engine{log};
};

// JNI's part of a throw of VELKException.
inline CallLog throw_calls(const std::string& message)
{
    return {"NewStringUTF " + message, "NewObject VELKException", "DeleteLocalRef String",
            "Throw VELKException"};
}

// Calls in a row.
inline CallLog joined(std::initializer_list<CallLog> parts)
{
    CallLog all;
    for (const CallLog& part : parts) all.insert(all.end(), part.begin(), part.end());
    return all;
}

} // namespace velk::test
